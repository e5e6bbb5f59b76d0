#include "LocalWeatherService.h"

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <variant>
#include <vector>

#include "FormBody.h"
#include "StationStore.h"
#include "TokenEndpoint.h"
#include "TokenStore.h"
#include "WeatherGenerator.h"
#include "WeatherTable.h"

namespace {

using Json = nlohmann::ordered_json;
using Fault = LocalWeatherService::Fault;

constexpr const char* kHost = "127.0.0.1";
constexpr const char* kJSONType = "application/json";
constexpr const char* kFormType = "application/x-www-form-urlencoded";
constexpr int kStatusOK = 200;
constexpr int kStatusBadRequest = 400;
constexpr int kStatusUnauthorized = 401;
constexpr int kStatusServerError = 500;
constexpr double kDefaultSlowDelaySeconds = 2;
// Idle keep-alive connections hold up stop() for this long, so it is kept short.
constexpr time_t kKeepAliveTimeoutSeconds = 1;
constexpr auto kReadyPollInterval = std::chrono::milliseconds(1);
constexpr auto kReadyTimeout = std::chrono::seconds(10);

constexpr std::size_t kDefaultLimit = 10;
constexpr std::size_t kDefaultClosestLimit = 1;
constexpr std::size_t kMaxLimit = 100;

// Parameters that steer the service rather than describe a station.
constexpr const char* kClientIdParameter = "client_id";
constexpr const char* kClientSecretParameter = "client_secret";
constexpr const char* kFaultParameter = "fault";
constexpr const char* kAccessTokenParameter = "access_token";

constexpr const char* kTokenFamily = "oauth";
constexpr const char* kAccountFamily = "account";
constexpr std::string_view kBearerScheme = "Bearer ";

struct ServiceError {
  const char* code;
  const char* description;
};
constexpr ServiceError kInvalidClient{"invalid_client", "The client_id or client_secret is invalid."};
constexpr ServiceError kInvalidLocation{"invalid_location", "The requested location was not found."};
constexpr ServiceError kInvalidRequest{"invalid_request", "The requested endpoint does not exist."};
constexpr ServiceError kInvalidLimit{"invalid_request", "The limit must be a whole number from 1."};
constexpr ServiceError kUnknownFault{"invalid_request", "The requested fault is not known."};
constexpr ServiceError kInvalidBody{"invalid_request", "The form body cannot be read."};
constexpr ServiceError kRefusedRequest{"invalid_request", "The request cannot be read."};
constexpr ServiceError kObjectNotExists{"object_not_exists", "The requested object does not exist."};
constexpr ServiceError kInternalError{"internal_error", "The service failed to answer the request."};
constexpr ServiceError kUnknownToken{"invalid_token", "The access token is not known."};
constexpr ServiceError kExpiredToken{"invalid_token", "The access token has expired."};
constexpr ServiceError kRevokedToken{"invalid_token", "The access token has been revoked."};
constexpr ServiceError kTokenRequired{"invalid_request", "This resource needs an access token."};
constexpr ServiceError kTokenSentTwice{"invalid_request", "The access token was sent in more than one way."};

constexpr const char* kMalformedBody = R"({"success": tru)";
constexpr const char* kHTMLErrorBody = "<html><body><h1>500 Internal Server Error</h1></body></html>";
constexpr const char* kArrayBody = "[1,2,3]";
constexpr const char* kScalarBody = "42";
constexpr const char* kErrorStringBody = R"({"success": false, "error": "something went wrong", "response": []})";
constexpr const char* kWrongTypesBody =
    R"({"access_token": 42, "token_type": ["Bearer"], "expires_in": "soon", "refresh_token": null})";

const std::map<std::string_view, Fault>& faultNames() {
  static const std::map<std::string_view, Fault> names = {
      {"slow", Fault::slow},
      {"error", Fault::errorEnvelope},
      {"malformed", Fault::malformedJSON},
      {"500", Fault::serverError},
      {"html500", Fault::htmlServerError},
      {"array", Fault::arrayInsteadOfEnvelope},
      {"scalar", Fault::scalarInsteadOfEnvelope},
      {"errorstring", Fault::errorIsNotAnObject},
      {"empty", Fault::emptyBody},
      {"wrongtypes", Fault::wrongTypes},
  };
  return names;
}

using Headers = std::vector<std::pair<std::string, std::string>>;

struct Reply {
  int status = kStatusOK;
  std::string body;
  std::string contentType = kJSONType;
  Headers headers = {};
};

Reply success(const Json& objects) {
  return {kStatusOK, Json{{"success", true}, {"error", nullptr}, {"response", objects}}.dump()};
}

Reply failure(const ServiceError& error, int status = kStatusOK, Headers headers = {}) {
  const Json envelope = {{"success", false},
                         {"error", {{"code", error.code}, {"description", error.description}}},
                         {"response", Json::array()}};
  return {status, envelope.dump(), kJSONType, std::move(headers)};
}

// RFC 6750 §3: a refused bearer says why in its challenge; a missing one gets the bare
// challenge.
Reply bearerFailure(const ServiceError& error, int status, const char* challengeError) {
  std::string challenge = std::string("Bearer realm=\"") + LocalWeatherService::kRealm + "\"";
  if (challengeError) challenge += std::string(", error=\"") + challengeError + "\"";
  return failure(error, status, {{"WWW-Authenticate", challenge}});
}

// The request as the service reads it: its path split at "/", query and form parameters.
struct Call {
  std::string method;
  std::vector<std::string> segments;
  FormBody query;
  FormBody form;
  std::string authorization;  // the Authorization header

