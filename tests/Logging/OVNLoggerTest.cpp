#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include "Logging/OVNLogger.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/System/OVNDevice.h"
#include "Platform/System/OVNFileManager.h"
#include "Support/ConsoleCapture.h"
#include "Support/TemporaryDirectory.h"

// The shared logger, the write-to-file switch and the open log file live for the whole
// process, and gtest may run these tests in one process in any subset. So every test uses
// a fresh documentation directory (a new log file is then always created and becomes the
// open one), restores the shared level, and the one test that needs a process where the
// shared logger does not exist yet runs its body in a re-executed child process.

namespace {

std::string fileContents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

class OVNLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    directory = root + "/Documentation";  // not there yet: enabling creates it
    OVNLogger::setLoggingLevel(OVNLogLevelWarn);
    OVNFileManager::setDocumentationDirectory(directory);
  }
  void TearDown() override {
    OVNLogger::setLoggingLevel(OVNLogLevelWarn);
    OVNFileManager::setDocumentationDirectory(std::nullopt);
    OVNDevice::currentDevice().setModel(std::nullopt);
    OVNDevice::currentDevice().setSystemVersion(std::nullopt);
    OVNBundle::mainBundle()->setInfoDictionary(nullptr);
  }
  std::string logPath() const { return directory + "/OVNLog.txt"; }

  TemporaryDirectory temporary{"ovnlogger"};
  const std::string root = temporary.path();
  std::string directory;
  ConsoleCapture console;
};

TEST_F(OVNLoggerTest, NewLoggerWritesWarningsAndAbove) {
  auto logger = OVNMake<OVNLogger>();
  EXPECT_EQ(logger->logLevel(), OVNLogLevelWarn);
  logger->logMessage(OVNLogLevelInfo, nullptr, nullptr, 0, "dropped");
  logger->logMessage(OVNLogLevelWarn, "file.cpp", "function", 12, "kept");
  logger->logMessage(OVNLogLevelError, nullptr, nullptr, 0, "bad");
  EXPECT_EQ(console.lines(), (std::vector<std::string>{"[Ovrin] WARN kept", "[Ovrin] ERROR bad"}));
  logger->setValue(OVNValue(1), "logLevel");  // a key-value property
  EXPECT_EQ(logger->logLevel(), 1u);
}

TEST_F(OVNLoggerTest, SharedLevelGatesEveryMessage) {
  OVNLogger::setLoggingLevel(OVNLogLevelOff);
  for (std::uint64_t level = 0; level <= 7; ++level) OVNLogger::log(level, "silent %d", static_cast<int>(level));
  EXPECT_TRUE(console.lines().empty());

  OVNLogger::setLoggingLevel(OVNLogLevelDebug);
  OVNLogger::log(OVNLogLevelOff, "never");
  OVNLogger::log(OVNLogLevelDebug, "d");
  OVNLogger::log(OVNLogLevelInfo, "i");
  OVNLogger::log(OVNLogLevelWarn, "w");
  OVNLogger::logWithFile(OVNLogLevelError, __FILE__, __func__, __LINE__, "%@ = %d", "x", 5);
  OVNLogger::log(7, "unlabelled");
  EXPECT_EQ(console.lines(), (std::vector<std::string>{"[Ovrin] DEBUG d", "[Ovrin] INFO i", "[Ovrin] WARN w",
                                                       "[Ovrin] ERROR x = 5", "[Ovrin]  unlabelled"}));
  EXPECT_THROW(OVNLogger::logger(OVNObject::classObject()), OVNException);  // not a logger class
}

TEST_F(OVNLoggerTest, EnablingTwiceWritesOneBannerAndThenAppendsLines) {
  OVNTestClock clock(0);  // the reference date, so the banner's date is known
  OVNDevice::currentDevice().setModel("TestModel");
  OVNDevice::currentDevice().setSystemVersion("6.1.0");
  auto bundle = OVNBundle::mainBundle();
  bundle->setInfoValue("CFBundleDisplayName", "Demo");
  bundle->setInfoValue("CFBundleIdentifier", "com.example.demo");
  bundle->setInfoValue("CFBundleVersion", OVNValue());

  EXPECT_EQ(OVNLogger::logFilePath(), logPath());
  OVNLogger::enableLogToFile();
  OVNLogger::enableLogToFile();
  OVNLogger::log(OVNLogLevelWarn, "first %d", 1);
  OVNLogger::log(OVNLogLevelDebug, "dropped");
  OVNLogger::log(OVNLogLevelError, "second");
  OVNLogger::synchronizeLogFile();

  const std::string rule(30, '=');
  const std::string expected = "\n\n" + rule + "\n" +
                               "= New session - Start date: 2001-01-01 00:00:00 +0000\n"
                               "= Device: MODEL TestModel - iOS 6.1.0\n"
                               "= Application: DISPLAY NAME Demo - ID com.example.demo - VERSION (null)\n" +
                               rule + "\n\n" + rule + "\n\n" +
                               "[Ovrin] WARN first 1\n"
                               "[Ovrin] ERROR second\n";
  EXPECT_EQ(fileContents(logPath()), expected);
}

TEST_F(OVNLoggerTest, FileLeftByAnEarlierRunGetsNoLines) {
  ASSERT_TRUE(OVNFileManager::createDirectoryAtPath(directory, false));
  ASSERT_TRUE(OVNFileManager::createFileAtPath(logPath(), "earlier run\n"));
  OVNLogger::enableLogToFile();
  OVNLogger::log(OVNLogLevelError, "not for this file");
  OVNLogger::synchronizeLogFile();
  EXPECT_EQ(fileContents(logPath()), "earlier run\n");
  EXPECT_EQ(console.lines(), std::vector<std::string>{"[Ovrin] ERROR not for this file"});
}

