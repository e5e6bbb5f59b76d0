#include "Platform/OVNString.h"

namespace {
// Length of the well-formed UTF-8 sequence at `i` (1 to 4), or 0 when it is malformed.
std::size_t sequenceLength(std::string_view s, std::size_t i) {
  const auto b0 = static_cast<unsigned char>(s[i]);
  std::size_t n;
  unsigned minimum;
  if (b0 < 0x80) return 1;
  if ((b0 & 0xE0) == 0xC0) { n = 2; minimum = 0x80; }
  else if ((b0 & 0xF0) == 0xE0) { n = 3; minimum = 0x800; }
  else if ((b0 & 0xF8) == 0xF0) { n = 4; minimum = 0x10000; }
  else return 0;
  if (i + n > s.size()) return 0;
  unsigned code = b0 & (0x7F >> n);
  for (std::size_t k = 1; k < n; ++k) {
    const auto b = static_cast<unsigned char>(s[i + k]);
    if ((b & 0xC0) != 0x80) return 0;
    code = (code << 6) | (b & 0x3F);
  }
  if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  return n;
}
}  // namespace

std::size_t OVNString::length(std::string_view utf8) {
  std::size_t units = 0;
  for (std::size_t i = 0; i < utf8.size();) {
    const std::size_t n = sequenceLength(utf8, i);
    if (n == 0) {
      ++units;
      ++i;
      continue;
    }
    units += n == 4 ? 2 : 1;
    i += n;
  }
  return units;
}

bool OVNString::isValidUTF8(std::string_view bytes) {
  for (std::size_t i = 0; i < bytes.size();) {
    const std::size_t n = sequenceLength(bytes, i);
    if (n == 0) return false;
    i += n;
  }
  return true;
}