  // Credentials travel in the query string of GET and DELETE and in the form body of PUT
  // and POST; a client that puts them elsewhere is refused.
  bool carriesBody() const { return method == "PUT" || method == "POST"; }
  std::optional<std::string> parameter(std::string_view name) const {
    return carriesBody() ? form.value(name) : query.value(name);
  }
  // A test asks for a fault wherever it is convenient.
  std::optional<std::string> faultName() const {
    auto name = query.value(kFaultParameter);
    return name ? name : form.value(kFaultParameter);
  }
};

std::vector<std::string> segmentsOf(const std::string& path) {
  std::vector<std::string> segments;
  std::size_t start = 0;
  while (start <= path.size()) {
    const auto slash = std::min(path.find('/', start), path.size());
    if (slash > start) segments.push_back(path.substr(start, slash - start));
    start = slash + 1;
  }
  return segments;
}

Call callOf(const httplib::Request& request) {
  Call call{request.method, segmentsOf(request.path), FormBody(), FormBody(),
            request.get_header_value("Authorization")};
  if (const auto question = request.target.find('?'); question != std::string::npos) {
    call.query = FormBody(std::string_view(request.target).substr(question + 1));
  }
  if (call.carriesBody() && request.get_header_value("Content-Type").starts_with(kFormType)) {
    call.form = FormBody(request.body);
  }
  return call;
}

// A missing limit is `fallback`; larger ones are cut to the most the service lists.
std::optional<std::size_t> limitOf(const Call& call, std::size_t fallback) {
  const auto text = call.query.value("limit");
  if (!text) return fallback;
  std::size_t limit = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), limit);
  if (error != std::errc() || end != text->data() + text->size() || limit == 0) return std::nullopt;
  return std::min(limit, kMaxLimit);
}

// "30.2,-97.7" as a latitude and longitude within range.
std::optional<std::pair<double, double>> coordinatesOf(const std::string& text) {
  constexpr double kMaxLatitude = 90;
  constexpr double kMaxLongitude = 180;
  const auto comma = text.find(',');
  if (comma == std::string::npos) return std::nullopt;
  double latitude = 0;
  double longitude = 0;
  const char* begin = text.data();
  const char* end = begin + text.size();
  const auto first = std::from_chars(begin, begin + comma, latitude);
  const auto second = std::from_chars(begin + comma + 1, end, longitude);
  if (first.ec != std::errc() || first.ptr != begin + comma || second.ec != std::errc() || second.ptr != end) {
    return std::nullopt;
  }
  if (std::abs(latitude) > kMaxLatitude || std::abs(longitude) > kMaxLongitude) return std::nullopt;
  return std::pair{latitude, longitude};
}

