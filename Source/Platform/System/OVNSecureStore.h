#pragma once
// OVNSecureStore: the platform's secure store for small secrets: generic-password items
// identified by service and account, with add, update, copy-matching and delete and the
// platform's status codes (OVNSecItem.h). Queries and attributes are dictionaries keyed by
// kSecClass, kSecAttrService, kSecAttrAccount, kSecValueData, kSecAttrAccessible,
// kSecReturnData and kSecMatchLimit.
//
// Backends: the file store keeps one file per item, mode 0600, in a directory of mode 0700
// (<XDG data home>/<app id>/Keychain), each written by atomic replace. Using it without the
// application having chosen it is announced once on the console, so that secrets never fall
// back to files silently. The Secret Service backend is not part of this build yet: the
// file store is the one in use.
//
// Threads: any thread; operations are serialised within the process, and files are only
// ever replaced whole, so other processes see an item before or after a change.

#include <optional>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/System/OVNSecItem.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNSecureStore {
 public:
  enum class Backend { file };

  //! The backend operations go to: the one chosen, else the best available.
  static Backend activeBackend();
  //! Chooses a backend (tests and headless services pick the file store on purpose); none
  //! chooses automatically again.
  static void setBackend(std::optional<Backend> backend);
  //! Where the file store keeps its items; none when no data home can be named.
  static std::optional<std::string> fileStoreDirectory();
  //! Replaces the file store's directory (tests); none restores the default.
  static void setFileStoreDirectory(std::optional<std::string> path);

  //! Adds the item the attributes describe: errSecDuplicateItem when one exists.
  static OVNStatus itemAdd(const OVNDictionaryRef& attributes);
  //! Replaces the data (and accessibility) of the item the query names.
  static OVNStatus itemUpdate(const OVNDictionaryRef& query, const OVNDictionaryRef& attributes);
  //! With kSecReturnData true, `result` gets the item's data.
  static OVNStatus itemCopyMatching(const OVNDictionaryRef& query, OVNValue* result);
  static OVNStatus itemDelete(const OVNDictionaryRef& query);
};
