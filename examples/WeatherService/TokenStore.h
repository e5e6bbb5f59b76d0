#pragma once
// The OAuth 2.0 tokens the local weather service has issued: access tokens, refresh tokens
// and authorization codes, each a random text of URL-safe characters ([A-Za-z0-9-_]) so that
// a client may append it to a query string without escaping. Times are Unix seconds of the
// service's clock, passed in by the caller, so that a service with a fixed clock expires
// tokens by that clock.
//
// Threads: every member may be called from any thread; one mutex guards the tokens.

#include <cstdint>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <unordered_map>

class TokenStore {
 public:
  //! Whom a token speaks for.
  struct Grant {
    std::string clientId;
    std::optional<std::string> username;  // none: the client itself (client credentials)
    std::string scope;                    // empty: none asked for
  };

  struct IssuedTokens {
    std::string accessToken;
    std::optional<std::string> refreshToken;
  };

  struct AccessToken {
    enum class Status { valid, unknown, expired, revoked };
    Status status = Status::unknown;
    Grant grant;                 // set unless unknown
    std::int64_t expiresAt = 0;  // set unless unknown
  };

  //! A new access token lasting `lifetime` seconds from `now`, and a refresh token lasting
  //! `refreshLifetime` seconds if `withRefreshToken`.
  IssuedTokens issue(const Grant& grant, std::int64_t now, std::int64_t lifetime, bool withRefreshToken,
                     std::int64_t refreshLifetime);

  AccessToken accessToken(const std::string& token, std::int64_t now) const;

  //! The grant of a refresh token issued to `clientId` that is neither revoked nor expired.
  //! With `revoke`, the token is revoked once read (the caller issues its successor).
  std::optional<Grant> redeemRefreshToken(const std::string& token, const std::string& clientId, std::int64_t now,
                                          bool revoke);

  //! A single-use code for `grant`, redeemable until `now + lifetime` with the same
  //! redirect URI.
  std::string issueAuthorizationCode(const Grant& grant, std::string redirectURI, std::int64_t now,
                                     std::int64_t lifetime);
  //! The code's grant, if it is known, unexpired and was issued to `clientId` for
  //! `redirectURI`; the code is used up only when redeemed.
  std::optional<Grant> redeemAuthorizationCode(const std::string& code, const std::string& clientId,
                                               const std::string& redirectURI, std::int64_t now);

  //! Every access and refresh token issued so far is revoked.
  void revokeAll();
  //! Every access token issued so far has expired at `now`.
  void expireAccessTokens(std::int64_t now);
  //! Access tokens issued so far.
  std::int64_t accessTokensIssued() const;

 private:
  struct Entry {
    Grant grant;
    std::int64_t expiresAt = 0;
    bool revoked = false;
  };
  struct Code {
    Grant grant;
    std::string redirectURI;
    std::int64_t expiresAt = 0;
  };

  static std::mt19937_64 seededGenerator();
  // Callers hold mutex_.
  std::string newToken();

  mutable std::mutex mutex_;
  std::mt19937_64 random_ = seededGenerator();
  std::unordered_map<std::string, Entry> accessTokens_;
  std::unordered_map<std::string, Entry> refreshTokens_;
  std::unordered_map<std::string, Code> codes_;
  std::int64_t accessTokensIssued_ = 0;
};
