#include "Platform/Location/OVNGpsdLocationProvider.h"

#include <gps.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

#include "Platform/Location/OVNLocationError.h"
#include "Platform/Location/detail/OVNGpsdConnection.h"

// API 9 brought altMSL/altHAE, magnetic_track and fix times as timespec.
#if GPSD_API_MAJOR_VERSION < 9
#error "OVNGpsdLocationProvider needs libgps with API version 9 or later"
#endif

namespace {

constexpr std::string_view kDefaultHost = "localhost";
constexpr std::string_view kDefaultPort = DEFAULT_GPSD_PORT;
constexpr int kPollMicroseconds = 100'000;  // how long stop may wait for the reading thread
constexpr std::chrono::milliseconds kFirstRetryDelay{500};
constexpr std::chrono::milliseconds kLongestRetryDelay{5000};
constexpr double kUnknown = -1;

double finiteOr(double value, double fallback) { return std::isfinite(value) ? value : fallback; }

// What one TPV report says, mapped to the platform's conventions (no NaN left), so that
// two reports of the same fix compare equal.
struct Sample {
  double latitude = 0;
  double longitude = 0;
  double altitude = 0;
  double horizontalAccuracy = kUnknown;
  double verticalAccuracy = kUnknown;
  double course = kUnknown;
  double speed = kUnknown;
  double magneticCourse = kUnknown;
  double courseAccuracy = kUnknown;
  std::optional<std::pair<std::int64_t, std::int64_t>> time;  // seconds and nanoseconds since 1970

  bool operator==(const Sample&) const = default;
};

std::optional<Sample> sampleOf(const gps_data_t& data) {
  const gps_fix_t& fix = data.fix;
  if ((data.set & MODE_SET) == 0 || fix.mode < MODE_2D) return std::nullopt;
  if (!std::isfinite(fix.latitude) || !std::isfinite(fix.longitude)) return std::nullopt;
  Sample sample;
  sample.latitude = fix.latitude;
  sample.longitude = fix.longitude;
  // Altitude is valid in a 3D fix only; height above mean sea level is what people expect.
  const double altitude = fix.mode >= MODE_3D ? finiteOr(fix.altMSL, fix.altHAE) : NAN;
  if (std::isfinite(altitude)) {
    sample.altitude = altitude;
    sample.verticalAccuracy = finiteOr(fix.epv, kUnknown);
  }
  if (std::isfinite(fix.eph)) {
    sample.horizontalAccuracy = fix.eph;
  } else if (std::isfinite(fix.epx) && std::isfinite(fix.epy)) {
    sample.horizontalAccuracy = std::hypot(fix.epx, fix.epy);
  }
  sample.course = finiteOr(fix.track, kUnknown);
  sample.speed = finiteOr(fix.speed, kUnknown);
  sample.magneticCourse = finiteOr(fix.magnetic_track, sample.course);
  sample.courseAccuracy = finiteOr(fix.epd, kUnknown);
  if ((data.set & TIME_SET) != 0 && fix.time.tv_sec != 0) sample.time.emplace(fix.time.tv_sec, fix.time.tv_nsec);
  return sample;
}

}  // namespace

namespace ovn::detail {

// The provider's thread and everything it uses; shared with the provider so that a stop
// from one of the callbacks can let the thread finish on its own.
class OVNGpsdWorker {
 public:
  OVNGpsdWorker(std::string host, std::string port, OVNLocationProvider::Callbacks callbacks)
      : host_(std::move(host)), port_(std::move(port)), callbacks_(std::move(callbacks)) {}

  void run();

  //! Lets run() begin: start calls it once the provider holds the thread, so that a callback
  //! calling stop finds the provider complete.
  void release() {
    {
      std::lock_guard<std::mutex> guard(mutex_);
      released_ = true;
    }
    wake_.notify_all();
  }
  void requestStop() {
    {
      std::lock_guard<std::mutex> guard(mutex_);
      stopping_ = true;
    }
    wake_.notify_all();
  }

 private:
  bool stopping() const { return stopping_.load(); }
  //! Reads reports until the session fails or stop is asked for.
  void readReports(OVNGpsdConnection& connection, std::chrono::milliseconds& retryDelay);
  void report(const gps_data_t& data);
  void fail(const std::string& description);
  //! False when stop was asked for while waiting.
  bool waitBeforeRetry(std::chrono::milliseconds delay);

