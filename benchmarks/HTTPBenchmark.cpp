// GET of a 1.8 KB JSON body from nginx on loopback with keep-alive, through the session
// manager with the JSON serializer and, as the anchor, through plain libcurl multi driving
// the same server from this same program. Prints requests per second, p50 and p99 latency,
// client CPU time per request, and the manager's resident memory before and after.
// Then the same reply through the HTTP response cache: a fresh hit from memory, a hit from
// disk with the memory layer emptied, a 304 revalidation and, in the same run, a full
// network fetch; and how many responses per second the cache stores with its disk layer.
//
//   HTTPBenchmark [requests] [manager|cache|hits|revalidations]
//     default 100000 per row; "manager": the session manager at 16 in flight only, for
//     profiling; "cache": the cache rows only; "hits", "revalidations": memory hits or 304
//     revalidations at 16 in flight only, for profiling)

#include <curl/curl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Networking/OVNRequest.h"
#include "Networking/OVNResponse.h"
#include "Networking/OVNResponseResult.h"
#include "Networking/OVNURLSessionManager.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/NginxServer.h"
#include "Support/TemporaryDirectory.h"

namespace {

using Clock = std::chrono::steady_clock;
// Both clients may open as many connections as they have requests in flight.
constexpr int connectionsPerHost = 16;
// What the session manager's default headers offer; the anchor offers the same.
constexpr const char* acceptEncoding = "gzip;q=1.0, compress;q=0.5";

struct Figures {
  double requestsPerSecond = 0;
  double p50Milliseconds = 0;
  double p99Milliseconds = 0;
  double cpuMicrosecondsPerRequest = 0;
  int failures = 0;
};

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double residentMegabytes() {
  long pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

class Stopwatch {
 public:
  void stop(Figures& figures, int requests, std::vector<double>& latencies) const {
    const double wall = std::chrono::duration<double>(Clock::now() - wall_).count();
    figures.requestsPerSecond = requests / wall;
    figures.cpuMicrosecondsPerRequest = (cpuSeconds() - cpu_) * 1e6 / requests;
    std::sort(latencies.begin(), latencies.end());
    auto at = [&](double share) { return latencies[static_cast<std::size_t>(share * (latencies.size() - 1))] * 1e3; };
    figures.p50Milliseconds = at(0.50);
    figures.p99Milliseconds = at(0.99);
  }

 private:
  Clock::time_point wall_ = Clock::now();
  double cpu_ = cpuSeconds();
};

// ---- the anchor: plain libcurl multi, the same server, the same body ---------------------

struct CurlAnchor {
  explicit CurlAnchor(std::string url) : url_(std::move(url)) {
    multi_ = curl_multi_init();
    curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS, static_cast<long>(connectionsPerHost));
  }
  ~CurlAnchor() {
    for (CURL* easy : spare_) curl_easy_cleanup(easy);
    curl_multi_cleanup(multi_);
  }

  Figures run(int requests, int inFlight) {
    Figures figures;
    Stopwatch stopwatch;
    int started = 0, finished = 0;
    std::vector<double> latencies;
    latencies.reserve(static_cast<std::size_t>(requests));
    auto start = [&] {
      CURL* easy = take();
      auto* slot = new Slot{Clock::now(), {}};
      curl_easy_setopt(easy, CURLOPT_URL, url_.c_str());
      curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, acceptEncoding);
      curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
      curl_easy_setopt(easy, CURLOPT_PRIVATE, slot);
      curl_easy_setopt(easy, CURLOPT_WRITEDATA, &slot->body);
      curl_easy_setopt(
          easy, CURLOPT_WRITEFUNCTION, +[](char* data, std::size_t size, std::size_t count, void* body) {
            static_cast<std::string*>(body)->append(data, size * count);
            return size * count;
          });
      curl_multi_add_handle(multi_, easy);
      ++started;
    };
    while (started < std::min(inFlight, requests)) start();
    while (finished < requests) {
      int running = 0;
      curl_multi_perform(multi_, &running);
      int left = 0;
      while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        Slot* slot = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &slot);
        latencies.push_back(std::chrono::duration<double>(Clock::now() - slot->started).count());
        if (message->data.result != CURLE_OK || slot->body.size() < 1000) ++figures.failures;
        delete slot;
        curl_multi_remove_handle(multi_, message->easy_handle);
        curl_easy_reset(message->easy_handle);
        spare_.push_back(message->easy_handle);
        ++finished;
        if (started < requests) start();
      }
      if (finished < requests) curl_multi_poll(multi_, nullptr, 0, 100, nullptr);
    }
    stopwatch.stop(figures, requests, latencies);
    return figures;
  }

 private:
  struct Slot {
    Clock::time_point started;
    std::string body;
  };
  CURL* take() {
    if (spare_.empty()) return curl_easy_init();
    CURL* easy = spare_.back();
    spare_.pop_back();
    return easy;
  }
  std::string url_;
  CURLM* multi_;
  std::vector<CURL*> spare_;
};

