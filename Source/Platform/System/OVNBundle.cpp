#include "Platform/System/OVNBundle.h"

#include <dlfcn.h>
#include <errno.h>

#include <filesystem>
#include <map>
#include <system_error>
#include <vector>

#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNStringsFile.h"
#include "Platform/Text/OVNLocale.h"

namespace fs = std::filesystem;

OVN_PROPERTIES(OVNBundle, bundlePath, bundleIdentifier)

namespace {
constexpr std::string_view infoFileName = "Info.strings";
constexpr std::string_view executableKey = "CFBundleExecutable";

std::optional<std::string> runningExecutable() {
  std::error_code error;
  auto path = fs::read_symlink("/proc/self/exe", error);
  if (error) return std::nullopt;
  return path.string();
}
}  // namespace

OVNBundle::OVNBundle(std::string path, bool isMain) : path_(std::move(path)), isMain_(isMain) {}

OVNBundleRef OVNBundle::mainBundle() {
  static const OVNBundleRef main = [] {
    auto executable = runningExecutable();
    std::error_code error;
    std::string directory =
        executable ? fs::path(*executable).parent_path().string() : fs::current_path(error).string();
    return OVNMake<OVNBundle>(std::move(directory), true);
  }();
  return main;
}

OVNBundleRef OVNBundle::bundleWithPath(const std::string& path) {
  std::error_code error;
  if (path.empty() || !fs::is_directory(path, error)) return nullptr;
  fs::path absolute = fs::absolute(path, error);
  if (error) return nullptr;
  std::string key = absolute.lexically_normal().string();
  if (key.size() > 1 && key.back() == '/') key.pop_back();

  static std::mutex registryLock;
  static std::map<std::string, OVNBundleRef> registry;
  std::lock_guard guard(registryLock);
  auto& bundle = registry[key];
  if (!bundle) bundle = OVNMake<OVNBundle>(key, false);
  return bundle;
}

std::optional<std::string> OVNBundle::executablePath() const {
  if (!isMain_) return std::nullopt;
  return runningExecutable();
}

std::string OVNBundle::executableName() const {
  if (!isMain_) return {};
  if (auto executable = runningExecutable()) return fs::path(*executable).filename().string();
  return program_invocation_short_name;
}

OVNDictionaryRef OVNBundle::withExecutableName(OVNDictionaryRef dictionary) const {
  if (isMain_) dictionary->set(executableKey, executableName());
  return dictionary;
}

const OVNDictionaryRef& OVNBundle::loadedInfo() const {
  if (!info_) {
    auto info = std::make_shared<OVNDictionary>();
    if (auto table = OVNStringsFile::readFile(path_ + "/" + std::string(infoFileName))) {
      for (auto& [key, value] : *table) info->set(key, OVNValue(value));
    }
    info_ = withExecutableName(std::move(info));
  }
  return info_;
}

OVNDictionaryRef OVNBundle::infoDictionary() const {
  std::lock_guard guard(lock_);
  return loadedInfo()->copy();
}

void OVNBundle::setInfoDictionary(OVNDictionaryRef dictionary) {
  // Copied so later changes to the caller's dictionary do not leak in unguarded.
  OVNDictionaryRef replacement = dictionary ? withExecutableName(dictionary->mutableCopy()) : nullptr;
  std::lock_guard guard(lock_);
  info_ = std::move(replacement);
}

void OVNBundle::setInfoValue(std::string_view key, OVNValue value) {
  std::lock_guard guard(lock_);
  // Readers only ever see copies, so the guarded dictionary can change in place.
  loadedInfo()->set(key, std::move(value));
}

OVNValue OVNBundle::objectForInfoDictionaryKey(std::string_view key) const {
  std::lock_guard guard(lock_);
  return loadedInfo()->objectForKey(key);
}

std::optional<std::string> OVNBundle::bundleIdentifier() const {
  const OVNValue identifier = objectForInfoDictionaryKey("CFBundleIdentifier");
  if (const std::string* text = identifier.string()) return *text;
  return std::nullopt;
}

std::optional<std::string> OVNBundle::pathForResource(std::string_view name, std::string_view type,
                                                      std::string_view directory) const {
  if (name.empty()) return std::nullopt;
  std::string path = path_;
  if (!directory.empty()) {
    path += '/';
    path += directory;
  }
  path += '/';
  path += name;
  if (!type.empty()) {
    if (type.front() != '.') path += '.';
    path += type;
  }
  std::error_code error;
  if (!fs::exists(path, error)) return std::nullopt;
  return path;
}

std::string OVNBundle::description() const { return "OVNBundle <" + path_ + ">"; }

std::optional<std::string> OVNBundle::stringsTablePath(std::string_view table) const {
  const std::string file = std::string(table.empty() ? "Localizable" : table) + ".strings";
  std::error_code error;
  const auto existing = [&](const std::string& path) -> std::optional<std::string> {
    if (fs::is_regular_file(path, error)) return path;
    return std::nullopt;
  };
  if (auto direct = existing(path_ + "/" + file)) return direct;
  std::vector<std::string> languages;
  for (const std::string& tag : OVNLocale::preferredLanguages()) {
    languages.push_back(tag);
    if (auto dash = tag.find('-'); dash != std::string::npos) languages.push_back(tag.substr(0, dash));
  }
  languages.push_back("Base");
  languages.push_back("en");
  for (const std::string& language : languages) {
    if (auto path = existing(path_ + "/" + language + ".lproj/" + file)) return path;
  }
  return std::nullopt;
}

std::string OVNBundle::localizedStringForKey(std::string_view key, std::string_view value,
                                             std::string_view table) const {
  const std::string fallback(value.empty() ? key : value);
  const std::optional<std::string> path = stringsTablePath(table);
  if (!path) return fallback;
  std::lock_guard<std::mutex> guard(lock_);
  auto found = tables_.find(*path);
  if (found == tables_.end()) {
    found = tables_.emplace(*path, OVNStringsFile::readFile(*path).value_or(OVNStringsFile::Table{})).first;
  }
  const auto entry = found->second.find(std::string(key));
  return entry == found->second.end() ? fallback : entry->second;
}

std::optional<std::string> OVNBundle::libraryDirectory() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<const void*>(&OVNBundle::libraryDirectory), &info) || !info.dli_fname) {
    return std::nullopt;
  }
  std::error_code error;
  const fs::path library = fs::weakly_canonical(info.dli_fname, error);
  if (error) return std::nullopt;
  return library.parent_path().string();
}
