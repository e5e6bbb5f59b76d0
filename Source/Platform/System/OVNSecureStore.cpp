#include "Platform/System/OVNSecureStore.h"

#include <mutex>

#include "Platform/System/OVNConsoleLog.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/System/detail/OVNFileSecureStore.h"
#include "Platform/System/detail/OVNSecretServiceStore.h"
#include "Platform/Values/OVNDictionary.h"

namespace {

// The store's own sub-directory of the application's data directory.
constexpr const char* fileStoreName = "Keychain";

// Never destroyed: code running at exit may still reach the store.
struct StoreState {
  std::mutex mutex;  // serialises every operation of the process
  std::optional<OVNSecureStore::Backend> chosen;
  // The automatic choice, probed once: asking the bus costs a round trip (or D-Bus's timeout
  // when a service hangs), too much for every call. Choosing again, even "none", forgets it.
  std::optional<OVNSecureStore::Backend> probed;
  std::optional<std::string> directoryOverride;
  bool announced = false;
};

StoreState& state() {
  static StoreState* made = new StoreState;
  return *made;
}

std::optional<std::string> directoryLocked() {
  if (state().directoryOverride) return state().directoryOverride;
  auto data = OVNFileManager::applicationDataDirectory();
  if (!data) return std::nullopt;
  return *data + "/" + fileStoreName;
}

OVNSecureStore::Backend activeLocked() {
  if (state().chosen) return *state().chosen;
  if (!state().probed) {
    const bool offered = ovn::detail::OVNSecretServiceStore::isAvailable();
    state().probed = offered ? OVNSecureStore::Backend::secretService : OVNSecureStore::Backend::file;
  }
  return *state().probed;
}

// Runs `operation` on the active backend's store, under the process's lock. The lock is held
// across libsecret's calls too (they call no code of the application): one operation at a
// time keeps look-up-then-store sequences whole within the process.
template <class Operation>
OVNStatus withStore(Operation operation) {
  std::lock_guard lock(state().mutex);
  if (activeLocked() == OVNSecureStore::Backend::secretService) {
    ovn::detail::OVNSecretServiceStore store;
    return operation(store);
  }
  const auto directory = directoryLocked();
  if (!directory) return errSecNotAvailable;
  if (!state().chosen && !state().announced) {
    state().announced = true;
    OVNConsoleLog::writeFormat(
        "OVNSecureStore: no Secret Service answers on the session bus; secrets are kept in files under %@", *directory);
  }
  ovn::detail::OVNFileSecureStore store(*directory);
  return operation(store);
}

}  // namespace

OVNSecureStore::Backend OVNSecureStore::activeBackend() {
  std::lock_guard lock(state().mutex);
  return activeLocked();
}

void OVNSecureStore::setBackend(std::optional<Backend> backend) {
  std::lock_guard lock(state().mutex);
  state().chosen = backend;
  state().probed.reset();
}

std::optional<std::string> OVNSecureStore::fileStoreDirectory() {
  std::lock_guard lock(state().mutex);
  return directoryLocked();
}

void OVNSecureStore::setFileStoreDirectory(std::optional<std::string> path) {
  std::lock_guard lock(state().mutex);
  state().directoryOverride = std::move(path);
}

OVNStatus OVNSecureStore::itemAdd(const OVNDictionaryRef& attributes) {
  if (!attributes) return errSecItemNotFound;
  return withStore([&](auto& store) { return store.add(*attributes); });
}

OVNStatus OVNSecureStore::itemUpdate(const OVNDictionaryRef& query, const OVNDictionaryRef& attributes) {
  if (!query || !attributes) return errSecItemNotFound;
  return withStore([&](auto& store) { return store.update(*query, *attributes); });
}

OVNStatus OVNSecureStore::itemCopyMatching(const OVNDictionaryRef& query, OVNValue* result) {
  if (!query) return errSecItemNotFound;
  return withStore([&](auto& store) { return store.copyMatching(*query, result); });
}

OVNStatus OVNSecureStore::itemDelete(const OVNDictionaryRef& query) {
  if (!query) return errSecItemNotFound;
  return withStore([&](auto& store) { return store.remove(*query); });
}
