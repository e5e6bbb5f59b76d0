#pragma once
// Turns dates into text and text into dates (NSDateFormatter), with ICU's patterns and
// locale data.
//
// Thread-safe: one formatter may be configured and used from any number of threads at
// once. A lock (`lock`) guards the properties and the ICU formatter; no user code runs
// under it.
//
// What decides the format: a non-empty dateFormat (a Unicode pattern such as
// "yyyy-MM-dd'T'HH:mm:ss") wins over the styles. Setting dateStyle or timeStyle
// afterwards drops the pattern, and the styles decide again; setting an empty dateFormat
// does the same. Without a pattern, dateFormat reads the pattern the styles give in the
// locale; with both styles NoStyle it is empty, formatting gives "" and nothing parses.
// A null locale means the current locale, a null time zone the default time zone, both
// looked up at each use. The ICU formatter is made on first use and kept: a new pattern or
// zone is applied to it in place, so a formatter reconfigured before every use (as shared
// formatters are) stays cheap; a new locale, style or leniency makes it anew.
//
// Parsing: the whole text must match; lenient parsing (off by default) lets ICU guess at
// near misses. Two-digit years fall between 80 years before today and 20 after, as ICU
// reads them.
// Empty text, malformed UTF-8, text longer than maximumTextLength and text that does not
// match all give nullopt. A pattern with a letter ICU does not know formats as "" and
// parses nothing; an unterminated quote runs to the end of the pattern, as in ICU.

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Text/OVNLocale.h"
#include "Platform/Time/OVNTimeZone.h"
#include "Platform/Values/OVNDate.h"

using OVNDateFormatterStyle = std::uint64_t;
inline constexpr OVNDateFormatterStyle OVNDateFormatterNoStyle = 0;
inline constexpr OVNDateFormatterStyle OVNDateFormatterShortStyle = 1;
inline constexpr OVNDateFormatterStyle OVNDateFormatterMediumStyle = 2;
inline constexpr OVNDateFormatterStyle OVNDateFormatterLongStyle = 3;
inline constexpr OVNDateFormatterStyle OVNDateFormatterFullStyle = 4;

namespace ovn::detail {
class OVNICUDateFormat;
}

class OVN_EXPORT OVNDateFormatter : public OVNObject {
  OVN_CLASS_NAMED(OVNDateFormatter, OVNObject, "NSDateFormatter")

 public:
  //! Longer texts are not dates: dateFromString refuses them without parsing.
  static constexpr std::size_t maximumTextLength = 4096;

  OVNDateFormatter();
  ~OVNDateFormatter() override;

  //! The pattern in use: the one set, else the one the styles give (see the top).
  std::string dateFormat() const;
  //! A non-empty pattern wins over the styles; an empty one hands back to them.
  void setDateFormat(std::string dateFormat);
  OVNDateFormatterStyle dateStyle() const;
  //! Drops a pattern set before. A value above OVNDateFormatterFullStyle is a programming
  //! error (OVNException, NSInvalidArgumentException).
  void setDateStyle(OVNDateFormatterStyle style);
  OVNDateFormatterStyle timeStyle() const;
  void setTimeStyle(OVNDateFormatterStyle style);
  //! Null when none is set: the current locale applies.
  std::shared_ptr<OVNLocale> locale() const;
  void setLocale(std::shared_ptr<OVNLocale> locale);
  //! Null when none is set: the default time zone applies.
  std::shared_ptr<OVNTimeZone> timeZone() const;
  void setTimeZone(std::shared_ptr<OVNTimeZone> timeZone);
  bool isLenient() const;
  void setLenient(bool lenient);

  std::string stringFromDate(OVNDate date) const;
  std::optional<OVNDate> dateFromString(std::string_view text) const;

  //! The date in the given styles, in the current locale and default time zone.
  static std::string localizedStringFromDate(OVNDate date, OVNDateFormatterStyle dateStyle,
                                             OVNDateFormatterStyle timeStyle);
  //! The locale's pattern for the fields a template names ("yMMMd" -> "MMM d, y" in
  //! en_US), from ICU's pattern generator. A null locale means the current one; nullopt
  //! for an empty or malformed template.
  static std::optional<std::string> dateFormatFromTemplate(std::string_view templateText,
                                                           const std::shared_ptr<OVNLocale>& locale);

 private:
  // The ICU formatter for the current settings, made or remade as needed; null when the
  // settings format nothing. Call with `lock_` held.
  ovn::detail::OVNICUDateFormat* preparedFormat() const;

  mutable std::mutex lock_;  // lock: guards every member below
  std::string dateFormat_;
  OVNDateFormatterStyle dateStyle_ = OVNDateFormatterNoStyle;
  OVNDateFormatterStyle timeStyle_ = OVNDateFormatterNoStyle;
  std::shared_ptr<OVNLocale> locale_;
  std::shared_ptr<OVNTimeZone> timeZone_;
  bool lenient_ = false;
  mutable std::unique_ptr<ovn::detail::OVNICUDateFormat> format_;
};
