#pragma once
// OVNOAuthApiClient: the API client for services protected by OAuth 2.0. It asks the
// service's token endpoint for tokens (client-credentials, password, authorization-code
// and refresh grants), keeps the resulting OVNOAuthCredential in memory and in the secure
// store under credentialIdentifier, decides per resource whether a token is needed
// (publicResources), refreshes an expired token before a protected request and appends the
// access token, or the client credentials, to the request URL.
//
// Behaviour callers have always relied on, kept on purpose:
// - an error reply of the token endpoint calls the failure callback and then goes on as a
//   success: the credential it makes (usually without an access token) replaces and is
//   stored as oauthCredential, and the success callback runs too;
// - the expiration is set after the credential was stored, so the stored copy has none
//   until the next store (a credential read back after a restart counts as expired);
// - an expired credential is refreshed with a client-credentials grant (scope "read"), not
//   with its refresh token;
// - GET, POST, PUT and DELETE all send a GET request; the method only decides whether the
//   resource is protected.
// A token request without a readable reply (no connection, an empty or non-JSON body) calls
// the failure callback with a null error; the reason is logged at level ERROR.
//
// Threads: use a client from the main queue, where all its callbacks run. Its fields are
// guarded, so reading them elsewhere is safe; the credential object itself is not.
// Secrets: the access token and client secret travel in URLs, as the service expects; the
// library's log lines hide their values.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "OVNApiClient.h"
#include "OVNOAuthCredential.h"
#include "OvrinCoreExport.h"

class OVNError;
class OVNRequest;
class OVNResponse;

//! The domain of the token endpoint's errors (always code OVNOAuth2ErrorCode).
inline constexpr std::string_view OVNOAuth2ErrorDomain = "com.corvane.networking.oauth2.error";
inline constexpr std::int64_t OVNOAuth2ErrorCode = -1;

inline constexpr std::string_view kOVNOAuthCodeGrantType = "authorization_code";
inline constexpr std::string_view kOVNOAuthClientCredentialsGrantType = "client_credentials";
inline constexpr std::string_view kOVNOAuthPasswordCredentialsGrantType = "password";
inline constexpr std::string_view kOVNOAuthRefreshGrantType = "refresh_token";

class OVN_EXPORT OVNOAuthApiClient : public OVNApiClient {
  OVN_CLASS(OVNOAuthApiClient, OVNApiClient)

 public:
  //! (credential, error): one of them, or both null.
  using CredentialCompletion =
      std::function<void(const OVNOAuthCredentialRef& credential, const std::shared_ptr<OVNError>& error)>;
  using SuccessHandler = std::function<void(const OVNOAuthCredentialRef& credential)>;
  //! The error may be null (see the header comment).
  using FailureHandler = std::function<void(const std::shared_ptr<OVNError>& error)>;

  OVNOAuthApiClient() = default;

  // ---- Class level: as OVNApiClient, with tables of this class's own ---------------------

  template <class Receiver = OVNOAuthApiClient>
  static void configureWithClientID(std::string clientID, std::string secret) {
    OVNApiClient::configureWithClientID<Receiver>(std::move(clientID), std::move(secret));
  }
  template <class Receiver = OVNOAuthApiClient>
  static std::shared_ptr<Receiver> sharedClient() {
    return OVNApiClient::sharedClient<Receiver>();
  }

  // ---- Initialisers -----------------------------------------------------------------------
  // The client ID and secret are ignored here as in OVNApiClient: set them with setClientID
  // and setClientSecret. The stored credential of credentialIdentifier is read at once.

  template <class Receiver = OVNOAuthApiClient>
  static std::shared_ptr<Receiver> initWithBaseURL(std::shared_ptr<OVNURL> baseURL) {
    return OVNApiClient::initWithBaseURL<Receiver>(std::move(baseURL));
  }
  template <class Receiver = OVNOAuthApiClient>
  static std::shared_ptr<Receiver> initWithBaseURL(std::shared_ptr<OVNURL> baseURL,
                                                   std::shared_ptr<OVNURLSessionConfiguration> configuration,
                                                   std::optional<std::string> clientID = std::nullopt,
                                                   std::optional<std::string> secret = std::nullopt) {
    return OVNApiClient::initWithBaseURL<Receiver>(std::move(baseURL), std::move(configuration), std::move(clientID),
                                                   std::move(secret));
  }
  template <class Receiver = OVNOAuthApiClient>
  static std::shared_ptr<Receiver> managerWithBaseURL(std::shared_ptr<OVNURL> baseURL,
                                                      std::optional<std::string> clientID,
                                                      std::optional<std::string> secret) {
    return initWithBaseURL<Receiver>(std::move(baseURL), nullptr, std::move(clientID), std::move(secret));
  }
  template <class Receiver = OVNOAuthApiClient>
  static std::shared_ptr<Receiver> managerWithBaseURL(std::shared_ptr<OVNURL> baseURL,
                                                      std::shared_ptr<OVNURLSessionConfiguration> configuration,
                                                      std::optional<std::string> clientID,
                                                      std::optional<std::string> secret) {
    return initWithBaseURL<Receiver>(std::move(baseURL), std::move(configuration), std::move(clientID),
                                     std::move(secret));
  }

