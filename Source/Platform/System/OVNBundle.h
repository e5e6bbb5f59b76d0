#pragma once
// A bundle is a directory of resources. The main bundle is the directory holding the
// executable; its info dictionary comes from an "Info.strings" table beside the executable
// (absent file: an empty table) with "CFBundleExecutable" always set to the executable
// name, and can be changed in code (tests, applications without the file).
// Other bundles read "Info.strings" inside their directory.
//
// Thread-safe: any thread; the info dictionary is guarded and handed out as a copy.
// Missing results: objectForInfoDictionaryKey gives a missing value, bundleIdentifier and
// pathForResource give nullopt, bundleWithPath gives null for a path that is no directory.

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNValue.h"

class OVNBundle;
using OVNBundleRef = std::shared_ptr<OVNBundle>;

class OVN_EXPORT OVNBundle : public OVNObject {
  OVN_CLASS(OVNBundle, OVNObject)

 public:
  //! Prefer mainBundle() / bundleWithPath(), which share one object per directory.
  explicit OVNBundle(std::string path, bool isMain = false);

  static OVNBundleRef mainBundle();
  //! The bundle of an existing directory (the same object for the same path), else null.
  static OVNBundleRef bundleWithPath(const std::string& path);

  const std::string& bundlePath() const { return path_; }
  //! The running executable (/proc/self/exe) for the main bundle; nullopt for others.
  std::optional<std::string> executablePath() const;
  //! The executable's file name for the main bundle; empty for others.
  std::string executableName() const;

  //! A copy of the info dictionary (never null).
  OVNDictionaryRef infoDictionary() const;
  //! Replaces the dictionary; null restores the one read from disk.
  void setInfoDictionary(OVNDictionaryRef dictionary);
  //! Stores one entry; a missing value removes the key.
  void setInfoValue(std::string_view key, OVNValue value);
  OVNValue objectForInfoDictionaryKey(std::string_view key) const;
  //! "CFBundleIdentifier" when it is a string.
  std::optional<std::string> bundleIdentifier() const;

  //! bundlePath[/directory]/name[.type] when that exists. `type` may start with a dot.
  std::optional<std::string> pathForResource(std::string_view name, std::string_view type,
                                             std::string_view directory = {}) const;

  //! The text for `key` in the string table `table` ("Localizable" when empty): from
  //! `<table>.strings` directly in this bundle (a language directory is a strings bundle
  //! of its own), else from the first `<language>.lproj/<table>.strings` found for the
  //! preferred languages (full tag, then the bare language), then "Base.lproj" and
  //! "en.lproj". A key no table has gives `value` when that is not empty, else the key.
  //! Tables are read once per file and kept.
  std::string localizedStringForKey(std::string_view key, std::string_view value = {},
                                    std::string_view table = {}) const;

  //! The directory of the file holding this library (the shared object), if it can be told.
  static std::optional<std::string> libraryDirectory();

  std::string description() const override;

 private:
  //! The table file the lookup reads, if any.
  std::optional<std::string> stringsTablePath(std::string_view table) const;
  //! Loads the dictionary on first use; call with lock_ held.
  const OVNDictionaryRef& loadedInfo() const;
  OVNDictionaryRef withExecutableName(OVNDictionaryRef dictionary) const;

  std::string path_;
  bool isMain_;
  mutable std::mutex lock_;
  mutable OVNDictionaryRef info_;  // null until first read
  // Read string tables by file path (an unreadable file is kept as an empty table).
  mutable std::map<std::string, std::map<std::string, std::string>, std::less<>> tables_;
};
