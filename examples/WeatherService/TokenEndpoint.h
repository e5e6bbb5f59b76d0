#pragma once
// The local weather service's OAuth 2.0 token endpoint (RFC 6749 §3.2, §4, §5): reads a
// token request (a form body and the Authorization header), authenticates the client by
// body parameters or HTTP Basic (§2.3.1, never both), and answers with tokens from a
// TokenStore or with an RFC error ({"error", "error_description"}, HTTP 400, or 401 for
// "invalid_client").
//
// Threads: answer() may be called from any thread; it only reads the options and the store
// guards itself.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "FormBody.h"
#include "LocalWeatherService.h"
#include "TokenStore.h"

class TokenEndpoint {
 public:
  struct Reply {
    int status = 0;
    nlohmann::ordered_json body;
    std::vector<std::pair<std::string, std::string>> headers;
  };

  //! Both must outlive the endpoint.
  TokenEndpoint(const LocalWeatherService::Options& options, TokenStore& tokens);

  Reply answer(const std::string& method, const FormBody& form, const std::string& authorization,
               std::int64_t now) const;

  //! A single-use code for Options::clientId on behalf of Options::username, lasting ten
  //! minutes (RFC 6749 §4.1.2).
  std::string issueAuthorizationCode(std::string redirectURI, std::string scope, std::int64_t now) const;

  //! The "user:password" inside an "Authorization: Basic ..." value, each part
  //! form-decoded (RFC 6749 §2.3.1); none if the value is not Basic or not Base64.
  static std::optional<std::pair<std::string, std::string>> basicCredentials(const std::string& authorization);

 private:
  static bool isBasic(std::string_view authorization);
  Reply grant(const std::string& grantType, const FormBody& form, const std::string& clientId, std::int64_t now) const;
  Reply issued(const TokenStore::Grant& grant, bool withRefreshToken, std::int64_t now,
               std::optional<std::string> sameRefreshToken = std::nullopt) const;
  bool scopeAllowed(const std::string& scope) const;

  const LocalWeatherService::Options& options_;
  TokenStore& tokens_;
};
