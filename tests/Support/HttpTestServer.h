#pragma once
// An in-process HTTP/1.1 server (cpp-httplib) on 127.0.0.1 and an ephemeral port, for
// tests that need a well-behaved peer with handlers written in the test.
//
//   HttpTestServer server;
//   server.server().Get("/hello", [](const httplib::Request&, httplib::Response& response) {
//     response.set_content("hello", "text/plain");
//   });
//   server.start();
//   ... request server.url("/hello") ...
//
// Use it from one thread (the test's). Register handlers before start(); they run on
// httplib's worker threads. stop() and the destructor close the listening socket and wait
// for the serving thread, so a handler that never returns keeps them waiting.
// Failures throw std::runtime_error (no GoogleTest here, so benchmarks can use it too).

#include <httplib.h>

#include <string>
#include <string_view>
#include <thread>

class HttpTestServer {
 public:
  HttpTestServer() = default;
  ~HttpTestServer();
  HttpTestServer(const HttpTestServer&) = delete;
  HttpTestServer& operator=(const HttpTestServer&) = delete;

  httplib::Server& server() { return server_; }

  //! Binds an ephemeral port and returns once the server accepts connections.
  void start();
  void stop();

  int port() const { return port_; }
  //! "http://127.0.0.1:<port><path>".
  std::string url(std::string_view path) const;

 private:
  httplib::Server server_;
  int port_ = 0;
  std::thread thread_;
};
