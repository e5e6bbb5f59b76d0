#pragma once
// A fresh directory under /tmp, removed with everything in it when the object goes away.

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

class TemporaryDirectory {
 public:
  explicit TemporaryDirectory(const std::string& prefix) {
    std::string pattern = "/tmp/" + prefix + "-XXXXXX";
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot make a temporary directory");
    path_ = pattern;
  }
  ~TemporaryDirectory() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};
