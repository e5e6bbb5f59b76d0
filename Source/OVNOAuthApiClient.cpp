#include "OVNOAuthApiClient.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Logging/OVNLogger.h"
#include "Networking/OVNRequest.h"
#include "Networking/OVNResponse.h"
#include "Networking/OVNResponseResult.h"
#include "OVNApiResponse.h"
#include "Platform/Network/OVNMutableURLRequest.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLSessionTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNBase64.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNOAuthApiClient, (useHTTPBasicAuthentication, setUseHTTPBasicAuthentication), (clientID, setClientID),
               (clientSecret, setClientSecret), (secret, setSecret),
               (serviceProviderIdentifier, setServiceProviderIdentifier),
               (credentialIdentifier, setCredentialIdentifier), (oauthCredential, setOauthCredential))

namespace {

constexpr const char* defaultAuthenticationPath = "/oauth";
constexpr const char* refreshScope = "read";
constexpr const char* credentialIdentifierFormat = "%@.%@.credential";
constexpr const char* errorStringsTable = "OVNOAuthApiClient";
constexpr const char* noCredentialDescription = "OAuth: No credentials found when attempting to refresh access token.";

// Token request and reply members (RFC 6749 sections 4 and 5).
constexpr std::string_view grantTypeKey = "grant_type";
constexpr std::string_view usernameKey = "username";
constexpr std::string_view passwordKey = "password";
constexpr std::string_view scopeKey = "scope";
constexpr std::string_view refreshTokenKey = "refresh_token";
constexpr std::string_view codeKey = "code";
constexpr std::string_view redirectURIKey = "redirect_uri";
constexpr std::string_view accessTokenKey = "access_token";
constexpr std::string_view tokenTypeKey = "token_type";
constexpr std::string_view expiresInKey = "expires_in";
constexpr std::string_view errorKey = "error";
constexpr std::string_view errorDescriptionKey = "error_description";
constexpr std::string_view errorURIKey = "error_uri";
constexpr std::string_view bearerTokenType = "Bearer";

// Where the failed-request log line says it comes from.
constexpr const char* requestLogFile = "Source/OVNOAuthApiClient";
constexpr const char* requestLogFunction =
    "-[OVNOAuthApiClient performRequest:method:expirationInterval:parameters:completion:]_block_invoke";
constexpr std::int32_t requestLogLine = 429;
constexpr const char* tokenLogFunction =
    "-[OVNOAuthApiClient authenticateUsingOAuthWithURLString:parameters:success:failure:]_block_invoke";
constexpr std::int32_t tokenLogLine = 300;
constexpr const char* storeLogFunction = "-[OVNOAuthApiClient setOauthCredential:]";
constexpr std::int32_t storeLogLine = 120;

// What replaces a secret's value in a logged URL.
constexpr const char* hiddenValue = "<hidden>";
constexpr std::array<std::string_view, 3> secretParameters = {"access_token", "client_secret", "password"};

struct OAuthErrorText {
  std::string_view code;
  std::string_view description;
};
constexpr std::array<OAuthErrorText, 5> oauthErrorTexts = {{
    {"invalid_request",
     "The request is missing a required parameter, includes an unsupported parameter value (other than grant type), "
     "repeats a parameter, includes multiple credentials, utilizes more than one mechanism for authenticating the "
     "client, or is otherwise malformed."},
    {"invalid_client",
     "Client authentication failed (e.g., unknown client, no client authentication included, or unsupported "
     "authentication method).  The authorization server MAY return an HTTP 401 (Unauthorized) status code to "
     "indicate which HTTP authentication schemes are supported.  If the client attempted to authenticate via the "
     "\"Authorization\" request header field, the authorization server MUST respond with an HTTP 401 (Unauthorized) "
     "status code and include the \"WWW-Authenticate\" response header field matching the authentication scheme "
     "used by the client."},
    {"invalid_grant",
     "The provided authorization grant (e.g., authorization code, resource owner credentials) or refresh token is "
     "invalid, expired, revoked, does not match the redirection URI used in the authorization request, or was "
     "issued to another client."},
    {"unauthorized_client", "The authenticated client is not authorized to use this authorization grant type."},
    {"unsupported_grant_type", "The authorization grant type is not supported by the authorization server."},
}};

std::optional<std::string> textOf(const OVNValue& value) {
  const std::string* text = value.string();
  return text ? std::optional(*text) : std::nullopt;
}

OVNValue valueOf(const std::optional<std::string>& text) { return text ? OVNValue(*text) : OVNValue(); }

// The description of an OAuth error code, through the application's string table.
std::optional<std::string> describeOAuthError(const OVNValue& code) {
  const std::string* text = code.string();
  if (!text) return std::nullopt;
  for (const auto& known : oauthErrorTexts) {
    if (known.code == *text) {
      return OVNBundle::mainBundle()->localizedStringForKey(known.description, "", errorStringsTable);
    }
  }
  return std::nullopt;
}

// The token endpoint's error, or null for an "error" member that is the null value.
std::shared_ptr<OVNError> oauthErrorOf(const OVNDictionary& reply) {
  const OVNValue code = reply.objectForKey(errorKey);
  if (code.isNull()) return nullptr;
  auto userInfo = OVNDictionary::make();
  auto description = textOf(reply.objectForKey(errorDescriptionKey));
  if (!description) description = describeOAuthError(code);
  if (description) userInfo->set(OVNLocalizedDescriptionKey, *description);
  if (auto uri = textOf(reply.objectForKey(errorURIKey))) userInfo->set(OVNLocalizedRecoverySuggestionErrorKey, *uri);
  return OVNError::errorWithDomain(OVNOAuth2ErrorDomain, OVNOAuth2ErrorCode, userInfo);
}

// "expires_in" as seconds: a number, or a text read as its leading number (0 if none).
double secondsOf(const OVNValue& expiresIn) { return expiresIn.doubleValue().value_or(0); }

// The URL with the values of secret parameters replaced, for log lines.
std::string withSecretsHidden(std::string url) {
  for (const auto name : secretParameters) {
    for (std::size_t at = url.find(name); at != std::string::npos; at = url.find(name, at + 1)) {
      const bool startsParameter = at > 0 && (url[at - 1] == '?' || url[at - 1] == '&');
      const std::size_t valueStart = at + name.size();
      if (!startsParameter || valueStart >= url.size() || url[valueStart] != '=') continue;
      const std::size_t valueEnd = std::min(url.find('&', valueStart), url.find('#', valueStart));
      url.replace(valueStart + 1, std::min(valueEnd, url.size()) - valueStart - 1, hiddenValue);
    }
  }
  return url;
}

std::string separatorFor(std::string_view url) { return url.find('?') == std::string_view::npos ? "?" : "&"; }

// Whether the public-resource pattern covers the resource (rules kept as they have always been).
bool patternMatches(std::string_view pattern, std::string_view resource) {
  constexpr std::string_view anyBelow = "/*";
  if (resource == pattern || resource.ends_with(pattern)) return true;
  if (pattern.ends_with(anyBelow)) return resource != pattern.substr(0, pattern.size() - anyBelow.size());
  return resource.find(defaultAuthenticationPath) != std::string_view::npos;
}

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return lower(a) == lower(b);
  });
}

}  // namespace

