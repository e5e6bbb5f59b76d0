// OvrinCore demonstration: first the library's main job (typed objects fetched from a local
// weather service through a client and its endpoints), then a service reply mapped into the
// worked model set off the main thread, the objects described, serialized back and archived, a mapped object watched
// through an observation controller, the logger writing its file, and one real HTTP call to
// a server on the loopback interface through the session manager, asked twice: the second
// answer comes from the library's HTTP response cache; then an OAuth 2.0 sign-in, a
// protected call and a sign-out; fetched objects kept in a disk cache and read back from its
// files once its memory layer is emptied; last, a position from the location service (a
// simulated walk, or gpsd with --gpsd) and the stations nearest to it.
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "Categories/NSObject+OvrinCore.h"
#include "DemoCache.h"
#include "DemoMainJob.h"
#include "DemoNearby.h"
#include "DemoOAuth.h"
#include "KVO/OVNKVOController.h"
#include "Logging/OVNLogger.h"
#include "Networking/OVNRequest.h"
#include "Networking/OVNRequestMetrics.h"
#include "Networking/OVNResponse.h"
#include "Networking/OVNResponseResult.h"
#include "Networking/OVNURLCache.h"
#include "Networking/OVNURLSessionManager.h"
#include "OVNApiResponse.h"
#include "OVNPropertyMappingOperation.h"
#include "Observation.h"
#include "OvrinCoreVersion.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/NSObject+OVNAutoCoding.h"
#include "WeatherMappings.h"

namespace {

// A reply of the observations endpoint, as the service sends it.
const char* const kSampleReply = R"({
  "success": true,
  "error": null,
  "response": [
    {"id": "KAUS", "dataSource": "METAR", "loc": {"lat": 30.18, "long": -97.68},
     "place": {"name": "austin", "state": "tx", "country": "us"},
     "profile": {"tz": "America/Chicago", "elevM": 148, "hasPrecip": true},
     "obTimestamp": 1795000000, "obDateTime": "2026-11-18T10:26:40-06:00",
     "ob": {"tempC": 21.1, "tempF": 70, "dewpointC": 11.7, "humidity": 55, "pressureMB": 1016,
            "windKPH": 13, "windDir": "SSE", "weather": "Mostly Cloudy", "weatherCoded": "::BK",
            "icon": "mcloudy.png", "isDay": true, "visibilityKM": 16.09, "sky": 75, "precipMM": null},
     "periods": [{"timestamp": 1795003600, "tempC": 22.0}, {"timestamp": 1795007200, "tempC": 22.8}],
     "qc": 10},
    {"id": "KDAL", "dataSource": "MADIS", "loc": {"lat": 32.85, "long": -96.85},
     "place": {"name": "dallas", "state": "tx", "country": "us"},
     "profile": {"tz": "America/Chicago", "elevM": 148, "hasPrecip": false},
     "obTimestamp": 1795000300, "obDateTime": "2026-11-18T10:31:40-06:00",
     "ob": {"tempC": 17.2, "tempF": 63, "dewpointC": 8.3, "humidity": 56, "pressureMB": 1019,
            "windKPH": 20, "windDir": "N", "weather": "Clear", "weatherCoded": "::CL", "icon": "clear.png",
            "isDay": true, "visibilityKM": 16.09, "sky": 0, "precipMM": 0.0},
     "periods": []},
    {"dataSource": "PWS", "loc": {"lat": 30.27, "long": -97.74}, "place": {"name": "nowhere"}}
  ]
})";

void describe(const OVNArrayRef& observations) {
  for (const OVNValue& value : *observations) {
    auto observation = value.objectAs<Observation>();
    std::printf("  %s\n", ovn_autoDescription(*observation).c_str());
    if (observation->place) std::printf("    place: %s\n", ovn_autoDescription(*observation->place).c_str());
    std::printf("    ob: %s\n", ovn_autoDescription(*observation->measurements).c_str());
    for (const auto& period : observation->periods)
      std::printf("    period: %s\n", ovn_autoDescription(*period).c_str());
  }
}

// Now, as an HTTP "Date" field says it.
std::string httpDateNow() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char text[40];
  std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts);
  return text;
}

