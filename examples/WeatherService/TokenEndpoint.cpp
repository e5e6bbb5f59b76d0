#include "TokenEndpoint.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <set>
#include <sstream>
#include <string_view>

namespace {

using Json = nlohmann::ordered_json;
using Reply = TokenEndpoint::Reply;

constexpr int kStatusOK = 200;
constexpr int kStatusBadRequest = 400;
constexpr int kStatusUnauthorized = 401;
constexpr int kStatusMethodNotAllowed = 405;
// RFC 6749 §4.1.2 recommends at most ten minutes.
constexpr std::int64_t kAuthorizationCodeLifetimeSeconds = 600;

constexpr const char* kPasswordGrant = "password";
constexpr const char* kClientCredentialsGrant = "client_credentials";
constexpr const char* kAuthorizationCodeGrant = "authorization_code";
constexpr const char* kRefreshTokenGrant = "refresh_token";

// The parameters RFC 6749 §3.2 forbids to repeat.
constexpr std::array kSingleParameters = {"grant_type", "client_id", "client_secret", "username",     "password",
                                          "scope",      "code",      "redirect_uri",  "refresh_token"};

constexpr std::string_view kBasicScheme = "Basic ";
constexpr const char* kUnsupportedGrantTypeURI = "https://www.rfc-editor.org/rfc/rfc6749#section-5.2";

struct OAuthError {
  const char* code;
  const char* description;
  int status = kStatusBadRequest;
};
constexpr OAuthError kMethodNotAllowed{"invalid_request", "The token endpoint accepts POST only.",
                                       kStatusMethodNotAllowed};
constexpr OAuthError kRepeatedParameter{"invalid_request", "A parameter is repeated."};
constexpr OAuthError kTwoAuthentications{"invalid_request",
                                         "The client authenticated both by Basic and by body parameters."};
constexpr OAuthError kMissingGrantType{"invalid_request", "The grant_type parameter is missing."};
constexpr OAuthError kMissingParameter{"invalid_request", "A parameter the grant requires is missing."};
constexpr OAuthError kInvalidClient{"invalid_client", "The client is unknown or its secret is wrong.",
                                    kStatusUnauthorized};
constexpr OAuthError kUnsupportedGrantType{"unsupported_grant_type", "The grant type is not supported."};
constexpr OAuthError kUnauthorizedClient{"unauthorized_client", "The client may not use this grant type."};
constexpr OAuthError kWrongOwnerCredentials{"invalid_grant", "The username or password is wrong."};
constexpr OAuthError kInvalidCode{"invalid_grant",
                                  "The authorization code is unknown, used, expired or for another redirect_uri."};
constexpr OAuthError kInvalidRefreshToken{"invalid_grant", "The refresh token is unknown, revoked or expired."};
constexpr OAuthError kInvalidScope{"invalid_scope", "The scope is unknown or exceeds what was granted."};

Reply failure(const OAuthError& error) {
  Reply reply{error.status, Json{{"error", error.code}, {"error_description", error.description}}, {}};
  if (std::string_view(error.code) == kUnsupportedGrantType.code) reply.body["error_uri"] = kUnsupportedGrantTypeURI;
  return reply;
}

std::set<std::string> scopeTokens(const std::string& scope) {
  std::set<std::string> tokens;
  std::istringstream words(scope);
  for (std::string word; words >> word;) tokens.insert(word);
  return tokens;
}

// RFC 4648 Base64 with or without padding; none on any other character.
std::optional<std::string> base64Decoded(std::string_view text) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr int kBitsPerCharacter = 6;
  constexpr int kBitsPerByte = 8;
  constexpr unsigned kByteMask = 0xFF;
  while (!text.empty() && text.back() == '=') text.remove_suffix(1);
  std::string decoded;
  unsigned buffer = 0;
  int bits = 0;
  for (const char character : text) {
    const auto value = kAlphabet.find(character);
    if (value == std::string_view::npos) return std::nullopt;
    buffer = (buffer << kBitsPerCharacter) | static_cast<unsigned>(value);
    bits += kBitsPerCharacter;
    if (bits >= kBitsPerByte) {
      bits -= kBitsPerByte;
      decoded.push_back(static_cast<char>((buffer >> bits) & kByteMask));
    }
  }
  return decoded;
}

}  // namespace

TokenEndpoint::TokenEndpoint(const LocalWeatherService::Options& options, TokenStore& tokens)
    : options_(options), tokens_(tokens) {}

