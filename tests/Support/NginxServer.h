#pragma once
// A real nginx on 127.0.0.1 for tests and benchmarks: HTTP/1.1 on one ephemeral port and,
// with TLS, HTTP/2 and HTTP/1.1 over TLS on another, serving files from docRoot() with
// keep-alive and gzip (JSON and plain text of 256 bytes or more). Everything it writes
// stays in a temporary directory that goes away with the object.
//
// start() makes a private certificate authority and a server certificate it signs (for
// IP 127.0.0.1 and DNS localhost) with the openssl program; a client trusts the server
// through caFile() and fails verification without it. The configuration adds:
//   /hello.txt         a file written at construction ("Hello, world!\n"); tests may replace it
//   /redirect          302 to /hello.txt
//   /redirect-loop     302 to itself
//   /connection        the serial number of the connection the request came on (keep-alive)
//   /status/<code>     an empty response with that status, for the codes in kStatusCodes
//   /cache/fresh/...   files with "Expires" and "Cache-Control: max-age=3600"
//   /cache/check/...   files with "Cache-Control: no-cache" (always revalidated)
// Files carry nginx's own "ETag" and "Last-Modified", and conditional requests get 304.
// With Options::accessLog, each request is logged as "<method> <path> <status>".
//
// Use the object from one thread, the one that outlives the server: nginx is asked to die
// with the thread that started it, so that a crashed test leaves no server behind. With one
// worker (the default) nginx runs as a single process; more workers need a master, whose
// workers would outlive a killed test.
// stop() and the destructor end nginx (SIGQUIT, then SIGKILL to its process group after a
// grace period). Failures throw std::runtime_error with nginx's error log in the message;
// there is no GoogleTest here, so benchmarks can use it too.

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Support/TemporaryDirectory.h"

class NginxServer {
 public:
  struct Options {
    int workerProcesses = 1;  // 1: a single process, no master
    bool tls = true;
    bool accessLog = false;
  };
  static constexpr std::array<int, 8> kStatusCodes{200, 204, 400, 401, 403, 404, 500, 503};

  NginxServer() : NginxServer(Options{}) {}
  explicit NginxServer(Options options);
  ~NginxServer();
  NginxServer(const NginxServer&) = delete;
  NginxServer& operator=(const NginxServer&) = delete;

  //! Returns once both ports accept connections.
  void start();
  void stop();

  //! Where the served files live; write them before or after start().
  std::string docRoot() const { return directory_.path() + "/www"; }
  int httpPort() const { return httpPort_; }
  //! 0 without TLS.
  int httpsPort() const { return httpsPort_; }
  //! "http://127.0.0.1:<http port><path>".
  std::string httpURL(std::string_view path) const;
  //! "https://127.0.0.1:<https port><path>"; only with TLS.
  std::string httpsURL(std::string_view path) const;
  //! The certificate authority's certificate (PEM); only with TLS, after start().
  std::string caFile() const { return directory_.path() + "/ca.pem"; }
  //! What nginx has written to its error log so far.
  std::string errorLog() const;
  //! The lines of the access log so far ("GET /hello.txt 200"); only with Options::accessLog.
  //! nginx writes a request's line after sending its reply, so a client may see the reply
  //! first: with `atLeast`, waits (up to 5 s) until the log holds that many lines.
  std::vector<std::string> accessLog(std::size_t atLeast = 0) const;

 private:
  enum class Launch { Ready, PortTaken };

  void makeCertificates() const;
  void writeConfiguration() const;
  Launch launch();
  void pickPorts();

  Options options_;
  TemporaryDirectory directory_;
  int httpPort_ = 0;
  int httpsPort_ = 0;
  pid_t pid_ = -1;
};
