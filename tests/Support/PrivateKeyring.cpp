#include "Support/PrivateKeyring.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

#include "Support/ChildProcess.h"

namespace {

constexpr auto kStartTimeout = std::chrono::seconds(20);
constexpr auto kStopGrace = std::chrono::seconds(5);
constexpr auto kPollInterval = std::chrono::milliseconds(20);
constexpr int kCallTimeoutMs = 5000;
constexpr mode_t kPrivateDirectory = 0700;
constexpr std::string_view kPassword = "ovrin-test-keyring";
constexpr const char* kSecretsName = "org.freedesktop.secrets";
constexpr const char* kServicePath = "/org/freedesktop/secrets";
constexpr const char* kServiceInterface = "org.freedesktop.Secret.Service";
constexpr const char* kItemInterface = "org.freedesktop.Secret.Item";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* kNoObject = "/";

// A bus of our own: no service directories (nothing is activated behind the test's back, so a
// stopped keyring stays stopped), anyone of this user may own any name.
constexpr std::string_view kBusConfiguration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>@ADDRESS@</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

struct GObjectRelease {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct VariantRelease {
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
struct ErrorRelease {
  void operator()(GError* error) const { g_error_free(error); }
};
using ConnectionRef = std::unique_ptr<GDBusConnection, GObjectRelease>;
using VariantRef = std::unique_ptr<GVariant, VariantRelease>;
using ErrorRef = std::unique_ptr<GError, ErrorRelease>;

// A connection of our own (not GLib's shared one, which libsecret uses).
ConnectionRef connectTo(const std::string& address, std::string* failure) {
  GError* error = nullptr;
  ConnectionRef connection(g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &error));
  if (error && failure) *failure = ErrorRef(error)->message;
  return connection;
}

// Calls `method` and returns its reply, or none with the error's text in `failure`.
VariantRef call(GDBusConnection* connection, const char* path, const char* interface, const char* method,
                GVariant* parameters, const char* replyType, std::string* failure = nullptr) {
  GError* error = nullptr;
  VariantRef reply(g_dbus_connection_call_sync(connection, kSecretsName, path, interface, method, parameters,
                                               G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs,
                                               nullptr, &error));
  if (error) {
    const std::string message = ErrorRef(error)->message;
    if (!failure) throw std::runtime_error(std::string("PrivateKeyring: ") + method + ": " + message);
    *failure = message;
  }
  return reply;
}

VariantRef property(GDBusConnection* connection, const char* path, const char* name) {
  auto reply = call(connection, path, kPropertiesInterface, "Get", g_variant_new("(ss)", kItemInterface, name), "(v)");
  GVariant* value = nullptr;
  g_variant_get(reply.get(), "(v)", &value);
  return VariantRef(value);
}

}  // namespace

PrivateKeyring::PrivateKeyring() : directory_("ovrin-keyring") {
  const std::string root = directory_.path();
  for (const char* sub : {"/run", "/data", "/home"}) {
    std::filesystem::create_directory(root + sub);
    ::chmod((root + sub).c_str(), kPrivateDirectory);  // the runtime directory must be private
  }
  busAddress_ = "unix:path=" + root + "/run/bus";
  std::string configuration(kBusConfiguration);
  configuration.replace(configuration.find("@ADDRESS@"), std::string_view("@ADDRESS@").size(), busAddress_);
  std::ofstream(root + "/bus.conf") << configuration;

  // Before the daemons start, so that they inherit it too.
  environment_.set("DBUS_SESSION_BUS_ADDRESS", busAddress_);
  environment_.set("XDG_RUNTIME_DIR", root + "/run");
  environment_.set("XDG_DATA_HOME", root + "/data");
  environment_.set("HOME", root + "/home");
  environment_.set("DISPLAY", std::nullopt);  // never a prompt on someone's screen

  busPid_ = ChildProcess::spawn(
      {ChildProcess::findExecutable("dbus-daemon"), "--config-file=" + root + "/bus.conf", "--nofork"},
      root + "/dbus.log");
  try {
    waitFor("the bus", [&](std::string* failure) { return connectTo(busAddress_, failure) != nullptr; });
    startKeyringDaemon();
    waitFor("a default collection", [&](std::string* failure) { return hasDefaultCollection(failure); });
  } catch (...) {
    stopBus();
    throw;
  }
}

void PrivateKeyring::startKeyringDaemon() {
  int password[2];
  if (::pipe2(password, O_CLOEXEC) != 0) throw std::runtime_error("PrivateKeyring: cannot make a pipe");
  keyringPid_ = ChildProcess::spawn(
      {ChildProcess::findExecutable("gnome-keyring-daemon"), "--unlock", "--components=secrets", "--foreground"},
      directory_.path() + "/keyring.log", password[0]);
  ::close(password[0]);
  // --unlock reads the password up to end of file; it makes the "login" keyring with it.
  const bool written =
      ::write(password[1], kPassword.data(), kPassword.size()) == static_cast<ssize_t>(kPassword.size());
  ::close(password[1]);
  if (!written) throw std::runtime_error("PrivateKeyring: cannot hand gnome-keyring-daemon its password");
}

PrivateKeyring::~PrivateKeyring() { stopBus(); }

void PrivateKeyring::waitFor(const std::string& what, const std::function<bool(std::string*)>& ready) const {
  const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
  std::string failure = "no answer";
  while (std::chrono::steady_clock::now() < deadline) {
    if (ChildProcess::hasExited(busPid_) || (keyringPid_ > 0 && ChildProcess::hasExited(keyringPid_))) {
      throw std::runtime_error("PrivateKeyring: a daemon exited:\n" + readFile(directory_.path() + "/dbus.log") +
                               readFile(directory_.path() + "/keyring.log"));
    }
    if (ready(&failure)) return;
    std::this_thread::sleep_for(kPollInterval);
  }
  throw std::runtime_error("PrivateKeyring: no " + what + " within " + std::to_string(kStartTimeout.count()) + " s (" +
                           failure + "):\n" + readFile(directory_.path() + "/keyring.log"));
}

bool PrivateKeyring::hasDefaultCollection(std::string* failure) const {
  auto connection = connectTo(busAddress_, failure);
  if (!connection) return false;
  auto reply = call(connection.get(), kServicePath, kServiceInterface, "ReadAlias", g_variant_new("(s)", "default"),
                    "(o)", failure);
  const gchar* path = nullptr;
  if (reply) g_variant_get(reply.get(), "(&o)", &path);
  return path && std::string_view(path) != kNoObject;
}

std::optional<PrivateKeyring::Item> PrivateKeyring::item(const std::string& service, const std::string& account) const {
  std::string failure;
  auto connection = connectTo(busAddress_, &failure);
  if (!connection) throw std::runtime_error("PrivateKeyring: " + failure);
  GVariantBuilder wanted;
  g_variant_builder_init(&wanted, G_VARIANT_TYPE("a{ss}"));
  g_variant_builder_add(&wanted, "{ss}", "service", service.c_str());
  g_variant_builder_add(&wanted, "{ss}", "account", account.c_str());
  auto found = call(connection.get(), kServicePath, kServiceInterface, "SearchItems", g_variant_new("(a{ss})", &wanted),
                    "(aoao)");
  GVariantIter* unlocked = nullptr;
  GVariantIter* locked = nullptr;
  g_variant_get(found.get(), "(aoao)", &unlocked, &locked);
  const gchar* first = nullptr;
  std::string path;
  if (g_variant_iter_next(unlocked, "&o", &first)) path = first;
  g_variant_iter_free(unlocked);
  g_variant_iter_free(locked);
  if (path.empty()) return std::nullopt;

  Item item;
  item.label = g_variant_get_string(property(connection.get(), path.c_str(), "Label").get(), nullptr);
  auto attributes = property(connection.get(), path.c_str(), "Attributes");
  GVariantIter entries;
  g_variant_iter_init(&entries, attributes.get());
  const gchar* key = nullptr;
  const gchar* text = nullptr;
  while (g_variant_iter_next(&entries, "{&s&s}", &key, &text)) item.attributes[key] = text;
  // A plain session: the secret crosses our private bus unencrypted, which is all a test needs.
  auto session = call(connection.get(), kServicePath, kServiceInterface, "OpenSession",
                      g_variant_new("(sv)", "plain", g_variant_new_string("")), "(vo)");
  GVariant* ignored = nullptr;
  const gchar* sessionPath = nullptr;
  g_variant_get(session.get(), "(v&o)", &ignored, &sessionPath);
  g_variant_unref(ignored);
  auto secret = call(connection.get(), path.c_str(), kItemInterface, "GetSecret", g_variant_new("(o)", sessionPath),
                     "((oayays))");
  VariantRef value(g_variant_get_child_value(secret.get(), 0));  // (session, parameters, value, content type)
  VariantRef bytes(g_variant_get_child_value(value.get(), 2));
  gsize length = 0;
  const auto* data = static_cast<const char*>(g_variant_get_fixed_array(bytes.get(), &length, 1));
  item.secret.assign(data ? data : "", length);
  return item;
}

void PrivateKeyring::lockDefaultCollection() const {
  std::string failure;
  auto connection = connectTo(busAddress_, &failure);
  if (!connection) throw std::runtime_error("PrivateKeyring: " + failure);
  auto alias =
      call(connection.get(), kServicePath, kServiceInterface, "ReadAlias", g_variant_new("(s)", "default"), "(o)");
  const gchar* collection = nullptr;
  g_variant_get(alias.get(), "(&o)", &collection);
  const gchar* objects[] = {collection, nullptr};
  call(connection.get(), kServicePath, kServiceInterface, "Lock", g_variant_new("(^ao)", objects), "(aoo)");
}

void PrivateKeyring::stopKeyringDaemon() { ChildProcess::stop(keyringPid_, SIGTERM, kStopGrace); }

void PrivateKeyring::stopBus() {
  stopKeyringDaemon();
  ChildProcess::stop(busPid_, SIGTERM, kStopGrace);
}
