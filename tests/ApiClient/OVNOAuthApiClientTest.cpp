// The OAuth client against the local weather service's token endpoint (real grants over
// HTTP) and against handlers written here (replies the service would never give), with the
// credential in each secure store backend: the file store and a private gnome-keyring.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "LocalWeatherService.h"
#include "Logging/OVNLogger.h"
#include "OVNApiResponse.h"
#include "OVNOAuthApiClient.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/System/OVNSecItem.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/ConsoleCapture.h"
#include "Support/HttpTestServer.h"
#include "Support/IsolatedSecureStore.h"
#include "Support/TemporaryDirectory.h"

namespace {

constexpr double replyTimeout = 10;
constexpr double tokenLifetime = 3600;
constexpr const char* clientID = "demo-client";
constexpr const char* clientSecret = "demo-secret";
constexpr const char* username = "demo-user";
constexpr const char* password = "demo-password";

// A client whose public resources a test chooses.
class PublicResourcesClient : public OVNOAuthApiClient {
  OVN_CLASS(PublicResourcesClient, OVNOAuthApiClient)

 public:
  OVNArrayRef resources;
  bool bodies = false;
  OVNArrayRef publicResources() const override { return resources; }
  bool sendsDataAsHttpBody() const override { return bodies; }
};

// What one token request called back, in order.
struct Outcome {
  std::vector<std::string> calls;  // "failure", "success"
  std::shared_ptr<OVNError> error;
  OVNOAuthCredentialRef credential;
};

class OVNOAuthApiClientTest : public ::testing::TestWithParam<OVNSecureStore::Backend> {
 protected:
  OVNOAuthApiClientTest() {
    service.start();
    client = makeClient(service.baseURL());
  }

  static std::shared_ptr<PublicResourcesClient> makeClient(const std::string& baseURL) {
    auto made = OVNOAuthApiClient::initWithBaseURL<PublicResourcesClient>(OVNURL::URLWithString(baseURL));
    made->setClientID(std::string(clientID));
    made->setClientSecret(std::string(clientSecret));
    return made;
  }

  // Sends a token request made by `send` and waits for its callbacks. Both callbacks of an
  // error reply run in one turn of the main queue, so the first one ends the wait.
  template <class Send>
  static Outcome token(Send send) {
    Outcome outcome;
    send(
        [&](const OVNOAuthCredentialRef& credential) {
          outcome.calls.push_back("success");
          outcome.credential = credential;
        },
        [&](const std::shared_ptr<OVNError>& error) {
          outcome.calls.push_back("failure");
          outcome.error = error;
        });
    OVNRunLoop::main().runUntil([&] { return !outcome.calls.empty(); }, replyTimeout);
    return outcome;
  }

  // The demo user's password grant; the credential, or null.
  static OVNOAuthCredentialRef signIn(OVNOAuthApiClient& on) {
    return token([&](auto s, auto f) {
             on.authenticateUsingOAuthWithURLString("/oauth", username, password, std::nullopt, s, f);
           })
        .credential;
  }

  static std::shared_ptr<OVNApiResponse> perform(OVNOAuthApiClient& on, const std::string& resource,
                                                 const std::string& method,
                                                 const OVNDictionaryRef& parameters = nullptr) {
    std::shared_ptr<OVNApiResponse> response;
    (void)on.performRequest(resource, method, 0, parameters,
                            [&](const std::shared_ptr<OVNApiResponse>& reply) { response = reply; });
    OVNRunLoop::main().runUntil([&] { return response != nullptr; }, replyTimeout);
    return response;
  }

  IsolatedSecureStore store{GetParam()};  // first: before anything reaches the session bus
  LocalWeatherService service;
  std::shared_ptr<PublicResourcesClient> client;
};

OVNDictionaryRef form(std::initializer_list<std::pair<std::string, OVNValue>> entries) {
  return OVNDictionary::make(entries);
}

}  // namespace

OVN_PROPERTIES(PublicResourcesClient)