// ---- set-up ---------------------------------------------------------------------------------

void OVNOAuthApiClient::didInitialise() {
  const auto base = baseURL();
  const std::string identifier =
      OVNFormat(credentialIdentifierFormat, valueOf(OVNBundle::mainBundle()->bundleIdentifier()), objectClass().name());
  {
    std::lock_guard lock(fieldsMutex_);
    useHTTPBasicAuthentication_ = true;
    serviceProviderIdentifier_ = base ? base->host() : std::nullopt;
    credentialIdentifier_ = identifier;
  }
  auto stored = OVNOAuthCredential::retrieveCredentialWithIdentifier(identifier);
  std::lock_guard lock(fieldsMutex_);
  oauthCredential_ = std::move(stored);  // read back, not stored again
}

std::string OVNOAuthApiClient::authenticationPath() const { return defaultAuthenticationPath; }
OVNArrayRef OVNOAuthApiClient::publicResources() const { return nullptr; }
bool OVNOAuthApiClient::sendsDataAsHttpBody() const { return false; }

// ---- fields ---------------------------------------------------------------------------------

bool OVNOAuthApiClient::useHTTPBasicAuthentication() const {
  std::lock_guard lock(fieldsMutex_);
  return useHTTPBasicAuthentication_;
}
void OVNOAuthApiClient::setUseHTTPBasicAuthentication(bool use) {
  std::lock_guard lock(fieldsMutex_);
  useHTTPBasicAuthentication_ = use;
}
std::optional<std::string> OVNOAuthApiClient::clientID() const {
  std::lock_guard lock(fieldsMutex_);
  return clientID_;
}
void OVNOAuthApiClient::setClientID(std::optional<std::string> clientID) {
  std::lock_guard lock(fieldsMutex_);
  clientID_ = std::move(clientID);
}
std::optional<std::string> OVNOAuthApiClient::clientSecret() const {
  std::lock_guard lock(fieldsMutex_);
  return clientSecret_;
}
void OVNOAuthApiClient::setClientSecret(std::optional<std::string> clientSecret) {
  std::lock_guard lock(fieldsMutex_);
  clientSecret_ = std::move(clientSecret);
}
std::optional<std::string> OVNOAuthApiClient::secret() const {
  std::lock_guard lock(fieldsMutex_);
  return secret_;
}
void OVNOAuthApiClient::setSecret(std::optional<std::string> secret) {
  std::lock_guard lock(fieldsMutex_);
  secret_ = secret ? std::move(secret) : std::string();
}
std::optional<std::string> OVNOAuthApiClient::serviceProviderIdentifier() const {
  std::lock_guard lock(fieldsMutex_);
  return serviceProviderIdentifier_;
}
void OVNOAuthApiClient::setServiceProviderIdentifier(std::optional<std::string> identifier) {
  std::lock_guard lock(fieldsMutex_);
  serviceProviderIdentifier_ = std::move(identifier);
}
std::string OVNOAuthApiClient::credentialIdentifier() const {
  std::lock_guard lock(fieldsMutex_);
  return credentialIdentifier_;
}
void OVNOAuthApiClient::setCredentialIdentifier(std::string identifier) {
  std::lock_guard lock(fieldsMutex_);
  credentialIdentifier_ = std::move(identifier);
}
OVNOAuthCredentialRef OVNOAuthApiClient::oauthCredential() const {
  std::lock_guard lock(fieldsMutex_);
  return oauthCredential_;
}

