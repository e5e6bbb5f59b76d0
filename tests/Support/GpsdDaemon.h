#pragma once
// A real gpsd for tests, on the loopback addresses at an ephemeral port, reading NMEA from a
// pseudo-terminal the test writes to as a GPS receiver would. gpsd runs in the foreground
// (-N), opens the device at once (-n), never writes to it (-b), and keeps its control socket
// and log in a temporary directory. It takes a cycle or two to know the device for NMEA:
// keep writing until reports come. Use it from one thread; the destructor stops gpsd.
// Failures throw std::runtime_error.

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <string_view>

#include "Support/TemporaryDirectory.h"

class GpsdDaemon {
 public:
  GpsdDaemon();
  ~GpsdDaemon();
  GpsdDaemon(const GpsdDaemon&) = delete;
  GpsdDaemon& operator=(const GpsdDaemon&) = delete;

  //! Returns once gpsd accepts connections; again after stop() it keeps port and device.
  void start();
  void restart() { start(); }
  //! Sends `signal` (SIGKILL for a crash) and waits for gpsd to exit.
  void stop(int signal = SIGTERM);

  int port() const { return port_; }
  //! Writes "<sentence>*<checksum>\r\n": pass the sentence from '$' up to the '*'. Dropped,
  //! as on a serial line, while nobody reads the device and its buffer is full.
  void writeNMEA(std::string_view sentence);
  std::string log() const;

 private:
  TemporaryDirectory directory_;
  int master_ = -1;  // the terminal's side the test writes to
  int slave_ = -1;   // held open, so the device stays in raw mode while gpsd is down
  std::string devicePath_;
  int port_ = 0;
  pid_t pid_ = -1;
};
