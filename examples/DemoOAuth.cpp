// The demonstration's OAuth 2.0 part: an OAuth client signs in to the local weather service
// with the password grant, its credential is stored in the secure store (shown with the
// tokens masked), a protected resource answers to the token, and signing out deletes the
// stored credential.
#include "DemoOAuth.h"

#include <cstdio>
#include <string>

#include "CredentialText.h"
#include "LocalWeatherService.h"
#include "OVNApiResponse.h"
#include "OVNOAuthApiClient.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"

namespace {

constexpr double waitSeconds = 10.0;
constexpr const char* demoBundleIdentifier = "com.ovrinweather.demo";

// The application's OAuth client; every resource of the service is protected.
class DemoOAuthClient : public OVNOAuthApiClient {
  OVN_CLASS(DemoOAuthClient, OVNOAuthApiClient)
};

std::shared_ptr<OVNApiResponse> get(OVNOAuthApiClient& client, const std::string& resource) {
  std::shared_ptr<OVNApiResponse> response;
  (void)client.GET(resource, nullptr, [&](const std::shared_ptr<OVNApiResponse>& reply) { response = reply; });
  OVNRunLoop::main().runUntil([&] { return response != nullptr; }, waitSeconds);
  return response;
}

// The first object of a successful reply, or null.
OVNDictionaryRef firstObject(const std::shared_ptr<OVNApiResponse>& response) {
  if (!response || !response->isSuccessful()) return nullptr;
  const auto objects = response->response().array();
  return objects && objects->count() > 0 ? objects->at(0).dictionary() : nullptr;
}

}  // namespace

OVN_PROPERTIES(DemoOAuthClient)

bool demonstrateOAuth() {
  LocalWeatherService service;
  service.start();
  const LocalWeatherService::Options accepted;
  if (!OVNBundle::mainBundle()->bundleIdentifier()) {
    OVNBundle::mainBundle()->setInfoValue("CFBundleIdentifier", std::string(demoBundleIdentifier));
  }
  auto client = OVNOAuthApiClient::initWithBaseURL<DemoOAuthClient>(OVNURL::URLWithString(service.baseURL()));
  client->setClientID(accepted.clientId);
  client->setClientSecret(accepted.clientSecret);
  std::printf("  secrets are kept in %s\n", whereSecretsLive().c_str());

  OVNOAuthCredentialRef signedIn;
  std::shared_ptr<OVNError> refused;
  bool answered = false;
  client->authenticateUsingOAuthWithUsername(
      accepted.username, accepted.password,
      [&](const OVNOAuthCredentialRef& credential, const std::shared_ptr<OVNError>& error) {
        signedIn = credential;
        refused = refused ? refused : error;
        answered = true;
      });
  OVNRunLoop::main().runUntil([&] { return answered; }, waitSeconds);
  if (!signedIn || refused || !signedIn->accessToken()) {
    std::printf("  sign-in failed: %s\n", refused ? refused->localizedDescription().c_str() : "no reply");
    return false;
  }
  auto stored = OVNOAuthCredential::retrieveCredentialWithIdentifier(client->credentialIdentifier());
  std::printf("  signed in as %s; stored under \"%s\":\n    %s\n", accepted.username.c_str(),
              client->credentialIdentifier().c_str(),
              stored ? maskedCredentialDescription(*stored).c_str() : "(nothing stored)");

  const auto account = firstObject(get(*client, "account"));
  std::printf("  the protected resource \"account\" answers: user %s, scope \"%s\"\n",
              account ? account->objectForKey("username").description().c_str() : "(refused)",
              account ? account->objectForKey("scope").description().c_str() : "");
  const auto observation = firstObject(get(*client, "observations/austin,tx"));
  std::printf("  observations/austin,tx with the token: %s\n",
              observation ? observation->objectForKey("id").description().c_str() : "(refused)");

  client->unauthenticateWithCompletion(nullptr);
  const bool deleted = !OVNOAuthCredential::retrieveCredentialWithIdentifier(client->credentialIdentifier());
  std::printf("  signed out; the stored credential %s\n", deleted ? "was deleted" : "is still there");
  service.stop();
  return stored && account && observation && deleted;
}
