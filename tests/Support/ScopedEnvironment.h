#pragma once
// Sets or unsets environment variables for the life of the object and restores what was
// there before, in reverse order. Use it before the code under test first reads them (GLib
// reads the session bus address once).

#include <stdlib.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

class ScopedEnvironment {
 public:
  ScopedEnvironment() = default;
  ~ScopedEnvironment() {
    for (auto saved = saved_.rbegin(); saved != saved_.rend(); ++saved) apply(saved->first, saved->second);
  }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  //! Sets `name` to `value`, or unsets it when `value` is none.
  void set(const std::string& name, const std::optional<std::string>& value) {
    const char* old = ::getenv(name.c_str());
    saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    apply(name, value);
  }

 private:
  static void apply(const std::string& name, const std::optional<std::string>& value) {
    if (value) {
      ::setenv(name.c_str(), value->c_str(), 1);
    } else {
      ::unsetenv(name.c_str());
    }
  }

  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};
