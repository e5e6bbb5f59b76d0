#include "Platform/Network/OVNURLCredential.h"

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNURLCredential, user, persistence)

std::shared_ptr<OVNURLCredential> OVNURLCredential::credentialWithUser(std::string user, std::string password,
                                                                       OVNURLCredentialPersistence persistence) {
  auto credential = OVNMake<OVNURLCredential>();
  credential->user_ = std::move(user);
  credential->password_ = std::move(password);
  credential->persistence_ = persistence;
  return credential;
}

std::string OVNURLCredential::description() const {
  return OVNFormat("<%@: %p>: %@", className(), static_cast<const void*>(this), user_);
}