  const std::string host_;
  const std::string port_;
  const OVNLocationProvider::Callbacks callbacks_;
  std::mutex mutex_;  // with wake_, for release and for stop to cut a retry wait short
  std::condition_variable wake_;
  bool released_ = false;  // guarded by mutex_
  std::atomic<bool> stopping_{false};
  // Used on the worker's thread only.
  bool inOutage_ = false;
  std::optional<Sample> lastReported_;
};

void OVNGpsdWorker::run() {
  // Writing to a socket the peer has closed raises SIGPIPE, which would end the process.
  // Blocked on this thread, the write fails with EPIPE instead and the session ends as lost.
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  {
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait(lock, [this] { return released_ || stopping(); });
  }

  auto retryDelay = kFirstRetryDelay;
  while (!stopping()) {
    auto connection = std::make_unique<OVNGpsdConnection>(host_, port_);  // gps_data_t is large
    if (connection->open([this] { return stopping(); })) readReports(*connection, retryDelay);
    if (stopping()) return;
    fail(connection->failure());
    connection.reset();
    if (!waitBeforeRetry(retryDelay)) return;
    retryDelay = std::min(retryDelay * 2, kLongestRetryDelay);
  }
}

void OVNGpsdWorker::readReports(OVNGpsdConnection& connection, std::chrono::milliseconds& retryDelay) {
  while (!stopping()) {
    switch (connection.read(kPollMicroseconds)) {
      case OVNGpsdConnection::Result::Idle: break;
      case OVNGpsdConnection::Result::Report:
        // gpsd is back: a later failure is news again. (Not at the greeting alone: a peer
        // that greets and then sends garbage would be reported at every attempt.)
        inOutage_ = false;
        retryDelay = kFirstRetryDelay;
        report(connection.data());
        break;
      case OVNGpsdConnection::Result::Failed: return;
    }
  }
}

void OVNGpsdWorker::report(const gps_data_t& data) {
  const std::optional<Sample> sample = sampleOf(data);
  if (!sample || sample == lastReported_) return;
  lastReported_ = sample;
  const OVNDate timestamp =
      sample->time ? OVNDate::dateWithTimeIntervalSince1970(static_cast<double>(sample->time->first) +
                                                            static_cast<double>(sample->time->second) / 1e9)
                   : OVNDate::now();
  if (callbacks_.location && !stopping()) {
    callbacks_.location(OVNLocation::initWithFix({.coordinate = {sample->latitude, sample->longitude},
                                                  .altitude = sample->altitude,
                                                  .horizontalAccuracy = sample->horizontalAccuracy,
                                                  .verticalAccuracy = sample->verticalAccuracy,
                                                  .course = sample->course,
                                                  .speed = sample->speed,
                                                  .timestamp = timestamp}));
  }
  if (sample->course >= 0 && callbacks_.heading && !stopping()) {
    callbacks_.heading(OVNMake<OVNHeading>(sample->magneticCourse, sample->course, sample->courseAccuracy, timestamp));
  }
}

void OVNGpsdWorker::fail(const std::string& description) {
  if (inOutage_) return;  // one failure per outage, however often the retries fail
  inOutage_ = true;
  if (callbacks_.failure && !stopping()) {
    callbacks_.failure(OVNError::errorWithDomain(OVNLocationErrorDomain, OVNLocationErrorLocationUnknown, description));
  }
}

bool OVNGpsdWorker::waitBeforeRetry(std::chrono::milliseconds delay) {
  std::unique_lock<std::mutex> lock(mutex_);
  return !wake_.wait_for(lock, delay, [this] { return stopping(); });
}

}  // namespace ovn::detail

OVNGpsdLocationProvider::OVNGpsdLocationProvider() : OVNGpsdLocationProvider(defaultHost(), defaultPort()) {}

OVNGpsdLocationProvider::OVNGpsdLocationProvider(std::string host, std::string port)
    : host_(std::move(host)), port_(std::move(port)) {}

OVNGpsdLocationProvider::~OVNGpsdLocationProvider() { stop(); }

std::string OVNGpsdLocationProvider::defaultHost() { return std::string(kDefaultHost); }

std::string OVNGpsdLocationProvider::defaultPort() { return std::string(kDefaultPort); }

void OVNGpsdLocationProvider::start(Callbacks callbacks) {
  stop();
  auto worker = std::make_shared<ovn::detail::OVNGpsdWorker>(host_, port_, std::move(callbacks));
  worker_ = worker;
  thread_ = std::thread([worker] { worker->run(); });
  // From here a callback may stop the provider (and reset worker_): use the local reference.
  worker->release();
}

void OVNGpsdLocationProvider::stop() {
  if (!worker_) return;
  worker_->requestStop();
  // From a callback the thread cannot wait for itself; it ends once the callback returns.
  if (thread_.get_id() == std::this_thread::get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
  worker_.reset();
}
