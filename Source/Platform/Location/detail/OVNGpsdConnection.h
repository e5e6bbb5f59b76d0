#pragma once
// One session with gpsd through libgps: connect, ask for JSON reports, then read them one
// at a time until the session fails. It checks what libgps does not: that the peer greets
// like gpsd (a VERSION report first, within a few seconds) and that every line is a JSON
// object, so a peer that is not gpsd, or broken JSON, ends the session with a reason.
//
// Threads: one thread uses a connection (OVNGpsdLocationProvider's own).

#include <gps.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace ovn::detail {

class OVNGpsdConnection {
 public:
  enum class Result {
    Idle,    // nothing for the caller: no data within the wait, or gpsd's greeting
    Report,  // a well-formed report after the greeting; data() holds what libgps unpacked
    Failed,  // the session is over; failure() says why
  };

  OVNGpsdConnection(std::string host, std::string port) : host_(std::move(host)), port_(std::move(port)) {}
  ~OVNGpsdConnection();
  OVNGpsdConnection(const OVNGpsdConnection&) = delete;
  OVNGpsdConnection& operator=(const OVNGpsdConnection&) = delete;

  //! Connects and asks for JSON reports; false (with failure() set) when gpsd cannot be
  //! reached or `cancelled` returned true while connecting (polled every ~100 ms).
  bool open(const std::function<bool()>& cancelled);
  //! Waits up to `timeoutMicroseconds` for one report and reads it. Call after open().
  Result read(int timeoutMicroseconds);

  //! The fields of the last report; `set` says which the report carried.
  const gps_data_t& data() const { return data_; }
  //! A sentence naming host and port, e.g. "gpsd at localhost:2947 cannot be reached:
  //! Connection refused".
  const std::string& failure() const { return failure_; }

 private:
  Result fail(std::string description);
  std::string where() const { return host_ + ":" + port_; }

  std::string host_;
  std::string port_;
  gps_data_t data_{};
  bool opened_ = false;
  bool greeted_ = false;
  std::chrono::steady_clock::time_point openedAt_;
  std::vector<char> message_;  // the raw line of the last report
  std::string failure_;
};

}  // namespace ovn::detail
