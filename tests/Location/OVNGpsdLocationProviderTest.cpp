// The gpsd provider against the real daemon, fed NMEA through a pseudo-terminal.
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Location/CLLocationManager+OvrinCore.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Location/OVNGpsdLocationProvider.h"
#include "Platform/Location/OVNLocationError.h"
#include "Support/GpsdDaemon.h"
#include "Support/RawSocketServer.h"

namespace {

using namespace std::chrono_literals;

// What a provider reported, failures as their descriptions; lock `mutex` while it runs.
struct Recorder {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<OVNLocationRef> locations;
  std::vector<OVNHeadingRef> headings;
  std::vector<std::string> failures;

  OVNLocationProvider::Callbacks callbacks() {
    const auto add = [this](auto& list, auto value) {
      std::lock_guard<std::mutex> guard(mutex);
      list.push_back(value);
      changed.notify_all();
    };
    return {[=, this](const OVNLocationRef& location) { add(locations, location); },
            [=, this](const OVNHeadingRef& heading) { add(headings, heading); },
            [=, this](const std::shared_ptr<OVNError>& error) {
              const bool ours =
                  error->domain() == OVNLocationErrorDomain && error->code() == OVNLocationErrorLocationUnknown;
              add(failures, (ours ? "" : "wrong domain or code: ") + error->localizedDescription());
            }};
  }
  bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout = 20s) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, timeout, done);
  }
};

// A receiver at a fixed place; a cycle is GGA, GSA and RMC (%T the time, %D the date).
struct Place {
  const char* name;
  double latitude, longitude, hdop, altitude, speed, course;  // altitude 0: a 2D fix; course -1: none
  const char* cycle;                                          // sentences separated by spaces
};
constexpr const char* kAustinCycle =
    "$GPGGA,%T,3016.0320,N,09744.5860,W,1,08,0.9,149.0,M,-22.0,M,, $GPGSA,A,3,04,05,09,12,24,25,29,30,,,,,1.8,0.9,1.5 "
    "$GPRMC,%T,A,3016.0320,N,09744.5860,W,010.0,084.4,%D,003.1,W";
constexpr const char* kParisCycle =
    "$GPGGA,%T,4851.3960,N,00221.1320,E,1,04,1.8,,M,,M,, $GPGSA,A,2,04,05,09,12,,,,,,,,,2.0,1.8, "
    "$GPRMC,%T,A,4851.3960,N,00221.1320,E,000.0,,%D,,";
constexpr const char* kNoFixCycle = "$GPGGA,%T,,,,,0,00,,,M,,M,, $GPGSA,A,1,,,,,,,,,,,,,,, $GPRMC,%T,V,,,,,,,%D,,";
const Place kAustin{"Austin", 30.2672, -97.7431, 0.9, 149.0, 10 * 1852.0 / 3600, 84.4, kAustinCycle};
const Place kParis{"Paris", 48.8566, 2.3522, 1.8, 0, 0, -1, kParisCycle};
const Place kNoFix{"no fix", 0, 0, 0, 0, 0, -1, kNoFixCycle};

// Writes cycles whose fix times run 100 s ahead of the clock, so none looks like "now".
class Receiver {
 public:
  explicit Receiver(GpsdDaemon& gpsd) : gpsd_(gpsd), next_(::time(nullptr) + 100) {}

  // Each cycle goes out twice, as from a receiver repeating itself: gpsd repeats its report.
  void writeCycle(const Place& place) {
    char time[16], date[16];
    tm utc{};
    std::strftime(time, sizeof time, "%H%M%S.00", ::gmtime_r(&next_, &utc));
    std::strftime(date, sizeof date, "%d%m%y", &utc);
    for (int repeat = 0; repeat < 2; ++repeat) {
      std::istringstream sentences(place.cycle);
      for (std::string sentence; sentences >> sentence; gpsd_.writeNMEA(sentence)) {
        for (const auto& [mark, value] : {std::pair{"%T", time}, {"%D", date}}) {
          if (const auto at = sentence.find(mark); at != std::string::npos) sentence.replace(at, 2, value);
        }
      }
    }
    fixTimes_.insert(static_cast<double>(next_++));
  }
  // A cycle every 100 ms until `done` (checked under the recorder's lock), at most `cycles`.
  bool feedUntil(const Place& place, Recorder& recorder, const std::function<bool()>& done, int cycles = 200) {
    for (int cycle = 0; cycle < cycles; ++cycle) {
      writeCycle(place);
      if (recorder.waitFor(done, 100ms)) return true;
    }
    return false;
  }
  bool isFixTime(const OVNDate& date) const { return fixTimes_.contains(date.timeIntervalSince1970()); }

 private:
  GpsdDaemon& gpsd_;
  time_t next_;
  std::set<double> fixTimes_;
};