TEST_P(OVNOAuthApiClientTest, EveryGrantSignsInOverHTTPWithEitherClientAuthentication) {
  using Success = OVNOAuthApiClient::SuccessHandler;
  using Failure = OVNOAuthApiClient::FailureHandler;
  for (const bool basic : {true, false}) {
    client->setUseHTTPBasicAuthentication(basic);
    const auto owner = token([&](Success s, Failure f) {
      client->authenticateUsingOAuthWithURLString("/oauth", username, password, std::string("read"), s, f);
    });
    ASSERT_EQ(owner.calls, std::vector<std::string>{"success"}) << basic;
    const auto signedIn = owner.credential;
    EXPECT_EQ(signedIn->tokenType(), "Bearer");
    ASSERT_TRUE(signedIn->accessToken() && signedIn->refreshToken());
    ASSERT_TRUE(signedIn->expiration());
    EXPECT_NEAR(signedIn->expiration()->timeIntervalSinceNow(), tokenLifetime, 60);
    EXPECT_EQ(client->oauthCredential(), signedIn);
    EXPECT_TRUE(client->isAuthenticated());
    // Stored before its expiration was set: the stored copy has none.
    auto stored = OVNOAuthCredential::retrieveCredentialWithIdentifier(client->credentialIdentifier());
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->accessToken(), signedIn->accessToken());
    EXPECT_EQ(stored->expiration(), std::nullopt);

    // The refresh reply names no refresh token: the request's own is kept.
    const auto refreshed = token([&](Success s, Failure f) {
      client->authenticateUsingOAuthWithURLStringRefreshToken("/oauth", *signedIn->refreshToken(), s, f);
    });
    ASSERT_EQ(refreshed.calls, std::vector<std::string>{"success"});
    EXPECT_NE(refreshed.credential->accessToken(), signedIn->accessToken());
    EXPECT_EQ(refreshed.credential->refreshToken(), signedIn->refreshToken());

    const auto clientOnly =
        token([&](Success s, Failure f) { client->authenticateUsingOAuthWithURLString("/oauth", std::nullopt, s, f); });
    ASSERT_EQ(clientOnly.calls, std::vector<std::string>{"success"});
    EXPECT_EQ(clientOnly.credential->refreshToken(), std::nullopt);

    const std::string redirect = "http://127.0.0.1/callback";
    const std::string code = service.issueAuthorizationCode(redirect);
    const auto coded = token(
        [&](Success s, Failure f) { client->authenticateUsingOAuthWithURLString("/oauth", code, redirect, s, f); });
    ASSERT_EQ(coded.calls, std::vector<std::string>{"success"});
    EXPECT_TRUE(coded.credential->refreshToken());
  }
}

TEST_P(OVNOAuthApiClientTest, AnErrorReplyCallsFailureThenSuccessAndReplacesTheStoredCredential) {
  bool done = false;
  std::vector<std::string> seen;
  client->authenticateUsingOAuthWithUsername(
      username, "wrong", [&](const OVNOAuthCredentialRef& credential, const std::shared_ptr<OVNError>& error) {
        seen.push_back(credential ? "credential" : "error");
        if (error) {
          EXPECT_EQ(error->domain(), OVNOAuth2ErrorDomain);
          EXPECT_EQ(error->code(), -1);
        }
        done = credential != nullptr;
      });
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return done; }, replyTimeout));
  EXPECT_EQ(seen, (std::vector<std::string>{"error", "credential"}));
  auto stored = OVNOAuthCredential::retrieveCredentialWithIdentifier(client->credentialIdentifier());
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->accessToken(), std::nullopt);

  // A revoked refresh token is refused the same way.
  ASSERT_TRUE(signIn(*client));
  const auto refreshToken = *client->oauthCredential()->refreshToken();
  service.revokeTokens();
  const auto revoked = token(
      [&](auto s, auto f) { client->authenticateUsingOAuthWithURLStringRefreshToken("/oauth", refreshToken, s, f); });
  EXPECT_EQ(revoked.calls, (std::vector<std::string>{"failure", "success"}));
  ASSERT_TRUE(revoked.error);
  EXPECT_EQ(revoked.error->userInfo()->objectForKey(OVNLocalizedDescriptionKey).isPresent(), true);
}