// The scheme's name is case-insensitive (RFC 7235 §2.1).
bool TokenEndpoint::isBasic(std::string_view authorization) {
  return authorization.size() >= kBasicScheme.size() &&
         std::equal(kBasicScheme.begin(), kBasicScheme.end(), authorization.begin(),
                    [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

std::optional<std::pair<std::string, std::string>> TokenEndpoint::basicCredentials(const std::string& authorization) {
  if (!isBasic(authorization)) return std::nullopt;
  const auto decoded = base64Decoded(std::string_view(authorization).substr(kBasicScheme.size()));
  if (!decoded) return std::nullopt;
  const auto colon = decoded->find(':');
  if (colon == std::string::npos) return std::nullopt;
  return std::pair{FormBody::percentDecoded(decoded->substr(0, colon)),
                   FormBody::percentDecoded(decoded->substr(colon + 1))};
}

// Checked in this order: the request's form, the client, then the grant.
Reply TokenEndpoint::answer(const std::string& method, const FormBody& form, const std::string& authorization,
                            std::int64_t now) const {
  if (method != "POST") {
    Reply reply = failure(kMethodNotAllowed);
    reply.headers.emplace_back("Allow", "POST");
    return reply;
  }
  for (const char* name : kSingleParameters) {
    std::size_t count = 0;
    for (const auto& pair : form.pairs()) count += pair.first == name ? 1 : 0;
    if (count > 1) return failure(kRepeatedParameter);
  }

  const bool triedBasic = isBasic(authorization);
  std::optional<std::string> clientId = form.value("client_id");
  std::optional<std::string> clientSecret = form.value("client_secret");
  if (triedBasic) {
    // A public client's client_id in the body alongside Basic is harmless if it agrees.
    const auto basic = basicCredentials(authorization);
    if (clientSecret || (basic && clientId && *clientId != basic->first)) return failure(kTwoAuthentications);
    if (basic) {
      clientId = basic->first;
      clientSecret = basic->second;
    } else {
      clientId.reset();
    }
  }
  if (clientId != options_.clientId || clientSecret != options_.clientSecret) {
    Reply reply = failure(kInvalidClient);
    if (triedBasic) {
      reply.headers.emplace_back("WWW-Authenticate",
                                 std::string("Basic realm=\"") + LocalWeatherService::kRealm + "\"");
    }
    return reply;
  }

  const auto grantType = form.value("grant_type");
  if (!grantType || grantType->empty()) return failure(kMissingGrantType);
  if (*grantType != kPasswordGrant && *grantType != kClientCredentialsGrant && *grantType != kAuthorizationCodeGrant &&
      *grantType != kRefreshTokenGrant) {
    return failure(kUnsupportedGrantType);
  }
  if (!options_.grantTypes.contains(*grantType)) return failure(kUnauthorizedClient);
  return grant(*grantType, form, *clientId, now);
}

Reply TokenEndpoint::grant(const std::string& grantType, const FormBody& form, const std::string& clientId,
                           std::int64_t now) const {
  const std::string scope = form.value("scope").value_or("");
  if (grantType == kRefreshTokenGrant) {
    const auto refreshToken = form.value("refresh_token");
    if (!refreshToken || refreshToken->empty()) return failure(kMissingParameter);
    auto granted = tokens_.redeemRefreshToken(*refreshToken, clientId, now, options_.rotateRefreshTokens);
    if (!granted) return failure(kInvalidRefreshToken);
    // RFC 6749 §6: a narrower scope may be asked for, never a wider one.
    if (!scope.empty()) {
      const auto original = scopeTokens(granted->scope);
      for (const std::string& token : scopeTokens(scope)) {
        if (!original.contains(token)) return failure(kInvalidScope);
      }
      granted->scope = scope;
    }
    if (options_.rotateRefreshTokens) return issued(*granted, true, now);
    return issued(*granted, false, now, *refreshToken);
  }

  if (!scopeAllowed(scope)) return failure(kInvalidScope);
  if (grantType == kClientCredentialsGrant) {
    // RFC 6749 §4.4.3: no refresh token; the client can always ask again.
    return issued(TokenStore::Grant{clientId, std::nullopt, scope}, false, now);
  }
  if (grantType == kPasswordGrant) {
    const auto username = form.value("username");
    const auto password = form.value("password");
    if (!username || !password) return failure(kMissingParameter);
    if (*username != options_.username || *password != options_.password) return failure(kWrongOwnerCredentials);
    return issued(TokenStore::Grant{clientId, *username, scope}, true, now);
  }
  const auto code = form.value("code");
  const auto redirectURI = form.value("redirect_uri");
  if (!code || !redirectURI) return failure(kMissingParameter);
  const auto granted = tokens_.redeemAuthorizationCode(*code, clientId, *redirectURI, now);
  if (!granted) return failure(kInvalidCode);
  return issued(*granted, true, now);
}

Reply TokenEndpoint::issued(const TokenStore::Grant& grant, bool withRefreshToken, std::int64_t now,
                            std::optional<std::string> sameRefreshToken) const {
  const auto tokens =
      tokens_.issue(grant, now, options_.tokenLifetimeSeconds, withRefreshToken, options_.refreshTokenLifetimeSeconds);
  Json body = {
      {"access_token", tokens.accessToken}, {"token_type", "Bearer"}, {"expires_in", options_.tokenLifetimeSeconds}};
  if (tokens.refreshToken) body["refresh_token"] = *tokens.refreshToken;
  if (sameRefreshToken) body["refresh_token"] = *sameRefreshToken;
  if (!grant.scope.empty()) body["scope"] = grant.scope;
  // RFC 6749 §5.1: replies carrying tokens must not be cached.
  return {kStatusOK, std::move(body), {{"Cache-Control", "no-store"}, {"Pragma", "no-cache"}}};
}

bool TokenEndpoint::scopeAllowed(const std::string& scope) const {
  if (options_.scopes.empty()) return true;
  for (const std::string& token : scopeTokens(scope)) {
    if (!options_.scopes.contains(token)) return false;
  }
  return true;
}

std::string TokenEndpoint::issueAuthorizationCode(std::string redirectURI, std::string scope, std::int64_t now) const {
  return tokens_.issueAuthorizationCode(TokenStore::Grant{options_.clientId, options_.username, std::move(scope)},
                                        std::move(redirectURI), now, kAuthorizationCodeLifetimeSeconds);
}
