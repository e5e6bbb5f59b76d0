#pragma once
// OVNLogger: the library's leveled logger. Lines go to the console (OVNConsoleLog) as
//   "[Ovrin] WARN message"
// and, once enableLogToFile() was called, are also appended to the log file
// <documentation directory>/OVNLog.txt. See docs/LOGGING.md.
//
// One shared logger serves the process; it is made on first use as an instance of the
// class it was first asked through (logger<MyLogger>()), so a subclass overriding
// logMessage sees every message. The write-to-file switch and the open log file are
// process-wide too.
//
// Names, as the C++ overloads are spelt:
//   class  logLevel:format:                       -> static log(level, format, args...)
//   class  logLevel:file:function:line:format:    -> static logWithFile(level, file, function, line, format, args...)
//   inst.  logLevel:file:function:line:message:   -> logMessage(level, file, function, line, message)
//   inst.  logLevel property                      -> logLevel() / setLogLevel(v), key "logLevel"
//
// Thread-safe: any thread may log or change the level; file appends are serialised, one
// write per line. Nothing here reports an error: a log file that cannot be created,
// opened or written is skipped silently. Missing values: logFilePath() is nullopt when no
// documentation directory can be named; a null file or function means none.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNFormat.h"

//! Levels, least severe first. As the logger's level, Off silences it; a message of level
//! Off is never written.
inline constexpr std::uint64_t OVNLogLevelOff = 0;
inline constexpr std::uint64_t OVNLogLevelDebug = 1;
inline constexpr std::uint64_t OVNLogLevelInfo = 2;
inline constexpr std::uint64_t OVNLogLevelWarn = 3;
inline constexpr std::uint64_t OVNLogLevelError = 4;

class OVN_EXPORT OVNLogger : public OVNObject {
  OVN_CLASS(OVNLogger, OVNObject)

 public:
  OVNLogger() = default;

  // ---- The shared logger --------------------------------------------------------------

  //! The shared logger. The first call (from any thread) makes it as a new `Receiver`;
  //! every later call returns that same object, whatever class it names.
  template <class Receiver = OVNLogger>
  static std::shared_ptr<OVNLogger> logger() {
    return logger(Receiver::classObject());
  }
  //! As above with a run-time class; a class that is not a concrete OVNLogger (sub)class
  //! is a programming error (NSInvalidArgumentException).
  static std::shared_ptr<OVNLogger> logger(const OVNClass& receiver);

  //! Sets the shared logger's level.
  static void setLoggingLevel(std::uint64_t level);

  //! Turns on appending to the log file. Creates the file (and its directory) with a
  //! session banner when none exists yet; a file that already exists is left alone and
  //! gets no lines: only a file this process created is appended to. Never turned off.
  static void enableLogToFile();
  //! Deletes the log file and creates it again empty. An open file handle is kept as it
  //! is (it then writes to the deleted file).
  static void resetFile();
  //! Flushes the log file to storage; nothing when no file is open.
  static void synchronizeLogFile();
  //! <documentation directory>/OVNLog.txt, or nullopt without a documentation directory.
  static std::optional<std::string> logFilePath();

  //! Formats with OVNFormat and hands the text to the shared logger's logMessage.
  template <class... Args>
  static void log(std::uint64_t level, std::string_view format, const Args&... args) {
    logger()->logMessage(level, nullptr, nullptr, 0, OVNFormat(format, args...));
  }
  template <class... Args>
  static void logWithFile(std::uint64_t level, const char* file, const char* function, std::int32_t line,
                          std::string_view format, const Args&... args) {
    logger()->logMessage(level, file, function, line, OVNFormat(format, args...));
  }

  //! Writes "[Ovrin] - STACK Framework: ..., Method: Class.method (address), Caller: ..."
  //! naming the caller and its caller, then the whole call stack as one entry. Regardless
  //! of level; console only. A stack too short to name both is a programming error
  //! (NSRangeException).
  static void traceStack();

  //! Runs `block` and writes "<key or Block>: execution time - N ms" (wall clock from
  //! OVNClock, truncated to whole milliseconds). Regardless of level; console only.
  static void logExecutionTimeOfBlock(const std::function<void()>& block,
                                      std::optional<std::string> key = std::nullopt);

  // ---- One logger ----------------------------------------------------------------------

  //! The least severe level still written; Off (0) writes nothing. Default Warn.
  std::uint64_t logLevel() const { return logLevel_.load(std::memory_order_relaxed); }
  void setLogLevel(std::uint64_t level) { logLevel_.store(level, std::memory_order_relaxed); }

  //! Decides and writes one message: dropped when the level is Off or above `level`;
  //! otherwise "[Ovrin] <label> <message>" goes to the console and, when file logging is
  //! on, to the log file. `file`, `function` and `line` are accepted for subclasses and
  //! not printed; null means none.
  virtual void logMessage(std::uint64_t level, const char* file, const char* function, std::int32_t line,
                          std::string_view message);

  //! "DEBUG", "INFO", "WARN", "ERROR" for levels 1 to 4; empty otherwise.
  static std::string_view labelForLevel(std::uint64_t level);

 private:
  static std::string sessionBanner();

  std::atomic<std::uint64_t> logLevel_{OVNLogLevelWarn};
};
