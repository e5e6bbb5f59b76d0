#pragma once
// The library's view of the file system: application-scoped standard directories and the
// few file operations it needs. Nothing here throws; a failed operation returns false or
// an empty optional.
//
// Directories follow the XDG base-directory layout, scoped by the application id (the main
// bundle's identifier when set, else the executable name):
//   caches          $XDG_CACHE_HOME (else $HOME/.cache)/<app id>
//   documentation   $XDG_DATA_HOME (else $HOME/.local/share)/<app id>/Documentation
// An empty optional means no such directory can be named (no XDG variable and no HOME).
// The directories are only named, not created.
//
// Thread-safe: any thread; the overrides are guarded.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNDate.h"

class OVNError;

//! What attributesOfItemAtPath reads (the item itself, not what a symbolic link names).
struct OVN_EXPORT OVNFileAttributes {
  std::uint64_t size = 0;  //!< bytes, as the file system reports them (directories too)
  OVNDate modificationDate;
  bool isDirectory = false;
};

class OVN_EXPORT OVNFileManager {
 public:
  static std::optional<std::string> cachesDirectory();
  static std::optional<std::string> documentationDirectory();
  //! $XDG_DATA_HOME (else $HOME/.local/share)/<app id>: where an application keeps its own
  //! data (the file secure store, for one). Not overridable; users of it have their own.
  static std::optional<std::string> applicationDataDirectory();

  //! Replace the default directories (tests point them at temporary directories); an empty
  //! optional restores the default.
  static void setCachesDirectory(std::optional<std::string> path);
  static void setDocumentationDirectory(std::optional<std::string> path);

  //! The id that scopes the directories: main bundle identifier, else executable name.
  static std::string applicationIdentifier();

  //! True when something (file, directory, ...) exists at `path`.
  static bool fileExistsAtPath(const std::string& path);
  //! Creates or truncates the file and writes `contents`; false when that fails.
  static bool createFileAtPath(const std::string& path, const std::string& contents);
  //! Removes a file or a whole directory tree; false when nothing was removed.
  static bool removeItemAtPath(const std::string& path);
  //! Creates a directory (and its missing parents with `withIntermediates`); true when the
  //! directory exists afterwards.
  static bool createDirectoryAtPath(const std::string& path, bool withIntermediates);
  //! As above; a failure also sets `error` (NSCocoaErrorDomain, with the system's reason).
  static bool createDirectoryAtPath(const std::string& path, bool withIntermediates, std::shared_ptr<OVNError>* error);
  //! The bytes of the file, or nullopt when it cannot be read.
  static std::optional<std::string> contentsAtPath(const std::string& path);
  //! Writes `contents` to a new file beside `path` and renames it over `path`, so that a
  //! reader (or a process killed mid-write) never leaves or sees a half-written file under
  //! that name. With `synchronize` the bytes reach the disk before the rename (fsync), which
  //! also survives a power cut, at the cost of a disk flush per write. False when the
  //! directory is missing or unwritable, or the disk is full; nothing is left behind then.
  static bool writeFileAtomically(const std::string& path, std::string_view contents, bool synchronize);
  //! Whether `fileName` has the form of writeFileAtomically's temporary files
  //! (".ovn-<pid>-<n>.tmp"), which a process killed mid-write leaves behind.
  static bool isTemporaryFileName(std::string_view fileName);
  //! The item's attributes, or nullopt plus `error` (may be null) when they cannot be read.
  static std::optional<OVNFileAttributes> attributesOfItemAtPath(const std::string& path,
                                                                 std::shared_ptr<OVNError>* error);
  //! Every item below `path` (files, directories, links; not `path` itself), as full paths,
  //! walked recursively without following links. Empty when `path` cannot be read; items
  //! that vanish or cannot be read during the walk are skipped.
  static std::vector<std::string> subpathsOfDirectoryAtPath(const std::string& path);
};