// The token of an "Authorization: Bearer" value; the scheme's name is case-insensitive.
std::optional<std::string> bearerTokenOf(const std::string& authorization) {
  if (authorization.size() <= kBearerScheme.size() ||
      !std::equal(kBearerScheme.begin(), kBearerScheme.end(), authorization.begin(),
                  [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); })) {
    return std::nullopt;
  }
  return authorization.substr(kBearerScheme.size());
}

// Who asks: the holder of a valid access token, or a client with its credentials (no token).
struct Caller {
  std::optional<TokenStore::AccessToken> token;
};

}  // namespace

class LocalWeatherService::Impl {
 public:
  explicit Impl(Options options) : options_(std::move(options)) {}

  void start();
  void stop();
  int port() const { return port_; }
  std::int64_t requestCount() const { return requestCount_.load(); }
  void setFault(Fault fault) { fault_.store(fault); }
  void setSlowDelay(double seconds) { slowDelaySeconds_.store(seconds); }
  std::string issueAuthorizationCode(std::string redirectURI, std::string scope) {
    return tokenEndpoint_.issueAuthorizationCode(std::move(redirectURI), std::move(scope), now());
  }
  void revokeTokens() { tokens_.revokeAll(); }
  void expireAccessTokens() { tokens_.expireAccessTokens(now()); }
  std::int64_t tokensIssued() const { return tokens_.accessTokensIssued(); }

 private:
  void answer(const httplib::Request& request, httplib::Response& response);
  Reply reply(const Call& call);
  Reply faultReply(Fault fault);
  bool waitOutSlowFault();
  Reply tokenReply(const Call& call);
  std::variant<Caller, Reply> callerOf(const Call& call) const;
  bool authorized(const Call& call) const;
  std::int64_t now() const;

  Reply route(const Call& call, const Caller& caller);
  Reply account(const Caller& caller);
  Reply observations(const Call& call);
  Reply closestObservations(const Call& call);
  Reply forecasts(const Call& call);
  Reply places(const Call& call);
  Reply stations(const Call& call);
  Reply stationObject(const Call& call, const std::string& id);
  std::optional<Json> stationMembers(const Call& call) const;

  const Options options_;
  const WeatherTable table_;
  StationStore store_;
  TokenStore tokens_;
  const TokenEndpoint tokenEndpoint_{options_, tokens_};
  httplib::Server server_;
  std::thread thread_;
  int port_ = 0;
  bool started_ = false;
  std::atomic<std::int64_t> requestCount_{0};
  std::atomic<Fault> fault_{Fault::none};
  std::atomic<double> slowDelaySeconds_{kDefaultSlowDelaySeconds};
  // Slow replies wait on this, so that stop() can cut them short.
  std::mutex stoppingMutex_;
  std::condition_variable stoppingChanged_;
  bool stopping_ = false;
};

void LocalWeatherService::Impl::start() {
  if (started_) throw std::logic_error("LocalWeatherService: a service starts once");
  started_ = true;
  {
    std::lock_guard lock(stoppingMutex_);
    stopping_ = false;
  }
  const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
    answer(request, response);
  };
  const char* kAnyPath = ".*";
  server_.Get(kAnyPath, handler);
  server_.Put(kAnyPath, handler);
  server_.Post(kAnyPath, handler);
  server_.Delete(kAnyPath, handler);
  server_.Patch(kAnyPath, handler);
  server_.Options(kAnyPath, handler);
  // Requests httplib refuses before routing (a form body too large, say) still get an envelope.
  server_.set_error_handler(
      httplib::Server::HandlerWithResponse([this](const httplib::Request&, httplib::Response& response) {
        if (!response.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
        response.set_content(failure(kRefusedRequest).body, kJSONType);
        ++requestCount_;
        return httplib::Server::HandlerResponse::Handled;
      }));
  server_.set_keep_alive_timeout(kKeepAliveTimeoutSeconds);
  // Headers and body leave in separate writes; without this, Nagle holds the body back
  // until the client acknowledges the headers, which it may delay by 40 ms.
  server_.set_tcp_nodelay(true);
  if (options_.port == 0) {
    port_ = server_.bind_to_any_port(kHost);
  } else if (server_.bind_to_port(kHost, options_.port)) {
    port_ = options_.port;
  }
  if (port_ <= 0)
    throw std::runtime_error("LocalWeatherService: cannot bind 127.0.0.1:" + std::to_string(options_.port));
  thread_ = std::thread([this] { server_.listen_after_bind(); });
  // httplib 0.11 has no wait_until_ready; stop() only takes effect once the server runs.
  const auto deadline = std::chrono::steady_clock::now() + kReadyTimeout;
  while (!server_.is_running()) {
    if (std::chrono::steady_clock::now() > deadline) {
      stop();
      throw std::runtime_error("LocalWeatherService: the server did not start");
    }
    std::this_thread::sleep_for(kReadyPollInterval);
  }
}