TEST_P(OVNOAuthApiClientTest, TokenRepliesOfEveryShapeGiveTheDescribedResultAndNeverCrash) {
  struct Case {
    const char* body;
    std::vector<std::string> calls;
    std::optional<std::string> description;  // of the failure's error, when one is made
    std::optional<std::string> accessToken;
    std::optional<std::string> refreshToken;  // the request sends "r0"
    bool expiresAtOnce;                       // else in the distant future
  };
  const std::string invalidGrant =
      "The provided authorization grant (e.g., authorization code, resource owner credentials) or refresh token is "
      "invalid, expired, revoked, does not match the redirection URI used in the authorization request, or was "
      "issued to another client.";
  const std::vector<Case> cases = {
      {R"({"error":"invalid_grant"})", {"failure", "success"}, invalidGrant, std::nullopt, "r0", false},
      {R"({"error":"teapot","error_uri":"http://127.0.0.1/help"})",
       {"failure", "success"},
       std::nullopt,
       std::nullopt,
       "r0",
       false},
      {R"({"error":null,"access_token":"t1"})", {"failure", "success"}, std::nullopt, "t1", "r0", false},
      {R"({"access_token":"t2","refresh_token":null})", {"success"}, std::nullopt, "t2", "r0", false},
      {R"({"access_token":42,"token_type":["Bearer"],"expires_in":"soon","refresh_token":7})",
       {"success"},
       std::nullopt,
       std::nullopt,
       "r0",
       true},
      {R"({"access_token":"t3","refresh_token":"r1","expires_in":0})", {"success"}, std::nullopt, "t3", "r1", true},
      {"not json", {"failure"}, std::nullopt, std::nullopt, std::nullopt, false},
      {"", {"failure"}, std::nullopt, std::nullopt, std::nullopt, false},
      {"[1,2]", {"failure"}, std::nullopt, std::nullopt, std::nullopt, false},
  };
  HttpTestServer server;
  std::string reply;
  std::mutex replyMutex;
  server.server().Post("/oauth", [&](const httplib::Request&, httplib::Response& response) {
    std::lock_guard lock(replyMutex);
    response.set_content(reply, "application/json");
  });
  server.start();
  auto direct = makeClient(server.url("/"));
  for (const auto& c : cases) {
    {
      std::lock_guard lock(replyMutex);
      reply = c.body;
    }
    const auto outcome = token([&](auto s, auto f) {
      direct->authenticateUsingOAuthWithURLString(
          "/oauth", form({{"grant_type", "refresh_token"}, {"refresh_token", "r0"}}), s, f);
    });
    EXPECT_EQ(outcome.calls, c.calls) << c.body;
    if (outcome.error) {
      EXPECT_EQ(outcome.error->userInfo()->objectForKey(OVNLocalizedDescriptionKey).isPresent(),
                c.description.has_value())
          << c.body;
      if (c.description) {
        EXPECT_EQ(outcome.error->localizedDescription(), *c.description);
      }
    }
    if (c.calls.back() != "success") {
      EXPECT_EQ(outcome.error, nullptr) << c.body;  // no data: a null error
      continue;
    }
    ASSERT_TRUE(outcome.credential) << c.body;
    EXPECT_EQ(outcome.credential->accessToken(), c.accessToken) << c.body;
    EXPECT_EQ(outcome.credential->refreshToken(), c.refreshToken) << c.body;
    const double left = outcome.credential->expiration()->timeIntervalSinceNow();
    EXPECT_TRUE(c.expiresAtOnce ? std::abs(left) < 60 : left > 1e9) << c.body << " " << left;
  }
}

TEST_P(OVNOAuthApiClientTest, RefreshingAsksForANewTokenOnlyWhenTheCredentialHasExpired) {
  std::vector<std::pair<OVNOAuthCredentialRef, std::shared_ptr<OVNError>>> results;
  const auto record = [&](const OVNOAuthCredentialRef& credential, const std::shared_ptr<OVNError>& error) {
    results.emplace_back(credential, error);
  };
  EXPECT_EQ(client->refreshAccessTokenWithCompletion(record), nullptr);
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].second->code(), OVNApiErrorCodeInvalidResponse);
  EXPECT_EQ(results[0].second->localizedDescription(),
            "OAuth: No credentials found when attempting to refresh access token.");

  auto current = OVNOAuthCredential::credentialWithOAuthToken("still-good", "Bearer");
  current->setExpiration(OVNDate::dateWithTimeIntervalSinceNow(60));
  client->setOauthCredential(current);
  const auto requests = service.requestCount();
  EXPECT_EQ(client->refreshAccessTokenWithCompletion(record), nullptr);  // at once, no traffic
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[1].first, current);
  EXPECT_EQ(service.requestCount(), requests);

  current->setExpiration(OVNDate::dateWithTimeIntervalSinceNow(-1));
  current->setRefreshToken("unused");
  EXPECT_NE(client->refreshAccessTokenWithCompletion(record), nullptr);
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return results.size() == 3; }, replyTimeout));
  ASSERT_TRUE(results[2].first);
  EXPECT_NE(results[2].first->accessToken(), "still-good");
  EXPECT_EQ(results[2].first->refreshToken(), std::nullopt);  // a client-credentials grant
  EXPECT_EQ(client->oauthCredential(), results[2].first);
}

