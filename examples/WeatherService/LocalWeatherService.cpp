#include "LocalWeatherService.h"

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "FormBody.h"
#include "StationStore.h"
#include "WeatherGenerator.h"
#include "WeatherTable.h"

namespace {

using Json = nlohmann::ordered_json;
using Fault = LocalWeatherService::Fault;

constexpr const char* kHost = "127.0.0.1";
constexpr const char* kJSONType = "application/json";
constexpr const char* kFormType = "application/x-www-form-urlencoded";
constexpr int kStatusOK = 200;
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

constexpr const char* kMalformedBody = R"({"success": tru)";
constexpr const char* kHTMLErrorBody = "<html><body><h1>500 Internal Server Error</h1></body></html>";
constexpr const char* kArrayBody = "[1,2,3]";
constexpr const char* kScalarBody = "42";
constexpr const char* kErrorStringBody = R"({"success": false, "error": "something went wrong", "response": []})";

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
  };
  return names;
}

struct Reply {
  int status = kStatusOK;
  std::string body;
  std::string contentType = kJSONType;
};

Reply success(const Json& objects) {
  return {kStatusOK, Json{{"success", true}, {"error", nullptr}, {"response", objects}}.dump()};
}

Reply failure(const ServiceError& error, int status = kStatusOK) {
  const Json envelope = {{"success", false},
                         {"error", {{"code", error.code}, {"description", error.description}}},
                         {"response", Json::array()}};
  return {status, envelope.dump()};
}

// The request as the service reads it: its path split at "/", query and form parameters.
struct Call {
  std::string method;
  std::vector<std::string> segments;
  FormBody query;
  FormBody form;

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
  Call call{request.method, segmentsOf(request.path), FormBody(), FormBody()};
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

 private:
  void answer(const httplib::Request& request, httplib::Response& response);
  Reply reply(const Call& call);
  Reply faultReply(Fault fault);
  bool waitOutSlowFault();
  bool authorized(const Call& call) const;
  std::int64_t now() const;

  Reply route(const Call& call);
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
  if (!authorized(call)) return failure(kInvalidClient);
  return route(call);
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

Reply LocalWeatherService::Impl::route(const Call& call) {
  if (call.segments.empty()) return failure(kInvalidRequest);
  const std::string& family = call.segments.front();
  if (family == "stations") return stations(call);
  if (call.method != "GET" || call.segments.size() != 2) return failure(kInvalidRequest);
  if (family == "observations") return observations(call);
  if (family == "forecasts") return forecasts(call);
  if (family == "places") return places(call);
  return failure(kInvalidRequest);
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
                                                                        kFaultParameter};
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

std::optional<LocalWeatherService::Fault> LocalWeatherService::faultNamed(std::string_view name) {
  const auto& names = faultNames();
  const auto found = names.find(name);
  if (found == names.end()) return std::nullopt;
  return found->second;
}