TEST_F(OVNLoggerTest, ResetFileLeavesAnEmptyFile) {
  OVNLogger::enableLogToFile();
  OVNLogger::log(OVNLogLevelError, "before reset");
  ASSERT_FALSE(fileContents(logPath()).empty());
  OVNLogger::resetFile();
  EXPECT_TRUE(OVNFileManager::fileExistsAtPath(logPath()));
  EXPECT_EQ(fileContents(logPath()), "");
  // The open handle still refers to the deleted file, so the new one stays empty.
  OVNLogger::log(OVNLogLevelError, "after reset");
  EXPECT_EQ(fileContents(logPath()), "");
}

TEST_F(OVNLoggerTest, NoDocumentationDirectoryMeansNoLogFile) {
  OVNFileManager::setDocumentationDirectory(std::nullopt);
  std::vector<std::pair<std::string, std::string>> saved;
  for (const char* name : {"HOME", "XDG_DATA_HOME"}) {
    if (const char* value = std::getenv(name)) saved.emplace_back(name, value);
    ::unsetenv(name);
  }
  const auto path = OVNLogger::logFilePath();
  OVNLogger::enableLogToFile();
  OVNLogger::resetFile();
  for (const auto& [name, value] : saved) ::setenv(name.c_str(), value.c_str(), 1);
  EXPECT_EQ(path, std::nullopt);
}

TEST_F(OVNLoggerTest, LinesFromManyThreadsStayWhole) {
  OVNLogger::enableLogToFile();
  constexpr int threads = 4;
  constexpr int perThread = 200;
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back([t] {
      for (int i = 0; i < perThread; ++i) OVNLogger::log(OVNLogLevelError, "t%d n%d %@", t, i, std::string(300, 'x'));
    });
  }
  for (auto& worker : workers) worker.join();
  std::istringstream lines(fileContents(logPath()));
  const std::regex whole("\\[Ovrin\\] ERROR t([0-9]) n([0-9]+) x{300}");
  std::vector<int> next(threads, 0);
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line[0] == '=') continue;  // banner
    std::smatch match;
    ASSERT_TRUE(std::regex_match(line, match, whole)) << line;
    EXPECT_EQ(std::stoi(match[2]), next[std::stoi(match[1])]++);  // each thread's lines keep their order
    ++count;
  }
  EXPECT_EQ(count, threads * perThread);
}

TEST_F(OVNLoggerTest, ExecutionTimeIsTruncatedToWholeMilliseconds) {
  OVNLogger::setLoggingLevel(OVNLogLevelOff);  // timing ignores the level
  OVNTestClock clock(1000.0);
  OVNLogger::logExecutionTimeOfBlock([&] { clock.advance(0.0026); });
  OVNLogger::logExecutionTimeOfBlock([&] { clock.advance(0.0419); }, "Load");
  EXPECT_EQ(console.lines(),
            (std::vector<std::string>{"Block: execution time - 2 ms", "Load: execution time - 41 ms"}));
}

struct StackProbe {
  // Not inlined and not a tail call, so it keeps a frame of its own.
  __attribute__((noinline)) static void probe() {
    OVNLogger::traceStack();
    __asm__ __volatile__("");
  }
};

TEST_F(OVNLoggerTest, TraceStackNamesTheCallerAndItsCaller) {
  OVNLogger::setLoggingLevel(OVNLogLevelOff);  // tracing ignores the level
  StackProbe::probe();
  const auto lines = console.lines();
  ASSERT_EQ(lines.size(), 2u);
  const std::regex summary(
      "\\[Ovrin\\] - STACK Framework: OvrinLoggingTests, Method: StackProbe\\.probe \\(0x[0-9a-f]{16}\\), "
      "Caller: OVNLoggerTest_TraceStackNamesTheCallerAndItsCaller_Test\\.TestBody \\(0x[0-9a-f]{16}\\)");
  EXPECT_TRUE(std::regex_match(lines[0], summary)) << lines[0];
  const std::regex frame("1   OvrinLoggingTests +0x[0-9a-f]{16} \\[StackProbe probe\\] \\+ [0-9]+");
  EXPECT_TRUE(std::regex_search(lines[1], frame)) << lines[1];
  EXPECT_NE(lines[1].find("[OVNLoggerTest_TraceStackNamesTheCallerAndItsCaller_Test TestBody] + "), std::string::npos)
      << lines[1];
}

// Records every message it is handed, whatever the level.
class RecordingLogger : public OVNLogger {
  OVN_CLASS(RecordingLogger, OVNLogger)
 public:
  void logMessage(std::uint64_t level, const char* file, const char* function, std::int32_t line,
                  std::string_view message) override {
    messages.push_back(std::to_string(level) + " " + std::string(message));
  }
  std::vector<std::string> messages;
};
OVN_PROPERTIES(RecordingLogger)

// Needs a process where the shared logger was never made: the "threadsafe" style runs the
// statement in a freshly started copy of this program that runs this test alone.
TEST(OVNLoggerDeathTest, SharedLoggerIsMadeOnceAsTheFirstRequestedClass) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        auto first = OVNLogger::logger<RecordingLogger>();
        auto again = OVNLogger::logger();
        auto recorder = std::dynamic_pointer_cast<RecordingLogger>(first);
        OVNLogger::log(OVNLogLevelDebug, "routed %d", 1);
        const bool ok = recorder && again == first && OVNLogger::logger<RecordingLogger>() == first &&
                        recorder->messages == std::vector<std::string>{"1 routed 1"};
        std::_Exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
