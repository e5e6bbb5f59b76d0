#pragma once
// The body files of the disk layer's directory. A body is written to a temporary file
// ("<32 hex digits>.tmp"), then renamed to a name never used before ("<32 hex digits>.body"),
// so a body file, once it has its name, is complete and never rewritten. Only files named
// in one of these two ways are ever removed here: the directory may hold other things.
// Not thread-safe: the disk layer calls it under its mutex.

#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <unordered_set>

namespace ovn::detail {

class OVNHTTPCacheBodyFiles {
 public:
  explicit OVNHTTPCacheBodyFiles(std::string directory);

  //! The new file's name, or none with `error` (an errno value) when writing failed; the
  //! temporary file is gone either way.
  std::optional<std::string> write(std::string_view bytes, int* error);
  //! The file's bytes, or none when it cannot be read (or is not a body file name).
  std::optional<std::string> read(const std::string& name) const;
  void remove(const std::string& name) const;
  //! Removes temporary files and body files not in `referenced`; the number removed.
  std::size_t removeStrays(const std::unordered_set<std::string>& referenced) const;
  void removeAll() const { removeStrays({}); }

  static bool isBodyFileName(std::string_view name);
  static bool isTemporaryFileName(std::string_view name);

 private:
  std::string freshStem();
  std::string pathOf(std::string_view name) const { return directory_ + "/" + std::string(name); }
  bool writeAll(int descriptor, std::string_view bytes, int* error) const;
  //! Renames without replacing; false with EEXIST when `to` is taken.
  bool renameExclusively(const std::string& from, const std::string& to, int* error) const;

  std::string directory_;
  std::mt19937_64 random_;
};

}  // namespace ovn::detail
