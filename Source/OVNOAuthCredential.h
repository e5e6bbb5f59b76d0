#pragma once
// OVNOAuthCredential: one OAuth 2.0 token set (access token, token type, refresh token,
// expiry), archivable with keyed coding under the keys "accessToken", "tokenType",
// "refreshToken" and "expiration". The OAuth client keeps it in the secure store, one
// generic-password item per identifier (service kOVNOAuth2CredentialServiceName).
//
// Threads: a credential is a plain value object; use it on one thread at a time.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDate.h"

//! The secure-store service of every stored credential.
inline constexpr std::string_view kOVNOAuth2CredentialServiceName = "OVNOAuthCredentialService";

//! The base query of every store operation: exactly kSecClass (generic password),
//! kSecAttrService (kOVNOAuth2CredentialServiceName) and kSecAttrAccount (the identifier).
OVN_EXPORT OVNDictionaryRef OVNKeychainQueryDictionaryWithIdentifier(std::string_view identifier);

class OVN_EXPORT OVNOAuthCredential : public OVNObject {
  OVN_CLASS(OVNOAuthCredential, OVNObject)

 public:
  OVNOAuthCredential() = default;
  //! A credential with those two values, no refresh token and no expiration.
  static std::shared_ptr<OVNOAuthCredential> credentialWithOAuthToken(std::string accessToken, std::string tokenType);
  static std::shared_ptr<OVNOAuthCredential> initWithOAuthToken(std::string accessToken, std::string tokenType) {
    return credentialWithOAuthToken(std::move(accessToken), std::move(tokenType));
  }

  // ---- The secure store (OVNSecureStore): one item per identifier -----------------------

  //! storeCredential(credential, identifier, kSecAttrAccessibleWhenUnlocked).
  static bool storeCredential(const std::shared_ptr<OVNOAuthCredential>& credential, std::string_view identifier);
  //! Adds the item, or updates it when one is stored (storing twice updates); true when the
  //! store succeeded. A failed store leaves an earlier item as it was.
  static bool storeCredential(const std::shared_ptr<OVNOAuthCredential>& credential, std::string_view identifier,
                              std::optional<std::string> accessibility);
  //! The stored credential, or null (nothing stored, or an item that does not read back).
  static std::shared_ptr<OVNOAuthCredential> retrieveCredentialWithIdentifier(std::string_view identifier);
  static bool deleteCredentialWithIdentifier(std::string_view identifier);

  const std::optional<std::string>& accessToken() const { return accessToken_; }
  void setAccessToken(std::optional<std::string> token) { accessToken_ = std::move(token); }
  const std::optional<std::string>& tokenType() const { return tokenType_; }
  void setTokenType(std::optional<std::string> type) { tokenType_ = std::move(type); }
  const std::optional<std::string>& refreshToken() const { return refreshToken_; }
  void setRefreshToken(std::optional<std::string> token) { refreshToken_ = std::move(token); }
  const std::optional<OVNDate>& expiration() const { return expiration_; }
  void setExpiration(std::optional<OVNDate> expiration) { expiration_ = expiration; }
  //! setRefreshToken:expiration:
  void setRefreshToken(std::optional<std::string> token, std::optional<OVNDate> expiration);

  //! True without an expiration, and when the expiration lies before now (OVNDate::now(),
  //! so a test clock moves it); an expiration equal to now has not expired yet.
  bool isExpired() const;

  //! <OVNOAuthCredential accessToken:"..." tokenType:"..." refreshToken:"..." expiration:"...">,
  //! missing values as "(null)". The access token is printed whole, as it always has been:
  //! do not log a credential where others can read it.
  std::string description() const override;

  bool supportsKeyedCoding() const override { return true; }
  void encodeWithCoder(OVNCoder& coder) const override;
  bool initWithCoder(OVNCoder& coder) override;

 private:
  std::optional<std::string> accessToken_;
  std::optional<std::string> tokenType_;
  std::optional<std::string> refreshToken_;
  std::optional<OVNDate> expiration_;
};

using OVNOAuthCredentialRef = std::shared_ptr<OVNOAuthCredential>;
