#include "Platform/Location/OVNSimulatedLocationProvider.h"

#include "Platform/Location/OVNLocationError.h"
#include "Platform/Location/detail/OVNGPXReader.h"
#include "Platform/System/OVNFileManager.h"

namespace {
// The delay before a load error is reported: at once, but from a timer like every report.
constexpr double kImmediately = 0;
}  // namespace

OVNSimulatedLocationProvider::OVNSimulatedLocationProvider(std::vector<Step> track, bool repeats)
    : track_(std::move(track)), repeats_(repeats) {}

OVNSimulatedLocationProvider::~OVNSimulatedLocationProvider() { stop(); }

std::shared_ptr<OVNSimulatedLocationProvider> OVNSimulatedLocationProvider::withGPXData(std::string_view gpx) {
  ovn::detail::OVNGPXTrack read = ovn::detail::readGPX(gpx);
  auto provider = std::make_shared<OVNSimulatedLocationProvider>(std::move(read.steps));
  provider->loadError_ = std::move(read.error);
  return provider;
}

std::shared_ptr<OVNSimulatedLocationProvider> OVNSimulatedLocationProvider::withGPXFile(const std::string& path) {
  if (auto contents = OVNFileManager::contentsAtPath(path)) return withGPXData(*contents);
  auto provider = std::make_shared<OVNSimulatedLocationProvider>(std::vector<Step>{});
  provider->loadError_ = OVNError::errorWithDomain(OVNLocationErrorDomain, OVNLocationErrorLocationUnknown,
                                                   "The GPX file " + path + " cannot be read.");
  return provider;
}

void OVNSimulatedLocationProvider::start(Callbacks callbacks) {
  stop();
  callbacks_ = std::move(callbacks);
  if (loadError_) {
    timer_ = OVNTimer::scheduledTimer(kImmediately, [this](OVNTimer&) {
      if (callbacks_.failure) callbacks_.failure(loadError_);
    });
    return;
  }
  if (!track_.empty()) schedule(0, track_[0].delay);
}

void OVNSimulatedLocationProvider::stop() {
  if (timer_) timer_->invalidate();
  timer_.reset();
}

void OVNSimulatedLocationProvider::schedule(std::size_t index, double delay) {
  // The timer is invalidated by stop and by the destructor, so `this` outlives its firing.
  timer_ = OVNTimer::scheduledTimer(delay, [this, index](OVNTimer&) { report(index); });
}

void OVNSimulatedLocationProvider::report(std::size_t index) {
  std::size_t next = index + 1;
  if (next == track_.size() && repeats_) next = 0;
  if (next < track_.size()) schedule(next, track_[next].delay);
  // Scheduled before reporting: a callback that stops the provider cancels the next step.
  const Step& step = track_[index];
  if (step.failure) {
    if (callbacks_.failure) callbacks_.failure(step.failure);
    return;
  }
  OVNLocation::Fix fix = step.fix;
  if (!step.keepsTimestamp) fix.timestamp = OVNDate::now();
  if (callbacks_.location) callbacks_.location(OVNLocation::initWithFix(fix));
  if (fix.course >= 0 && callbacks_.heading) {
    callbacks_.heading(OVNMake<OVNHeading>(fix.course, fix.course, -1.0, fix.timestamp));
  }
}