// ---- the session manager with the JSON serializer -----------------------------------------

class ManagerClient {
 public:
  //! Null `cache`: every request goes to the network.
  ManagerClient(std::string url, std::shared_ptr<OVNHTTPCache> cache) : url_(std::move(url)) {
    auto configuration = OVNURLSessionConfiguration::defaultSessionConfiguration();
    configuration->setHTTPMaximumConnectionsPerHost(connectionsPerHost);
    configuration->setURLCache(std::move(cache));
    manager_ = OVNURLSessionManager::initWithConfiguration(configuration);
  }

  Figures run(int requests, int inFlight) {
    Figures figures;
    Stopwatch stopwatch;
    int started = 0, finished = 0;
    std::vector<double> latencies;
    latencies.reserve(static_cast<std::size_t>(requests));
    std::function<void()> start = [&] {
      const auto began = Clock::now();
      ++started;
      auto request = manager_->requestWithMethod(OVNRequestMethodGET, url_, nullptr);
      request->responseAsJSON(nullptr, 0, [&, began](const std::shared_ptr<OVNResponse>& response) {
        latencies.push_back(std::chrono::duration<double>(Clock::now() - began).count());
        if (!response->result()->value().isArray()) ++figures.failures;
        ++finished;
        if (started < requests) start();
      });
    };
    while (started < std::min(inFlight, requests)) start();
    OVNRunLoop::main().runUntil([&] { return finished == requests; }, 3600);
    stopwatch.stop(figures, requests, latencies);
    return figures;
  }

 private:
  std::string url_;
  std::shared_ptr<OVNURLSessionManager> manager_;
};

void print(const char* client, int inFlight, const Figures& f) {
  std::printf("| %-40s | %2d | %8.0f | %6.3f | %6.3f | %6.1f | %d |\n", client, inFlight, f.requestsPerSecond,
              f.p50Milliseconds, f.p99Milliseconds, f.cpuMicrosecondsPerRequest, f.failures);
}

// About 1.8 KB of observation-like JSON.
std::string weatherJSON() {
  std::string json = "[";
  for (int i = 0; i < 18; ++i) {
    if (i) json += ",";
    json += R"({"id":"STATION)" + std::to_string(1000 + i) +
            R"(","loc":{"lat":40.7,"long":-74.0},"ob":{"tempC":21.5,"humidity":64,"windKPH":11}})";
  }
  return json + "]";
}

constexpr std::uint64_t memoryCapacity = 4 * 1024 * 1024;
constexpr std::uint64_t diskCapacity = 512 * 1024 * 1024;

// Responses per second and CPU per response for storing `count` distinct replies.
void measureStores(const std::string& directory, const std::string& body, int count) {
  auto cache = OVNHTTPCache::cacheWithMemoryCapacity(memoryCapacity, diskCapacity, directory);
  auto fields = OVNDictionary::make({{"Content-Type", "application/json"}, {"Cache-Control", "max-age=3600"}});
  auto data = OVNData::fromString(body);
  std::vector<std::shared_ptr<OVNURLRequest>> requests;
  std::vector<std::shared_ptr<OVNCachedURLResponse>> responses;
  for (int i = 0; i < count; ++i) {
    auto url = OVNURL::URLWithString("http://127.0.0.1/observations/" + std::to_string(i));
    requests.push_back(OVNURLRequest::requestWithURL(url));
    responses.push_back(OVNCachedURLResponse::cachedResponseWithResponse(
        OVNHTTPURLResponse::responseWithURL(url, 200, "HTTP/1.1", fields), data));
  }
  const auto began = Clock::now();
  const double cpu = cpuSeconds();
  for (int i = 0; i < count; ++i) cache->storeCachedResponse(responses[i], *requests[i]);
  const double wall = std::chrono::duration<double>(Clock::now() - began).count();
  std::printf(
      "\nStores with the disk layer on: %d responses of %zu bytes, %.0f responses/s, %.1f us CPU each; "
      "disk usage %.1f MB\n",
      count, body.size(), count / wall, (cpuSeconds() - cpu) * 1e6 / count,
      static_cast<double>(cache->currentDiskUsage()) / (1024.0 * 1024.0));
}

