#include "Platform/Time/OVNTimeZone.h"

#include <unicode/basictz.h>
#include <unicode/simpletz.h>
#include <unicode/tzrule.h>
#include <unicode/tztrans.h>

#include <cstdlib>
#include <functional>
#include <mutex>

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Text/detail/OVNICUString.h"
#include "Platform/Time/detail/OVNICUDate.h"
#include "Platform/Time/detail/OVNICUTimeZone.h"
#include "Platform/Time/detail/OVNSystemTimeZoneSource.h"
#include "Platform/Time/detail/OVNTimeZoneAbbreviations.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNTimeZone, name)

using ovn::detail::OVNICUDate;
using ovn::detail::OVNICUString;
using ovn::detail::OVNICUTimeZone;
using ovn::detail::OVNTimeZoneAbbreviations;

namespace {
constexpr std::int32_t millisecondsPerSecond = 1000;
constexpr std::int64_t secondsPerMinute = 60;
constexpr std::int64_t secondsPerHour = 3600;
// Zones change their rules a few times a century; this many transitions without a change
// of daylight saving time means there is none ahead worth reporting.
constexpr int transitionsToSearch = 256;
constexpr std::string_view fallbackZoneName = "GMT";

std::mutex zonesLock;  // guards the two below
std::shared_ptr<OVNTimeZone> keptSystemZone;
std::shared_ptr<OVNTimeZone> defaultZoneOverride;

struct Offsets {
  std::int32_t raw = 0;
  std::int32_t daylight = 0;
};

Offsets offsetsAt(const icu::TimeZone& zone, OVNDate date) {
  Offsets offsets;
  UErrorCode status = U_ZERO_ERROR;
  zone.getOffset(OVNICUDate::fromDate(date), false, offsets.raw, offsets.daylight, status);
  return U_SUCCESS(status) ? offsets : Offsets{};
}

std::string fixedOffsetName(std::int64_t seconds) {
  if (seconds == 0) return std::string(fallbackZoneName);
  const std::int64_t magnitude = std::abs(seconds);
  return OVNFormat("GMT%c%02ld%02ld", seconds < 0 ? '-' : '+', static_cast<long>(magnitude / secondsPerHour),
                   static_cast<long>(magnitude % secondsPerHour / secondsPerMinute));
}

std::shared_ptr<OVNTimeZone> readSystemTimeZone() {
  for (const auto& name : ovn::detail::OVNSystemTimeZoneSource::candidateNames()) {
    if (auto zone = OVNTimeZone::timeZoneWithName(name)) return zone;
  }
  return OVNTimeZone::timeZoneWithName(fallbackZoneName);
}
}  // namespace

OVNTimeZone::OVNTimeZone(Key, std::string name, std::shared_ptr<const OVNICUTimeZone> zone)
    : name_(std::move(name)), zone_(std::move(zone)) {}
OVNTimeZone::~OVNTimeZone() = default;

std::shared_ptr<OVNTimeZone> OVNTimeZone::timeZoneWithName(std::string_view name) {
  if (name.empty()) return nullptr;
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(OVNICUString::fromUTF8(name)));
  icu::UnicodeString id;
  // ICU answers an unknown name with its "Etc/Unknown" zone, which behaves as GMT.
  if (!zone || zone->getID(id) == icu::UnicodeString(UCAL_UNKNOWN_ZONE_ID)) return nullptr;
  return OVNMake<OVNTimeZone>(Key(), std::string(name), std::make_shared<const OVNICUTimeZone>(std::move(zone)));
}

std::shared_ptr<OVNTimeZone> OVNTimeZone::timeZoneWithAbbreviation(std::string_view abbreviation) {
  const auto name = OVNTimeZoneAbbreviations::zoneNameForAbbreviation(abbreviation);
  return name ? timeZoneWithName(*name) : nullptr;
}