  // ---- What subclasses decide ---------------------------------------------------------------

  //! The token endpoint, resolved against baseURL: "/oauth".
  virtual std::string authenticationPath() const;
  //! Resources that need no token: path patterns (strings) or dictionaries with
  //! OVNResourcePathKey and OVNResourceMethodKey; null here (every resource is protected).
  virtual OVNArrayRef publicResources() const;
  //! Whether non-GET requests carry their parameters as a JSON body; false here.
  virtual bool sendsDataAsHttpBody() const;

  // ---- Fields -----------------------------------------------------------------------------

  //! True unless set: token requests then send the client credentials as an HTTP Basic
  //! "Authorization" header instead of as parameters.
  bool useHTTPBasicAuthentication() const;
  void setUseHTTPBasicAuthentication(bool use);
  std::optional<std::string> clientID() const override;
  void setClientID(std::optional<std::string> clientID);
  std::optional<std::string> clientSecret() const override;
  void setClientSecret(std::optional<std::string> clientSecret);
  //! A further secret; setting none stores "".
  std::optional<std::string> secret() const;
  void setSecret(std::optional<std::string> secret);
  //! The authorization server; the host of baseURL unless set.
  std::optional<std::string> serviceProviderIdentifier() const;
  void setServiceProviderIdentifier(std::optional<std::string> identifier);
  //! "<bundle identifier>.<class name>.credential" unless set.
  std::string credentialIdentifier() const;
  void setCredentialIdentifier(std::string identifier);

  OVNOAuthCredentialRef oauthCredential() const;
  //! A credential other than the current one (by identity) is stored under
  //! credentialIdentifier; null deletes the stored one.
  void setOauthCredential(OVNOAuthCredentialRef credential);
  //! A credential is held and has not expired.
  bool isAuthenticated() const;

  // ---- Token requests (success and failure run on the main queue) ---------------------------

  //! The password grant; "scope" only when given.
  std::shared_ptr<OVNRequest> authenticateUsingOAuthWithURLString(std::string_view URLString, std::string_view username,
                                                                  std::string_view password,
                                                                  std::optional<std::string> scope,
                                                                  SuccessHandler success, FailureHandler failure);
  //! The client-credentials grant; "scope" only when given.
  std::shared_ptr<OVNRequest> authenticateUsingOAuthWithURLString(std::string_view URLString,
                                                                  std::optional<std::string> scope,
                                                                  SuccessHandler success, FailureHandler failure);
  //! The refresh grant (authenticateUsingOAuthWithURLString:refreshToken:success:failure:).
  std::shared_ptr<OVNRequest> authenticateUsingOAuthWithURLStringRefreshToken(std::string_view URLString,
                                                                              std::string_view refreshToken,
                                                                              SuccessHandler success,
                                                                              FailureHandler failure);
  //! The authorization-code grant.
  std::shared_ptr<OVNRequest> authenticateUsingOAuthWithURLString(std::string_view URLString, std::string_view code,
                                                                  std::string_view redirectURI, SuccessHandler success,
                                                                  FailureHandler failure);
  //! The general token request that every grant ends in: POSTs the parameters (with the
  //! client credentials) to URLString resolved against baseURL and reads the JSON reply.
  std::shared_ptr<OVNRequest> authenticateUsingOAuthWithURLString(std::string_view URLString,
                                                                  const OVNDictionaryRef& parameters,
                                                                  SuccessHandler success, FailureHandler failure);

