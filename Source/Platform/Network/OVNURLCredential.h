#pragma once
// OVNURLCredential: a user name and password answering an authentication challenge
// (NSURLCredential). Immutable; any thread may share it.

#include <cstdint>
#include <memory>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

using OVNURLCredentialPersistence = std::uint64_t;
inline constexpr OVNURLCredentialPersistence OVNURLCredentialPersistenceNone = 0;
inline constexpr OVNURLCredentialPersistence OVNURLCredentialPersistenceForSession = 1;

class OVN_EXPORT OVNURLCredential : public OVNObject {
  OVN_CLASS_NAMED(OVNURLCredential, OVNObject, "NSURLCredential")

 public:
  OVNURLCredential() = default;
  static std::shared_ptr<OVNURLCredential> credentialWithUser(std::string user, std::string password,
                                                              OVNURLCredentialPersistence persistence);

  const std::string& user() const { return user_; }
  const std::string& password() const { return password_; }
  OVNURLCredentialPersistence persistence() const { return persistence_; }
  //! Never prints the password.
  std::string description() const override;

 private:
  std::string user_;
  std::string password_;
  OVNURLCredentialPersistence persistence_ = OVNURLCredentialPersistenceNone;
};
