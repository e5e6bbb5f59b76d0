#pragma once
// Captures the console's entries (bare text, one per entry) while it lives.

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/System/OVNConsoleLog.h"

class ConsoleCapture {
 public:
  ConsoleCapture() {
    OVNConsoleLog::setSink([this](std::string_view text) {
      std::lock_guard guard(lock_);
      lines_.emplace_back(text);
    });
  }
  ~ConsoleCapture() { OVNConsoleLog::setSink({}); }
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;

  std::vector<std::string> lines() const {
    std::lock_guard guard(lock_);
    return lines_;
  }

 private:
  mutable std::mutex lock_;
  std::vector<std::string> lines_;
};
