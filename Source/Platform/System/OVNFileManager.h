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

#include <optional>
#include <string>

#include "OvrinCoreExport.h"

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
  //! The bytes of the file, or nullopt when it cannot be read.
  static std::optional<std::string> contentsAtPath(const std::string& path);
};
