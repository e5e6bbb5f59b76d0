#include "Platform/System/OVNFileManager.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <system_error>

#include "Platform/System/OVNBundle.h"

namespace fs = std::filesystem;

namespace {
std::mutex overridesLock;
std::optional<std::string> cachesOverride;
std::optional<std::string> documentationOverride;

std::optional<std::string> overrideOf(const std::optional<std::string>& slot) {
  std::lock_guard guard(overridesLock);
  return slot;
}

// $xdgVariable when set and absolute (relative values are invalid for XDG and ignored),
// else $HOME/homeRelative.
std::optional<std::string> baseDirectory(const char* xdgVariable, const char* homeRelative) {
  const char* xdg = std::getenv(xdgVariable);
  if (xdg && xdg[0] == '/') return std::string(xdg);
  const char* home = std::getenv("HOME");
  if (home && home[0] != '\0') return std::string(home) + "/" + homeRelative;
  return std::nullopt;
}
}  // namespace

std::string OVNFileManager::applicationIdentifier() {
  auto main = OVNBundle::mainBundle();
  if (auto identifier = main->bundleIdentifier(); identifier && !identifier->empty()) return *identifier;
  return main->executableName();
}

std::optional<std::string> OVNFileManager::cachesDirectory() {
  if (auto path = overrideOf(cachesOverride)) return path;
  auto base = baseDirectory("XDG_CACHE_HOME", ".cache");
  if (!base) return std::nullopt;
  return *base + "/" + applicationIdentifier();
}

std::optional<std::string> OVNFileManager::documentationDirectory() {
  if (auto path = overrideOf(documentationOverride)) return path;
  auto base = baseDirectory("XDG_DATA_HOME", ".local/share");
  if (!base) return std::nullopt;
  return *base + "/" + applicationIdentifier() + "/Documentation";
}

std::optional<std::string> OVNFileManager::applicationDataDirectory() {
  auto base = baseDirectory("XDG_DATA_HOME", ".local/share");
  if (!base) return std::nullopt;
  return *base + "/" + applicationIdentifier();
}

void OVNFileManager::setCachesDirectory(std::optional<std::string> path) {
  std::lock_guard guard(overridesLock);
  cachesOverride = std::move(path);
}

void OVNFileManager::setDocumentationDirectory(std::optional<std::string> path) {
  std::lock_guard guard(overridesLock);
  documentationOverride = std::move(path);
}

bool OVNFileManager::fileExistsAtPath(const std::string& path) {
  std::error_code error;
  return fs::exists(path, error);
}

bool OVNFileManager::createFileAtPath(const std::string& path, const std::string& contents) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) return false;
  out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  out.close();
  return static_cast<bool>(out);
}

bool OVNFileManager::removeItemAtPath(const std::string& path) {
  std::error_code error;
  const auto removed = fs::remove_all(path, error);
  return !error && removed > 0;
}

bool OVNFileManager::createDirectoryAtPath(const std::string& path, bool withIntermediates) {
  std::error_code error;
  if (withIntermediates)
    fs::create_directories(path, error);
  else
    fs::create_directory(path, error);
  if (error) return false;
  return fs::is_directory(path, error);
}

std::optional<std::string> OVNFileManager::contentsAtPath(const std::string& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) return std::nullopt;
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::string contents((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) return std::nullopt;
  return contents;
}