bool sameFix(const OVNLocation& a, const OVNLocation& b) {
  return a.coordinate() == b.coordinate() && a.altitude() == b.altitude() && a.speed() == b.speed() &&
         a.horizontalAccuracy() == b.horizontalAccuracy() && a.verticalAccuracy() == b.verticalAccuracy() &&
         a.course() == b.course() && a.timestamp().timeIntervalSince1970() == b.timestamp().timeIntervalSince1970();
}

}  // namespace

TEST(OVNGpsdLocationProviderTest, FixesArriveWithPositionMotionAccuracyAndTime) {
  std::vector<double> accuracyPerHDOP;
  for (const Place& place : {kAustin, kParis}) {
    SCOPED_TRACE(place.name);
    GpsdDaemon gpsd;
    gpsd.start();
    Receiver receiver(gpsd);
    for (int cycle = 0; cycle < 3; ++cycle) receiver.writeCycle(kNoFix);  // nothing to report
    Recorder recorder;
    OVNGpsdLocationProvider provider("localhost", std::to_string(gpsd.port()));
    provider.start(recorder.callbacks());
    // The first reports may lack the date (GGA alone); three with fix times show the steady state.
    ASSERT_TRUE(receiver.feedUntil(place, recorder, [&] {
      return std::ranges::count_if(recorder.locations, [&](auto& l) { return receiver.isFixTime(l->timestamp()); }) > 2;
    })) << gpsd.log();
    provider.stop();

    const double now = OVNDate::now().timeIntervalSince1970();
    for (std::size_t index = 0; index < recorder.locations.size(); ++index) {
      const OVNLocation& location = *recorder.locations[index];
      EXPECT_NEAR(location.coordinate().latitude, place.latitude, 1e-7);
      EXPECT_NEAR(location.coordinate().longitude, place.longitude, 1e-7);
      const double time = location.timestamp().timeIntervalSince1970();  // a fix time, else the arrival
      EXPECT_TRUE(receiver.isFixTime(location.timestamp()) || (time <= now && time > now - 60)) << time;
      EXPECT_FALSE(index > 0 && sameFix(location, *recorder.locations[index - 1])) << "reported twice: " << index;
    }
    const OVNLocation& last = *recorder.locations.back();
    EXPECT_NEAR(last.speed(), place.speed, 0.001);
    EXPECT_NEAR(last.course(), place.course, 0.001);
    EXPECT_NEAR(last.altitude(), place.altitude, 0.001);
    EXPECT_EQ(last.verticalAccuracy() > 0, place.altitude != 0) << last.verticalAccuracy();
    ASSERT_GT(last.horizontalAccuracy(), 0);
    accuracyPerHDOP.push_back(last.horizontalAccuracy() / place.hdop);
    ASSERT_EQ(recorder.headings.empty(), place.course < 0);
    if (place.course < 0) continue;
    const OVNHeading& heading = *recorder.headings.back();
    EXPECT_NEAR(heading.trueHeading(), place.course, 0.001);
    EXPECT_NEAR(std::fabs(heading.magneticHeading() - heading.trueHeading()), 3.1, 0.01);  // the RMC's variation
    EXPECT_TRUE(receiver.isFixTime(heading.timestamp()));
  }
  // gpsd's eph is the HDOP times a constant: the accuracy must follow it.
  ASSERT_EQ(accuracyPerHDOP.size(), 2u);
  EXPECT_NEAR(accuracyPerHDOP[0], accuracyPerHDOP[1], accuracyPerHDOP[0] * 0.01);
}

TEST(OVNGpsdLocationProviderTest, EachOutageIsOneFailureAndFixesResumeWhenGpsdIsBack) {
  GpsdDaemon gpsd;  // its port is free until it starts
  const std::string where = "localhost:" + std::to_string(gpsd.port());
  Recorder recorder;
  OVNGpsdLocationProvider provider("localhost", std::to_string(gpsd.port()));
  provider.start(recorder.callbacks());
  ASSERT_TRUE(recorder.waitFor([&] { return !recorder.failures.empty(); }));
  std::this_thread::sleep_for(1600ms);  // two more attempts fail, unreported
  gpsd.start();
  Receiver receiver(gpsd);
  ASSERT_TRUE(receiver.feedUntil(kAustin, recorder, [&] { return !recorder.locations.empty(); })) << gpsd.log();

  gpsd.stop(SIGKILL);
  ASSERT_TRUE(recorder.waitFor([&] { return recorder.failures.size() == 2; }));
  std::this_thread::sleep_for(1600ms);
  gpsd.restart();
  ASSERT_TRUE(receiver.feedUntil(kParis, recorder, [&] {
    return recorder.locations.back()->coordinate().latitude == kParis.latitude;
  })) << gpsd.log();
  provider.stop();
  EXPECT_EQ(recorder.failures,
            (std::vector<std::string>{"gpsd at " + where + " cannot be reached: Connection refused",
                                      "the connection to gpsd at " + where + " was lost: the peer closed it"}));
}