enum class CacheRows { all, memoryHits, revalidations };

void measureCache(const NginxServer& nginx, const std::string& body, int requests, CacheRows rows) {
  for (const char* folder : {"/cache/fresh", "/cache/check"}) {
    std::filesystem::create_directories(nginx.docRoot() + folder);
    std::ofstream(nginx.docRoot() + folder + "/weather.json") << body;
  }
  TemporaryDirectory directory("ovrin-cache-benchmark");
  auto cache = OVNHTTPCache::cacheWithMemoryCapacity(memoryCapacity, diskCapacity, directory.path() + "/responses");
  ManagerClient fresh(nginx.httpURL("/cache/fresh/weather.json"), cache);
  ManagerClient revalidated(nginx.httpURL("/cache/check/weather.json"), cache);
  ManagerClient network(nginx.httpURL("/weather.json"), nullptr);
  if (rows != CacheRows::all) {
    ManagerClient& client = rows == CacheRows::memoryHits ? fresh : revalidated;
    client.run(1000, 16);
    print(rows == CacheRows::memoryHits ? "fresh hit from memory" : "304 revalidation", 16, client.run(requests, 16));
    return;
  }
  std::printf("\nThe same reply through the response cache (1 in flight, then 16)\n\n");
  std::printf("| Path | In flight | Requests/s | p50 ms | p99 ms | CPU us/request | Failures |\n");
  std::printf("|---|---|---|---|---|---|---|\n");
  for (int inFlight : {1, 16}) {
    fresh.run(1000, inFlight);  // stored, and warm
    const Figures memoryHit = fresh.run(requests, inFlight);
    print("fresh hit from memory", inFlight, memoryHit);
    cache->setMemoryCapacity(0);
    print("fresh hit from disk (memory layer empty)", inFlight, fresh.run(requests, inFlight));
    cache->setMemoryCapacity(memoryCapacity);
    revalidated.run(1000, inFlight);
    print("304 revalidation", inFlight, revalidated.run(requests, inFlight));
    network.run(1000, inFlight);
    const Figures fetched = network.run(requests, inFlight);
    print("network fetch, no cache", inFlight, fetched);
    std::printf("| memory hit: %.1fx less CPU than the network fetch | | | | | | |\n",
                fetched.cpuMicrosecondsPerRequest / memoryHit.cpuMicrosecondsPerRequest);
  }
  measureStores(directory.path() + "/stores", body, requests);
}

}  // namespace

int main(int argc, char** argv) {
  const int requests = argc > 1 ? std::max(100, std::atoi(argv[1])) : 100000;
  NginxServer nginx(NginxServer::Options{1, false});
  nginx.start();
  const std::string body = weatherJSON();
  std::ofstream(nginx.docRoot() + "/weather.json") << body;
  const std::string url = nginx.httpURL("/weather.json");
  curl_global_init(CURL_GLOBAL_DEFAULT);

  std::printf("GET %s (%zu bytes, gzip on the wire), %d requests per row, nginx with 1 worker\n\n", url.c_str(),
              body.size(), requests);
  std::printf("| Client | In flight | Requests/s | p50 ms | p99 ms | CPU us/request | Failures |\n");
  std::printf("|---|---|---|---|---|---|---|\n");
  const std::string mode = argc > 2 ? argv[2] : "";
  if (mode == "cache" || mode == "hits" || mode == "revalidations") {
    measureCache(
        nginx, body, requests,
        mode == "hits" ? CacheRows::memoryHits : (mode == "revalidations" ? CacheRows::revalidations : CacheRows::all));
    return 0;
  }
  ManagerClient manager(url, nullptr);
  manager.run(1000, 16);  // warm-up: connections open, first allocations made
  const double residentBefore = residentMegabytes();
  if (mode == "manager") {
    print("OVNURLSessionManager + JSON serializer", 16, manager.run(requests, 16));
    return 0;
  }
  for (int inFlight : {1, 16}) {
    CurlAnchor anchor(url);
    anchor.run(1000, inFlight);
    print("plain libcurl multi (anchor)", inFlight, anchor.run(requests, inFlight));
    print("OVNURLSessionManager + JSON serializer", inFlight, manager.run(requests, inFlight));
  }
  std::printf("\nManager resident memory: %.1f MB after warm-up, %.1f MB after %d more requests\n", residentBefore,
              residentMegabytes(), 2 * requests);
  measureCache(nginx, body, requests, CacheRows::all);
  return 0;
}
