#pragma once
// ICU's side of an OVNTimeZone: the icu::TimeZone it wraps, never changed after it is made,
// so any thread may call its const functions. ICU objects that take a zone of their own
// (formatters, calendars) get a clone.
// Only platform sources that use ICU include this header.

#include <unicode/timezone.h>

#include <memory>

class OVNTimeZone;

namespace ovn::detail {

class OVNICUTimeZone {
 public:
  explicit OVNICUTimeZone(std::unique_ptr<icu::TimeZone> zone) : zone_(std::move(zone)) {}

  //! The ICU zone of `timeZone`.
  static const OVNICUTimeZone& of(const OVNTimeZone& timeZone);

  const icu::TimeZone& zone() const { return *zone_; }
  std::unique_ptr<icu::TimeZone> clone() const { return std::unique_ptr<icu::TimeZone>(zone_->clone()); }

 private:
  std::unique_ptr<const icu::TimeZone> zone_;
};

}  // namespace ovn::detail