void LocalWeatherService::Impl::stop() {
  {
    std::lock_guard lock(stoppingMutex_);
    stopping_ = true;
  }
  stoppingChanged_.notify_all();
  if (!thread_.joinable()) return;
  server_.stop();
  thread_.join();
}

void LocalWeatherService::Impl::answer(const httplib::Request& request, httplib::Response& response) {
  Reply result;
  try {
    result = reply(callOf(request));
  } catch (const std::exception&) {
    result = failure(kInternalError);
  }
  response.status = result.status;
  for (const auto& [name, value] : result.headers) response.set_header(name, value);
  response.set_content(result.body, result.contentType);
  ++requestCount_;
}

Reply LocalWeatherService::Impl::reply(const Call& call) {
  Fault fault = fault_.load();
  if (const auto name = call.faultName()) {
    const auto named = faultNamed(*name);
    if (!named) return failure(kUnknownFault);
    fault = *named;
  }
  if (fault == Fault::slow) {
    if (!waitOutSlowFault()) return failure(kInternalError);
  } else if (fault != Fault::none) {
    return faultReply(fault);
  }
  if (call.segments.size() == 1 && call.segments.front() == kTokenFamily) return tokenReply(call);
  auto caller = callerOf(call);
  if (auto* refusal = std::get_if<Reply>(&caller)) return std::move(*refusal);
  return route(call, std::get<Caller>(caller));
}

Reply LocalWeatherService::Impl::tokenReply(const Call& call) {
  TokenEndpoint::Reply answer = tokenEndpoint_.answer(call.method, call.form, call.authorization, now());
  return {answer.status, answer.body.dump(), kJSONType, std::move(answer.headers)};
}

// RFC 6750 §2: a token comes in the Authorization header, the form body or the query, and in
// one of them only. A request with a token is judged by it alone.
std::variant<Caller, Reply> LocalWeatherService::Impl::callerOf(const Call& call) const {
  const std::optional<std::string> sent[] = {bearerTokenOf(call.authorization), call.form.value(kAccessTokenParameter),
                                             call.query.value(kAccessTokenParameter)};
  const auto ways =
      std::count_if(std::begin(sent), std::end(sent), [](const auto& token) { return token.has_value(); });
  if (ways > 1) return bearerFailure(kTokenSentTwice, kStatusBadRequest, "invalid_request");
  if (ways == 0) {
    if (!authorized(call)) return failure(kInvalidClient);
    return Caller{};
  }
  const auto& token = *std::find_if(std::begin(sent), std::end(sent), [](const auto& t) { return t.has_value(); });
  TokenStore::AccessToken found = tokens_.accessToken(*token, now());
  using Status = TokenStore::AccessToken::Status;
  switch (found.status) {
    case Status::valid: return Caller{std::move(found)};
    case Status::expired: return bearerFailure(kExpiredToken, kStatusUnauthorized, "invalid_token");
    case Status::revoked: return bearerFailure(kRevokedToken, kStatusUnauthorized, "invalid_token");
    case Status::unknown: break;
  }
  return bearerFailure(kUnknownToken, kStatusUnauthorized, "invalid_token");
}

