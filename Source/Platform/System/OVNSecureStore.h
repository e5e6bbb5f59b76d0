#pragma once
// OVNSecureStore: the platform's secure store for small secrets: generic-password items
// identified by service and account, with add, update, copy-matching and delete and the
// platform's status codes (OVNSecItem.h). Queries and attributes are dictionaries keyed by
// kSecClass, kSecAttrService, kSecAttrAccount, kSecValueData, kSecAttrAccessible,
// kSecReturnData and kSecMatchLimit.
//
// Backends: the Secret Service (gnome-keyring and the like, over the session bus) keeps each
// item in the default keyring under the schema "com.ovrinweather.GenericPassword", with the
// service and account (and accessibility) as attributes, never the secret, and the label
// kSecAttrLabel or "<service> (<account>)". Nothing prompts: a locked keyring gives
// errSecInteractionNotAllowed. The file store keeps one file per item, mode 0600, in a
// directory of mode 0700 (<XDG data home>/<app id>/Keychain), each written by atomic replace.
//
// Choosing: the backend the application chose is used, and only it: a chosen Secret Service
// that cannot be reached gives errSecNotAvailable, never a file. Without a choice, the Secret
// Service is used when the session bus (DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus)
// has one that answers, else the file store, which is announced once on the console, so that
// secrets never fall back to files silently. That probe runs once, on first use; choosing
// again (none included) forgets it.
//
// Statuses: errSecItemNotFound means no such item; a missing query or attributes read as no
// such item too. errSecNotAvailable means no store could be reached (no bus, no service, no
// default keyring, no writable directory); errSecInteractionNotAllowed means the keyring is
// locked. A call to the Secret Service waits at most D-Bus's timeout (25 s).
//
// Threads: any thread; operations are serialised within the process (libsecret is called
// under that lock; it calls no application code), and files are only ever replaced whole, so
// other processes see an item before or after a change.

#include <optional>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/System/OVNSecItem.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNSecureStore {
 public:
  enum class Backend { file, secretService };

  //! The backend operations go to: the one chosen, else the best available (probed once).
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
