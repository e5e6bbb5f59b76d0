#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include "Platform/System/OVNConsoleLog.h"

namespace {

// Points standard error at a temporary file for the life of the object.
class StandardErrorCapture {
 public:
  StandardErrorCapture() {
    char pattern[] = "/tmp/ovnconsole-XXXXXX";
    const int fd = ::mkstemp(pattern);
    path_ = pattern;
    saved_ = ::dup(STDERR_FILENO);
    ::dup2(fd, STDERR_FILENO);
    ::close(fd);
  }
  ~StandardErrorCapture() {
    restore();
    ::unlink(path_.c_str());
  }
  //! Restores standard error and returns what was written meanwhile.
  std::string finish() {
    restore();
    std::ifstream in(path_, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  }

 private:
  void restore() {
    if (saved_ < 0) return;
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
    saved_ = -1;
  }
  std::string path_;
  int saved_ = -1;
};

TEST(OVNConsoleLogTest, LinesCarryTimeProcessAndThread) {
  StandardErrorCapture capture;
  OVNConsoleLog::write("hello there");
  OVNConsoleLog::writeFormat("%@ has %d items", "list", 3);
  const std::string written = capture.finish();
  const std::string ids =
      "OvrinPlatformTests\\[" + std::to_string(::getpid()) + ":" + std::to_string(::gettid()) + "\\] ";
  const std::string stamp = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} ";
  const std::regex expected(stamp + ids + "hello there\n" + stamp + ids + "list has 3 items\n");
  EXPECT_TRUE(std::regex_match(written, expected)) << written;
}

TEST(OVNConsoleLogTest, SinkTakesTheBareTextUntilRemoved) {
  std::vector<std::string> captured;
  OVNConsoleLog::setSink([&](std::string_view text) { captured.emplace_back(text); });
  OVNConsoleLog::writeFormat("%@-%02d", "a", 7);
  // A sink is called without the lock held, so it may replace itself.
  OVNConsoleLog::setSink([&](std::string_view text) {
    captured.emplace_back(text);
    OVNConsoleLog::setSink({});
  });
  OVNConsoleLog::write("last captured");
  StandardErrorCapture capture;
  OVNConsoleLog::write("to standard error");
  const std::string written = capture.finish();
  EXPECT_EQ(captured, (std::vector<std::string>{"a-07", "last captured"}));
  EXPECT_TRUE(written.ends_with("] to standard error\n")) << written;
}

TEST(OVNConsoleLogTest, LinesFromManyThreadsDoNotInterleave) {
  StandardErrorCapture capture;
  constexpr int threads = 4;
  constexpr int perThread = 300;
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back([t] {
      const std::string body(500, static_cast<char>('a' + t));
      for (int i = 0; i < perThread; ++i) OVNConsoleLog::write(body);
    });
  }
  for (auto& worker : workers) worker.join();
  std::istringstream lines(capture.finish());
  const std::regex whole(".*\\] (a{500}|b{500}|c{500}|d{500})");
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    ASSERT_TRUE(std::regex_match(line, whole)) << line.substr(0, 120);
  }
  EXPECT_EQ(count, threads * perThread);
}

}  // namespace
