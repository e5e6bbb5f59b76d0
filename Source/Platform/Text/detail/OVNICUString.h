#pragma once
// The one place where the library's UTF-8 text meets ICU's UTF-16 strings. Malformed
// UTF-8 bytes become one U+FFFD each, so UTF-16 offsets into the converted text agree with
// `OVNString::length`; unpaired surrogates on the way back become U+FFFD.
// Thread-safe (pure functions). Only platform sources that use ICU include this header.

#include <unicode/unistr.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace ovn::detail {

class OVNICUString {
 public:
  static icu::UnicodeString fromUTF8(std::string_view utf8);
  static std::string toUTF8(const icu::UnicodeString& text);
  //! The UTF-8 form of the code units [start, start + length) of `text`.
  static std::string toUTF8(const icu::UnicodeString& text, std::int32_t start, std::int32_t length);
  //! Appends the UTF-8 form of the code units [start, start + length) of `text` to `out`.
  static void appendUTF8(std::string& out, const icu::UnicodeString& text, std::int32_t start, std::int32_t length);
};

}  // namespace ovn::detail