  //! Forgets the credential, then the password grant at authenticationPath with an empty
  //! scope; the completion gets (credential, null) on success, (null, error) on failure.
  void authenticateUsingOAuthWithUsername(std::string_view username, std::string_view password,
                                          CredentialCompletion completion);
  //! No credential: (null, error 100 of OVNApiErrorDomain). Not expired: (credential, null)
  //! at once, no request. Expired: a client-credentials grant, whose request is returned.
  std::shared_ptr<OVNRequest> refreshAccessTokenWithCompletion(CredentialCompletion completion);
  //! Forgets the credential (deleting the stored one); the completion gets (null, null).
  void unauthenticateWithCompletion(CredentialCompletion completion);

  // ---- Requests (completions run on the main queue) -----------------------------------------

  std::shared_ptr<OVNRequest> GET(std::string_view resource, const OVNDictionaryRef& parameters, Completion completion);
  std::shared_ptr<OVNRequest> GET(std::string_view resource, double expirationInterval,
                                  const OVNDictionaryRef& parameters, Completion completion);
  std::shared_ptr<OVNRequest> POST(std::string_view resource, const OVNDictionaryRef& parameters,
                                   Completion completion);
  std::shared_ptr<OVNRequest> PUT(std::string_view resource, const OVNDictionaryRef& parameters, Completion completion);
  std::shared_ptr<OVNRequest> DELETE(std::string_view resource, const OVNDictionaryRef& parameters,
                                     Completion completion);
  //! Sends `resource` (resolved against baseURL; not percent-encoded, so it may carry a
  //! query) as a GET whatever `method` says; a protected resource first gets a fresh token.
  //! Every outcome reaches the completion, cancellation and transport failures included
  //! (logged at level ERROR). Returns the request when it was made at once (unprotected).
  std::shared_ptr<OVNRequest> performRequest(std::string_view resource, std::string_view method,
                                             double expirationInterval, const OVNDictionaryRef& parameters,
                                             Completion completion);
  //! Refreshes, then runs `work`, or calls `error` with (null, the refresh's error).
  void performProtectedRequestWithBlock(std::function<void()> work, CredentialCompletion error);
  //! False when an entry of publicResources matches (see the pattern rules in docs/OAUTH.md).
  bool isProtectedResource(std::string_view resource, std::string_view method) const;

  //! The parameters with this client's "client_id" and "client_secret".
  OVNDictionaryRef optionsForRequestWithParameters(const OVNDictionaryRef& parameters) const override;
  //! "?access_token=…" or "&access_token=…" appended (not percent-encoded) when
  //! authenticated; otherwise the string unchanged.
  std::string URLStringByAppendingAccessToken(std::string_view URLString) const;
  //! "?client_id=…&client_secret=…" (or with "&"), not percent-encoded.
  std::string URLStringByAppendingClientIdAndSecret(std::string_view URLString) const;
  //! "Basic " and the Base64 of "username:password".
  std::string authorizationHeaderValueWithUsername(std::string_view username, std::string_view password) const;
  //! "Bearer <access token>" for a credential of type "Bearer" (any case); otherwise none.
  std::optional<std::string> authorizationHeaderValueWithCredential(const OVNOAuthCredentialRef& credential) const;

 protected:
  void didInitialise() override;

 private:
  //! A grant's handlers for a completion: success stores the credential and reports
  //! (credential, null); failure reports (null, error).
  std::pair<SuccessHandler, FailureHandler> reportingTo(CredentialCompletion completion);
  void handleTokenReply(const OVNResponse& reply, const OVNDictionaryRef& sentParameters, const SuccessHandler& success,
                        const FailureHandler& failure);
  std::shared_ptr<OVNRequest> sendAsGET(const std::string& resource, const OVNDictionaryRef& parameters,
                                        const Completion& completion);
  std::shared_ptr<OVNRequest> sendWithBody(std::string_view resource, const OVNDictionaryRef& parameters,
                                           bool isProtected, const Completion& completion);
  //! Hands the JSON reply, or the failure (logged), to the completion on the main queue.
  void deliverRepliesOf(const std::shared_ptr<OVNRequest>& request, const Completion& completion) const;

  mutable std::mutex fieldsMutex_;  // guards the fields below, never held while calling out
  bool useHTTPBasicAuthentication_ = true;
  std::optional<std::string> clientID_;
  std::optional<std::string> clientSecret_;
  std::optional<std::string> secret_;
  std::optional<std::string> serviceProviderIdentifier_;
  std::string credentialIdentifier_;
  OVNOAuthCredentialRef oauthCredential_;
};

using OVNOAuthApiClientRef = std::shared_ptr<OVNOAuthApiClient>;