TEST_P(OVNOAuthApiClientTest, ProtectedRequestsCarryTheTokenAndEveryMethodIsSentAsGET) {
  // Without a credential the request goes out all the same, and the service refuses it.
  auto refused = perform(*client, "observations/austin,tx", "GET");
  ASSERT_TRUE(refused);
  EXPECT_FALSE(refused->isSuccessful());

  ASSERT_TRUE(signIn(*client));
  auto account = perform(*client, "account", "GET");
  ASSERT_TRUE(account);
  EXPECT_TRUE(account->isSuccessful()) << account->description();

  HttpTestServer server;
  std::vector<std::string> seen;
  std::mutex seenMutex;
  const auto recordRequest = [&](const httplib::Request& request, httplib::Response& response) {
    std::lock_guard lock(seenMutex);
    // httplib does not read a GET's body: its length tells that one was sent.
    seen.push_back(request.method + " " + request.target + " " + request.get_header_value("Authorization") + " " +
                   request.get_header_value("Content-Type") + " " + request.get_header_value("Content-Length"));
    response.set_content(R"({"success":true,"error":null,"response":[]})", "application/json");
  };
  server.server().Get(".*", recordRequest);
  server.server().Post(".*", recordRequest);
  server.start();
  auto direct = makeClient(server.url("/"));
  auto credential = OVNOAuthCredential::credentialWithOAuthToken("tok", "Bearer");
  credential->setExpiration(OVNDate::dateWithTimeIntervalSinceNow(600));
  direct->setOauthCredential(credential);
  direct->resources = OVNArray::make({OVNValue("public")});
  const auto send = [&](const std::string& resource, const std::string& method) {
    EXPECT_TRUE(perform(*direct, resource, method, form({{"q", "1"}}))) << resource;
  };
  send("stations", "POST");
  send("public", "PUT");
  direct->bodies = true;
  send("stations", "POST");
  send("public", "DELETE");
  send("stations", "GET");
  const std::string basic = "Basic ZGVtby1jbGllbnQ6ZGVtby1zZWNyZXQ=";
  const std::string jsonLength = std::to_string(std::string("{\n  \"q\" : \"1\"\n}").size());
  // The parameters of a protected GET are glued onto the token: the session manager appends
  // a query to one that exists without "&", as it always has.
  EXPECT_EQ(seen, (std::vector<std::string>{
                      "GET /stations?access_token=tokq=1   ",
                      "GET /public?client_id=demo-client&client_secret=demo-secret&q=1   ",
                      "GET /stations?&access_token=tok " + basic + " application/json " + jsonLength,
                      "GET /public?&client_id=demo-client&client_secret=demo-secret  application/json " + jsonLength,
                      "GET /stations?access_token=tokq=1   ",
                  }));
}

TEST_P(OVNOAuthApiClientTest, ACredentialThatCannotBeStoredIsKeptInMemoryAndSaidSo) {
  // An item another program left under the client's identifier is not replaced.
  auto foreign = OVNKeychainQueryDictionaryWithIdentifier(client->credentialIdentifier())->mutableCopy();
  foreign->set(kSecValueData, OVNValue(OVNData::fromString("not an archive")));
  ASSERT_EQ(OVNSecureStore::itemAdd(foreign), errSecSuccess);
  ConsoleCapture console;
  const auto credential = signIn(*client);
  ASSERT_TRUE(credential && credential->accessToken());
  EXPECT_TRUE(client->isAuthenticated());
  bool warned = false;
  for (const auto& line : console.lines()) {
    warned = warned || line.find("could not be stored as \"" + client->credentialIdentifier()) != std::string::npos;
    EXPECT_EQ(line.find(*credential->accessToken()), std::string::npos) << line;
  }
  EXPECT_TRUE(warned);
}

TEST_P(OVNOAuthApiClientTest, PublicResourcePatternsFollowTheirRules) {
  struct Case {
    OVNArrayRef resources;
    const char* resource;
    const char* method;
    bool isProtected;
  };
  const auto postOnly =
      OVNValue(form({{std::string(OVNResourcePathKey), "/stations"}, {std::string(OVNResourceMethodKey), "POST"}}));
  const std::vector<Case> cases = {
      {nullptr, "/oauth", "GET", true},
      {OVNArray::make({OVNValue("/public/*")}), "/public", "GET", true},
      {OVNArray::make({OVNValue("/public/*")}), "/public/today", "GET", false},
      {OVNArray::make({OVNValue("/public/*")}), "/anything/else", "GET", false},
      {OVNArray::make({postOnly}), "/stations", "POST", false},
      {OVNArray::make({postOnly}), "/stations", "GET", true},
      {OVNArray::make({OVNValue("forecasts")}), "forecasts", "GET", false},
      {OVNArray::make({OVNValue("forecasts")}), "/v1/forecasts", "GET", false},
      {OVNArray::make({OVNValue("forecasts")}), "forecasts/paris", "GET", true},
      {OVNArray::make({OVNValue("forecasts")}), "/v1/oauth/token", "GET", false},
  };
  for (const auto& c : cases) {
    client->resources = c.resources;
    EXPECT_EQ(client->isProtectedResource(c.resource, c.method), c.isProtected) << c.resource << " " << c.method;
  }
}

