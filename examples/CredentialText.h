#pragma once
// Texts about credentials that the demonstration and the ovrin command print: a credential's
// description with its tokens shortened (the library's own shows the access token whole, so
// it is not printed where others may read it), and where the secure store keeps secrets.

#include <string>

#include "OVNOAuthCredential.h"
#include "Platform/System/OVNSecureStore.h"

inline std::string whereSecretsLive() {
  if (OVNSecureStore::activeBackend() == OVNSecureStore::Backend::secretService) {
    return "the desktop's Secret Service (the default keyring)";
  }
  return "private files in " + OVNSecureStore::fileStoreDirectory().value_or("(no data directory)");
}

inline std::string maskedToken(const std::string& token) {
  constexpr std::size_t shown = 4;
  if (token.size() <= shown) return "…";
  return token.substr(0, shown) + "…(" + std::to_string(token.size()) + " characters)";
}

inline std::string maskedCredentialDescription(const OVNOAuthCredential& credential) {
  std::string text = credential.description();
  for (const auto& token : {credential.accessToken(), credential.refreshToken()}) {
    if (!token || token->empty()) continue;
    const std::string masked = maskedToken(*token);
    for (auto at = text.find(*token); at != std::string::npos; at = text.find(*token, at + masked.size())) {
      text.replace(at, token->size(), masked);
    }
  }
  return text;
}
