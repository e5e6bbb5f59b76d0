#include "Platform/System/detail/OVNFileSecureStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string_view>

#include "Platform/Serialization/OVNDigest.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {
namespace {

constexpr OVNStatus errSecParam = -50;
constexpr OVNStatus errSecIO = -36;
constexpr OVNStatus errSecDecode = -26275;
constexpr mode_t directoryMode = 0700;
constexpr mode_t itemMode = 0600;
constexpr mode_t othersMayAccess = 0077;
constexpr std::string_view serviceKey = "service";
constexpr std::string_view accountKey = "account";
constexpr std::string_view dataKey = "data";
constexpr std::string_view accessibleKey = "accessible";

std::optional<std::string> textIn(const OVNDictionary& dictionary, std::string_view key) {
  const OVNValue value = dictionary.objectForKey(key);
  const std::string* text = value.string();
  return text ? std::optional(*text) : std::nullopt;
}

// Whether only the user can reach what is at `path` (and it is theirs).
bool isPrivate(const struct stat& status) {
  return status.st_uid == ::geteuid() && !(status.st_mode & othersMayAccess);
}

void logOnce(std::atomic<bool>& logged, const std::string& text) {
  if (!logged.exchange(true)) OVNConsoleLog::writeFormat("OVNSecureStore: %@", text);
}

std::atomic<bool> exposedLogged{false};
std::atomic<bool> unreadableLogged{false};

}  // namespace

std::optional<std::string> OVNFileSecureStore::pathFor(const OVNDictionary& query) const {
  const auto itemClass = textIn(query, kSecClass);
  const auto service = textIn(query, kSecAttrService);
  const auto account = textIn(query, kSecAttrAccount);
  if (!itemClass || *itemClass != kSecClassGenericPassword || !service || !account) return std::nullopt;
  const std::string identity = *service + '\0' + *account;
  return directory_ + "/" + OVNDigest::hexString(OVNDigest::SHA256(identity)) + ".item";
}

bool OVNFileSecureStore::prepareDirectory() {
  std::error_code error;
  std::filesystem::create_directories(directory_, error);
  ::chmod(directory_.c_str(), directoryMode);  // ours, made just now or before: only the user enters
  struct stat status {};
  if (::stat(directory_.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return false;
  if (!isPrivate(status)) {
    logOnce(exposedLogged, directory_ + " is not private to this user; it is not used");
    return false;
  }
  return true;
}

OVNStatus OVNFileSecureStore::read(const std::string& path, const OVNDictionary& query, Item* item) {
  const int file = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (file < 0) return errno == ENOENT ? errSecItemNotFound : errSecIO;
  struct stat status {};
  std::string bytes;
  if (::fstat(file, &status) == 0 && isPrivate(status) && S_ISREG(status.st_mode)) {
    bytes.resize(static_cast<std::size_t>(status.st_size));
    if (::read(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) bytes.clear();
  } else {
    logOnce(exposedLogged, path + " is not a private file of this user; it is not used");
  }
  ::close(file);
  OVNData data(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
  auto plist =
      bytes.empty() ? OVNValue() : OVNPropertyListSerialization::propertyListWithData(data, 0, nullptr, nullptr);
  auto stored = plist.dictionary();
  // A file that does not hold the item its name stands for is foreign, or damaged.
  if (!stored || textIn(*stored, serviceKey) != textIn(query, kSecAttrService) ||
      textIn(*stored, accountKey) != textIn(query, kSecAttrAccount)) {
    logOnce(unreadableLogged, "an item file in " + directory_ + " cannot be read; it is left alone");
    return errSecDecode;
  }
  *item = {*textIn(*stored, serviceKey), *textIn(*stored, accountKey), stored->objectForKey(dataKey),
           stored->objectForKey(accessibleKey)};
  return errSecSuccess;
}

OVNStatus OVNFileSecureStore::write(const std::string& path, const Item& item, bool replace) {
  auto plist = OVNDictionary::make({{std::string(serviceKey), item.service}, {std::string(accountKey), item.account}});
  if (item.data.isPresent()) plist->set(dataKey, item.data);
  if (item.accessible.isPresent()) plist->set(accessibleKey, item.accessible);
  auto bytes = OVNPropertyListSerialization::dataWithPropertyList(plist, OVNPropertyListBinaryFormat_v1_0, 0, nullptr);
  if (!bytes) return errSecParam;
  std::string temporary = path + ".XXXXXX";
  const int file = ::mkstemp(temporary.data());  // created 0600, whatever the umask
  if (file < 0) return errSecIO;
  const bool written = ::fchmod(file, itemMode) == 0 &&
                       ::write(file, bytes->bytes().data(), bytes->length()) == static_cast<ssize_t>(bytes->length()) &&
                       ::fsync(file) == 0;
  ::close(file);
  OVNStatus status = written ? errSecSuccess : errSecIO;
  if (written && replace && ::rename(temporary.c_str(), path.c_str()) != 0) status = errSecIO;
  if (written && !replace && ::link(temporary.c_str(), path.c_str()) != 0) {
    status = errno == EEXIST ? errSecDuplicateItem : errSecIO;
  }
  if (!replace || status != errSecSuccess) ::unlink(temporary.c_str());
  return status;
}

OVNStatus OVNFileSecureStore::add(const OVNDictionary& attributes) {
  auto path = pathFor(attributes);
  if (!path) return errSecParam;
  if (!prepareDirectory()) return errSecNotAvailable;
  return write(*path,
               {*textIn(attributes, kSecAttrService), *textIn(attributes, kSecAttrAccount),
                attributes.objectForKey(kSecValueData), attributes.objectForKey(kSecAttrAccessible)},
               false);
}

OVNStatus OVNFileSecureStore::update(const OVNDictionary& query, const OVNDictionary& attributes) {
  auto path = pathFor(query);
  if (!path) return errSecParam;
  if (!prepareDirectory()) return errSecNotAvailable;
  Item item;
  if (OVNStatus status = read(*path, query, &item); status != errSecSuccess) return status;
  if (attributes.contains(kSecValueData)) item.data = attributes.objectForKey(kSecValueData);
  if (attributes.contains(kSecAttrAccessible)) item.accessible = attributes.objectForKey(kSecAttrAccessible);
  return write(*path, item, true);
}

OVNStatus OVNFileSecureStore::copyMatching(const OVNDictionary& query, OVNValue* result) {
  auto path = pathFor(query);
  if (!path) return errSecParam;
  if (!prepareDirectory()) return errSecNotAvailable;
  Item item;
  if (OVNStatus status = read(*path, query, &item); status != errSecSuccess) return status;
  if (result && query.objectForKey(kSecReturnData).boolValue().value_or(false)) *result = item.data;
  return errSecSuccess;
}

OVNStatus OVNFileSecureStore::remove(const OVNDictionary& query) {
  auto path = pathFor(query);
  if (!path) return errSecParam;
  if (!prepareDirectory()) return errSecNotAvailable;
  if (::unlink(path->c_str()) == 0) return errSecSuccess;
  return errno == ENOENT ? errSecItemNotFound : errSecIO;
}

}  // namespace ovn::detail
