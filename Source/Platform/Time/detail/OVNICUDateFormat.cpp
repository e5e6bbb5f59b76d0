#include "Platform/Time/detail/OVNICUDateFormat.h"

#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>

#include <array>

#include "Platform/Text/detail/OVNICUString.h"
#include "Platform/Time/detail/OVNICUDate.h"
#include "Platform/Time/detail/OVNICUTimeZone.h"

namespace ovn::detail {

namespace {
// Indexed by the formatter's style constants: none, short, medium, long, full.
constexpr std::array<icu::DateFormat::EStyle, 5> icuStyles{icu::DateFormat::kNone, icu::DateFormat::kShort,
                                                           icu::DateFormat::kMedium, icu::DateFormat::kLong,
                                                           icu::DateFormat::kFull};
}  // namespace

OVNICUDateFormat::OVNICUDateFormat(Settings settings) : settings_(std::move(settings)), format_(make(settings_)) {}

icu::DateFormat::EStyle OVNICUDateFormat::icuStyle(std::uint64_t style) {
  return style < icuStyles.size() ? icuStyles[style] : icu::DateFormat::kNone;
}

std::unique_ptr<icu::DateFormat> OVNICUDateFormat::make(const Settings& settings) {
  const icu::Locale locale(settings.localeIdentifier.c_str());
  std::unique_ptr<icu::DateFormat> format;
  UErrorCode status = U_ZERO_ERROR;
  if (!settings.pattern.empty()) {
    format = std::make_unique<icu::SimpleDateFormat>(OVNICUString::fromUTF8(settings.pattern), locale, status);
  } else if (settings.dateStyle != 0 || settings.timeStyle != 0) {
    format.reset(
        icu::DateFormat::createDateTimeInstance(icuStyle(settings.dateStyle), icuStyle(settings.timeStyle), locale));
  }
  if (U_FAILURE(status) || !format) return nullptr;
  if (settings.timeZone) format->adoptTimeZone(OVNICUTimeZone::of(*settings.timeZone).clone().release());
  format->setLenient(settings.lenient);
  return format;
}

bool OVNICUDateFormat::reconfigure(const Settings& wanted) {
  if (wanted.localeIdentifier != settings_.localeIdentifier || wanted.dateStyle != settings_.dateStyle ||
      wanted.timeStyle != settings_.timeStyle || wanted.lenient != settings_.lenient ||
      wanted.pattern.empty() != settings_.pattern.empty()) {
    return false;
  }
  if (wanted.pattern != settings_.pattern) {
    auto* simple = dynamic_cast<icu::SimpleDateFormat*>(format_.get());
    if (!simple) return false;
    simple->applyPattern(OVNICUString::fromUTF8(wanted.pattern));
    settings_.pattern = wanted.pattern;
  }
  if (wanted.timeZone != settings_.timeZone) {
    if (!wanted.timeZone || !settings_.timeZone || !wanted.timeZone->isEqual(*settings_.timeZone)) {
      if (!format_ || !wanted.timeZone) return false;
      format_->adoptTimeZone(OVNICUTimeZone::of(*wanted.timeZone).clone().release());
    }
    settings_.timeZone = wanted.timeZone;
  }
  return true;
}

std::string OVNICUDateFormat::pattern() const {
  const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(format_.get());
  if (!simple) return {};
  icu::UnicodeString pattern;
  simple->toPattern(pattern);
  return OVNICUString::toUTF8(pattern);
}

std::string OVNICUDateFormat::format(OVNDate date) {
  if (!format_) return {};
  icu::UnicodeString text;
  UErrorCode status = U_ZERO_ERROR;
  format_->format(OVNICUDate::fromDate(date), text, nullptr, status);
  // A pattern letter ICU does not know fails here, not when the pattern is set.
  return U_SUCCESS(status) ? OVNICUString::toUTF8(text) : std::string();
}

std::optional<OVNDate> OVNICUDateFormat::parse(const icu::UnicodeString& text) {
  if (!format_ || text.isEmpty()) return std::nullopt;
  icu::ParsePosition position(0);
  const UDate date = format_->parse(text, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != text.length()) return std::nullopt;
  return OVNICUDate::toDate(date);
}

}  // namespace ovn::detail
