#pragma once
// A weather service on 127.0.0.1 for tests, benchmarks, the demonstration and the
// ovrin-weather-service program. It answers in the service's JSON envelope
// ({"success", "error", "response"}), checks client_id / client_secret (or an OAuth 2.0 access
// token) on every request and serves observations, forecasts and places for a fixed table of
// cities, plus a writable "stations" family kept in memory and the token holder's "account".
// POST /oauth is an OAuth 2.0 token endpoint (RFC 6749 §4-5) for the password,
// client_credentials, authorization_code and refresh_token grants. Faults (slow replies,
// broken JSON, HTTP 500, ...) can be switched on for every request (setFault) or asked for
// by one (the "fault" parameter).
//
//   LocalWeatherService service;
//   service.start();
//   ... GET service.baseURL() + "observations/austin,tx?client_id=demo-client&client_secret=demo-secret"
//
// Threads: construct, start(), stop(), port() and baseURL() from the owning thread.
// requestCount(), setFault(), setSlowDelay() and the token members may be called from any
// thread, also while requests are being answered on the server's own threads. stop() wakes replies that are
// waiting out a slow fault, so it returns promptly.

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

class LocalWeatherService {
 public:
  static constexpr std::int64_t kDefaultTokenLifetimeSeconds = 3600;
  static constexpr std::int64_t kDefaultRefreshTokenLifetimeSeconds = 30 * 24 * 3600;  // thirty days
  //! The realm of the WWW-Authenticate challenges (Basic at /oauth, Bearer on resources).
  static constexpr const char* kRealm = "ovrin-weather";

  struct Options {
    std::string clientId = "demo-client";  // the credentials it accepts
    std::string clientSecret = "demo-secret";
    std::optional<std::int64_t> now;  // Unix seconds the data is generated for; none: the real clock
    int port = 0;                     // 0: an ephemeral port (tests); the program may name one
    // The resource owner the password grant accepts.
    std::string username = "demo-user";
    std::string password = "demo-password";
    std::int64_t tokenLifetimeSeconds = kDefaultTokenLifetimeSeconds;                // access tokens' expires_in
    std::int64_t refreshTokenLifetimeSeconds = kDefaultRefreshTokenLifetimeSeconds;  // not told to the client
    // Whether the refresh_token grant revokes the refresh token it was given and replies with
    // a new one; by default the same refresh token stays valid and is sent back.
    bool rotateRefreshTokens = false;
    // The grant types the client may use; others are "unauthorized_client".
    std::set<std::string> grantTypes = {"password", "client_credentials", "authorization_code", "refresh_token"};
    // The scope tokens a client may ask for; empty: any.
    std::set<std::string> scopes = {};
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
    emptyBody,                // HTTP 200 with no body at all
    wrongTypes,               // a token reply whose members have the wrong JSON types
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
  //! "slow", "error", "malformed", "500", "html500", "array", "scalar", "errorstring",
  //! "empty", "wrongtypes".
  static std::optional<Fault> faultNamed(std::string_view name);

  //! A single-use authorization code for Options::clientId on behalf of Options::username,
  //! redeemable at POST /oauth with the same redirect_uri for ten minutes.
  std::string issueAuthorizationCode(std::string redirectURI, std::string scope = {});
  //! Every access and refresh token issued so far is revoked.
  void revokeTokens();
  //! Every access token issued so far has expired (refresh tokens still work).
  void expireAccessTokens();
  //! Access tokens issued so far, by every grant.
  std::int64_t tokensIssued() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};