Reply LocalWeatherService::Impl::faultReply(Fault fault) {
  switch (fault) {
    case Fault::errorEnvelope: return failure(kInternalError);
    case Fault::malformedJSON: return {kStatusOK, kMalformedBody};
    case Fault::serverError: return failure(kInternalError, kStatusServerError);
    case Fault::htmlServerError: return {kStatusServerError, kHTMLErrorBody, "text/html"};
    case Fault::arrayInsteadOfEnvelope: return {kStatusOK, kArrayBody};
    case Fault::scalarInsteadOfEnvelope: return {kStatusOK, kScalarBody};
    case Fault::errorIsNotAnObject: return {kStatusOK, kErrorStringBody};
    case Fault::emptyBody: return {kStatusOK, ""};
    case Fault::wrongTypes: return {kStatusOK, kWrongTypesBody};
    case Fault::none:
    case Fault::slow: break;
  }
  return failure(kInternalError);
}

// False if the service stopped while waiting.
bool LocalWeatherService::Impl::waitOutSlowFault() {
  const auto delay = std::chrono::duration<double>(slowDelaySeconds_.load());
  std::unique_lock lock(stoppingMutex_);
  return !stoppingChanged_.wait_for(lock, delay, [this] { return stopping_; });
}

bool LocalWeatherService::Impl::authorized(const Call& call) const {
  return call.parameter(kClientIdParameter) == options_.clientId &&
         call.parameter(kClientSecretParameter) == options_.clientSecret;
}

