#pragma once
// A weather service on 127.0.0.1 for tests, benchmarks, the demonstration and the
// ovrin-weather-service program. It answers in the service's JSON envelope
// ({"success", "error", "response"}), checks client_id / client_secret on every request and
// serves observations, forecasts and places for a fixed table of cities, plus a writable
// "stations" family kept in memory. Faults (slow replies, broken JSON, HTTP 500, ...) can be
// switched on for every request (setFault) or asked for by one (the "fault" parameter).
//
//   LocalWeatherService service;
//   service.start();
//   ... GET service.baseURL() + "observations/austin,tx?client_id=demo-client&client_secret=demo-secret"
//
// Threads: construct, start(), stop(), port() and baseURL() from the owning thread.
// requestCount(), setFault() and setSlowDelay() may be called from any thread, also while
// requests are being answered on the server's own threads. stop() wakes replies that are
// waiting out a slow fault, so it returns promptly.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

class LocalWeatherService {
 public:
  struct Options {
    std::string clientId = "demo-client";  // the credentials it accepts
    std::string clientSecret = "demo-secret";
    std::optional<std::int64_t> now;  // Unix seconds the data is generated for; none: the real clock
    int port = 0;                     // 0: an ephemeral port (tests); the program may name one
  };

  enum class Fault {
    none,
    slow,                     // waits setSlowDelay() seconds, then answers normally
    errorEnvelope,            // the error envelope, code "internal_error"
    malformedJSON,            // a truncated JSON body
    serverError,              // HTTP 500 with the JSON error envelope
    htmlServerError,          // HTTP 500 with an HTML page
    arrayInsteadOfEnvelope,   // [1,2,3]
    scalarInsteadOfEnvelope,  // 42
    errorIsNotAnObject,       // "error" is a string
  };

  LocalWeatherService();
  explicit LocalWeatherService(Options options);
  ~LocalWeatherService();  // stops
  LocalWeatherService(const LocalWeatherService&) = delete;
  LocalWeatherService& operator=(const LocalWeatherService&) = delete;

  //! Binds 127.0.0.1 on Options::port (an ephemeral one by default) and returns once it
  //! accepts connections; throws std::runtime_error on failure. A service starts once.
  void start();
  void stop();

  int port() const;
  //! "http://127.0.0.1:<port>/".
  std::string baseURL() const;
  //! Requests answered so far, on every path.
  std::int64_t requestCount() const;

  //! Applies to every following request until set back to Fault::none.
  void setFault(Fault fault);
  //! How long Fault::slow waits; 2 s unless set.
  void setSlowDelay(double seconds);
  //! "slow", "error", "malformed", "500", "html500", "array", "scalar", "errorstring".
  static std::optional<Fault> faultNamed(std::string_view name);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};
