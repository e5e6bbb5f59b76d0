#pragma once
// A provider that replays a track of fixes on the main run loop's timers, so that tests and
// demonstrations drive a location manager exactly (with OVNTestClock, to the second).
//
// A track is a list of steps: each waits its delay (seconds after the previous step, or
// after start) and then reports a fix, or a failure. Fixes are stamped with the time they
// are reported unless a step keeps its own time stamp, so that age filters see them fresh.
// A fix with a course also reports a heading of that course (true and magnetic alike,
// accuracy unknown). Stopping cancels the step under way; starting again replays from the
// first step. The track ends after its last step unless it repeats.
//
// GPX: track points (<trkpt>), route points (<rtept>) and waypoints (<wpt>), in document
// order, with lat and lon attributes and optional <ele>, <time>, <course> and <speed>. The
// points' times set the delays between them (one second between points without times); the
// first point comes one second after start. A file that cannot be read or is not such a
// GPX document (malformed XML, a point without a valid coordinate, no points) gives a
// provider whose start reports one failure saying why, and nothing else; loadError() says
// the same at once.
//
// Threads: start and stop on the main thread; reports run on the main thread, from timers.

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNTimer.h"
#include "Platform/Location/OVNLocationProvider.h"

class OVN_EXPORT OVNSimulatedLocationProvider : public OVNLocationProvider {
 public:
  struct Step {
    double delay = 1;
    OVNLocation::Fix fix;
    //! Reported instead of the fix when set.
    std::shared_ptr<OVNError> failure;
    //! Keep fix.timestamp rather than stamping the fix when it is reported.
    bool keepsTimestamp = false;
  };

  explicit OVNSimulatedLocationProvider(std::vector<Step> track, bool repeats = false);
  ~OVNSimulatedLocationProvider() override;

  static std::shared_ptr<OVNSimulatedLocationProvider> withGPXFile(const std::string& path);
  static std::shared_ptr<OVNSimulatedLocationProvider> withGPXData(std::string_view gpx);

  const std::vector<Step>& track() const { return track_; }
  //! Why the GPX track could not be loaded; null when it was.
  std::shared_ptr<OVNError> loadError() const { return loadError_; }

  void start(Callbacks callbacks) override;
  void stop() override;

 private:
  void schedule(std::size_t index, double delay);
  void report(std::size_t index);

  std::vector<Step> track_;
  bool repeats_ = false;
  std::shared_ptr<OVNError> loadError_;
  Callbacks callbacks_;
  std::shared_ptr<OVNTimer> timer_;
};
