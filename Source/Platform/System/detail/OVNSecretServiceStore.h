#pragma once
// The Secret Service backend of OVNSecureStore (gnome-keyring and the like, over the session
// bus). Each item is an item of the default collection under our own schema,
// "com.ovrinweather.GenericPassword", with the attributes "service", "account" and, when
// given, "accessible"; the secret travels as bytes ("application/octet-stream") and is never
// an attribute. The label is kSecAttrLabel when given, else "<service> (<account>)", which is
// what a keyring manager shows.
//
// Nothing here prompts: a locked collection or item gives errSecInteractionNotAllowed
// rather than a dialog a background thread would wait on. No session bus, no service on it,
// or a service that stops answering gives errSecNotAvailable after at most D-Bus's own
// timeout (25 s per call). A failure is logged once, never with a secret.
//
// Threads: the caller serialises calls within the process. Another process may add the same
// item between our look-up and our store; the Secret Service then holds one item per
// attribute set all the same (items are stored with replacement).

#include "Platform/System/OVNSecItem.h"
#include "Platform/Values/OVNValue.h"

namespace ovn::detail {

class OVNSecretServiceStore {
 public:
  //! Whether the session bus (DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus) has a
  //! Secret Service that answers. May start one through D-Bus activation.
  static bool isAvailable();

  OVNStatus add(const OVNDictionary& attributes);
  OVNStatus update(const OVNDictionary& query, const OVNDictionary& attributes);
  OVNStatus copyMatching(const OVNDictionary& query, OVNValue* result);
  OVNStatus remove(const OVNDictionary& query);
};

}  // namespace ovn::detail
