#include "TokenStore.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>

namespace {

// RFC 6750's b64token allows more, but these need no escaping anywhere in a URL.
constexpr std::string_view kTokenAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
// 32 characters of 6 bits each: 192 random bits, far beyond guessing.
constexpr std::size_t kTokenLength = 32;
constexpr std::size_t kSeedWords = 8;

}  // namespace

std::mt19937_64 TokenStore::seededGenerator() {
  // One random_device word would allow only 2^32 token sequences; seed the whole state.
  std::random_device device;
  std::array<std::random_device::result_type, kSeedWords> words{};
  std::generate(words.begin(), words.end(), std::ref(device));
  std::seed_seq seed(words.begin(), words.end());
  return std::mt19937_64(seed);
}

std::string TokenStore::newToken() {
  std::uniform_int_distribution<std::size_t> pick(0, kTokenAlphabet.size() - 1);
  std::string token(kTokenLength, ' ');
  for (char& character : token) character = kTokenAlphabet[pick(random_)];
  return token;
}

TokenStore::IssuedTokens TokenStore::issue(const Grant& grant, std::int64_t now, std::int64_t lifetime,
                                           bool withRefreshToken, std::int64_t refreshLifetime) {
  std::lock_guard lock(mutex_);
  IssuedTokens issued{newToken(), std::nullopt};
  accessTokens_[issued.accessToken] = Entry{grant, now + lifetime, false};
  ++accessTokensIssued_;
  if (withRefreshToken) {
    issued.refreshToken = newToken();
    refreshTokens_[*issued.refreshToken] = Entry{grant, now + refreshLifetime, false};
  }
  return issued;
}

TokenStore::AccessToken TokenStore::accessToken(const std::string& token, std::int64_t now) const {
  std::lock_guard lock(mutex_);
  const auto found = accessTokens_.find(token);
  if (found == accessTokens_.end()) return {};
  const Entry& entry = found->second;
  using Status = AccessToken::Status;
  const Status status = entry.revoked ? Status::revoked : now >= entry.expiresAt ? Status::expired : Status::valid;
  return {status, entry.grant, entry.expiresAt};
}

std::optional<TokenStore::Grant> TokenStore::redeemRefreshToken(const std::string& token, const std::string& clientId,
                                                                std::int64_t now, bool revoke) {
  std::lock_guard lock(mutex_);
  const auto found = refreshTokens_.find(token);
  if (found == refreshTokens_.end()) return std::nullopt;
  Entry& entry = found->second;
  if (entry.revoked || now >= entry.expiresAt || entry.grant.clientId != clientId) return std::nullopt;
  entry.revoked = revoke;
  return entry.grant;
}

std::string TokenStore::issueAuthorizationCode(const Grant& grant, std::string redirectURI, std::int64_t now,
                                               std::int64_t lifetime) {
  std::lock_guard lock(mutex_);
  std::string code = newToken();
  codes_[code] = Code{grant, std::move(redirectURI), now + lifetime};
  return code;
}

std::optional<TokenStore::Grant> TokenStore::redeemAuthorizationCode(const std::string& code,
                                                                     const std::string& clientId,
                                                                     const std::string& redirectURI, std::int64_t now) {
  std::lock_guard lock(mutex_);
  const auto found = codes_.find(code);
  if (found == codes_.end()) return std::nullopt;
  const Code& stored = found->second;
  if (now >= stored.expiresAt || stored.grant.clientId != clientId || stored.redirectURI != redirectURI) {
    return std::nullopt;
  }
  Grant grant = stored.grant;
  codes_.erase(found);
  return grant;
}

void TokenStore::revokeAll() {
  std::lock_guard lock(mutex_);
  for (auto& [token, entry] : accessTokens_) entry.revoked = true;
  for (auto& [token, entry] : refreshTokens_) entry.revoked = true;
}

void TokenStore::expireAccessTokens(std::int64_t now) {
  std::lock_guard lock(mutex_);
  for (auto& [token, entry] : accessTokens_) entry.expiresAt = std::min(entry.expiresAt, now);
}

std::int64_t TokenStore::accessTokensIssued() const {
  std::lock_guard lock(mutex_);
  return accessTokensIssued_;
}
