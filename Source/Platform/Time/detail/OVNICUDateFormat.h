#pragma once
// The ICU formatter behind an OVNDateFormatter, with the locale and zone it was made for so
// that the formatter can tell when it is out of date. Not thread-safe: ICU's formatters
// change their calendar while they work, so the owner calls it under its lock.
// Only platform sources that use ICU include this header.

#include <unicode/datefmt.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Time/OVNTimeZone.h"
#include "Platform/Values/OVNDate.h"

namespace ovn::detail {

class OVNICUDateFormat {
 public:
  struct Settings {
    std::string pattern;  // wins over the styles when not empty
    std::uint64_t dateStyle = 0;
    std::uint64_t timeStyle = 0;
    std::string localeIdentifier;
    std::shared_ptr<OVNTimeZone> timeZone;
    bool lenient = false;
  };

  explicit OVNICUDateFormat(Settings settings);

  //! Brings this formatter to `wanted` in place when only the pattern or the zone differ,
  //! which ICU applies cheaply; false when it must be made anew (another locale, style or
  //! leniency, or a change between pattern and styles).
  bool reconfigure(const Settings& wanted);
  //! The pattern in use; "" when nothing formats.
  std::string pattern() const;
  std::string format(OVNDate date);
  //! The date the whole of `text` gives; nullopt when any of it does not match.
  std::optional<OVNDate> parse(const icu::UnicodeString& text);

  //! ICU's style for one of the formatter's style constants; kNone beyond the last.
  static icu::DateFormat::EStyle icuStyle(std::uint64_t style);

 private:
  static std::unique_ptr<icu::DateFormat> make(const Settings& settings);

  Settings settings_;
  std::unique_ptr<icu::DateFormat> format_;  // null when the settings format nothing
};

}  // namespace ovn::detail