std::int64_t LocalWeatherService::Impl::now() const {
  if (options_.now) return *options_.now;
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

Reply LocalWeatherService::Impl::route(const Call& call, const Caller& caller) {
  if (call.segments.empty()) return failure(kInvalidRequest);
  const std::string& family = call.segments.front();
  if (family == "stations") return stations(call);
  if (family == kAccountFamily && call.segments.size() == 1 && call.method == "GET") return account(caller);
  if (call.method != "GET" || call.segments.size() != 2) return failure(kInvalidRequest);
  if (family == "observations") return observations(call);
  if (family == "forecasts") return forecasts(call);
  if (family == "places") return places(call);
  return failure(kInvalidRequest);
}

Reply LocalWeatherService::Impl::account(const Caller& caller) {
  if (!caller.token) return bearerFailure(kTokenRequired, kStatusUnauthorized, nullptr);
  const TokenStore::Grant& grant = caller.token->grant;
  return success(Json::array({{{"username", grant.username ? Json(*grant.username) : Json(nullptr)},
                               {"clientId", grant.clientId},
                               {"scope", grant.scope},
                               {"expiresAt", caller.token->expiresAt}}}));
}

Reply LocalWeatherService::Impl::observations(const Call& call) {
  const std::string& place = call.segments[1];
  if (place == "closest") return closestObservations(call);
  if (place == "search") {
    const auto limit = limitOf(call, kDefaultLimit);
    if (!limit) return failure(kInvalidLimit);
    Json objects = Json::array();
    const auto& stations = table_.stations();
    for (std::size_t i = 0; i < stations.size() && i < *limit; ++i) {
      objects.push_back(WeatherGenerator::observation(stations[i], now()));
    }
    return success(objects);
  }
  const WeatherStation* station = table_.find(place);
  if (!station) return failure(kInvalidLocation);
  return success(Json::array({WeatherGenerator::observation(*station, now())}));
}

Reply LocalWeatherService::Impl::closestObservations(const Call& call) {
  const auto limit = limitOf(call, kDefaultClosestLimit);
  if (!limit) return failure(kInvalidLimit);
  const std::string point = call.query.value("p").value_or("");
  auto coordinates = coordinatesOf(point);
  if (!coordinates) {
    const WeatherStation* named = table_.find(point);
    if (!named) return failure(kInvalidLocation);
    coordinates = std::pair{named->latitude, named->longitude};
  }
  Json objects = Json::array();
  for (const WeatherStation* station : table_.closest(coordinates->first, coordinates->second, *limit)) {
    objects.push_back(WeatherGenerator::observation(*station, now()));
  }
  return success(objects);
}

Reply LocalWeatherService::Impl::forecasts(const Call& call) {
  const WeatherStation* station = table_.find(call.segments[1]);
  if (!station) return failure(kInvalidLocation);
  return success(Json::array({WeatherGenerator::forecast(*station, now())}));
}

Reply LocalWeatherService::Impl::places(const Call& call) {
  if (call.segments[1] != "search") {
    const WeatherStation* station = table_.find(call.segments[1]);
    if (!station || !station->isCity) return failure(kInvalidLocation);
    return success(Json::array({WeatherGenerator::place(*station)}));
  }
  const auto limit = limitOf(call, kDefaultLimit);
  if (!limit) return failure(kInvalidLimit);
  Json objects = Json::array();
  for (const WeatherStation* station : table_.citiesStartingWith(call.query.value("query").value_or(""), *limit)) {
    objects.push_back(WeatherGenerator::place(*station));
  }
  return success(objects);
}

Reply LocalWeatherService::Impl::stations(const Call& call) {
  if (call.segments.size() == 2) return stationObject(call, call.segments[1]);
  if (call.segments.size() != 1) return failure(kInvalidRequest);
  if (call.method == "GET") {
    const auto limit = limitOf(call, kDefaultLimit);
    if (!limit) return failure(kInvalidLimit);
    Json objects = Json::array();
    for (Json& station : store_.list(*limit)) objects.push_back(std::move(station));
    return success(objects);
  }
  if (!call.carriesBody()) return failure(kInvalidRequest);
  auto members = stationMembers(call);
  if (!members) return failure(kInvalidBody);
  return success(Json::array({store_.create(std::move(*members))}));
}

Reply LocalWeatherService::Impl::stationObject(const Call& call, const std::string& id) {
  std::optional<Json> station;
  if (call.method == "GET") {
    station = store_.get(id);
  } else if (call.method == "DELETE") {
    if (store_.remove(id)) return success(Json::array());
  } else if (call.carriesBody()) {
    const auto members = stationMembers(call);
    if (!members) return failure(kInvalidBody);
    station = store_.update(id, *members);
  } else {
    return failure(kInvalidRequest);
  }
  if (!station) return failure(kObjectNotExists);
  return success(Json::array({*station}));
}

std::optional<Json> LocalWeatherService::Impl::stationMembers(const Call& call) const {
  static const std::set<std::string, std::less<>> kControlParameters = {kClientIdParameter, kClientSecretParameter,
                                                                        kFaultParameter, kAccessTokenParameter};
  return call.form.toJSON(kControlParameters);
}

LocalWeatherService::LocalWeatherService() : LocalWeatherService(Options()) {}
LocalWeatherService::LocalWeatherService(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}
LocalWeatherService::~LocalWeatherService() { stop(); }

void LocalWeatherService::start() { impl_->start(); }
void LocalWeatherService::stop() { impl_->stop(); }
int LocalWeatherService::port() const { return impl_->port(); }
std::string LocalWeatherService::baseURL() const { return "http://127.0.0.1:" + std::to_string(port()) + "/"; }
std::int64_t LocalWeatherService::requestCount() const { return impl_->requestCount(); }
void LocalWeatherService::setFault(Fault fault) { impl_->setFault(fault); }
void LocalWeatherService::setSlowDelay(double seconds) { impl_->setSlowDelay(seconds); }
std::string LocalWeatherService::issueAuthorizationCode(std::string redirectURI, std::string scope) {
  return impl_->issueAuthorizationCode(std::move(redirectURI), std::move(scope));
}
void LocalWeatherService::revokeTokens() { impl_->revokeTokens(); }
void LocalWeatherService::expireAccessTokens() { impl_->expireAccessTokens(); }
std::int64_t LocalWeatherService::tokensIssued() const { return impl_->tokensIssued(); }

std::optional<LocalWeatherService::Fault> LocalWeatherService::faultNamed(std::string_view name) {
  const auto& names = faultNames();
  const auto found = names.find(name);
  if (found == names.end()) return std::nullopt;
  return found->second;
}
