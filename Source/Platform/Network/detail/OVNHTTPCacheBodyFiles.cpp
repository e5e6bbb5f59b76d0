#include "Platform/Network/detail/OVNHTTPCacheBodyFiles.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>

#include "Platform/System/OVNFileManager.h"

namespace ovn::detail {

namespace {

constexpr std::string_view kBodySuffix = ".body";
constexpr std::string_view kTemporarySuffix = ".tmp";
constexpr std::size_t kStemLength = 32;  // hexadecimal digits: 128 random bits
// A fresh name collides only by astronomical chance; a few attempts are plenty.
constexpr int kNameAttempts = 4;
constexpr mode_t kFileMode = 0600;

bool hasStemAndSuffix(std::string_view name, std::string_view suffix) {
  if (name.size() != kStemLength + suffix.size() || name.substr(kStemLength) != suffix) return false;
  return std::all_of(name.begin(), name.begin() + kStemLength,
                     [](char c) { return std::isdigit(static_cast<unsigned char>(c)) || (c >= 'a' && c <= 'f'); });
}

}  // namespace

OVNHTTPCacheBodyFiles::OVNHTTPCacheBodyFiles(std::string directory) : directory_(std::move(directory)) {
  std::random_device device;
  random_.seed((static_cast<std::uint64_t>(device()) << 32) ^ device());
}

bool OVNHTTPCacheBodyFiles::isBodyFileName(std::string_view name) { return hasStemAndSuffix(name, kBodySuffix); }

bool OVNHTTPCacheBodyFiles::isTemporaryFileName(std::string_view name) {
  return hasStemAndSuffix(name, kTemporarySuffix);
}

std::string OVNHTTPCacheBodyFiles::freshStem() {
  char text[kStemLength + 1];
  std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(random_()),
                static_cast<unsigned long long>(random_()));
  return text;
}

std::optional<std::string> OVNHTTPCacheBodyFiles::write(std::string_view bytes, int* error) {
  std::string temporary;
  int descriptor = -1;
  for (int attempt = 0; attempt < kNameAttempts && descriptor < 0; ++attempt) {
    temporary = pathOf(freshStem() + std::string(kTemporarySuffix));
    descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
    *error = errno;
  }
  if (descriptor < 0) return std::nullopt;
  bool written = writeAll(descriptor, bytes, error);
  if (::close(descriptor) != 0 && written) {
    *error = errno;
    written = false;
  }
  for (int attempt = 0; written && attempt < kNameAttempts; ++attempt) {
    std::string name = freshStem() + std::string(kBodySuffix);
    if (renameExclusively(temporary, pathOf(name), error)) return name;
    if (*error != EEXIST) break;
  }
  ::unlink(temporary.c_str());
  return std::nullopt;
}

bool OVNHTTPCacheBodyFiles::writeAll(int descriptor, std::string_view bytes, int* error) const {
  while (!bytes.empty()) {
    ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      *error = count < 0 ? errno : EIO;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool OVNHTTPCacheBodyFiles::renameExclusively(const std::string& from, const std::string& to, int* error) const {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  *error = errno;
  if (*error != EINVAL && *error != ENOSYS) return false;
  // A file system without exclusive rename: a hard link is never made over an existing name.
  if (::link(from.c_str(), to.c_str()) != 0) {
    *error = errno;
    return false;
  }
  ::unlink(from.c_str());
  return true;
}

std::optional<std::string> OVNHTTPCacheBodyFiles::read(const std::string& name) const {
  if (!isBodyFileName(name)) return std::nullopt;
  return OVNFileManager::contentsAtPath(pathOf(name));
}

void OVNHTTPCacheBodyFiles::remove(const std::string& name) const {
  if (isBodyFileName(name)) ::unlink(pathOf(name).c_str());
}

std::size_t OVNHTTPCacheBodyFiles::removeStrays(const std::unordered_set<std::string>& referenced) const {
  DIR* listing = ::opendir(directory_.c_str());
  if (!listing) return 0;
  std::size_t removed = 0;
  while (const dirent* item = ::readdir(listing)) {
    std::string name = item->d_name;
    bool stray = isTemporaryFileName(name) || (isBodyFileName(name) && !referenced.count(name));
    if (stray && ::unlink(pathOf(name).c_str()) == 0) ++removed;
  }
  ::closedir(listing);
  return removed;
}

}  // namespace ovn::detail
