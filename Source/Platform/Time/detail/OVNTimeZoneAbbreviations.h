#pragma once
// Abbreviations of time zones: the English short names ICU keeps ("EST", "CEST", "BST"),
// and the zone each common abbreviation stands for. ICU's English data splits the short
// names between en_US (American zones) and en_GB (European zones), so both are asked.
// Thread-safe: the name tables ICU loads are shared under a lock.

#include <unicode/timezone.h>

#include <optional>
#include <string>
#include <string_view>

namespace ovn::detail {

class OVNTimeZoneAbbreviations {
 public:
  //! The abbreviation `zone` uses at `date`; "GMT+1" style when English has none.
  static std::string abbreviation(const icu::TimeZone& zone, UDate date);
  //! The zone name an abbreviation stands for ("EST" -> "America/New_York").
  static std::optional<std::string_view> zoneNameForAbbreviation(std::string_view abbreviation);
  //! "GMT", "GMT+1", "GMT-5", "GMT+5:30".
  static std::string offsetName(std::int32_t offsetMilliseconds);
};

}  // namespace ovn::detail
