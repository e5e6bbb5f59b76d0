#pragma once
// A Secret Service of the test's own: a private D-Bus session bus (dbus-daemon, no service
// activation, so nothing else starts on it) and gnome-keyring-daemon on it, unlocked with a
// test password, whose "login" keyring is the default collection. HOME, XDG_DATA_HOME and
// XDG_RUNTIME_DIR point into a temporary directory, so the user's own keyrings are never
// touched; DBUS_SESSION_BUS_ADDRESS names the private bus. Make it before the code under
// test first talks to the session bus (GLib connects once per process); the environment is
// restored when it goes away.
//
// The constructor returns once the default collection answers, or throws std::runtime_error
// (a missing program or a daemon that does not come up must fail loudly, never skip).
// The daemons run in process groups of their own, die with the thread that made them, and
// are ended (group and all) by stop...() or the destructor. Works as root and without a
// display. Inspection talks to the bus over a connection of its own, apart from libsecret's.

#include <sys/types.h>

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

class PrivateKeyring {
 public:
  //! What the keyring holds for one item, as a keyring manager would show it.
  struct Item {
    std::string label;
    std::map<std::string, std::string> attributes;
    std::string secret;
  };

  PrivateKeyring();
  ~PrivateKeyring();
  PrivateKeyring(const PrivateKeyring&) = delete;
  PrivateKeyring& operator=(const PrivateKeyring&) = delete;

  const std::string& busAddress() const { return busAddress_; }
  //! The item whose attributes include "service" and "account" with these values.
  std::optional<Item> item(const std::string& service, const std::string& account) const;
  //! Locks the default collection, as a screen lock or a user would.
  void lockDefaultCollection() const;
  //! Ends gnome-keyring-daemon; the bus stays.
  void stopKeyringDaemon();
  //! Ends the bus (and the keyring daemon first).
  void stopBus();

 private:
  void startKeyringDaemon();
  //! Polls `ready` until it holds; throws when a daemon exits or time runs out.
  void waitFor(const std::string& what, const std::function<bool(std::string*)>& ready) const;
  bool hasDefaultCollection(std::string* failure) const;

  TemporaryDirectory directory_;
  ScopedEnvironment environment_;
  std::string busAddress_;
  pid_t busPid_ = -1;
  pid_t keyringPid_ = -1;
};
