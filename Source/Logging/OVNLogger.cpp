#include "Logging/OVNLogger.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <vector>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/System/OVNCallStack.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/System/OVNDevice.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNClock.h"
#include "Platform/Values/OVNDate.h"

OVN_PROPERTIES(OVNLogger, (logLevel, setLogLevel))

namespace {

// The characters at which a stack frame line splits into its pieces.
constexpr std::string_view frameSeparators = " -[]+?.,";
constexpr std::string_view logFileName = "OVNLog.txt";

// Process-wide logger state. Never destroyed, so logging from static destructors at exit
// stays safe.
struct SharedState {
  std::once_flag once;
  std::shared_ptr<OVNLogger> logger;
  std::atomic<bool> writeToFile{false};
  std::mutex fileLock;  // guards fd and the file's creation and reset
  int fd = -1;
};

SharedState& shared() {
  static SharedState* state = new SharedState;
  return *state;
}

void writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::vector<std::string> pieces(std::string_view line) {
  std::vector<std::string> result;
  std::size_t start = 0;
  while (start < line.size()) {
    const std::size_t end = line.find_first_of(frameSeparators, start);
    const std::size_t stop = end == std::string_view::npos ? line.size() : end;
    if (stop > start) result.emplace_back(line.substr(start, stop - start));
    start = stop + 1;
  }
  return result;
}

const std::string& piece(const std::vector<std::string>& list, std::size_t index) {
  if (index >= list.size()) {
    OVNException::raise(OVNRangeException, "stack frame has no piece " + std::to_string(index) + " (only " +
                                               std::to_string(list.size()) + ")");
  }
  return list[index];
}

}  // namespace

// ---- The shared logger ------------------------------------------------------------------

std::shared_ptr<OVNLogger> OVNLogger::logger(const OVNClass& receiver) {
  if (!receiver.isSubclassOfClass(OVNLogger::classObject())) {
    OVNException::raise(OVNInvalidArgumentException, "logger class " + receiver.name() + " is not an OVNLogger");
  }
  SharedState& state = shared();
  // An exception leaves the flag unset, so a later call can still make the logger.
  std::call_once(state.once, [&] {
    auto instance = std::dynamic_pointer_cast<OVNLogger>(receiver.createInstance());
    if (!instance) {
      OVNException::raise(OVNInvalidArgumentException, "logger class " + receiver.name() + " cannot be instantiated");
    }
    state.logger = std::move(instance);
  });
  return state.logger;
}

void OVNLogger::setLoggingLevel(std::uint64_t level) { logger()->setLogLevel(level); }

std::optional<std::string> OVNLogger::logFilePath() {
  auto directory = OVNFileManager::documentationDirectory();
  if (!directory) return std::nullopt;
  return *directory + "/" + std::string(logFileName);
}

std::string OVNLogger::sessionBanner() {
  const std::string rule(30, '=');
  OVNDevice& device = OVNDevice::currentDevice();
  auto bundle = OVNBundle::mainBundle();
  std::string banner = "\n\n" + rule + "\n";
  banner += OVNFormat("= New session - Start date: %@\n", OVNDate::now().description());
  // The banner's wording is kept as is so existing readers of these files still parse it.
  banner += OVNFormat("= Device: MODEL %@ - iOS %@\n", device.model(), device.systemVersion());
  banner += OVNFormat("= Application: DISPLAY NAME %@ - ID %@ - VERSION %@\n",
                      bundle->objectForInfoDictionaryKey("CFBundleDisplayName"),
                      bundle->objectForInfoDictionaryKey("CFBundleIdentifier"),
                      bundle->objectForInfoDictionaryKey("CFBundleVersion"));
  // The closing rule appears twice on purpose.
  banner += rule + "\n\n";
  banner += rule + "\n\n";
  return banner;
}

void OVNLogger::enableLogToFile() {
  SharedState& state = shared();
  state.writeToFile.store(true, std::memory_order_release);
  auto path = logFilePath();
  if (!path) return;
  // The platform's documents folder always exists; an XDG one may not yet.
  OVNFileManager::createDirectoryAtPath(std::filesystem::path(*path).parent_path().string(), true);
  const std::string banner = sessionBanner();

  std::lock_guard guard(state.fileLock);
  // Exclusive creation: a file that exists (from an earlier run) is not taken over.
  const int fd = ::open(path->c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd < 0) return;
  ::lseek(fd, 0, SEEK_END);
  if (state.fd >= 0) ::close(state.fd);
  state.fd = fd;
  writeAll(fd, banner);
}

void OVNLogger::resetFile() {
  auto path = logFilePath();
  if (!path) return;
  std::lock_guard guard(shared().fileLock);
  ::unlink(path->c_str());  // the file only, never a directory someone put there
  OVNFileManager::createFileAtPath(*path, "");
}

void OVNLogger::synchronizeLogFile() {
  SharedState& state = shared();
  std::lock_guard guard(state.fileLock);
  if (state.fd >= 0) ::fsync(state.fd);
}

void OVNLogger::traceStack() {
  // Frame 0 is this function, 1 its caller, 2 the caller's caller.
  const std::vector<std::string> lines = OVNCallStack::callStackSymbols();
  auto frame = [&](std::size_t index) {
    if (index >= lines.size()) {
      OVNException::raise(OVNRangeException, "call stack has no frame " + std::to_string(index));
    }
    return pieces(lines[index]);
  };
  const auto caller = frame(1);
  const auto callersCaller = frame(2);
  OVNConsoleLog::write(OVNFormat("[Ovrin] - STACK Framework: %@, Method: %@.%@ (%@), Caller: %@.%@ (%@)",
                                 piece(caller, 1), piece(caller, 3), piece(caller, 4), piece(caller, 2),
                                 piece(callersCaller, 3), piece(callersCaller, 4), piece(callersCaller, 2)));

  std::vector<OVNValue> members(lines.begin(), lines.end());
  OVNConsoleLog::write(OVNFormat("%@", OVNValue(OVNArray::make(std::move(members), false))));
}

void OVNLogger::logExecutionTimeOfBlock(const std::function<void()>& block, std::optional<std::string> key) {
  const double start = OVNClock::absoluteTime();
  if (block) block();
  const double end = OVNClock::absoluteTime();
  const int milliseconds = static_cast<int>((end - start) * 1000.0);
  OVNConsoleLog::write(OVNFormat("%@: execution time - %d ms", key ? *key : std::string("Block"), milliseconds));
}

// ---- One logger -------------------------------------------------------------------------

std::string_view OVNLogger::labelForLevel(std::uint64_t level) {
  switch (level) {
    case OVNLogLevelDebug: return "DEBUG";
    case OVNLogLevelInfo: return "INFO";
    case OVNLogLevelWarn: return "WARN";
    case OVNLogLevelError: return "ERROR";
    default: return "";
  }
}

void OVNLogger::logMessage(std::uint64_t level, const char* file, const char* function, std::int32_t line,
                           std::string_view message) {
  const std::uint64_t threshold = logLevel();
  if (threshold == OVNLogLevelOff || threshold > level) return;
  std::string text = OVNFormat("[Ovrin] %@ %@", labelForLevel(level), message);
  OVNConsoleLog::write(text);

  SharedState& state = shared();
  if (!state.writeToFile.load(std::memory_order_acquire)) return;
  text.push_back('\n');
  std::lock_guard guard(state.fileLock);
  if (state.fd >= 0) writeAll(state.fd, text);
}