void OVNOAuthApiClient::setOauthCredential(OVNOAuthCredentialRef credential) {
  std::string identifier;
  {
    std::lock_guard lock(fieldsMutex_);
    if (credential == oauthCredential_) return;
    oauthCredential_ = credential;
    identifier = credentialIdentifier_;
  }
  // The store is reached outside the lock: it may wait on the desktop's secret service.
  if (!credential) {
    (void)OVNOAuthCredential::deleteCredentialWithIdentifier(identifier);
  } else if (!OVNOAuthCredential::storeCredential(credential, identifier)) {
    // Kept in memory all the same; say why a later run will not find it (never the token).
    OVNLogger::logWithFile(OVNLogLevelWarn, requestLogFile, storeLogFunction, storeLogLine,
                           "OAuth: the credential could not be stored as \"%@\" (the secure store is unavailable "
                           "or locked, or holds an item there that cannot be read)",
                           identifier);
  }
}

bool OVNOAuthApiClient::isAuthenticated() const {
  auto credential = oauthCredential();
  return credential && !credential->isExpired();
}

// ---- token requests -------------------------------------------------------------------------

std::shared_ptr<OVNRequest> OVNOAuthApiClient::authenticateUsingOAuthWithURLString(
    std::string_view URLString, std::string_view username, std::string_view password, std::optional<std::string> scope,
    SuccessHandler success, FailureHandler failure) {
  auto parameters =
      OVNDictionary::make({{std::string(grantTypeKey), std::string(kOVNOAuthPasswordCredentialsGrantType)},
                           {std::string(usernameKey), std::string(username)},
                           {std::string(passwordKey), std::string(password)}});
  if (scope) parameters->set(scopeKey, *scope);
  return authenticateUsingOAuthWithURLString(URLString, parameters, std::move(success), std::move(failure));
}

