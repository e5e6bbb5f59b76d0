#include "Platform/Time/detail/OVNTimeZoneAbbreviations.h"

#include <unicode/locid.h>
#include <unicode/tznames.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <utility>

#include "Platform/Text/detail/OVNICUString.h"

namespace ovn::detail {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 26> abbreviationZones{{
    {"GMT", "GMT"},
    {"UTC", "UTC"},
    {"EST", "America/New_York"},
    {"EDT", "America/New_York"},
    {"CST", "America/Chicago"},
    {"CDT", "America/Chicago"},
    {"MST", "America/Denver"},
    {"MDT", "America/Denver"},
    {"PST", "America/Los_Angeles"},
    {"PDT", "America/Los_Angeles"},
    {"AKST", "America/Anchorage"},
    {"AKDT", "America/Anchorage"},
    {"HST", "Pacific/Honolulu"},
    {"AST", "America/Halifax"},
    {"ADT", "America/Halifax"},
    {"NST", "America/St_Johns"},
    {"NDT", "America/St_Johns"},
    {"WET", "Europe/Lisbon"},
    {"WEST", "Europe/Lisbon"},
    {"BST", "Europe/London"},
    {"IST", "Europe/Dublin"},
    {"CET", "Europe/Paris"},
    {"CEST", "Europe/Paris"},
    {"EET", "Europe/Athens"},
    {"EEST", "Europe/Athens"},
    {"MSK", "Europe/Moscow"},
}};

constexpr std::array<const char*, 2> englishNameLocales{"en_US", "en_GB"};
constexpr std::int32_t millisecondsPerMinute = 60 * 1000;
constexpr std::int32_t minutesPerHour = 60;

class EnglishShortNames {
 public:
  static EnglishShortNames& shared() {
    static EnglishShortNames names;
    return names;
  }

  std::optional<std::string> find(const icu::TimeZone& zone, UDate date, bool daylight) {
    icu::UnicodeString id;
    zone.getID(id);
    const UTimeZoneNameType type = daylight ? UTZNM_SHORT_DAYLIGHT : UTZNM_SHORT_STANDARD;
    std::lock_guard guard(lock_);
    for (const auto& names : names_) {
      if (!names) continue;
      icu::UnicodeString name;
      names->getDisplayName(id, type, date, name);
      if (!name.isEmpty()) return OVNICUString::toUTF8(name);
    }
    return std::nullopt;
  }

 private:
  EnglishShortNames() {
    for (std::size_t i = 0; i < englishNameLocales.size(); ++i) {
      UErrorCode status = U_ZERO_ERROR;
      names_[i].reset(icu::TimeZoneNames::createInstance(icu::Locale(englishNameLocales[i]), status));
      if (U_FAILURE(status)) names_[i].reset();
    }
  }

  std::mutex lock_;  // ICU's name tables load lazily
  std::array<std::unique_ptr<icu::TimeZoneNames>, englishNameLocales.size()> names_;
};

}  // namespace

std::string OVNTimeZoneAbbreviations::abbreviation(const icu::TimeZone& zone, UDate date) {
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t raw = 0;
  std::int32_t daylight = 0;
  zone.getOffset(date, false, raw, daylight, status);
  if (U_FAILURE(status)) return offsetName(0);
  if (auto name = EnglishShortNames::shared().find(zone, date, daylight != 0)) return *name;
  return offsetName(raw + daylight);
}

std::optional<std::string_view> OVNTimeZoneAbbreviations::zoneNameForAbbreviation(std::string_view abbreviation) {
  for (const auto& [known, zoneName] : abbreviationZones) {
    if (known == abbreviation) return zoneName;
  }
  return std::nullopt;
}

std::string OVNTimeZoneAbbreviations::offsetName(std::int32_t offsetMilliseconds) {
  const std::int32_t minutes = std::abs(offsetMilliseconds) / millisecondsPerMinute;
  if (minutes == 0) return "GMT";
  std::string name = offsetMilliseconds < 0 ? "GMT-" : "GMT+";
  name += std::to_string(minutes / minutesPerHour);
  if (const std::int32_t rest = minutes % minutesPerHour; rest != 0) {
    name += rest < 10 ? ":0" : ":";
    name += std::to_string(rest);
  }
  return name;
}

}  // namespace ovn::detail
