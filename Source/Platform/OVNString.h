#pragma once
// Text measures in the platform's sense. Strings are UTF-8 in this library; the platform
// counts lengths and ranges in UTF-16 code units, so these helpers convert.
// Thread-safe (pure functions).

#include <cstddef>
#include <string>
#include <string_view>

class OVNString {
 public:
  //! Length in UTF-16 code units (a character outside the Basic Multilingual Plane counts
  //! two). Invalid UTF-8 bytes count one each, as a replacement character would.
  static std::size_t length(std::string_view utf8);
  //! Whether the bytes are well-formed UTF-8.
  static bool isValidUTF8(std::string_view bytes);
};
