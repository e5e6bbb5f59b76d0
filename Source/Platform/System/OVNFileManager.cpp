#include "Platform/System/OVNFileManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <system_error>

#include "Platform/Objects/OVNError.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

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
// The names of writeFileAtomically's temporary files: ".ovn-<pid>-<n>.tmp".
constexpr std::string_view temporaryPrefix = ".ovn-";
constexpr std::string_view temporarySuffix = ".tmp";

enum class FileAction { Reading, Writing };

std::int64_t cocoaCodeFor(int errorNumber, FileAction action) {
  const bool writing = action == FileAction::Writing;
  switch (errorNumber) {
    case ENOENT: return writing ? OVNFileNoSuchFileError : OVNFileReadNoSuchFileError;
    case EACCES:
    case EPERM: return writing ? OVNFileWriteNoPermissionError : OVNFileReadNoPermissionError;
    case EEXIST: return OVNFileWriteFileExistsError;
    case ENOSPC: return OVNFileWriteOutOfSpaceError;
    default: return writing ? OVNFileWriteUnknownError : OVNFileReadUnknownError;
  }
}

// The platform's file error: a Cocoa code, the path, and the system's errno underneath.
std::shared_ptr<OVNError> fileError(const std::string& path, int errorNumber, FileAction action) {
  const std::string reason = std::strerror(errorNumber);
  auto underlying = OVNError::errorWithDomain(OVNPOSIXErrorDomain, errorNumber, reason);
  const std::string name = fs::path(path).filename().string();
  return OVNError::errorWithDomain(
      OVNCocoaErrorDomain, cocoaCodeFor(errorNumber, action),
      OVNDictionary::make({{std::string(OVNLocalizedDescriptionKey),
                            OVNFormat("The file \u201c%@\u201d couldn\u2019t be %@. (%@)", name,
                                      action == FileAction::Writing ? "saved" : "opened", reason)},
                           {std::string(OVNFilePathErrorKey), path},
                           {std::string(OVNUnderlyingErrorKey), underlying}}));
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
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
  return createDirectoryAtPath(path, withIntermediates, nullptr);
}

bool OVNFileManager::createDirectoryAtPath(const std::string& path, bool withIntermediates,
                                           std::shared_ptr<OVNError>* error) {
  std::error_code failure;
  if (withIntermediates)
    fs::create_directories(path, failure);
  else
    fs::create_directory(path, failure);
  if (!failure && !fs::is_directory(path, failure) && !failure)
    failure = std::make_error_code(std::errc::not_a_directory);
  if (!failure) return true;
  if (error) *error = fileError(path, failure.value(), FileAction::Writing);
  return false;
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

bool OVNFileManager::isTemporaryFileName(std::string_view fileName) {
  return fileName.size() > temporaryPrefix.size() + temporarySuffix.size() && fileName.starts_with(temporaryPrefix) &&
         fileName.ends_with(temporarySuffix);
}

bool OVNFileManager::writeFileAtomically(const std::string& path, std::string_view contents, bool synchronize) {
  const fs::path target(path);
  if (!target.has_filename()) return false;
  // A short name of its own, so that a target name near the length limit still fits.
  static std::atomic<unsigned> counter{0};
  for (int attempt = 0; attempt < 100; ++attempt) {
    const fs::path temporary =
        target.parent_path() / OVNFormat("%@%d-%u%@", temporaryPrefix, static_cast<int>(::getpid()),
                                         counter.fetch_add(1, std::memory_order_relaxed), temporarySuffix);
    // O_EXCL: never write into someone else's file; 0666 lets the umask decide, as for any new file.
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
      if (errno == EEXIST) continue;
      return false;
    }
    const bool written = writeAll(fd, contents) && (!synchronize || ::fsync(fd) == 0);
    const bool closed = ::close(fd) == 0;
    if (written && closed && std::rename(temporary.c_str(), target.c_str()) == 0) return true;
    ::unlink(temporary.c_str());
    return false;
  }
  return false;
}

std::optional<OVNFileAttributes> OVNFileManager::attributesOfItemAtPath(const std::string& path,
                                                                        std::shared_ptr<OVNError>* error) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    if (error) *error = fileError(path, errno, FileAction::Reading);
    return std::nullopt;
  }
  OVNFileAttributes attributes;
  attributes.size = static_cast<std::uint64_t>(status.st_size);
  attributes.modificationDate = OVNDate::dateWithTimeIntervalSince1970(
      static_cast<double>(status.st_mtim.tv_sec) + static_cast<double>(status.st_mtim.tv_nsec) / 1e9);
  attributes.isDirectory = S_ISDIR(status.st_mode);
  return attributes;
}

std::vector<std::string> OVNFileManager::subpathsOfDirectoryAtPath(const std::string& path) {
  std::vector<std::string> items;
  // One directory at a time, so that one that vanishes or cannot be read mid-walk only
  // loses its own items.
  std::vector<fs::path> pending{path};
  while (!pending.empty()) {
    const fs::path directory = std::move(pending.back());
    pending.pop_back();
    std::error_code failure;
    for (fs::directory_iterator walk(directory, failure), end; !failure && walk != end; walk.increment(failure)) {
      items.push_back(walk->path().string());
      std::error_code typeFailure;
      if (walk->is_directory(typeFailure) && !walk->is_symlink(typeFailure)) pending.push_back(walk->path());
    }
  }
  return items;
}