// Serves the sample reply on 127.0.0.1 (an ephemeral port) and fetches it through a session
// manager with the JSON serializer: the request, the HTTP response and the timings. Then
// asks again: the reply was fresh for 60 seconds, so the library's cache answers.
bool fetchFromLoopbackServer() {
  httplib::Server server;
  std::atomic<int> served{0};
  server.Get("/observations/closest", [&](const httplib::Request& request, httplib::Response& reply) {
    ++served;
    reply.set_header("Cache-Control", "max-age=60");
    reply.set_header("Date", httpDateNow());
    reply.set_content(kSampleReply, "application/json; charset=utf-8");
  });
  const int port = server.bind_to_any_port("127.0.0.1");
  std::thread serving([&] { server.listen_after_bind(); });
  while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));

  // What API clients will do: the library's cache becomes the process-wide one.
  OVNHTTPCache::setSharedURLCache(OVNURLCache::sharedCache()->cache());
  auto manager = OVNURLSessionManager::initWithConfiguration(OVNURLSessionConfiguration::defaultSessionConfiguration());
  auto parameters = OVNDictionary::make({{"p", "40.7,-74.0"}, {"limit", 1}});
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/observations/closest";
  auto get = [&] {
    std::shared_ptr<OVNResponse> response;
    manager->requestWithMethod(OVNRequestMethodGET, url, parameters)
        ->responseAsJSON(nullptr, 0, [&](const std::shared_ptr<OVNResponse>& received) { response = received; });
    OVNRunLoop::main().runUntil([&] { return response != nullptr; }, 10.0);
    return response;
  };
  auto request = manager->requestWithMethod(OVNRequestMethodGET, url, parameters);
  std::shared_ptr<OVNResponse> response;
  request->responseAsJSON(nullptr, 0, [&](const std::shared_ptr<OVNResponse>& received) { response = received; });
  OVNRunLoop::main().runUntil([&] { return response != nullptr; }, 10.0);
  auto again = get();
  const double age = OVNURLCache::sharedCache()->cachedResponseAgeForRequest(request->request());
  server.stop();
  serving.join();
  if (!response || !response->response()) {
    std::printf("  the request failed: %s\n",
                response && response->error() ? response->error()->description().c_str() : "no response");
    return false;
  }
  const auto& metrics = *response->metrics();
  std::printf("  request:  %s\n", request->description().c_str());
  std::printf("  response: %s\n", response->response()->description().c_str());
  std::printf("  decoded:  success = %s, %zu bytes\n",
              response->result()->value().valueForKey("success").description().c_str(), response->data()->length());
  std::printf("  metrics:  latency %.2f ms, request %.2f ms, serialization %.2f ms, total %.2f ms\n",
              metrics.latency() * 1e3, metrics.requestDuration() * 1e3, metrics.serializationDuration() * 1e3,
              metrics.totalDuration() * 1e3);
  const bool cached = again && again->data() && again->data()->bytes() == response->data()->bytes() && served == 1;
  std::printf("  again:    %s; the server was asked %d time(s); the reply is %.0f s old, %llu bytes in memory\n",
              cached ? "the same reply, from the response cache" : "NOT answered from the cache", served.load(), age,
              static_cast<unsigned long long>(OVNURLCache::sharedCache()->cache()->currentMemoryUsage()));
  return response->response()->statusCode() == 200 && response->result()->value().isDictionary() && cached;
}

}  // namespace

