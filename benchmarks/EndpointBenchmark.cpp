// An endpoint fetch of 100 observations from the local weather service, from the call to
// the typed objects on the main queue, beside the limit: a hand-written client doing the
// same fetch with libcurl and simdjson On-Demand into plain structs. Then where the
// library's time goes: the same HTTP exchange alone, reading the JSON into values, and
// mapping the values into objects, each measured on its own in this process.
//
// The service runs in a child process (forked before any thread starts), so the CPU
// figures are the client's own.
//
//   EndpointBenchmark [fetches]   (default 2000 per row)

#include <curl/curl.h>
#include <simdjson.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "LocalWeatherService.h"
#include "OVNApiClient.h"
#include "OVNApiEndpoint.h"
#include "OVNApiResponse.h"
#include "Observation.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/OVNPropertyMapper.h"
#include "WeatherMappings.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int observationsPerFetch = 100;
// Fixed, so that every run serves the same bytes.
constexpr std::int64_t serviceNow = 1795435200;
// Both clients offer the same compression. Offering every encoding libcurl knows would get
// brotli at its slowest setting from the service, which measures the service, not the client.
constexpr const char* acceptEncoding = "gzip";

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Figures {
  double microsecondsPerFetch = 0;
  double cpuMicrosecondsPerFetch = 0;
};

// Runs `fetch` `count` times, one after the other.
Figures measure(int count, const std::function<void()>& fetch) {
  const auto began = Clock::now();
  const double cpu = cpuSeconds();
  for (int i = 0; i < count; ++i) fetch();
  return {std::chrono::duration<double, std::micro>(Clock::now() - began).count() / count,
          (cpuSeconds() - cpu) * 1e6 / count};
}

void print(const char* row, const Figures& f) {
  std::printf("| %-58s | %9.1f | %9.1f |\n", row, f.microsecondsPerFetch, f.cpuMicrosecondsPerFetch);
}

// ---- the service, in a child process -------------------------------------------------------

struct ServiceProcess {
  pid_t pid = -1;
  int stopWriter = -1;
  std::string baseURL;
};

ServiceProcess startServiceProcess() {
  int portPipe[2], stopPipe[2];
  if (::pipe(portPipe) != 0 || ::pipe(stopPipe) != 0) std::exit(1);
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::close(portPipe[0]);
    ::close(stopPipe[1]);
    LocalWeatherService::Options options;
    options.now = serviceNow;
    LocalWeatherService service(options);
    service.start();
    const int port = service.port();
    if (::write(portPipe[1], &port, sizeof port) != sizeof port) ::_exit(1);
    char ignored;
    while (::read(stopPipe[0], &ignored, 1) > 0) {
    }
    service.stop();
    ::_exit(0);
  }
  ::close(portPipe[1]);
  ::close(stopPipe[0]);
  int port = 0;
  if (::read(portPipe[0], &port, sizeof port) != sizeof port) std::exit(1);
  ::close(portPipe[0]);
  return {pid, stopPipe[1], "http://127.0.0.1:" + std::to_string(port) + "/"};
}

void stopServiceProcess(const ServiceProcess& service) {
  ::close(service.stopWriter);
  ::waitpid(service.pid, nullptr, 0);
}

// ---- the limit: libcurl and simdjson On-Demand into plain structs ------------------------

struct PlainObservation {
  std::string id;
  std::string place;
  double latitude = 0;
  double longitude = 0;
  double tempC = 0;
  double humidity = 0;
  std::string weather;
  std::int64_t observedAt = 0;
};

class PlainClient {
 public:
  explicit PlainClient(std::string url) : url_(std::move(url)), easy_(curl_easy_init()) {
    curl_easy_setopt(easy_, CURLOPT_URL, url_.c_str());
    curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy_, CURLOPT_ACCEPT_ENCODING, acceptEncoding);
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, &body_);
    curl_easy_setopt(
        easy_, CURLOPT_WRITEFUNCTION, +[](char* data, std::size_t size, std::size_t count, void* body) {
          static_cast<std::string*>(body)->append(data, size * count);
          return size * count;
        });
  }
  ~PlainClient() { curl_easy_cleanup(easy_); }

  //! The body of one GET, or empty when it failed.
  const std::string& get() {
    body_.clear();
    if (curl_easy_perform(easy_) != CURLE_OK) body_.clear();
    return body_;
  }

  std::vector<PlainObservation> fetch() {
    const std::string& body = get();
    simdjson::padded_string json(body);
    std::vector<PlainObservation> observations;
    observations.reserve(observationsPerFetch);
    auto document = parser_.iterate(json);
    for (auto element : document["response"].get_array()) {
      auto object = element.get_object();
      PlainObservation observation;
      observation.id = std::string(std::string_view(object["id"]));
      auto location = object["loc"].get_object();
      observation.latitude = double(location["lat"]);
      observation.longitude = double(location["long"]);
      observation.place = std::string(std::string_view(object["place"]["name"]));
      observation.observedAt = std::int64_t(object["obTimestamp"]);
      auto ob = object["ob"].get_object();
      observation.tempC = double(ob["tempC"]);
      observation.humidity = double(ob["humidity"]);
      observation.weather = std::string(std::string_view(ob["weather"]));
      observations.push_back(std::move(observation));
    }
    return observations;
  }

 private:
  std::string url_;
  CURL* easy_;
  std::string body_;
  simdjson::ondemand::parser parser_;
};