TEST_P(OVNOAuthApiClientTest, BuildsURLsAndAuthorizationHeaders) {
  EXPECT_EQ(client->URLStringByAppendingAccessToken("a?b=1"), "a?b=1");  // not authenticated
  auto credential = OVNOAuthCredential::credentialWithOAuthToken("t+k", "bEaReR");
  credential->setExpiration(OVNDate::distantFuture());
  client->setOauthCredential(credential);
  EXPECT_EQ(client->URLStringByAppendingAccessToken("a?b=1"), "a?b=1&access_token=t+k");
  EXPECT_EQ(client->URLStringByAppendingAccessToken("a"), "a?access_token=t+k");
  EXPECT_EQ(client->URLStringByAppendingClientIdAndSecret("a"), "a?client_id=demo-client&client_secret=demo-secret");
  EXPECT_EQ(client->authorizationHeaderValueWithUsername("Aladdin", "open sesame"),
            "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==");  // RFC 7617's example
  EXPECT_EQ(client->authorizationHeaderValueWithCredential(credential), "Bearer t+k");
  credential->setTokenType("mac");
  EXPECT_EQ(client->authorizationHeaderValueWithCredential(credential), std::nullopt);

  EXPECT_EQ(client->optionsForRequestWithParameters(form({{"client_id", "mine"}, {"q", "1"}}))
                ->isEqual(*form({{"client_id", clientID}, {"client_secret", clientSecret}, {"q", "1"}})),
            true);
  client->setSecret(std::nullopt);
  EXPECT_EQ(client->secret(), "");
  EXPECT_EQ(client->serviceProviderIdentifier(), "127.0.0.1");
  EXPECT_TRUE(client->useHTTPBasicAuthentication());
  const auto bundle = OVNBundle::mainBundle()->bundleIdentifier();
  EXPECT_EQ(client->credentialIdentifier(),
            (bundle ? *bundle : std::string("(null)")) + ".PublicResourcesClient.credential");
}

TEST_P(OVNOAuthApiClientTest, ACredentialOutlivesItsClientUntilSignedOutAndNoSecretIsLogged) {
  TemporaryDirectory documents("ovrin-oauth-log");
  OVNFileManager::setDocumentationDirectory(documents.path());
  OVNLogger::enableLogToFile();
  ASSERT_TRUE(signIn(*client));
  const std::string accessToken = *client->oauthCredential()->accessToken();
  auto again = makeClient(service.baseURL());
  ASSERT_TRUE(again->oauthCredential());
  EXPECT_EQ(again->oauthCredential()->accessToken(), accessToken);

  // Failures are logged with the URL, its secrets hidden.
  again->oauthCredential()->setExpiration(OVNDate::distantFuture());
  again->setBaseURL(OVNURL::URLWithString("http://127.0.0.1:1/"));
  auto failed = perform(*again, "account", "GET");
  ASSERT_TRUE(failed && failed->error());
  again->resources = OVNArray::make({OVNValue("account")});
  failed = perform(*again, "account", "GET");
  ASSERT_TRUE(failed && failed->error());
  (void)signIn(*again);
  OVNLogger::synchronizeLogFile();
  std::stringstream log;
  log << std::ifstream(*OVNLogger::logFilePath()).rdbuf();
  EXPECT_NE(log.str().find("**ERROR** request: http://127.0.0.1:1/account?access_token=<hidden>"), std::string::npos)
      << log.str();
  for (const std::string& secret : {accessToken, std::string(clientSecret), std::string(password)}) {
    EXPECT_EQ(log.str().find(secret), std::string::npos) << secret;
  }

  std::vector<bool> completions;
  again->unauthenticateWithCompletion(
      [&](const auto& credential, const auto& error) { completions.push_back(!credential && !error); });
  EXPECT_EQ(completions, std::vector<bool>{true});
  EXPECT_EQ(OVNOAuthCredential::retrieveCredentialWithIdentifier(client->credentialIdentifier()), nullptr);
  OVNFileManager::setDocumentationDirectory(std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Backends, OVNOAuthApiClientTest,
                         ::testing::Values(OVNSecureStore::Backend::file, OVNSecureStore::Backend::secretService),
                         [](const auto& info) { return IsolatedSecureStore::nameOf(info.param); });