std::shared_ptr<OVNRequest> OVNOAuthApiClient::authenticateUsingOAuthWithURLString(std::string_view URLString,
                                                                                   std::optional<std::string> scope,
                                                                                   SuccessHandler success,
                                                                                   FailureHandler failure) {
  auto parameters =
      OVNDictionary::make({{std::string(grantTypeKey), std::string(kOVNOAuthClientCredentialsGrantType)}});
  if (scope) parameters->set(scopeKey, *scope);
  return authenticateUsingOAuthWithURLString(URLString, parameters, std::move(success), std::move(failure));
}

std::shared_ptr<OVNRequest> OVNOAuthApiClient::authenticateUsingOAuthWithURLStringRefreshToken(
    std::string_view URLString, std::string_view refreshToken, SuccessHandler success, FailureHandler failure) {
  auto parameters = OVNDictionary::make({{std::string(grantTypeKey), std::string(kOVNOAuthRefreshGrantType)},
                                         {std::string(refreshTokenKey), std::string(refreshToken)}});
  return authenticateUsingOAuthWithURLString(URLString, parameters, std::move(success), std::move(failure));
}

std::shared_ptr<OVNRequest> OVNOAuthApiClient::authenticateUsingOAuthWithURLString(std::string_view URLString,
                                                                                   std::string_view code,
                                                                                   std::string_view redirectURI,
                                                                                   SuccessHandler success,
                                                                                   FailureHandler failure) {
  auto parameters = OVNDictionary::make({{std::string(grantTypeKey), std::string(kOVNOAuthCodeGrantType)},
                                         {std::string(codeKey), std::string(code)},
                                         {std::string(redirectURIKey), std::string(redirectURI)}});
  return authenticateUsingOAuthWithURLString(URLString, parameters, std::move(success), std::move(failure));
}

std::shared_ptr<OVNRequest> OVNOAuthApiClient::authenticateUsingOAuthWithURLString(std::string_view URLString,
                                                                                   const OVNDictionaryRef& parameters,
                                                                                   SuccessHandler success,
                                                                                   FailureHandler failure) {
  auto sent = parameters ? parameters->mutableCopy() : OVNDictionary::make();
  auto headers = OVNDictionary::make();
  const auto id = clientID();
  const auto clientSecretValue = clientSecret();
  if (!useHTTPBasicAuthentication()) {
    if (id) sent->set(OVNApiParamKeyClientKey, *id);
    if (clientSecretValue) sent->set(OVNApiParamKeyClientSecret, *clientSecretValue);
  } else if (id) {
    // What the Basic setting means: the client authenticates in the header (RFC 6749 2.3.1).
    headers->set("Authorization", authorizationHeaderValueWithUsername(*id, clientSecretValue.value_or("")));
  }
  const std::string url = resolvedURLString(URLString);
  auto request = requestWithMethod(OVNRequestMethodPOST, url, sent, OVNParameterEncodingURL, headers);
  auto self = std::static_pointer_cast<OVNOAuthApiClient>(shared_from_this());
  auto task = request->task();
  request->responseAsJSON(nullptr, OVNJSONReadingFragmentsAllowed,
                          [self, task, sent, success, failure, url](const std::shared_ptr<OVNResponse>& reply) {
                            if (auto error = failureOf(*reply, task)) {
                              OVNLogger::logWithFile(OVNLogLevelError, requestLogFile, tokenLogFunction, tokenLogLine,
                                                     "**ERROR** token request: %@, error: %@", withSecretsHidden(url),
                                                     error->localizedDescription());
                            }
                            self->handleTokenReply(*reply, sent, success, failure);
                          });
  return request;
}

