#include "OVNOAuthCredential.h"

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNCoder.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/System/OVNSecItem.h"
#include "Platform/System/OVNSecureStore.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNOAuthCredential, (accessToken, setAccessToken), (tokenType, setTokenType), refreshToken,
               (expiration, setExpiration))

namespace {

constexpr std::string_view accessTokenKey = "accessToken";
constexpr std::string_view tokenTypeKey = "tokenType";
constexpr std::string_view refreshTokenKey = "refreshToken";
constexpr std::string_view expirationKey = "expiration";

OVNValue valueOf(const std::optional<std::string>& text) { return text ? OVNValue(*text) : OVNValue(); }
OVNValue valueOf(const std::optional<OVNDate>& date) { return date ? OVNValue(*date) : OVNValue(); }

std::optional<std::string> textIn(const OVNValue& value) {
  const std::string* text = value.string();
  return text ? std::optional(*text) : std::nullopt;
}

}  // namespace

OVNDictionaryRef OVNKeychainQueryDictionaryWithIdentifier(std::string_view identifier) {
  return OVNDictionary::make({{std::string(kSecClass), std::string(kSecClassGenericPassword)},
                              {std::string(kSecAttrService), std::string(kOVNOAuth2CredentialServiceName)},
                              {std::string(kSecAttrAccount), std::string(identifier)}});
}

bool OVNOAuthCredential::storeCredential(const std::shared_ptr<OVNOAuthCredential>& credential,
                                         std::string_view identifier) {
  return storeCredential(credential, identifier, std::string(kSecAttrAccessibleWhenUnlocked));
}

bool OVNOAuthCredential::storeCredential(const std::shared_ptr<OVNOAuthCredential>& credential,
                                         std::string_view identifier, std::optional<std::string> accessibility) {
  auto query = OVNKeychainQueryDictionaryWithIdentifier(identifier)->mutableCopy();
  auto archived =
      credential ? OVNKeyedArchiver::archivedDataWithRootObject(OVNValue(credential), false, nullptr) : nullptr;
  if (!archived) return false;
  auto attributes = OVNDictionary::make({{std::string(kSecValueData), OVNValue(archived)}});
  if (accessibility) attributes->set(kSecAttrAccessible, *accessibility);
  OVNStatus status = errSecSuccess;
  if (!retrieveCredentialWithIdentifier(identifier)) {
    query->addEntries(*attributes);
    status = OVNSecureStore::itemAdd(query);
  } else {
    status = OVNSecureStore::itemUpdate(query, attributes);
  }
  return status == errSecSuccess;
}

std::shared_ptr<OVNOAuthCredential> OVNOAuthCredential::retrieveCredentialWithIdentifier(std::string_view identifier) {
  auto query = OVNKeychainQueryDictionaryWithIdentifier(identifier)->mutableCopy();
  query->set(kSecReturnData, true);
  query->set(kSecMatchLimit, std::string(kSecMatchLimitOne));
  OVNValue result;
  if (OVNSecureStore::itemCopyMatching(query, &result) != errSecSuccess) return nullptr;
  auto data = result.data();
  return data ? OVNKeyedUnarchiver::unarchiveObjectWithData(*data).objectAs<OVNOAuthCredential>() : nullptr;
}

bool OVNOAuthCredential::deleteCredentialWithIdentifier(std::string_view identifier) {
  return OVNSecureStore::itemDelete(OVNKeychainQueryDictionaryWithIdentifier(identifier)) == errSecSuccess;
}

std::shared_ptr<OVNOAuthCredential> OVNOAuthCredential::credentialWithOAuthToken(std::string accessToken,
                                                                                 std::string tokenType) {
  auto credential = OVNMake<OVNOAuthCredential>();
  credential->accessToken_ = std::move(accessToken);
  credential->tokenType_ = std::move(tokenType);
  return credential;
}

void OVNOAuthCredential::setRefreshToken(std::optional<std::string> token, std::optional<OVNDate> expiration) {
  refreshToken_ = std::move(token);
  expiration_ = expiration;
}

bool OVNOAuthCredential::isExpired() const { return !expiration_ || *expiration_ < OVNDate::now(); }

std::string OVNOAuthCredential::description() const {
  return OVNFormat("<%@ accessToken:\"%@\" tokenType:\"%@\" refreshToken:\"%@\" expiration:\"%@\">",
                   objectClass().name(), valueOf(accessToken_), valueOf(tokenType_), valueOf(refreshToken_),
                   valueOf(expiration_));
}

void OVNOAuthCredential::encodeWithCoder(OVNCoder& coder) const {
  coder.encodeObject(valueOf(accessToken_), accessTokenKey);
  coder.encodeObject(valueOf(tokenType_), tokenTypeKey);
  coder.encodeObject(valueOf(refreshToken_), refreshTokenKey);
  coder.encodeObject(valueOf(expiration_), expirationKey);
}

bool OVNOAuthCredential::initWithCoder(OVNCoder& coder) {
  accessToken_ = textIn(coder.decodeObjectForKey(accessTokenKey));
  tokenType_ = textIn(coder.decodeObjectForKey(tokenTypeKey));
  refreshToken_ = textIn(coder.decodeObjectForKey(refreshTokenKey));
  expiration_ = coder.decodeObjectForKey(expirationKey).date();
  return true;
}
