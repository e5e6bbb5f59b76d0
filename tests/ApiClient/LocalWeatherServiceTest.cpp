// The local weather service, talked to with cpp-httplib's client and read with nlohmann-json:
// it is the peer the library is tested against, so it is checked without the library.

#include <gtest/gtest.h>
#include <httplib.h>

#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <numbers>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "LocalWeatherService.h"

namespace {

using Json = nlohmann::json;
using Fault = LocalWeatherService::Fault;

constexpr std::int64_t kNow = 1795000000;  // 2026-11-18T11:06:40Z
constexpr const char* kCredentials = "client_id=demo-client&client_secret=demo-secret";
constexpr const char* kFormType = "application/x-www-form-urlencoded";
constexpr const char* kPasswordForm = "grant_type=password&username=demo-user&password=demo-password&scope=";
constexpr const char* kRedirectURI = "http://127.0.0.1/callback";
constexpr std::int64_t kTokenLifetime = 3600;
constexpr int kForecastHours = 24;
constexpr int kSecondsPerHour = 3600;

class LocalWeatherServiceTest : public ::testing::Test {
 protected:
  LocalWeatherServiceTest() : service_(LocalWeatherService::Options{.now = kNow}) {}
  void SetUp() override {
    service_.start();
    client_ = std::make_unique<httplib::Client>("127.0.0.1", service_.port());
  }
  void TearDown() override { service_.stop(); }

  httplib::Result get(const std::string& pathAndQuery) { return client_->Get(pathAndQuery.c_str()); }
  httplib::Result put(const std::string& path, const std::string& form) {
    return client_->Put(path.c_str(), form, kFormType);
  }
  // A token request, authenticated in the body or, with `basic`, by the Authorization header.
  httplib::Result postToken(const std::string& form, bool basic = false) {
    if (basic) {
      const httplib::Headers headers = {httplib::make_basic_authentication_header("demo-client", "demo-secret")};
      return client_->Post("/oauth", headers, form, kFormType);
    }
    return client_->Post("/oauth", std::string(kCredentials) + "&" + form, kFormType);
  }
  // The reply to a token request that must succeed.
  Json tokens(const std::string& form, bool basic = false) {
    const auto result = postToken(form, basic);
    EXPECT_TRUE(result && result->status == 200) << (result ? result->body : "(no reply)");
    if (!result || result->status != 200) return Json::object();
    EXPECT_EQ(result->get_header_value("Cache-Control"), "no-store");
    EXPECT_EQ(result->get_header_value("Pragma"), "no-cache");
    return Json::parse(result->body);
  }
  // The envelope of a GET with valid credentials.
  Json envelope(const std::string& path, const std::string& query = "") {
    const auto result = get(path + "?" + query + (query.empty() ? "" : "&") + kCredentials);
    EXPECT_TRUE(result) << path;
    if (!result) return nullptr;
    EXPECT_EQ(result->status, 200) << path;
    EXPECT_EQ(result->get_header_value("Content-Type"), "application/json") << path;
    return Json::parse(result->body);
  }
  Json objects(const std::string& path, const std::string& query = "") {
    const Json reply = envelope(path, query);
    EXPECT_EQ(reply.value("success", false), true) << reply.dump();
    EXPECT_TRUE(reply["error"].is_null()) << reply.dump();
    return reply["response"];
  }

