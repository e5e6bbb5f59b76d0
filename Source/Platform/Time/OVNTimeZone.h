#pragma once
// A time zone (NSTimeZone): a name and the rules that give its offset from GMT, its
// abbreviation and its daylight saving time at any instant. Rules come from ICU's zone
// data; names are IANA names ("Europe/Berlin"), the fixed-offset names ICU understands
// ("GMT+0100", "GMT-05:30") and the few it keeps for compatibility ("EST", "CET").
//
// Immutable: any thread may share a zone and call every function at once. The system and
// default zones are read and replaced under a lock, from any thread.
//
// The system zone comes from the Linux environment, read once and kept until
// resetSystemTimeZone: TZ (":Area/City", "Area/City" or a path into a zoneinfo folder; an
// empty TZ is UTC; a POSIX rule string such as "EST5EDT,M3.2.0,M11.1.0" that names no zone
// is passed over), else the zone /etc/localtime links to (the path after ".../zoneinfo/"),
// else the name in /etc/timezone, else GMT.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDate.h"

namespace ovn::detail {
class OVNICUTimeZone;
}

class OVN_EXPORT OVNTimeZone : public OVNObject {
  OVN_CLASS_NAMED(OVNTimeZone, OVNObject, "NSTimeZone")
  class Key {  // only the factories make zones: every zone has its rules
    explicit Key() = default;
    friend class OVNTimeZone;
  };

 public:
  //! Fixed offsets further than this from GMT are refused.
  static constexpr std::int64_t maximumSecondsFromGMT = 18 * 3600;

  OVNTimeZone(Key, std::string name, std::shared_ptr<const ovn::detail::OVNICUTimeZone> zone);
  ~OVNTimeZone() override;

  //! Null for names ICU does not know (and for empty or malformed names).
  static std::shared_ptr<OVNTimeZone> timeZoneWithName(std::string_view name);
  //! GMT, UTC and the common North American and European abbreviations ("EST", "CEST",
  //! "BST", ...) map to a zone that uses them (EST to America/New_York); null otherwise.
  static std::shared_ptr<OVNTimeZone> timeZoneWithAbbreviation(std::string_view abbreviation);
  //! A zone with a fixed offset and no daylight saving time, named "GMT+0100" ("GMT" for
  //! zero); null when the offset is beyond maximumSecondsFromGMT either way.
  static std::shared_ptr<OVNTimeZone> timeZoneForSecondsFromGMT(std::int64_t seconds);

  //! The zone of the environment (see the top of this file); read once, then kept.
  static std::shared_ptr<OVNTimeZone> systemTimeZone();
  //! Forgets the kept system zone so that the next call reads the environment again.
  static void resetSystemTimeZone();
  //! The zone formatting uses when none is given: the one set in code, else the system's.
  static std::shared_ptr<OVNTimeZone> defaultTimeZone();
  //! Null restores following the system zone.
  static void setDefaultTimeZone(std::shared_ptr<OVNTimeZone> timeZone);

  const std::string& name() const { return name_; }
  std::int64_t secondsFromGMTForDate(OVNDate date) const;
  //! At the current instant (OVNDate::now()).
  std::int64_t secondsFromGMT() const;
  //! "CET", "EDT", "GMT"; "GMT+5:30" style where English has no abbreviation for the zone.
  std::string abbreviationForDate(OVNDate date) const;
  bool isDaylightSavingTimeForDate(OVNDate date) const;
  //! Seconds added by daylight saving time at `date`; 0 outside it.
  double daylightSavingTimeOffsetForDate(OVNDate date) const;
  //! The first instant after `date` at which daylight saving time starts or ends; nullopt
  //! when the zone's rules have no such change ahead.
  std::optional<OVNDate> nextDaylightSavingTimeTransitionAfterDate(OVNDate date) const;

  //! "Europe/Berlin (CET) offset 3600", with " (Daylight)" while daylight saving time
  //! applies, at the current instant.
  std::string description() const override;
  //! Equal when the names are.
  bool isEqual(const OVNObject& other) const override;
  std::size_t hash() const override;

 private:
  friend class ovn::detail::OVNICUTimeZone;

  std::string name_;
  std::shared_ptr<const ovn::detail::OVNICUTimeZone> zone_;
};
