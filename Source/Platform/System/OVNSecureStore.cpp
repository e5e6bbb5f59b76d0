#include "Platform/System/OVNSecureStore.h"

#include <mutex>

#include "Platform/System/OVNConsoleLog.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/System/detail/OVNFileSecureStore.h"
#include "Platform/Values/OVNDictionary.h"

namespace {

// The store's own sub-directory of the application's data directory.
constexpr const char* fileStoreName = "Keychain";

// Never destroyed: code running at exit may still reach the store.
struct StoreState {
  std::mutex mutex;  // serialises every operation of the process
  std::optional<OVNSecureStore::Backend> chosen;
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

// Runs `operation` on the active backend's store, under the process's lock.
template <class Operation>
OVNStatus withStore(Operation operation) {
  std::lock_guard lock(state().mutex);
  const auto directory = directoryLocked();
  if (!directory) return errSecNotAvailable;
  if (!state().chosen && !state().announced) {
    state().announced = true;
    OVNConsoleLog::writeFormat("OVNSecureStore: no secret service is used; secrets are kept in files under %@",
                               *directory);
  }
  ovn::detail::OVNFileSecureStore store(*directory);
  return operation(store);
}

}  // namespace

OVNSecureStore::Backend OVNSecureStore::activeBackend() {
  std::lock_guard lock(state().mutex);
  return state().chosen.value_or(Backend::file);
}

void OVNSecureStore::setBackend(std::optional<Backend> backend) {
  std::lock_guard lock(state().mutex);
  state().chosen = backend;
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