int main(int argc, char** argv) {
  const bool useGpsd = argc > 1 && std::string_view(argv[1]) == "--gpsd";
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // keep our lines in order with the console's
  std::printf("OvrinCore %s\n\n", OvrinCoreVersionString);
  const auto scratch = std::filesystem::temp_directory_path() / "ovrin-demo";
  std::filesystem::remove_all(scratch);
  std::filesystem::create_directories(scratch);
  OVNFileManager::setDocumentationDirectory(scratch.string());
  OVNFileManager::setCachesDirectory(scratch.string());

  std::printf("1. The library's main job: typed objects from the weather service\n");
  const bool mainJob = demonstrateMainJob();

  std::printf("\n2. The worked model classes, declared in C++, as the mapper sees them\n");
  for (const auto& property : Observation::classObject().properties()) {
    std::printf("  %-14s %s\n", property.name().c_str(), property.attributes().c_str());
  }

  std::printf("\n3. A reply mapped off the main thread, delivered on the main queue\n");
  auto mapper = makeWeatherMapper();
  if (!mapper) {
    std::printf("  the model tables did not register\n");
    return 1;
  }
  auto envelope = OVNJSONSerialization::JSONObjectWithData(kSampleReply).dictionary();
  auto response = OVNApiResponse::initWithJSONDictionary(envelope);
  auto operation = OVNPropertyMappingOperation::initWithApiResponse(*response, Observation::classObject(), mapper);
  OVNArrayRef observations;
  operation->setMappingCompletionBlock([&observations](const OVNArrayRef& objects) { observations = objects; });
  OVNOperationQueue mappingQueue;
  mappingQueue.addOperation(operation);  // the third element lacks its id: logged and left out
  OVNRunLoop::main().runUntil([&] { return observations != nullptr; }, 5.0);
  if (!observations || observations->count() != 2) {
    std::printf("  mapping failed\n");
    return 1;
  }
  describe(observations);
  auto first = observations->at(0).objectAs<Observation>();

  std::printf("\n4. Back to JSON (missing values as null)\n");
  auto serialized = mapper->serializeObject(first, OVNPropertyMapper::SerializeMissingAsNull);
  auto text =
      OVNJSONSerialization::dataWithJSONObject(serialized, OVNJSONWritingPrettyPrinted | OVNJSONWritingSortedKeys);
  std::printf("%s\n", text ? std::string(text->bytes().begin(), text->bytes().end()).c_str() : "(not serializable)");

  std::printf("\n5. Archived to a file and read back\n");
  const std::string archivePath = (scratch / "KAUS.archive").string();
  const bool written = ovn_writeToFile(*first, archivePath, true);
  auto restored = ovn_objectWithContentsOfFile(archivePath).objectAs<Observation>();
  std::printf("  written: %s, restored: %s\n", written ? "yes" : "no",
              restored ? ovn_autoDescription(*restored).c_str() : "(nothing)");

  std::printf("\n6. Watching a mapped object through a controller\n");
  auto screen = OVNMake<OVNObject>();  // stands for the view that shows the observation
  auto kvo = OVNKVOController::controllerWithObserver(*screen);
  int updates = 0;
  kvo->observe(first->measurements, std::vector<std::string>{"tempC"},
               OVNKeyValueObservingOptionNew | OVNKeyValueObservingOptionOld,
               [&updates](const OVNObjectRef&, const OVNObjectRef&, const OVNDictionaryRef& change) {
                 ++updates;
                 std::printf("  tempC changed from %s to %s\n", change->objectForKey("old").description().c_str(),
                             change->objectForKey("new").description().c_str());
               });
  OVNDispatchQueue::global()->async([first] {
    // A newer reading computed off the main thread; the model is changed on the main queue.
    OVNDispatchQueue::main()->async([first] { first->measurements->setValue(22.4, "tempC"); });
  });
  const bool done = OVNRunLoop::main().runUntil([&] { return updates >= 1; }, 5.0);
  kvo.reset();

  std::printf("\n7. The logger and its file\n");
  OVNLogger::setLoggingLevel(2);
  OVNLogger::enableLogToFile();
  OVNLogger::log(2, "mapped %lu observations", static_cast<unsigned long>(observations->count()));
  OVNLogger::log(1, "a debug line below the level is dropped");
  OVNLogger::synchronizeLogFile();
  if (const auto path = OVNLogger::logFilePath()) {
    if (FILE* file = std::fopen(path->c_str(), "r")) {
      char line[512];
      while (std::fgets(line, sizeof line, file)) std::printf("  | %s", line);
      std::fclose(file);
    }
  }
  std::printf("\n8. A real HTTP call to a loopback server, and the same call again\n");
  const bool fetched = fetchFromLoopbackServer();

  std::printf("\n9. Signing in with OAuth 2.0, a protected call, and signing out\n");
  const bool oauth = demonstrateOAuth();

  std::printf("\n10. Fetched objects kept in a disk cache, and read back from its files\n");
  OVNLogger::setLoggingLevel(OVNLogLevelWarn);  // the default again: each request's INFO line was shown above
  const bool cached = demonstrateCache();

  std::printf("\n11. Where am I: a position from the location service, and the stations nearest to it\n");
  const bool located = demonstrateNearby(useGpsd);
  return mainJob && done && written && restored && fetched && oauth && cached && located ? 0 : 1;
}
