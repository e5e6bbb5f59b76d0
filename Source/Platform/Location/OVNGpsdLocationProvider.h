#pragma once
// Fixes and headings from a GPS receiver, through the gpsd daemon (libgps, JSON reports).
//
// Each TPV report with a 2D or 3D position becomes an OVNLocation: latitude and longitude;
// the altitude above mean sea level (else above the ellipsoid; 0 without a 3D fix); the
// horizontal accuracy from gpsd's eph, else the root sum of squares of epx and epy
// (metres; gpsd's own estimates, whose confidence level depends on the receiver), -1 when
// gpsd estimates neither (the platform's "invalid" sign, so treat such a fix warily); the
// vertical accuracy from epv (-1 when unknown or without altitude); course from track and
// speed in m/s (-1 when unknown); the timestamp is the fix's time, or the moment the report
// arrived when the fix has none. Reports without a position are not passed on, nor is one
// whose fix equals the last one passed on (gpsd repeats itself when the receiver does).
// A fix with a known course also becomes an OVNHeading: trueHeading is the track,
// magneticHeading gpsd's magnetic track (gpsd derives it from the magnetic variation),
// or the track when gpsd gives none; the accuracy is epd, -1 when unknown.
//
// Errors: every failure is an OVNError of OVNLocationErrorDomain, code
// OVNLocationErrorLocationUnknown, whose localized description names host and port and
// says what happened ("gpsd at localhost:2947 cannot be reached: Connection refused", "...
// was lost", "... is not gpsd", "... sent a line that is not a JSON report"). A failure is
// reported once per outage: an outage begins with the first failure after the provider
// last had a working session (gpsd's greeting followed by a well-formed report), or after
// start, and ends with the next working session; so a daemon that stays away, or a peer
// that keeps sending garbage, is reported once however often the provider retries.
//
// Reconnection: after a failure the provider tries again after 0.5 s, doubling the wait up
// to 5 s; the wait starts again at 0.5 s once a session works. Fixes flow again as soon as
// gpsd is back.
//
// Threads: use one provider from one thread at a time (the main thread, or any one thread).
// start returns at once; gpsd is read on a thread of the provider's own, where the callbacks
// run. stop (and destruction) ends that thread within about 100 ms (longer only while a host
// name is being resolved) and waits for it, so no callback runs after stop returns. Called
// from one of its own callbacks, stop only asks the thread to end: no further callback runs,
// and the thread finishes on its own once the callback returns.

#include <memory>
#include <string>
#include <thread>

#include "OvrinCoreExport.h"
#include "Platform/Location/OVNLocationProvider.h"

namespace ovn::detail {
class OVNGpsdWorker;
}

class OVN_EXPORT OVNGpsdLocationProvider : public OVNLocationProvider {
 public:
  //! gpsd on this machine, at its standard port ("localhost", "2947").
  OVNGpsdLocationProvider();
  //! gpsd at `host` (a name or an address) and `port` (a number or a service name).
  OVNGpsdLocationProvider(std::string host, std::string port);
  ~OVNGpsdLocationProvider() override;
  OVNGpsdLocationProvider(const OVNGpsdLocationProvider&) = delete;
  OVNGpsdLocationProvider& operator=(const OVNGpsdLocationProvider&) = delete;

  static std::string defaultHost();
  static std::string defaultPort();

  const std::string& host() const { return host_; }
  const std::string& port() const { return port_; }
  //! Take effect at the next start.
  void setHost(std::string host) { host_ = std::move(host); }
  void setPort(std::string port) { port_ = std::move(port); }

  void start(Callbacks callbacks) override;
  void stop() override;

 private:
  std::string host_;
  std::string port_;
  std::shared_ptr<ovn::detail::OVNGpsdWorker>
      worker_;  // shared with the thread, which may outlive a stop from a callback
  std::thread thread_;
};

using OVNGpsdLocationProviderRef = std::shared_ptr<OVNGpsdLocationProvider>;
