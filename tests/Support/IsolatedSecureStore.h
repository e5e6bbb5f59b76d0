#pragma once
// Chooses a secure store backend for one test and keeps it away from the user's secrets:
// the file store in a temporary directory, or the Secret Service of a PrivateKeyring. The
// file store's directory is set either way, so a test can check that nothing fell back to
// it. Everything is undone when the object goes away. Make it first in a test, before the
// session bus is first used.

#include <optional>
#include <string>

#include "Platform/System/OVNSecureStore.h"
#include "Support/PrivateKeyring.h"
#include "Support/TemporaryDirectory.h"

class IsolatedSecureStore {
 public:
  explicit IsolatedSecureStore(OVNSecureStore::Backend backend) {
    if (backend == OVNSecureStore::Backend::secretService) keyring_.emplace();
    OVNSecureStore::setBackend(backend);
    OVNSecureStore::setFileStoreDirectory(fileStoreDirectory());
  }
  ~IsolatedSecureStore() {
    OVNSecureStore::setFileStoreDirectory(std::nullopt);
    OVNSecureStore::setBackend(std::nullopt);
  }
  IsolatedSecureStore(const IsolatedSecureStore&) = delete;
  IsolatedSecureStore& operator=(const IsolatedSecureStore&) = delete;

  std::string fileStoreDirectory() const { return root_.path() + "/Keychain"; }
  //! The private keyring; only with the Secret Service.
  PrivateKeyring& keyring() { return keyring_.value(); }

  //! "file" or "secretService", for the names of parameterized tests.
  static std::string nameOf(OVNSecureStore::Backend backend) {
    return backend == OVNSecureStore::Backend::file ? "file" : "secretService";
  }

 private:
  TemporaryDirectory root_{"ovrin-secure-store"};
  std::optional<PrivateKeyring> keyring_;
};