  LocalWeatherService service_;
  std::unique_ptr<httplib::Client> client_;
};

std::string errorCodeOf(const Json& reply) {
  if (!reply.is_object() || reply.value("success", true) || !reply["error"].is_object()) return "(not an error)";
  EXPECT_EQ(reply["response"], Json::array());
  return reply["error"]["code"];
}

// The ranges the worked model set's mapping tables check.
void expectStationMembers(const Json& object) {
  SCOPED_TRACE(object.dump());
  const std::string id = object.at("id");
  EXPECT_GE(id.size(), 1u);
  EXPECT_LE(id.size(), 32u);
  EXPECT_TRUE(std::set<std::string>({"METAR", "MADIS", "PWS"}).contains(object.at("dataSource")));
  EXPECT_LE(std::abs(object.at("loc").at("lat").get<double>()), 90);
  EXPECT_LE(std::abs(object.at("loc").at("long").get<double>()), 180);
  EXPECT_EQ(object.at("place").at("country").get<std::string>().size(), 2u);
  EXPECT_FALSE(object.at("place").at("name").get<std::string>().empty());
  EXPECT_TRUE(object.at("profile").at("tz").is_string());
  EXPECT_TRUE(object.at("profile").at("elevM").is_number_integer());
  EXPECT_TRUE(object.at("profile").at("hasPrecip").is_boolean());
}

void expectObservation(const Json& object) {
  expectStationMembers(object);
  const std::int64_t observedAt = object.at("obTimestamp");
  EXPECT_LE(observedAt, kNow);
  EXPECT_EQ(observedAt % 1200, 0) << "a 20-minute mark";
  EXPECT_GT(observedAt, kNow - 1200);
  const Json& ob = object.at("ob");
  EXPECT_GE(ob.at("humidity").get<int>(), 0);
  EXPECT_LE(ob.at("humidity").get<int>(), 100);
  EXPECT_LE(ob.at("dewpointC").get<double>(), ob.at("tempC").get<double>());
  EXPECT_NEAR(ob.at("tempF").get<double>(), ob.at("tempC").get<double>() * 9 / 5 + 32, 0.5);
  for (const char* text : {"windDir", "weather", "weatherCoded", "icon"}) EXPECT_TRUE(ob.at(text).is_string());
  EXPECT_TRUE(ob.at("isDay").is_boolean());
  EXPECT_EQ(object.at("periods").size(), 2u);
}

double distanceKm(double latitude1, double longitude1, double latitude2, double longitude2) {
  const auto radians = [](double degrees) { return degrees * std::numbers::pi / 180; };
  const double a = std::pow(std::sin(radians(latitude2 - latitude1) / 2), 2) +
                   std::cos(radians(latitude1)) * std::cos(radians(latitude2)) *
                       std::pow(std::sin(radians(longitude2 - longitude1) / 2), 2);
  return 2 * 6371 * std::asin(std::sqrt(a));
}

TEST_F(LocalWeatherServiceTest, CredentialsAreCheckedWhereEachMethodCarriesThem) {
  struct Case {
    const char* name;
    std::string method, path, query, form;
    bool accepted;
  };
  const std::string good = kCredentials;
  const std::vector<Case> cases = {
      {"GET, query", "GET", "/observations/austin", good, "", true},
      {"GET, none", "GET", "/observations/austin", "", "", false},
      {"GET, wrong secret", "GET", "/observations/austin", "client_id=demo-client&client_secret=x", "", false},
      {"GET, id only", "GET", "/observations/austin", "client_id=demo-client", "", false},
      {"PUT, form", "PUT", "/stations", "", good + "&name=a", true},
      {"PUT, query instead of form", "PUT", "/stations", good, "name=a", false},
      {"PUT, wrong id in form", "PUT", "/stations", "", "client_id=x&client_secret=demo-secret", false},
      {"DELETE, query", "DELETE", "/stations/none", good, "", true},
      {"DELETE, none", "DELETE", "/stations/none", "", "", false},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    const std::string target = test.path + (test.query.empty() ? "" : "?" + test.query);
    const auto result = test.method == "GET"   ? get(target)
                        : test.method == "PUT" ? put(target, test.form)
                                               : client_->Delete(target.c_str());
    ASSERT_TRUE(result);
    const Json reply = Json::parse(result->body);
    EXPECT_EQ(errorCodeOf(reply) == "invalid_client", !test.accepted) << reply.dump();
    if (!test.accepted) {
      EXPECT_EQ(reply["error"]["description"], "The client_id or client_secret is invalid.");
    }
  }
}

// The RFC 6749 §5.2 error of a token request, with its status and challenge.
struct OAuthErrorReply {
  std::string error;
  int status;
  std::string challenge;
  bool operator==(const OAuthErrorReply&) const = default;
};

OAuthErrorReply oauthErrorOf(const httplib::Result& result) {
  if (!result) return {"(no reply)", 0, ""};
  const Json reply = Json::parse(result->body);
  EXPECT_TRUE(reply["error_description"].is_string()) << reply;
  return {reply.value("error", "(none)"), result->status, result->get_header_value("WWW-Authenticate")};
}

std::ostream& operator<<(std::ostream& out, const OAuthErrorReply& reply) {
  return out << reply.error << " " << reply.status << " [" << reply.challenge << "]";
}

TEST_F(LocalWeatherServiceTest, EveryGrantOverBothClientAuthentications) {
  struct Case {
    const char* name;
    std::function<std::string()> form;
    bool refreshToken;
    Json username;
    const char* scope;  // null: none in the reply
  };
  const std::vector<Case> cases = {
      {"password", [] { return std::string(kPasswordForm); }, true, "demo-user", nullptr},
      {"password with scope", [] { return std::string(kPasswordForm) + "read+write"; }, true, "demo-user",
       "read write"},
      {"client_credentials", [] { return std::string("grant_type=client_credentials&scope=read"); }, false, nullptr,
       "read"},
      {"authorization_code",
       [this] {
         return "grant_type=authorization_code&redirect_uri=" + std::string(kRedirectURI) +
                "&code=" + service_.issueAuthorizationCode(kRedirectURI, "read");
       },
       true, "demo-user", "read"},
      {"refresh_token",
       [this] { return "grant_type=refresh_token&refresh_token=" + tokens(kPasswordForm).value("refresh_token", ""); },
       true, "demo-user", nullptr},
  };
  const std::regex urlSafe("[A-Za-z0-9._~-]{16,}");
  for (const Case& test : cases) {
    for (const bool basic : {false, true}) {
      SCOPED_TRACE(std::string(test.name) + (basic ? " (Basic)" : " (body)"));
      const Json reply = tokens(test.form(), basic);
      const std::string accessToken = reply.value("access_token", "");
      EXPECT_TRUE(std::regex_match(accessToken, urlSafe)) << reply;
      EXPECT_EQ(reply["token_type"], "Bearer");
      EXPECT_EQ(reply["expires_in"], kTokenLifetime);
      EXPECT_EQ(reply.contains("refresh_token"), test.refreshToken) << reply;
      EXPECT_EQ(reply.contains("scope"), test.scope != nullptr) << reply;
      if (test.scope) {
        EXPECT_EQ(reply["scope"], test.scope);
      }
      const Json account = objects("/account", "access_token=" + accessToken);
      const Json expected = {{"username", test.username},
                             {"clientId", "demo-client"},
                             {"scope", test.scope ? test.scope : ""},
                             {"expiresAt", kNow + kTokenLifetime}};
      EXPECT_EQ(account, Json::array({expected}));
    }
  }
}

TEST_F(LocalWeatherServiceTest, TokenRequestErrors) {
  const std::string scoped = tokens(std::string(kPasswordForm) + "read").value("refresh_token", "");
  const std::string usedCode = service_.issueAuthorizationCode(kRedirectURI);
  const std::string codeForm = "grant_type=authorization_code&redirect_uri=" + std::string(kRedirectURI) + "&code=";
  tokens(codeForm + usedCode);
  const std::string basicChallenge = "Basic realm=\"ovrin-weather\"";
  struct Case {
    const char* name;
    std::string form;
    httplib::Headers headers;
    OAuthErrorReply expected;
  };
  const std::string good = kCredentials;
  const auto basic = [](const char* id, const char* secret) {
    return httplib::Headers{httplib::make_basic_authentication_header(id, secret)};
  };
  const std::vector<Case> cases = {
      {"no client", kPasswordForm, {}, {"invalid_client", 401, ""}},
      {"wrong secret",
       "client_id=demo-client&client_secret=x&grant_type=client_credentials",
       {},
       {"invalid_client", 401, ""}},
      {"wrong Basic",
       "grant_type=client_credentials",
       basic("demo-client", "x"),
       {"invalid_client", 401, basicChallenge}},
      {"not Base64",
       "grant_type=client_credentials",
       {{"Authorization", "Basic !!"}},
       {"invalid_client", 401, basicChallenge}},
      {"Basic and body",
       good + "&grant_type=client_credentials",
       basic("demo-client", "demo-secret"),
       {"invalid_request", 400, ""}},
      {"no grant_type", good, {}, {"invalid_request", 400, ""}},
      {"repeated", good + "&grant_type=client_credentials&scope=a&scope=b", {}, {"invalid_request", 400, ""}},
      {"unknown grant", good + "&grant_type=implicit", {}, {"unsupported_grant_type", 400, ""}},
      {"wrong password", good + "&grant_type=password&username=demo-user&password=x", {}, {"invalid_grant", 400, ""}},
      {"no password", good + "&grant_type=password&username=demo-user", {}, {"invalid_request", 400, ""}},
      {"unknown code", good + "&" + codeForm + "nope", {}, {"invalid_grant", 400, ""}},
      {"used code", good + "&" + codeForm + usedCode, {}, {"invalid_grant", 400, ""}},
      {"other redirect_uri",
       good + "&grant_type=authorization_code&redirect_uri=http://x/&code=" +
           service_.issueAuthorizationCode(kRedirectURI),
       {},
       {"invalid_grant", 400, ""}},
      {"no redirect_uri", good + "&grant_type=authorization_code&code=x", {}, {"invalid_request", 400, ""}},
      {"unknown refresh token", good + "&grant_type=refresh_token&refresh_token=nope", {}, {"invalid_grant", 400, ""}},
      {"no refresh token", good + "&grant_type=refresh_token", {}, {"invalid_request", 400, ""}},
      {"wider scope",
       good + "&grant_type=refresh_token&scope=read+write&refresh_token=" + scoped,
       {},
       {"invalid_scope", 400, ""}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    const auto result = client_->Post("/oauth", test.headers, test.form, kFormType);
    EXPECT_EQ(oauthErrorOf(result), test.expected);
    if (result) {
      EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");
      EXPECT_EQ(Json::parse(result->body).contains("error_uri"), test.expected.error == "unsupported_grant_type");
    }
  }
  const auto got = get("/oauth?" + good + "&grant_type=client_credentials");
  EXPECT_EQ(oauthErrorOf(got), (OAuthErrorReply{"invalid_request", 405, ""}));
  EXPECT_EQ(got->get_header_value("Allow"), "POST");
}

TEST(LocalWeatherServiceOptionsTest, GrantsScopesAndRefreshTokenRotation) {
  for (const bool rotate : {false, true}) {
    SCOPED_TRACE(rotate ? "rotating" : "keeping");
    LocalWeatherService::Options options{.now = kNow};
    options.grantTypes = {"password", "refresh_token"};
    options.scopes = {"read"};
    options.rotateRefreshTokens = rotate;
    LocalWeatherService service(options);
    service.start();
    httplib::Client client("127.0.0.1", service.port());
    const auto post = [&](const std::string& form) {
      return client.Post("/oauth", std::string(kCredentials) + "&" + form, kFormType);
    };
    EXPECT_EQ(oauthErrorOf(post("grant_type=client_credentials")).error, "unauthorized_client");
    EXPECT_EQ(oauthErrorOf(post(std::string(kPasswordForm) + "write")).error, "invalid_scope");
    const std::string first = Json::parse(post(std::string(kPasswordForm) + "read")->body)["refresh_token"];
    const auto refresh = [&](const std::string& token) {
      return post("grant_type=refresh_token&refresh_token=" + token);
    };
    const Json renewed = Json::parse(refresh(first)->body);
    EXPECT_EQ(renewed["scope"], "read") << "a refresh keeps the scope";
    EXPECT_EQ(renewed["refresh_token"] != first, rotate) << renewed;
    EXPECT_EQ(refresh(first)->status, rotate ? 400 : 200) << "a rotated refresh token is used up";
    EXPECT_EQ(refresh(renewed["refresh_token"].get<std::string>())->status, 200);
    service.stop();
  }
}

TEST_F(LocalWeatherServiceTest, ExpiredAndRevokedTokensAreRefused) {
  const Json issued = tokens(kPasswordForm);
  const std::string refresh = "grant_type=refresh_token&refresh_token=" + issued.value("refresh_token", "");
  const auto refusal = [this](const std::string& path, const std::string& token) {
    const auto result = get(path + "?access_token=" + token);
    if (!result) return std::string("(no reply)");
    EXPECT_EQ(result->status, 401);
    EXPECT_EQ(result->get_header_value("WWW-Authenticate"), "Bearer realm=\"ovrin-weather\", error=\"invalid_token\"");
    const Json reply = Json::parse(result->body);
    return errorCodeOf(reply) + ": " + reply["error"].value("description", "");
  };
  EXPECT_EQ(refusal("/account", "nope"), "invalid_token: The access token is not known.");

  service_.expireAccessTokens();
  for (const char* path : {"/observations/austin", "/account"}) {
    EXPECT_EQ(refusal(path, issued["access_token"]), "invalid_token: The access token has expired.") << path;
  }
  const std::string renewed = tokens(refresh).value("access_token", "");
  EXPECT_EQ(objects("/account", "access_token=" + renewed)[0]["username"], "demo-user");

  service_.revokeTokens();
  EXPECT_EQ(refusal("/observations/austin", renewed), "invalid_token: The access token has been revoked.");
  EXPECT_EQ(oauthErrorOf(postToken(refresh)), (OAuthErrorReply{"invalid_grant", 400, ""}));
  EXPECT_EQ(service_.tokensIssued(), 2);
}

TEST_F(LocalWeatherServiceTest, AnAccessTokenStandsInForClientCredentials) {
  const std::string token = tokens("grant_type=client_credentials").value("access_token", "");
  const httplib::Headers bearer = {{"Authorization", "Bearer " + token}};
  // Appended after the caller's own parameters, unescaped, as the library's client sends it.
  const auto query = get("/observations/closest?p=austin,tx&limit=2&access_token=" + token);
  ASSERT_TRUE(query);
  EXPECT_EQ(Json::parse(query->body)["response"].size(), 2u) << query->body;
  const auto header = client_->Get("/observations/austin", bearer);
  ASSERT_TRUE(header);
  EXPECT_TRUE(Json::parse(header->body)["success"]) << header->body;
  const auto form = put("/stations", "access_token=" + token + "&id=K1");
  ASSERT_TRUE(form);
  EXPECT_EQ(Json::parse(form->body)["response"], Json::parse(R"([{"id": "K1"}])"));

  httplib::Request withBody;
  withBody.method = "GET";
  withBody.path = "/places/austin?access_token=" + token;
  withBody.headers = {httplib::make_basic_authentication_header("demo-client", "demo-secret")};
  withBody.set_header("Content-Type", "application/json");
  withBody.body = R"({"limit": 1})";
  const auto jsonBody = client_->send(withBody);
  ASSERT_TRUE(jsonBody);
  EXPECT_EQ(Json::parse(jsonBody->body)["response"][0]["name"], "austin") << jsonBody->body;

  const auto twice = client_->Get(("/places/austin?access_token=" + token).c_str(), bearer);
  ASSERT_TRUE(twice);
  EXPECT_EQ(twice->status, 400);
  EXPECT_EQ(errorCodeOf(Json::parse(twice->body)), "invalid_request");
  const auto clientOnly = get("/account?" + std::string(kCredentials));
  ASSERT_TRUE(clientOnly);
  EXPECT_EQ(clientOnly->status, 401);
  EXPECT_EQ(clientOnly->get_header_value("WWW-Authenticate"), "Bearer realm=\"ovrin-weather\"");
  EXPECT_EQ(Json::parse(clientOnly->body)["error"]["description"], "This resource needs an access token.");
}

TEST_F(LocalWeatherServiceTest, ConcurrentTokenRequestsGetDistinctTokens) {
  constexpr int kThreads = 4;
  constexpr int kRequestsEach = 5;
  std::vector<std::vector<std::string>> issued(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, &mine = issued[t]] {
      httplib::Client client("127.0.0.1", service_.port());
      const httplib::Headers headers = {httplib::make_basic_authentication_header("demo-client", "demo-secret")};
      for (int i = 0; i < kRequestsEach; ++i) {
        const auto result = client.Post("/oauth", headers, kPasswordForm, kFormType);
        const Json reply = result ? Json::parse(result->body) : Json::object();
        mine.push_back(reply.value("access_token", "") + reply.value("refresh_token", ""));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> distinct;
  for (const auto& mine : issued) distinct.insert(mine.begin(), mine.end());
  distinct.erase("");
  EXPECT_EQ(distinct.size(), static_cast<std::size_t>(kThreads * kRequestsEach));
  EXPECT_EQ(service_.tokensIssued(), kThreads * kRequestsEach);
}

TEST(LocalWeatherServiceOptionsTest, AcceptsTheConfiguredCredentialsOnly) {
  LocalWeatherService::Options options;
  options.clientId = "mine";
  options.clientSecret = "hush";
  LocalWeatherService service(options);
  service.start();
  httplib::Client client("127.0.0.1", service.port());
  const auto accepted = client.Get("/places/austin?client_id=mine&client_secret=hush");
  const auto refused = client.Get((std::string("/places/austin?") + kCredentials).c_str());
  ASSERT_TRUE(accepted && refused);
  EXPECT_TRUE(Json::parse(accepted->body)["success"]);
  EXPECT_EQ(errorCodeOf(Json::parse(refused->body)), "invalid_client");
  EXPECT_EQ(service.baseURL(), "http://127.0.0.1:" + std::to_string(service.port()) + "/");
  EXPECT_EQ(service.requestCount(), 2);
  service.stop();
}

TEST_F(LocalWeatherServiceTest, ObservationsOfANamedPlace) {
  struct Case {
    const char* path;
    const char* id;
    const char* name;
  };
  for (const Case& test :
       {Case{"/observations/austin,tx", "KAUS", "austin"}, Case{"/observations/new%20york,ny", "KJFK", "new york"},
        Case{"/observations/PARIS,FR", "LFPG", "paris"}, Case{"/observations/tokyo", "RJTT", "tokyo"}}) {
    SCOPED_TRACE(test.path);
    const Json response = objects(test.path);
    ASSERT_EQ(response.size(), 1u);
    expectObservation(response[0]);
    EXPECT_EQ(response[0]["id"], test.id);
    EXPECT_EQ(response[0]["place"]["name"], test.name);
  }
  // The 20-minute mark before it, 11:00Z, is 05:00 in Austin's standard offset.
  EXPECT_EQ(objects("/observations/austin,tx")[0]["obDateTime"], "2026-11-18T05:00:00-06:00");
}

TEST_F(LocalWeatherServiceTest, ErrorsForUnknownPlacesAndPaths) {
  struct Case {
    const char* path;
    const char* query;
    const char* code;
  };
  for (const Case& test :
       {Case{"/observations/atlantis", "", "invalid_location"}, Case{"/observations/austin,fr", "", "invalid_location"},
        Case{"/forecasts/atlantis", "", "invalid_location"}, Case{"/places/atlantis", "", "invalid_location"},
        Case{"/observations/closest", "p=north", "invalid_location"},
        Case{"/observations/closest", "p=91,0", "invalid_location"},
        Case{"/observations/closest", "p=30.2,x", "invalid_location"},
        Case{"/observations/search", "limit=none", "invalid_request"}, Case{"/weather/austin", "", "invalid_request"},
        Case{"/", "", "invalid_request"}}) {
    SCOPED_TRACE(std::string(test.path) + "?" + test.query);
    EXPECT_EQ(errorCodeOf(envelope(test.path, test.query)), test.code);
  }
  EXPECT_EQ(envelope("/weather")["error"]["description"], "The requested endpoint does not exist.");
  EXPECT_EQ(envelope("/places/atlantis")["error"]["description"], "The requested location was not found.");
}

TEST_F(LocalWeatherServiceTest, RequestsRefusedBeforeRoutingStillGetAnEnvelope) {
  const auto result = put("/stations", std::string(kCredentials) + "&note=" + std::string(20000, 'x'));
  ASSERT_TRUE(result);
  EXPECT_GE(result->status, 400);
  EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(errorCodeOf(Json::parse(result->body)), "invalid_request");
}

TEST_F(LocalWeatherServiceTest, SearchListsUpToAHundredDistinctStations) {
  EXPECT_EQ(objects("/observations/search").size(), 10u);
  const Json response = objects("/observations/search", "limit=500");
  ASSERT_EQ(response.size(), 100u);
  std::set<std::string> ids;
  for (const Json& observation : response) {
    expectObservation(observation);
    ids.insert(observation["id"]);
  }
  EXPECT_EQ(ids.size(), 100u);
}

TEST_F(LocalWeatherServiceTest, ClosestListsTheNearestFirst) {
  EXPECT_EQ(objects("/observations/closest", "p=30.2,-97.7").size(), 1u);
  struct Case {
    const char* point;
    double latitude, longitude;
    const char* nearest;
  };
  for (const Case& test : {Case{"48.85,2.35", 48.85, 2.35, "LFPG"}, Case{"-33.9,151.2", -33.9, 151.2, "YSSY"},
                           Case{"denver,co", 39.86, -104.67, "KDEN"}, Case{"0,179.9", 0, 179.9, nullptr}}) {
    SCOPED_TRACE(test.point);
    const Json response = objects("/observations/closest", "p=" + std::string(test.point) + "&limit=6");
    ASSERT_EQ(response.size(), 6u);
    if (test.nearest) {
      EXPECT_EQ(response[0]["id"], test.nearest);
    }
    double previous = 0;
    for (const Json& observation : response) {
      expectObservation(observation);
      const double distance =
          distanceKm(test.latitude, test.longitude, observation["loc"]["lat"], observation["loc"]["long"]);
      EXPECT_GE(distance, previous) << observation["id"];
      previous = distance;
    }
  }
}

TEST_F(LocalWeatherServiceTest, ForecastsAndPlaces) {
  const Json forecast = objects("/forecasts/berlin")[0];
  expectStationMembers(forecast);
  ASSERT_EQ(forecast["periods"].size(), static_cast<std::size_t>(kForecastHours));
  const std::int64_t nextHour = (kNow / kSecondsPerHour + 1) * kSecondsPerHour;
  for (int hour = 0; hour < kForecastHours; ++hour) {
    EXPECT_EQ(forecast["periods"][hour]["timestamp"], nextHour + hour * kSecondsPerHour);
    EXPECT_TRUE(forecast["periods"][hour]["tempC"].is_number());
  }

  EXPECT_EQ(objects("/places/austin,tx"), Json::parse(R"([{"name": "austin", "state": "tx", "country": "us"}])"));
  EXPECT_EQ(objects("/places/london")[0]["state"], "");
  const Json places = objects("/places/search", "query=San&limit=2");
  ASSERT_EQ(places.size(), 2u);
  for (const Json& place : places) EXPECT_TRUE(place["name"].get<std::string>().starts_with("san")) << place;
}

TEST_F(LocalWeatherServiceTest, StationsRoundTripThroughBracketForms) {
  const std::string created =
      std::string(kCredentials) +
      "&loc[lat]=30.2&loc[long]=-97.7&place[name]=austin&periods[][tempC]=1.5&periods[][timestamp]=1795003600"
      "&periods[][tempC]=2&active=true&code=0123&note=two+words%21";
  const auto result = put("/stations", created);
  ASSERT_TRUE(result);
  const Json stored = Json::parse(result->body)["response"][0];
  const Json expected =
      Json::parse(R"({"id": "station-1", "loc": {"lat": 30.2, "long": -97.7}, "place": {"name": "austin"},
      "periods": [{"tempC": 1.5, "timestamp": 1795003600}, {"tempC": 2}], "active": true, "code": "0123",
      "note": "two words!"})");
  EXPECT_EQ(stored, expected);
  EXPECT_EQ(objects("/stations/station-1")[0], expected);

  ASSERT_TRUE(put("/stations/station-1", std::string(kCredentials) + "&place[state]=tx&periods[1][tempC]=3&id=other"));
  Json updated = expected;
  updated["place"]["state"] = "tx";
  updated["periods"] = Json::parse(R"([null, {"tempC": 3}])");
  EXPECT_EQ(objects("/stations")[0], updated);

  ASSERT_TRUE(put("/stations", std::string(kCredentials) + "&id=KXYZ&name=b"));
  EXPECT_EQ(objects("/stations").size(), 2u);
  EXPECT_EQ(objects("/stations", "limit=1").size(), 1u);

  const std::string target = "/stations/station-1?" + std::string(kCredentials);
  const auto deleted = client_->Delete(target.c_str());
  ASSERT_TRUE(deleted);
  EXPECT_EQ(Json::parse(deleted->body)["response"], Json::array());
  for (const Json& reply : {envelope("/stations/station-1"), Json::parse(client_->Delete(target.c_str())->body),
                            Json::parse(put("/stations/station-1", kCredentials)->body)}) {
    EXPECT_EQ(errorCodeOf(reply), "object_not_exists");
    EXPECT_EQ(reply["error"]["description"], "The requested object does not exist.");
  }
}

TEST_F(LocalWeatherServiceTest, StationsCreatedConcurrentlyGetDistinctIds) {
  constexpr int kThreads = 4;
  constexpr int kStationsEach = 5;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this] {
      httplib::Client client("127.0.0.1", service_.port());
      for (int i = 0; i < kStationsEach; ++i) client.Put("/stations", kCredentials, kFormType);
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> ids;
  for (const Json& station : objects("/stations", "limit=100")) ids.insert(station["id"].get<std::string>());
  EXPECT_EQ(ids.size(), static_cast<std::size_t>(kThreads * kStationsEach));
}

struct FaultCase {
  const char* name;
  Fault fault;
  int status;
  const char* contentType;
  const char* body;  // null: the JSON error envelope with code "internal_error"
};

const FaultCase kFaultCases[] = {
    {"error", Fault::errorEnvelope, 200, "application/json", nullptr},
    {"malformed", Fault::malformedJSON, 200, "application/json", R"({"success": tru)"},
    {"500", Fault::serverError, 500, "application/json", nullptr},
    {"html500", Fault::htmlServerError, 500, "text/html",
     "<html><body><h1>500 Internal Server Error</h1></body></html>"},
    {"array", Fault::arrayInsteadOfEnvelope, 200, "application/json", "[1,2,3]"},
    {"scalar", Fault::scalarInsteadOfEnvelope, 200, "application/json", "42"},
    {"errorstring", Fault::errorIsNotAnObject, 200, "application/json",
     R"({"success": false, "error": "something went wrong", "response": []})"},
    {"empty", Fault::emptyBody, 200, "application/json", ""},
    {"wrongtypes", Fault::wrongTypes, 200, "application/json",
     R"({"access_token": 42, "token_type": ["Bearer"], "expires_in": "soon", "refresh_token": null})"},
};

void expectFaultReply(const httplib::Result& result, const FaultCase& test) {
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, test.status);
  EXPECT_EQ(result->get_header_value("Content-Type"), test.contentType);
  if (test.body) {
    EXPECT_EQ(result->body, test.body);
  } else {
    EXPECT_EQ(errorCodeOf(Json::parse(result->body)), "internal_error");
  }
}

TEST_F(LocalWeatherServiceTest, FaultsByParameterAndForEveryRequest) {
  for (const FaultCase& test : kFaultCases) {
    SCOPED_TRACE(test.name);
    EXPECT_EQ(LocalWeatherService::faultNamed(test.name), test.fault);
    expectFaultReply(get("/observations/austin?fault=" + std::string(test.name) + "&" + kCredentials), test);
    expectFaultReply(put("/stations", std::string(kCredentials) + "&fault=" + test.name), test);
    expectFaultReply(postToken(std::string(kPasswordForm) + "&fault=" + test.name, true), test);
    EXPECT_TRUE(envelope("/observations/austin")["success"]) << "a parameter's fault lasts one request";
    service_.setFault(test.fault);
    expectFaultReply(get("/places/austin?" + std::string(kCredentials)), test);
    expectFaultReply(get("/nowhere"), test);
    service_.setFault(Fault::none);
    EXPECT_TRUE(envelope("/observations/austin")["success"]);
  }
  EXPECT_EQ(LocalWeatherService::faultNamed("slow"), Fault::slow);
  EXPECT_FALSE(LocalWeatherService::faultNamed("none"));
  EXPECT_EQ(errorCodeOf(envelope("/observations/austin", "fault=none")), "invalid_request");
  EXPECT_FALSE(objects("/stations").size()) << "a faulty PUT stores nothing";
  EXPECT_EQ(service_.tokensIssued(), 0) << "a faulty token request issues nothing";
}

TEST_F(LocalWeatherServiceTest, SlowRepliesStillAnswer) {
  service_.setSlowDelay(0.05);
  EXPECT_EQ(objects("/observations/austin", "fault=slow").size(), 1u);
  service_.setFault(Fault::slow);
  EXPECT_EQ(objects("/places/austin").size(), 1u);
}

TEST_F(LocalWeatherServiceTest, CountsEveryRequestAnswered) {
  const std::int64_t before = service_.requestCount();
  get("/observations/austin");
  get("/nowhere?fault=html500");
  objects("/places/austin");
  EXPECT_EQ(service_.requestCount(), before + 3);
}

TEST(LocalWeatherServiceDeterminismTest, TheSameMomentGivesTheSameBytes) {
  const auto bodies = [](std::int64_t now) {
    LocalWeatherService service(LocalWeatherService::Options{.now = now});
    service.start();
    httplib::Client client("127.0.0.1", service.port());
    std::vector<std::string> result;
    for (const char* path : {"/observations/search?limit=100&", "/forecasts/sydney?", "/observations/closest?p=0,0&"}) {
      const auto reply = client.Get((path + std::string(kCredentials)).c_str());
      result.push_back(reply ? reply->body : "(no reply)");
    }
    service.stop();
    return result;
  };
  const auto first = bodies(kNow);
  EXPECT_EQ(first, bodies(kNow));
  EXPECT_NE(first, bodies(kNow + 7 * 24 * kSecondsPerHour)) << "the data follows the clock";
}

}  // namespace