void OVNOAuthApiClient::handleTokenReply(const OVNResponse& reply, const OVNDictionaryRef& sentParameters,
                                         const SuccessHandler& success, const FailureHandler& failure) {
  const OVNDictionaryRef data = reply.result() ? reply.result()->value().dictionary() : nullptr;
  if (!data) {
    if (failure) failure(nullptr);
    return;
  }
  if (data->contains(errorKey) && failure) failure(oauthErrorOf(*data));
  // An error reply goes on from here as well: callers have always seen both callbacks.
  auto refreshToken = textOf(data->objectForKey(refreshTokenKey));
  if (!refreshToken) refreshToken = textOf(sentParameters->objectForKey(refreshTokenKey));
  auto credential = OVNMake<OVNOAuthCredential>();
  credential->setAccessToken(textOf(data->objectForKey(accessTokenKey)));
  credential->setTokenType(textOf(data->objectForKey(tokenTypeKey)));
  if (refreshToken) credential->setRefreshToken(refreshToken);
  setOauthCredential(credential);
  // Set after storing, so the stored copy has no expiration until it is stored again.
  const OVNValue expiresIn = data->objectForKey(expiresInKey);
  credential->setExpiration(expiresIn.isPresent() && !expiresIn.isNull()
                                ? OVNDate::dateWithTimeIntervalSinceNow(secondsOf(expiresIn))
                                : OVNDate::distantFuture());
  if (success) success(credential);
}

void OVNOAuthApiClient::authenticateUsingOAuthWithUsername(std::string_view username, std::string_view password,
                                                           CredentialCompletion completion) {
  setOauthCredential(nullptr);
  auto [success, failure] = reportingTo(std::move(completion));
  (void)authenticateUsingOAuthWithURLString(authenticationPath(), username, password, std::string(), std::move(success),
                                            std::move(failure));
}

std::pair<OVNOAuthApiClient::SuccessHandler, OVNOAuthApiClient::FailureHandler> OVNOAuthApiClient::reportingTo(
    CredentialCompletion completion) {
  auto self = std::static_pointer_cast<OVNOAuthApiClient>(shared_from_this());
  return {[self, completion](const OVNOAuthCredentialRef& credential) {
            self->setOauthCredential(credential);
            if (completion) completion(credential, nullptr);
          },
          [completion](const std::shared_ptr<OVNError>& error) {
            if (completion) completion(nullptr, error);
          }};
}

std::shared_ptr<OVNRequest> OVNOAuthApiClient::refreshAccessTokenWithCompletion(CredentialCompletion completion) {
  auto credential = oauthCredential();
  if (!credential) {
    if (completion) {
      completion(nullptr, OVNError::errorWithDomain(OVNApiErrorDomain, OVNApiErrorCodeInvalidResponse,
                                                    std::string_view(noCredentialDescription)));
    }
    return nullptr;
  }
  if (!credential->isExpired()) {
    if (completion) completion(credential, nullptr);
    return nullptr;
  }
  // A client-credentials grant, on purpose: the refresh token is not used here.
  auto [success, failure] = reportingTo(std::move(completion));
  return authenticateUsingOAuthWithURLString(authenticationPath(), std::string(refreshScope), std::move(success),
                                             std::move(failure));
}

void OVNOAuthApiClient::unauthenticateWithCompletion(CredentialCompletion completion) {
  setOauthCredential(nullptr);
  if (completion) completion(nullptr, nullptr);
}

// ---- requests -------------------------------------------------------------------------------

