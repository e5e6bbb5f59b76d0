#include "Platform/Time/OVNDateFormatter.h"

#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/ustring.h>

#include <limits>

#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Text/detail/OVNICUString.h"
#include "Platform/Time/detail/OVNICUDateFormat.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNDateFormatter, (dateFormat, setDateFormat), (dateStyle, setDateStyle), (timeStyle, setTimeStyle),
               (locale, setLocale), (timeZone, setTimeZone))

using ovn::detail::OVNICUDateFormat;
using ovn::detail::OVNICUString;

namespace {
// The UTF-16 form of `utf8`; nullopt when it is not well-formed UTF-8 or too long to be
// a date. Parsing must not read U+FFFD where the text had garbage.
std::optional<icu::UnicodeString> strictUTF16(std::string_view utf8, std::size_t maximumLength) {
  if (utf8.size() > maximumLength) return std::nullopt;
  icu::UnicodeString text;
  const auto capacity = static_cast<std::int32_t>(utf8.size()) + 1;  // never more code units than bytes
  UChar* buffer = text.getBuffer(capacity);
  if (!buffer) return std::nullopt;
  std::int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(buffer, capacity, &length, utf8.data(), static_cast<std::int32_t>(utf8.size()), &status);
  text.releaseBuffer(U_SUCCESS(status) ? length : 0);
  if (U_FAILURE(status)) return std::nullopt;
  return text;
}

void checkStyle(OVNDateFormatterStyle style) {
  if (style > OVNDateFormatterFullStyle) {
    OVNException::raise(OVNInvalidArgumentException, OVNFormat("Unknown date formatter style %lu", style));
  }
}
}  // namespace

OVNDateFormatter::OVNDateFormatter() = default;
OVNDateFormatter::~OVNDateFormatter() = default;

std::string OVNDateFormatter::dateFormat() const {
  std::lock_guard guard(lock_);
  return dateFormat_.empty() ? preparedFormat()->pattern() : dateFormat_;
}

void OVNDateFormatter::setDateFormat(std::string dateFormat) {
  std::lock_guard guard(lock_);
  dateFormat_ = std::move(dateFormat);
}

OVNDateFormatterStyle OVNDateFormatter::dateStyle() const {
  std::lock_guard guard(lock_);
  return dateStyle_;
}

void OVNDateFormatter::setDateStyle(OVNDateFormatterStyle style) {
  checkStyle(style);
  std::lock_guard guard(lock_);
  dateStyle_ = style;
  dateFormat_.clear();
}

OVNDateFormatterStyle OVNDateFormatter::timeStyle() const {
  std::lock_guard guard(lock_);
  return timeStyle_;
}

void OVNDateFormatter::setTimeStyle(OVNDateFormatterStyle style) {
  checkStyle(style);
  std::lock_guard guard(lock_);
  timeStyle_ = style;
  dateFormat_.clear();
}

std::shared_ptr<OVNLocale> OVNDateFormatter::locale() const {
  std::lock_guard guard(lock_);
  return locale_;
}

void OVNDateFormatter::setLocale(std::shared_ptr<OVNLocale> locale) {
  std::lock_guard guard(lock_);
  locale_ = std::move(locale);
}

std::shared_ptr<OVNTimeZone> OVNDateFormatter::timeZone() const {
  std::lock_guard guard(lock_);
  return timeZone_;
}

void OVNDateFormatter::setTimeZone(std::shared_ptr<OVNTimeZone> timeZone) {
  std::lock_guard guard(lock_);
  timeZone_ = std::move(timeZone);
}

bool OVNDateFormatter::isLenient() const {
  std::lock_guard guard(lock_);
  return lenient_;
}

void OVNDateFormatter::setLenient(bool lenient) {
  std::lock_guard guard(lock_);
  lenient_ = lenient;
}

OVNICUDateFormat* OVNDateFormatter::preparedFormat() const {
  // The current locale and default zone are looked up at each use: either may have been
  // replaced since the ICU formatter was made.
  const auto locale = locale_ ? locale_ : OVNLocale::currentLocale();
  auto timeZone = timeZone_ ? timeZone_ : OVNTimeZone::defaultTimeZone();
  OVNICUDateFormat::Settings wanted{dateFormat_,         dateStyle_, timeStyle_, locale->localeIdentifier(),
                                    std::move(timeZone), lenient_};
  if (!format_ || !format_->reconfigure(wanted)) format_ = std::make_unique<OVNICUDateFormat>(std::move(wanted));
  return format_.get();
}

std::string OVNDateFormatter::stringFromDate(OVNDate date) const {
  std::lock_guard guard(lock_);
  return preparedFormat()->format(date);
}

std::optional<OVNDate> OVNDateFormatter::dateFromString(std::string_view text) const {
  const auto utf16 = strictUTF16(text, maximumTextLength);
  if (!utf16) return std::nullopt;
  std::lock_guard guard(lock_);
  return preparedFormat()->parse(*utf16);
}

std::string OVNDateFormatter::localizedStringFromDate(OVNDate date, OVNDateFormatterStyle dateStyle,
                                                      OVNDateFormatterStyle timeStyle) {
  auto formatter = OVNMake<OVNDateFormatter>();
  formatter->setDateStyle(dateStyle);
  formatter->setTimeStyle(timeStyle);
  return formatter->stringFromDate(date);
}

std::optional<std::string> OVNDateFormatter::dateFormatFromTemplate(std::string_view templateText,
                                                                    const std::shared_ptr<OVNLocale>& locale) {
  const auto utf16 = strictUTF16(templateText, maximumTextLength);
  if (!utf16 || utf16->isEmpty()) return std::nullopt;
  const std::string identifier = (locale ? locale : OVNLocale::currentLocale())->localeIdentifier();
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::DateTimePatternGenerator> generator(
      icu::DateTimePatternGenerator::createInstance(icu::Locale(identifier.c_str()), status));
  if (U_FAILURE(status) || !generator) return std::nullopt;
  const icu::UnicodeString pattern = generator->getBestPattern(*utf16, status);
  if (U_FAILURE(status) || pattern.isEmpty()) return std::nullopt;
  return OVNICUString::toUTF8(pattern);
}
