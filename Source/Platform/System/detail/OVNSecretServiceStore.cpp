#include "Platform/System/detail/OVNSecretServiceStore.h"

#include <libsecret/secret.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/System/OVNConsoleLog.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {
namespace {

constexpr OVNStatus errSecParam = -50;
constexpr const char* schemaName = "com.ovrinweather.GenericPassword";
constexpr const char* serviceAttribute = "service";
constexpr const char* accountAttribute = "account";
constexpr const char* accessibleAttribute = "accessible";
constexpr const char* contentType = "application/octet-stream";
constexpr const char* busSocketName = "/bus";

struct GObjectRelease {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct HashTableRelease {
  void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
struct ValueRelease {
  void operator()(SecretValue* value) const { secret_value_unref(value); }
};
struct ErrorRelease {
  void operator()(GError* error) const { g_error_free(error); }
};
struct TextRelease {
  void operator()(gchar* text) const { g_free(text); }
};
using ServiceRef = std::unique_ptr<SecretService, GObjectRelease>;
using ItemRef = std::unique_ptr<SecretItem, GObjectRelease>;
using CollectionRef = std::unique_ptr<SecretCollection, GObjectRelease>;
using AttributesRef = std::unique_ptr<GHashTable, HashTableRelease>;
using ValueRef = std::unique_ptr<SecretValue, ValueRelease>;
using ErrorRef = std::unique_ptr<GError, ErrorRelease>;
using TextRef = std::unique_ptr<gchar, TextRelease>;

// Made once and kept for the process: libsecret refers to the schema of stored items.
const SecretSchema* schema() {
  static const SecretSchema* made = secret_schema_new(
      schemaName, SECRET_SCHEMA_NONE, serviceAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING, accountAttribute,
      SECRET_SCHEMA_ATTRIBUTE_STRING, accessibleAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING, nullptr);
  return made;
}

std::optional<std::string> textIn(const OVNDictionary& dictionary, std::string_view key) {
  const OVNValue value = dictionary.objectForKey(key);
  const std::string* text = value.string();
  return text ? std::optional(*text) : std::nullopt;
}

struct Identity {
  std::string service;
  std::string account;
};

// The item a query names: a generic password by service and account.
std::optional<Identity> identityOf(const OVNDictionary& query) {
  const auto itemClass = textIn(query, kSecClass);
  auto service = textIn(query, kSecAttrService);
  auto account = textIn(query, kSecAttrAccount);
  if (!itemClass || *itemClass != kSecClassGenericPassword || !service || !account) return std::nullopt;
  return Identity{std::move(*service), std::move(*account)};
}

AttributesRef attributesOf(const Identity& identity) {
  AttributesRef attributes(g_hash_table_new_full(g_str_hash, g_str_equal, nullptr, g_free));
  g_hash_table_insert(attributes.get(), const_cast<char*>(serviceAttribute), g_strdup(identity.service.c_str()));
  g_hash_table_insert(attributes.get(), const_cast<char*>(accountAttribute), g_strdup(identity.account.c_str()));
  return attributes;
}

// The secret of `attributes`: their data as bytes, empty without data; none when the data is
// not bytes.
std::optional<ValueRef> secretOf(const OVNDictionary& attributes) {
  const OVNValue value = attributes.objectForKey(kSecValueData);
  const auto data = value.data();
  if (value.isPresent() && !data) return std::nullopt;
  const std::string_view bytes = data ? data->view() : std::string_view();
  return ValueRef(secret_value_new(bytes.data(), static_cast<gssize>(bytes.size()), contentType));
}

std::atomic<bool> failureLogged{false};

// The status a libsecret or D-Bus error stands for; the first is logged (messages name
// objects and D-Bus errors, never secrets).
OVNStatus statusOf(ErrorRef error) {
  if (!error) return errSecNotAvailable;
  if (error->domain == SECRET_ERROR && error->code == SECRET_ERROR_IS_LOCKED) return errSecInteractionNotAllowed;
  if (error->domain == SECRET_ERROR && error->code == SECRET_ERROR_NO_SUCH_OBJECT) return errSecItemNotFound;
  if (!failureLogged.exchange(true)) {
    OVNConsoleLog::writeFormat("OVNSecureStore: the Secret Service failed: %@", std::string(error->message));
  }
  return errSecNotAvailable;
}

// Whether a session bus is named, so that GLib is never asked to start one (it would try
// X11 autolaunch).
bool sessionBusOffered() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address && *address) return true;
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  return runtime && *runtime && ::access((std::string(runtime) + busSocketName).c_str(), F_OK) == 0;
}

// libsecret's shared service proxy when the bus has a Secret Service that answers.
OVNStatus connect(ServiceRef* service) {
  if (!sessionBusOffered()) return errSecNotAvailable;
  GError* error = nullptr;
  ServiceRef made(secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, &error));
  if (!made) return statusOf(ErrorRef(error));
  // GLib ends the process with SIGTERM when the shared bus connection closes, unless told not
  // to: a bus that goes away must give a status, not kill the application.
  g_dbus_connection_set_exit_on_close(g_dbus_proxy_get_connection(G_DBUS_PROXY(made.get())), FALSE);
  if (!TextRef(g_dbus_proxy_get_name_owner(G_DBUS_PROXY(made.get())))) return errSecNotAvailable;
  *service = std::move(made);
  return errSecSuccess;
}

// Our item with that identity, in any collection.
OVNStatus find(SecretService* service, const Identity& identity, SecretSearchFlags flags, ItemRef* item) {
  GError* error = nullptr;
  GList* found = secret_service_search_sync(service, schema(), attributesOf(identity).get(), flags, nullptr, &error);
  if (error) return statusOf(ErrorRef(error));
  if (!found) return errSecItemNotFound;
  item->reset(SECRET_ITEM(g_object_ref(found->data)));
  g_list_free_full(found, g_object_unref);
  return secret_item_get_locked(item->get()) ? errSecInteractionNotAllowed : errSecSuccess;
}