TEST(OVNGpsdLocationProviderTest, GarbageFromThePeerIsOneFailureAndNoCrash) {
  const std::string version = R"({"class":"VERSION","release":"3.22","proto_major":3,"proto_minor":14})";
  const std::pair<std::string, std::string> cases[] = {
      {"HTTP/1.1 400 Bad Request\r\n\r\n", R"(is not gpsd: instead of a VERSION greeting it sent "HTTP/1.1 400)"},
      {version + "\n{\"class\":\"TPV\",\"lat\":\n",
       R"(sent a line that is not a JSON report: "{"class":"TPV","lat":")"},
  };
  for (const auto& [garbage, complaint] : cases) {
    SCOPED_TRACE(garbage);
    RawSocketServer server;
    server.start(
        [&](int fd) {
          server.sendAll(fd, garbage);
          server.waitForPeerClose(fd);
        },
        false);
    Recorder recorder;
    OVNGpsdLocationProvider provider("127.0.0.1", std::to_string(server.port()));
    provider.start(recorder.callbacks());
    // Each attempt connects twice (a check, then libgps): three attempts, each one a failure.
    for (int wait = 0; wait < 2000 && server.acceptedConnections() < 6; ++wait) std::this_thread::sleep_for(10ms);
    provider.stop();
    ASSERT_EQ(recorder.failures.size(), 1u);
    EXPECT_NE(recorder.failures[0].find("127.0.0.1:" + std::to_string(server.port())), std::string::npos);
    EXPECT_NE(recorder.failures[0].find(complaint), std::string::npos) << recorder.failures[0];
    EXPECT_TRUE(recorder.locations.empty());
  }
}

TEST(OVNGpsdLocationProviderTest, NoCallbackRunsAfterStopReturns) {
  GpsdDaemon gpsd;
  gpsd.start();
  Receiver receiver(gpsd);
  Recorder recorder;
  std::atomic<bool> stopped{false};
  std::atomic<int> late{0};
  auto callbacks = recorder.callbacks();
  // A slow callback, so that stop usually comes while one runs: stop must wait for it.
  callbacks.location = [&, record = callbacks.location](const OVNLocationRef& location) {
    late += stopped;
    std::this_thread::sleep_for(100ms);
    late += stopped;
    record(location);
  };
  OVNGpsdLocationProvider provider("localhost", std::to_string(gpsd.port()));
  provider.start(callbacks);
  ASSERT_TRUE(receiver.feedUntil(kAustin, recorder, [&] { return recorder.locations.size() >= 2; })) << gpsd.log();
  provider.stop();
  stopped = true;
  receiver.feedUntil(
      kAustin, recorder, [] { return false; }, 10);
  EXPECT_EQ(late, 0);

  // Stopped from its own callback, the provider neither waits for itself nor calls again.
  std::atomic<int> calls{0};
  std::atomic<bool> stoppedInside{false};
  OVNGpsdLocationProvider selfStopping("localhost", std::to_string(gpsd.port()));
  OVNLocationProvider::Callbacks stopping;
  stopping.location = [&](const OVNLocationRef&) {
    ++calls;
    selfStopping.stop();
    stoppedInside = true;
  };
  selfStopping.start(stopping);
  ASSERT_TRUE(receiver.feedUntil(kParis, recorder, [&] { return stoppedInside.load(); }));
  receiver.feedUntil(
      kParis, recorder, [] { return false; }, 10);
  EXPECT_EQ(calls, 1);
}

// Through a location manager and the callback adapter: the filters see gpsd's accuracy and
// the fix's own time (100 s ahead of the clock here).
TEST(OVNGpsdLocationProviderTest, FixesReachTheAdapterThroughItsFilters) {
  GpsdDaemon gpsd;
  gpsd.start();
  Receiver receiver(gpsd);
  struct Case {
    double accuracy, age;
    bool passes;
  };
  for (const Case& c : {Case{1000, 200, true}, Case{0.5, 200, false}, Case{1000, 15, false}}) {
    auto manager = updateManagerWithAccuracy(c.accuracy, c.age);
    manager->setProvider(std::make_shared<OVNGpsdLocationProvider>("localhost", std::to_string(gpsd.port())));
    int delivered = 0;
    startUpdatingLocationWithUpdateBlock(
        *manager, [&](OVNLocationManager&, const OVNLocationRef& location, const std::shared_ptr<OVNError>&, bool*) {
          if (location && receiver.isFixTime(location->timestamp())) ++delivered;
        });
    const auto sawFixTime = [&] { return manager->location() && receiver.isFixTime(manager->location()->timestamp()); };
    for (int cycle = 0; cycle < 200 && !sawFixTime(); ++cycle) {
      receiver.writeCycle(kAustin);
      OVNRunLoop::main().runUntil(sawFixTime, 0.1);
    }
    ASSERT_TRUE(sawFixTime()) << gpsd.log();
    EXPECT_EQ(delivered > 0, c.passes) << c.accuracy << " m, " << c.age << " s";
    manager->stopUpdatingLocation();
  }
}
