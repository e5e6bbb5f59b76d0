#include "Platform/Text/OVNString.h"

#include <unicode/locid.h>
#include <unicode/translit.h>

#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "Platform/Objects/OVNException.h"
#include "Platform/Text/OVNCharacterSet.h"
#include "Platform/Text/detail/OVNICUString.h"
#include "Platform/Values/OVNFormat.h"

namespace {
// Length of the well-formed UTF-8 sequence at `i` (1 to 4), or 0 when it is malformed.
std::size_t sequenceLength(std::string_view s, std::size_t i) {
  const auto b0 = static_cast<unsigned char>(s[i]);
  std::size_t n;
  unsigned minimum;
  if (b0 < 0x80) return 1;
  if ((b0 & 0xE0) == 0xC0) {
    n = 2;
    minimum = 0x80;
  } else if ((b0 & 0xF0) == 0xE0) {
    n = 3;
    minimum = 0x800;
  } else if ((b0 & 0xF8) == 0xF0) {
    n = 4;
    minimum = 0x10000;
  } else
    return 0;
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

char32_t OVNString::nextCodePoint(std::string_view utf8, std::size_t& offset) {
  const std::size_t n = sequenceLength(utf8, offset);
  if (n == 0) {
    ++offset;
    return 0xFFFD;
  }
  const auto b0 = static_cast<unsigned char>(utf8[offset]);
  char32_t code = n == 1 ? b0 : (b0 & (0x7F >> n));
  for (std::size_t k = 1; k < n; ++k) code = (code << 6) | (static_cast<unsigned char>(utf8[offset + k]) & 0x3F);
  offset += n;
  return code;
}

void OVNString::appendCodePoint(std::string& utf8, char32_t c) {
  if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
  if (c < 0x80) {
    utf8.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    utf8.push_back(static_cast<char>(0xC0 | (c >> 6)));
    utf8.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    utf8.push_back(static_cast<char>(0xE0 | (c >> 12)));
    utf8.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    utf8.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    utf8.push_back(static_cast<char>(0xF0 | (c >> 18)));
    utf8.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    utf8.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    utf8.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

namespace {
// The byte offset of UTF-16 offset `target`; a target inside a surrogate pair gives the
// pair's first byte.
std::size_t byteOffsetFor(std::string_view utf8, std::size_t target) {
  std::size_t i = 0, units = 0;
  while (i < utf8.size()) {
    std::size_t next = i;
    const std::size_t width = OVNString::nextCodePoint(utf8, next) >= 0x10000 ? 2 : 1;
    if (units + width > target) break;
    units += width;
    i = next;
  }
  return i;
}
}  // namespace

std::string OVNString::substringWithRange(std::string_view utf8, OVNRange range) {
  const std::size_t total = length(utf8);
  if (range.location > total || range.length > total - range.location) {
    OVNException::raise(OVNRangeException, OVNFormat("Range {%lu, %lu} out of bounds; string length %lu",
                                                     range.location, range.length, total));
  }
  const std::size_t begin = byteOffsetFor(utf8, range.location);
  const std::size_t end = byteOffsetFor(utf8, range.end());
  return std::string(utf8.substr(begin, end - begin));
}

std::string OVNString::stringByAddingPercentEncoding(std::string_view text, const OVNCharacterSet& allowed) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t start = i;
    const char32_t c = nextCodePoint(text, i);
    // A malformed byte reads as U+FFFD but is encoded as the byte it is.
    if (sequenceLength(text, start) != 0 && allowed.characterIsMember(c)) {
      out.append(text.substr(start, i - start));
      continue;
    }
    for (std::size_t k = start; k < i; ++k) {
      const auto byte = static_cast<unsigned char>(text[k]);
      out.push_back('%');
      out.push_back(kHex[byte >> 4]);
      out.push_back(kHex[byte & 0x0F]);
    }
  }
  return out;
}

std::optional<std::string> OVNString::stringByRemovingPercentEncoding(std::string_view text) {
  auto hexValue = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
  };
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out.push_back(text[i]);
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const int high = hexValue(text[i + 1]);
    const int low = hexValue(text[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    out.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  if (!isValidUTF8(out)) return std::nullopt;
  return out;
}

namespace {

// Built transliterators, kept for the life of the process. ICU does not promise that one
// transliterator may run on two threads at once, so each entry has its own lock.
struct CachedTransliterator {
  std::unique_ptr<icu::Transliterator> transliterator;
  std::mutex mutex;  // held while the transliterator runs
};

std::shared_ptr<CachedTransliterator> transliteratorFor(std::string_view transformID, bool reverse) {
  static std::mutex mutex;  // guards `cache`
  static std::map<std::pair<std::string, bool>, std::shared_ptr<CachedTransliterator>> cache;
  std::pair<std::string, bool> key(transformID, reverse);
  {
    std::lock_guard lock(mutex);
    if (auto found = cache.find(key); found != cache.end()) return found->second;
  }
  // Built outside the lock: creation is slow and independent of other entries. A
  // transform ICU does not know is not kept, so unknown names cannot grow the cache.
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError;
  std::unique_ptr<icu::Transliterator> made(icu::Transliterator::createInstance(
      ovn::detail::OVNICUString::fromUTF8(transformID), reverse ? UTRANS_REVERSE : UTRANS_FORWARD, parseError, status));
  if (U_FAILURE(status) || !made) return nullptr;
  auto entry = std::make_shared<CachedTransliterator>();
  entry->transliterator = std::move(made);
  std::lock_guard lock(mutex);
  return cache.emplace(std::move(key), std::move(entry)).first->second;  // the first one stored wins
}

}  // namespace

std::optional<std::string> OVNString::stringByApplyingTransform(std::string_view text, std::string_view transformID,
                                                                bool reverse) {
  const auto entry = transliteratorFor(transformID, reverse);
  if (!entry) return std::nullopt;
  icu::UnicodeString converted = ovn::detail::OVNICUString::fromUTF8(text);
  {
    std::lock_guard lock(entry->mutex);
    entry->transliterator->transliterate(converted);
  }
  return ovn::detail::OVNICUString::toUTF8(converted);
}

std::string OVNString::uppercaseString(std::string_view text) {
  icu::UnicodeString converted = ovn::detail::OVNICUString::fromUTF8(text);
  converted.toUpper(icu::Locale::getRoot());
  return ovn::detail::OVNICUString::toUTF8(converted);
}

std::string OVNString::lowercaseString(std::string_view text) {
  icu::UnicodeString converted = ovn::detail::OVNICUString::fromUTF8(text);
  converted.toLower(icu::Locale::getRoot());
  return ovn::detail::OVNICUString::toUTF8(converted);
}

std::vector<std::string> OVNString::componentsSeparatedByString(std::string_view text, std::string_view separator) {
  std::vector<std::string> pieces;
  if (separator.empty()) {
    pieces.emplace_back(text);
    return pieces;
  }
  std::size_t start = 0;
  for (std::size_t found; (found = text.find(separator, start)) != std::string_view::npos;
       start = found + separator.size()) {
    pieces.emplace_back(text.substr(start, found - start));
  }
  pieces.emplace_back(text.substr(start));
  return pieces;
}

std::string OVNString::stringByTrimmingCharactersInSet(std::string_view text, const OVNCharacterSet& set) {
  std::size_t begin = std::string_view::npos, end = 0;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t start = i;
    if (!set.characterIsMember(nextCodePoint(text, i))) {
      if (begin == std::string_view::npos) begin = start;
      end = i;
    }
  }
  if (begin == std::string_view::npos) return {};
  return std::string(text.substr(begin, end - begin));
}