// ---- the library -------------------------------------------------------------------------------

class BenchmarkClient : public OVNApiClient {
  OVN_CLASS(BenchmarkClient, OVNApiClient)

 public:
  void setupMappings() override { (void)registerWeatherMappings(*mapper()); }
};

std::shared_ptr<OVNApiClient> benchmarkClient;

class BenchmarkEndpoint : public OVNApiEndpoint {
  OVN_CLASS(BenchmarkEndpoint, OVNApiEndpoint)

 public:
  std::shared_ptr<OVNApiClient> sharedClient() const override { return benchmarkClient; }
};

std::size_t endpointFetch(const std::shared_ptr<BenchmarkEndpoint>& endpoint) {
  OVNArrayRef mapped;
  endpoint->getWithOptions(OVNDictionary::make({{"limit", observationsPerFetch}}),
                           [&](const OVNApiEndpointResultRef& result) { mapped = result->value(); });
  OVNRunLoop::main().runUntil([&] { return mapped != nullptr; }, 60);
  return mapped ? mapped->count() : 0;
}

}  // namespace

OVN_PROPERTIES(BenchmarkClient)
OVN_PROPERTIES(BenchmarkEndpoint)

int main(int argc, char** argv) {
  const int fetches = argc > 1 ? std::max(10, std::atoi(argv[1])) : 2000;
  const ServiceProcess service = startServiceProcess();
  curl_global_init(CURL_GLOBAL_DEFAULT);
  const LocalWeatherService::Options credentials;
  const std::string query = "observations/search?limit=" + std::to_string(observationsPerFetch) +
                            "&client_id=" + credentials.clientId + "&client_secret=" + credentials.clientSecret;

  OVNApiClient::configureWithClientID<BenchmarkClient>(credentials.clientId, credentials.clientSecret);
  auto configuration = OVNURLSessionConfiguration::defaultSessionConfiguration();
  configuration->setHTTPAdditionalHeaders(OVNDictionary::make({{"Accept-Encoding", acceptEncoding}}));
  benchmarkClient =
      OVNApiClient::initWithBaseURL<BenchmarkClient>(OVNURL::URLWithString(service.baseURL), configuration);
  // The replies carry no caching fields; a cache that keeps nothing makes that certain.
  OVNHTTPCache::setSharedURLCache(OVNHTTPCache::cacheWithMemoryCapacity(0, 0, std::nullopt));
  auto endpoint = OVNApiEndpoint::initWithPath<BenchmarkEndpoint>("observations/search", Observation::classObject());
  PlainClient plain(service.baseURL + query);

  if (plain.fetch().size() != observationsPerFetch || endpointFetch(endpoint) != observationsPerFetch) {
    std::printf("the warm-up fetch did not give %d observations\n", observationsPerFetch);
    stopServiceProcess(service);
    return 1;
  }
  const std::string body = plain.get();
  std::printf("GET %s: %zu bytes of JSON, %d observations, %d fetches per row, one at a time\n\n", query.c_str(),
              body.size(), observationsPerFetch, fetches);
  std::printf("| %-58s | %9s | %9s |\n", "Row", "µs/fetch", "CPU µs");
  std::printf("|---|---|---|\n");
  const Figures library = measure(fetches, [&] { endpointFetch(endpoint); });
  const Figures limit = measure(fetches, [&] { plain.fetch(); });
  print("OVNApiEndpoint fetch, typed objects on the main queue", library);
  print("libcurl + simdjson On-Demand into structs (the limit)", limit);

  // Where the library's time goes, each part on its own.
  print("  HTTP alone: libcurl GET of the same body (gzip)", measure(fetches, [&] { plain.get(); }));
  OVNValue parsed;
  print("  JSON: OVNJSONSerialization of the body into values",
        measure(fetches, [&] { parsed = OVNJSONSerialization::JSONObjectWithData(body); }));
  const OVNDictionaryRef envelope = parsed.dictionary();
  print("  envelope: OVNApiResponse of the values (copies the payload)",
        measure(fetches, [&] { (void)OVNApiResponse::initWithJSONDictionary(envelope); }));
  auto payload = envelope->objectForKey("response");
  auto mapper = benchmarkClient->mapper();
  print("  mapping: 100 observations from values into objects", measure(fetches, [&] {
          for (const auto& member : *payload.array())
            (void)mapper->createObjectWithClass(Observation::classObject(), member);
        }));
  std::printf("\nlibrary / limit: %.1fx the time, %.1fx the CPU\n",
              library.microsecondsPerFetch / limit.microsecondsPerFetch,
              library.cpuMicrosecondsPerFetch / limit.cpuMicrosecondsPerFetch);
  benchmarkClient.reset();
  stopServiceProcess(service);
  return 0;
}
