#include "Platform/System/OVNConsoleLog.h"

#include <errno.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>

#include "Platform/Values/OVNClock.h"

namespace {
// Swapped rarely (tests), read on every entry: readers copy the pointer under a short lock
// and call the sink after releasing it.
std::mutex sinkLock;
std::atomic<bool> debugEnabled{false};
std::shared_ptr<const OVNConsoleLog::Sink> currentSink;

std::shared_ptr<const OVNConsoleLog::Sink> sinkSnapshot() {
  std::lock_guard guard(sinkLock);
  return currentSink;
}

void writeAll(int fd, const std::string& text) {
  const char* data = text.data();
  std::size_t left = text.size();
  // One call normally; a short write (a full pipe) is finished rather than lost.
  while (left > 0) {
    const ssize_t written = ::write(fd, data, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      return;
    }
    data += written;
    left -= static_cast<std::size_t>(written);
  }
}
}  // namespace

std::string OVNConsoleLog::linePrefix() {
  const double since1970 = OVNClock::absoluteTime() + OVNClock::referenceDateOffsetFrom1970;
  const double whole = std::floor(since1970);
  int millis = static_cast<int>((since1970 - whole) * 1000.0);
  if (millis > 999) millis = 999;
  const std::time_t t = static_cast<std::time_t>(whole);
  std::tm parts{};
  localtime_r(&t, &parts);
  char text[160];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d %s[%ld:%ld] ", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, millis,
                program_invocation_short_name, static_cast<long>(::getpid()), static_cast<long>(::gettid()));
  return text;
}

void OVNConsoleLog::write(std::string_view text) {
  if (auto sink = sinkSnapshot()) {
    (*sink)(text);
    return;
  }
  std::string line = linePrefix();
  line.append(text);
  line.push_back('\n');
  writeAll(STDERR_FILENO, line);
}

bool OVNConsoleLog::isDebugEnabled() { return debugEnabled.load(std::memory_order_relaxed); }

void OVNConsoleLog::setDebugEnabled(bool enabled) { debugEnabled.store(enabled, std::memory_order_relaxed); }

void OVNConsoleLog::setSink(Sink sink) {
  std::shared_ptr<const Sink> replacement = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
  {
    std::lock_guard guard(sinkLock);
    currentSink.swap(replacement);
  }
  // The old sink (now in `replacement`) is released here, outside the lock.
}