// Connects and finds the item `query` names.
OVNStatus connectAndFind(const OVNDictionary& query, SecretSearchFlags flags, ServiceRef* service, ItemRef* item) {
  const auto identity = identityOf(query);
  if (!identity) return errSecParam;
  if (OVNStatus status = connect(service); status != errSecSuccess) return status;
  return find(service->get(), *identity, flags, item);
}

}  // namespace

bool OVNSecretServiceStore::isAvailable() {
  ServiceRef service;
  return connect(&service) == errSecSuccess;
}

OVNStatus OVNSecretServiceStore::add(const OVNDictionary& attributes) {
  const auto identity = identityOf(attributes);
  if (!identity) return errSecParam;
  auto secret = secretOf(attributes);
  if (!secret) return errSecParam;
  ServiceRef service;
  if (OVNStatus status = connect(&service); status != errSecSuccess) return status;
  ItemRef existing;
  if (OVNStatus status = find(service.get(), *identity, SECRET_SEARCH_NONE, &existing); status != errSecItemNotFound) {
    return status == errSecSuccess || status == errSecInteractionNotAllowed ? errSecDuplicateItem : status;
  }
  GError* error = nullptr;
  CollectionRef collection(secret_collection_for_alias_sync(service.get(), SECRET_COLLECTION_DEFAULT,
                                                            SECRET_COLLECTION_NONE, nullptr, &error));
  if (error) return statusOf(ErrorRef(error));
  if (!collection) {
    // Making a default keyring would ask the user for its password.
    if (!failureLogged.exchange(true))
      OVNConsoleLog::writeFormat("OVNSecureStore: the Secret Service has no default keyring");
    return errSecNotAvailable;
  }
  if (secret_collection_get_locked(collection.get())) return errSecInteractionNotAllowed;
  auto stored = attributesOf(*identity);
  if (const auto accessible = textIn(attributes, kSecAttrAccessible)) {
    g_hash_table_insert(stored.get(), const_cast<char*>(accessibleAttribute), g_strdup(accessible->c_str()));
  }
  const std::string label =
      textIn(attributes, kSecAttrLabel).value_or(identity->service + " (" + identity->account + ")");
  if (!secret_service_store_sync(service.get(), schema(), stored.get(),
                                 g_dbus_proxy_get_object_path(G_DBUS_PROXY(collection.get())), label.c_str(),
                                 secret->get(), nullptr, &error)) {
    return statusOf(ErrorRef(error));
  }
  return errSecSuccess;
}

OVNStatus OVNSecretServiceStore::update(const OVNDictionary& query, const OVNDictionary& attributes) {
  ServiceRef service;
  ItemRef item;
  if (OVNStatus status = connectAndFind(query, SECRET_SEARCH_NONE, &service, &item); status != errSecSuccess) {
    return status;
  }
  GError* error = nullptr;
  if (attributes.contains(kSecValueData)) {
    auto secret = secretOf(attributes);
    if (!secret) return errSecParam;
    if (!secret_item_set_secret_sync(item.get(), secret->get(), nullptr, &error)) return statusOf(ErrorRef(error));
  }
  if (const auto accessible = textIn(attributes, kSecAttrAccessible)) {
    // The item's own attributes (its schema's name among them) with the new accessibility.
    AttributesRef kept(secret_item_get_attributes(item.get()));
    g_hash_table_replace(kept.get(), g_strdup(accessibleAttribute), g_strdup(accessible->c_str()));
    if (!secret_item_set_attributes_sync(item.get(), nullptr, kept.get(), nullptr, &error)) {
      return statusOf(ErrorRef(error));
    }
  }
  if (const auto label = textIn(attributes, kSecAttrLabel)) {
    if (!secret_item_set_label_sync(item.get(), label->c_str(), nullptr, &error)) return statusOf(ErrorRef(error));
  }
  return errSecSuccess;
}

OVNStatus OVNSecretServiceStore::copyMatching(const OVNDictionary& query, OVNValue* result) {
  ServiceRef service;
  ItemRef item;
  if (OVNStatus status = connectAndFind(query, SECRET_SEARCH_LOAD_SECRETS, &service, &item); status != errSecSuccess) {
    return status;
  }
  if (!result || !query.objectForKey(kSecReturnData).boolValue().value_or(false)) return errSecSuccess;
  ValueRef secret(secret_item_get_secret(item.get()));
  if (!secret) {
    GError* error = nullptr;
    if (!secret_item_load_secret_sync(item.get(), nullptr, &error)) return statusOf(ErrorRef(error));
    secret.reset(secret_item_get_secret(item.get()));
  }
  // Whatever the item holds comes back as it is; reading it is the caller's business.
  gsize length = 0;
  const gchar* bytes = secret ? secret_value_get(secret.get(), &length) : nullptr;
  const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes);
  *result = OVNValue(std::make_shared<const OVNData>(bytes ? std::vector<std::uint8_t>(begin, begin + length)
                                                           : std::vector<std::uint8_t>()));
  return errSecSuccess;
}

OVNStatus OVNSecretServiceStore::remove(const OVNDictionary& query) {
  ServiceRef service;
  ItemRef item;
  if (OVNStatus status = connectAndFind(query, SECRET_SEARCH_NONE, &service, &item); status != errSecSuccess) {
    return status;
  }
  GError* error = nullptr;
  if (!secret_item_delete_sync(item.get(), nullptr, &error)) return statusOf(ErrorRef(error));
  return errSecSuccess;
}

}  // namespace ovn::detail
