// OvrinCore demonstration: a model class declared in two lines, key-value coding and
// observation through an observation controller, work on background and main queues with
// the run loop, a timer, and the logger writing its file.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "KVO/OVNKVOController.h"
#include "Logging/OVNLogger.h"
#include "OvrinCoreVersion.h"
#include "Platform/OVNClass.h"
#include "Platform/OVNDictionary.h"
#include "Platform/OVNDispatchQueue.h"
#include "Platform/OVNFileManager.h"
#include "Platform/OVNRunLoop.h"
#include "Platform/OVNTimer.h"

// A weather observation, as the service's payloads will be mapped into.
class Observation : public OVNObject {
  OVN_CLASS(Observation, OVNObject)
 public:
  std::optional<std::string> placeName;
  double tempC = 0;
  std::int64_t humidity = 0;
};
OVN_PROPERTIES(Observation, placeName, tempC, humidity)

// The screen that shows an observation; it watches the model through its controller.
class ObservationView : public OVNObject {
 public:
  std::shared_ptr<OVNKVOController> kvo;
  int updates = 0;

  void watch(const std::shared_ptr<Observation>& observation) {
    kvo = OVNKVOController::controllerWithObserver(*this);
    kvo->observe(observation, std::vector<std::string>{"tempC", "humidity"},
                 OVNKeyValueObservingOptionNew | OVNKeyValueObservingOptionOld,
                 [](const OVNObjectRef& observer, const OVNObjectRef& object, const OVNDictionaryRef& change) {
                   auto view = std::static_pointer_cast<ObservationView>(observer);
                   ++view->updates;
                   std::printf("  view: %s changed from %s to %s\n", object->valueForKey("placeName").description().c_str(),
                               change->objectForKey("old").description().c_str(),
                               change->objectForKey("new").description().c_str());
                 });
  }
};

int main() {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // keep our lines in order with the console's
  std::printf("OvrinCore %s\n\n", OvrinCoreVersionString);

  // Keep the demonstration's files in a scratch directory.
  const auto scratch = std::filesystem::temp_directory_path() / "ovrin-demo";
  std::filesystem::remove_all(scratch);
  OVNFileManager::setDocumentationDirectory(scratch.string());

  std::printf("1. A model class and its property table\n");
  const OVNClass* cls = OVNClass::named("Observation");
  for (const auto& property : cls->properties()) {
    std::printf("  %-10s %s\n", property.name().c_str(), property.attributes().c_str());
  }
  auto observation = std::static_pointer_cast<Observation>(cls->createInstance());
  observation->setValue("Austin", "placeName");
  observation->setValue(21.5, "tempC");
  std::printf("  by key path: placeName = %s, tempC = %s\n\n",
              observation->valueForKeyPath("placeName").description().c_str(),
              observation->valueForKey("tempC").description().c_str());

  std::printf("2. Observation through a controller\n");
  auto view = OVNMake<ObservationView>();
  view->watch(observation);
  observation->setValue(23.0, "tempC");

  std::printf("\n3. Background work reporting on the main queue, and a timer\n");
  OVNDispatchQueue::global()->async([observation] {
    // Computed off the main thread; the model is updated on the main queue.
    const std::int64_t humidity = 64;
    OVNDispatchQueue::main()->async([observation, humidity] { observation->setValue(humidity, "humidity"); });
  });
  bool timerFired = false;
  auto timer = OVNTimer::scheduledTimer(0.05, [&timerFired](OVNTimer&) {
    timerFired = true;
    std::printf("  timer fired on the main run loop\n");
  });
  const bool done = OVNRunLoop::main().runUntil([&] { return timerFired && view->updates >= 2; }, 5.0);
  std::printf("  run loop finished: %s, view updates: %d\n", done ? "yes" : "timed out", view->updates);

  std::printf("\n4. The logger and its file\n");
  OVNLogger::setLoggingLevel(2);
  OVNLogger::enableLogToFile();
  OVNLogger::log(2, "observation: %@", OVNValue(observation->valueForKey("tempC")));
  OVNLogger::log(1, "a debug line below the level is dropped");
  OVNLogger::log(4, "an error line: %d%%", 100);
  OVNLogger::synchronizeLogFile();
  const auto path = OVNLogger::logFilePath();
  std::printf("  log file: %s\n", path ? path->c_str() : "(none)");
  if (path) {
    if (FILE* file = std::fopen(path->c_str(), "r")) {
      char line[512];
      while (std::fgets(line, sizeof line, file)) std::printf("  | %s", line);
      std::fclose(file);
    }
  }
  view->kvo.reset();  // the controller removes its registrations as it goes
  std::printf("\nobservers left on the model: %s\n", observation->hasObservers() ? "some" : "none");
  return done ? 0 : 1;
}