std::shared_ptr<OVNRequest> OVNOAuthApiClient::GET(std::string_view resource, const OVNDictionaryRef& parameters,
                                                   Completion completion) {
  return performRequest(resource, "GET", 0, parameters, std::move(completion));
}
std::shared_ptr<OVNRequest> OVNOAuthApiClient::GET(std::string_view resource, double expirationInterval,
                                                   const OVNDictionaryRef& parameters, Completion completion) {
  return performRequest(resource, "GET", expirationInterval, parameters, std::move(completion));
}
std::shared_ptr<OVNRequest> OVNOAuthApiClient::POST(std::string_view resource, const OVNDictionaryRef& parameters,
                                                    Completion completion) {
  return performRequest(resource, "POST", 0, parameters, std::move(completion));
}
std::shared_ptr<OVNRequest> OVNOAuthApiClient::PUT(std::string_view resource, const OVNDictionaryRef& parameters,
                                                   Completion completion) {
  return performRequest(resource, "PUT", 0, parameters, std::move(completion));
}
std::shared_ptr<OVNRequest> OVNOAuthApiClient::DELETE(std::string_view resource, const OVNDictionaryRef& parameters,
                                                      Completion completion) {
  return performRequest(resource, "DELETE", 0, parameters, std::move(completion));
}

std::shared_ptr<OVNRequest> OVNOAuthApiClient::performRequest(std::string_view resource, std::string_view method,
                                                              double expirationInterval,
                                                              const OVNDictionaryRef& parameters,
                                                              Completion completion) {
  (void)expirationInterval;  // accepted for later use; it changes nothing
  const bool isProtected = isProtectedResource(resource, method);
  auto self = std::static_pointer_cast<OVNOAuthApiClient>(shared_from_this());
  if (sendsDataAsHttpBody() && method != "GET") {
    if (!isProtected) return sendWithBody(resource, parameters, false, completion);
    (void)refreshAccessTokenWithCompletion([self, path = std::string(resource), parameters, completion](
                                               const OVNOAuthCredentialRef&, const std::shared_ptr<OVNError>&) {
      (void)self->sendWithBody(path, parameters, true, completion);
    });
    return nullptr;
  }
  if (!isProtected) return sendAsGET(std::string(resource), optionsForRequestWithParameters(parameters), completion);
  // The token appended is the one held now, before the refresh (kept as it has always been).
  std::string withToken = URLStringByAppendingAccessToken(resource);
  (void)refreshAccessTokenWithCompletion([self, withToken = std::move(withToken), parameters, completion](
                                             const OVNOAuthCredentialRef&, const std::shared_ptr<OVNError>&) {
    (void)self->sendAsGET(withToken, parameters, completion);
  });
  return nullptr;
}

std::shared_ptr<OVNRequest> OVNOAuthApiClient::sendAsGET(const std::string& resource,
                                                         const OVNDictionaryRef& parameters,
                                                         const Completion& completion) {
  auto request = requestWithMethod(OVNRequestMethodGET, resolvedURLString(resource), parameters);
  deliverRepliesOf(request, completion);
  return request;
}

std::shared_ptr<OVNRequest> OVNOAuthApiClient::sendWithBody(std::string_view resource,
                                                            const OVNDictionaryRef& parameters, bool isProtected,
                                                            const Completion& completion) {
  auto body = OVNJSONSerialization::dataWithJSONObject(OVNValue(parameters), OVNJSONWritingPrettyPrinted);
  const auto base = baseURL();
  const std::string joined =
      OVNFormat("%@%@%@", base ? base->absoluteString() : std::string("(null)"), resource, separatorFor(resource));
  const std::string url =
      isProtected ? URLStringByAppendingAccessToken(joined) : URLStringByAppendingClientIdAndSecret(joined);
  auto urlRequest = OVNMutableURLRequest::requestWithURL(OVNURL::URLWithString(url));
  urlRequest->setHTTPMethod("GET");  // GET even for these calls, as the service has always been sent
  urlRequest->setValue("*/*", "Accept");
  urlRequest->setValue("application/json", "Content-Type");
  if (isProtected) {
    urlRequest->setValue(useHTTPBasicAuthentication() ? std::optional(authorizationHeaderValueWithUsername(
                                                            clientID().value_or(""), clientSecret().value_or("")))
                                                      : std::nullopt,
                         "Authorization");
  }
  urlRequest->setHTTPBody(body);
  auto request = requestWithURLRequest(urlRequest, nullptr);
  deliverRepliesOf(request, completion);
  return request;
}

