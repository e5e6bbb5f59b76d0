#include "Platform/Text/detail/OVNICUString.h"

#include <unicode/utf16.h>

#include "Platform/Text/OVNString.h"

namespace ovn::detail {

icu::UnicodeString OVNICUString::fromUTF8(std::string_view utf8) {
  std::u16string units;
  units.reserve(utf8.size());
  for (std::size_t i = 0; i < utf8.size();) {
    const char32_t c = OVNString::nextCodePoint(utf8, i);
    if (c < 0x10000) {
      units.push_back(static_cast<char16_t>(c));
    } else {
      units.push_back(static_cast<char16_t>(U16_LEAD(c)));
      units.push_back(static_cast<char16_t>(U16_TRAIL(c)));
    }
  }
  return icu::UnicodeString(units.data(), static_cast<std::int32_t>(units.size()));
}

void OVNICUString::appendUTF8(std::string& out, const icu::UnicodeString& text, std::int32_t start,
                              std::int32_t length) {
  const std::int32_t end = start + length;
  for (std::int32_t i = start; i < end;) {
    const char16_t unit = text.charAt(i++);
    char32_t c = unit;
    if (U16_IS_LEAD(unit) && i < end && U16_IS_TRAIL(text.charAt(i))) {
      c = U16_GET_SUPPLEMENTARY(unit, text.charAt(i));
      ++i;
    }
    OVNString::appendCodePoint(out, c);  // a lone surrogate becomes U+FFFD there
  }
}

std::string OVNICUString::toUTF8(const icu::UnicodeString& text, std::int32_t start, std::int32_t length) {
  std::string out;
  out.reserve(static_cast<std::size_t>(length));
  appendUTF8(out, text, start, length);
  return out;
}

std::string OVNICUString::toUTF8(const icu::UnicodeString& text) { return toUTF8(text, 0, text.length()); }

}  // namespace ovn::detail
