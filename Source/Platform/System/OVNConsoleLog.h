#pragma once
// The library's console: each entry is one line on standard error,
//   "2024-05-01 09:30:00.123 MyApp[4242:4243] text"
// (local time from OVNClock, the process name, process and thread ids). A line is handed
// to the system in one write so entries from several threads never interleave.
// Thread-safe: any thread may write; the sink may be swapped while others write.

#include <functional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNFormat.h"

class OVN_EXPORT OVNConsoleLog {
 public:
  using Sink = std::function<void(std::string_view text)>;

  //! Writes `text` as one entry (prefix and newline added; a sink receives the bare text).
  static void write(std::string_view text);

  //! Formats with OVNFormat and writes the result.
  template <class... Args>
  static void writeFormat(std::string_view format, const Args&... args) {
    write(OVNFormat(format, args...));
  }

  //! Debug entries, like the system log's debug level, are dropped unless enabled (off by
  //! default), so hot paths that describe every step cost one flag test when nobody reads them.
  static bool isDebugEnabled();
  static void setDebugEnabled(bool enabled);
  //! Formats and writes only when debug entries are enabled.
  template <class... Args>
  static void writeDebugFormat(std::string_view format, const Args&... args) {
    if (isDebugEnabled()) write(OVNFormat(format, args...));
  }

  //! Redirects entries to `sink` (text without prefix or newline), for tests; an empty
  //! function restores standard error. The sink is called without any lock held, so it
  //! may itself log or swap the sink.
  static void setSink(Sink sink);

  //! The prefix written before an entry's text: time stamp, process name, "[pid:tid] ".
  static std::string linePrefix();
};