void OVNOAuthApiClient::deliverRepliesOf(const std::shared_ptr<OVNRequest>& request,
                                         const Completion& completion) const {
  auto self = std::static_pointer_cast<const OVNOAuthApiClient>(shared_from_this());
  // The task, not the request: the caller may let go of the request before the reply.
  auto task = request->task();
  request->responseAsJSON(nullptr, 0, [self, task, completion](const std::shared_ptr<OVNResponse>& reply) {
    auto error = failureOf(*reply, task);
    if (!error) {
      self->deliverSuccess(reply->result() ? reply->result()->value() : OVNValue(), completion);
      return;
    }
    // Unlike OVNApiClient, a cancelled request is answered too.
    const auto current = task ? task->currentRequest() : nullptr;
    const std::string url = current && current->URL() ? current->URL()->absoluteString() : std::string("(null)");
    OVNLogger::logWithFile(OVNLogLevelError, requestLogFile, requestLogFunction, requestLogLine,
                           "**ERROR** request: %@, error: %@", withSecretsHidden(url), error->localizedDescription());
    auto response = OVNApiResponse::initWithJSONDictionary(self->responseClass(), nullptr);
    response->setError(error);
    if (completion) completion(response);
  });
}

void OVNOAuthApiClient::performProtectedRequestWithBlock(std::function<void()> work, CredentialCompletion error) {
  (void)refreshAccessTokenWithCompletion([work = std::move(work), error = std::move(error)](
                                             const OVNOAuthCredentialRef&, const std::shared_ptr<OVNError>& failure) {
    if (!failure) {
      if (work) work();
    } else if (error) {
      error(nullptr, failure);
    }
  });
}

bool OVNOAuthApiClient::isProtectedResource(std::string_view resource, std::string_view method) const {
  const auto resources = publicResources();
  if (!resources) return true;
  for (const OVNValue& entry : *resources) {
    std::optional<std::string> pattern = textOf(entry);
    if (auto rule = entry.dictionary()) {
      if (textOf(rule->objectForKey(OVNResourceMethodKey)) != method) continue;
      pattern = textOf(rule->objectForKey(OVNResourcePathKey));
    }
    if (pattern && patternMatches(*pattern, resource)) return false;
  }
  return true;
}

// ---- URLs and headers -----------------------------------------------------------------------

OVNDictionaryRef OVNOAuthApiClient::optionsForRequestWithParameters(const OVNDictionaryRef& parameters) const {
  auto options = parameters ? parameters->mutableCopy() : OVNDictionary::make();
  if (auto id = clientID()) options->set(OVNApiParamKeyClientKey, *id);
  if (auto secretValue = clientSecret()) options->set(OVNApiParamKeyClientSecret, *secretValue);
  return options;
}

std::string OVNOAuthApiClient::URLStringByAppendingAccessToken(std::string_view URLString) const {
  if (!isAuthenticated()) return std::string(URLString);
  const auto credential = oauthCredential();
  return OVNFormat("%@%@access_token=%@", URLString, separatorFor(URLString), valueOf(credential->accessToken()));
}

std::string OVNOAuthApiClient::URLStringByAppendingClientIdAndSecret(std::string_view URLString) const {
  return OVNFormat("%@%@client_id=%@&client_secret=%@", URLString, separatorFor(URLString), valueOf(clientID()),
                   valueOf(clientSecret()));
}

std::string OVNOAuthApiClient::authorizationHeaderValueWithUsername(std::string_view username,
                                                                    std::string_view password) const {
  return OVNFormat("Basic %@", OVNBase64::encode(OVNFormat("%@:%@", username, password)));
}

std::optional<std::string> OVNOAuthApiClient::authorizationHeaderValueWithCredential(
    const OVNOAuthCredentialRef& credential) const {
  if (!credential || !credential->tokenType() || !equalsIgnoringCase(*credential->tokenType(), bearerTokenType)) {
    return std::nullopt;
  }
  return OVNFormat("Bearer %@", valueOf(credential->accessToken()));
}