std::shared_ptr<OVNTimeZone> OVNTimeZone::timeZoneForSecondsFromGMT(std::int64_t seconds) {
  if (seconds > maximumSecondsFromGMT || seconds < -maximumSecondsFromGMT) return nullptr;
  std::string name = fixedOffsetName(seconds);
  auto zone = std::make_unique<icu::SimpleTimeZone>(static_cast<std::int32_t>(seconds) * millisecondsPerSecond,
                                                    OVNICUString::fromUTF8(name));
  return OVNMake<OVNTimeZone>(Key(), std::move(name), std::make_shared<const OVNICUTimeZone>(std::move(zone)));
}

std::shared_ptr<OVNTimeZone> OVNTimeZone::systemTimeZone() {
  {
    std::lock_guard guard(zonesLock);
    if (keptSystemZone) return keptSystemZone;
  }
  auto zone = readSystemTimeZone();  // outside the lock: it reads files
  std::lock_guard guard(zonesLock);
  if (!keptSystemZone) keptSystemZone = std::move(zone);
  return keptSystemZone;
}

void OVNTimeZone::resetSystemTimeZone() {
  std::lock_guard guard(zonesLock);
  keptSystemZone.reset();
}

std::shared_ptr<OVNTimeZone> OVNTimeZone::defaultTimeZone() {
  {
    std::lock_guard guard(zonesLock);
    if (defaultZoneOverride) return defaultZoneOverride;
  }
  return systemTimeZone();
}

void OVNTimeZone::setDefaultTimeZone(std::shared_ptr<OVNTimeZone> timeZone) {
  std::lock_guard guard(zonesLock);
  defaultZoneOverride = std::move(timeZone);
}

std::int64_t OVNTimeZone::secondsFromGMTForDate(OVNDate date) const {
  const Offsets offsets = offsetsAt(zone_->zone(), date);
  return (offsets.raw + offsets.daylight) / millisecondsPerSecond;
}

std::int64_t OVNTimeZone::secondsFromGMT() const { return secondsFromGMTForDate(OVNDate::now()); }

std::string OVNTimeZone::abbreviationForDate(OVNDate date) const {
  return OVNTimeZoneAbbreviations::abbreviation(zone_->zone(), OVNICUDate::fromDate(date));
}

bool OVNTimeZone::isDaylightSavingTimeForDate(OVNDate date) const {
  return offsetsAt(zone_->zone(), date).daylight != 0;
}

double OVNTimeZone::daylightSavingTimeOffsetForDate(OVNDate date) const {
  return static_cast<double>(offsetsAt(zone_->zone(), date).daylight) / millisecondsPerSecond;
}

std::optional<OVNDate> OVNTimeZone::nextDaylightSavingTimeTransitionAfterDate(OVNDate date) const {
  const auto* basic = dynamic_cast<const icu::BasicTimeZone*>(&zone_->zone());
  if (!basic) return std::nullopt;
  UDate after = OVNICUDate::fromDate(date);
  icu::TimeZoneTransition transition;
  for (int i = 0; i < transitionsToSearch && basic->getNextTransition(after, false, transition); ++i) {
    const icu::TimeZoneRule* from = transition.getFrom();
    const icu::TimeZoneRule* to = transition.getTo();
    if (from && to && from->getDSTSavings() != to->getDSTSavings()) return OVNICUDate::toDate(transition.getTime());
    after = transition.getTime();
  }
  return std::nullopt;
}

std::string OVNTimeZone::description() const {
  const OVNDate now = OVNDate::now();
  std::string text =
      OVNFormat("%@ (%@) offset %ld", name_, abbreviationForDate(now), static_cast<long>(secondsFromGMTForDate(now)));
  if (isDaylightSavingTimeForDate(now)) text += " (Daylight)";
  return text;
}

bool OVNTimeZone::isEqual(const OVNObject& other) const {
  const auto* zone = dynamic_cast<const OVNTimeZone*>(&other);
  return zone && zone->name_ == name_;
}

std::size_t OVNTimeZone::hash() const { return std::hash<std::string>{}(name_); }
