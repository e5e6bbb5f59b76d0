#pragma once
// Text operations in the platform's sense. Strings are UTF-8 in this library; the platform
// counts lengths and ranges in UTF-16 code units, so these helpers convert. Bytes that are
// not well-formed UTF-8 are read as U+FFFD, one per byte, everywhere in the library.
// Thread-safe: pure functions; the transliterator cache behind stringByApplyingTransform
// is guarded by its own mutex.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNRange.h"

class OVNCharacterSet;

class OVN_EXPORT OVNString {
 public:
  //! Length in UTF-16 code units (a character outside the Basic Multilingual Plane counts
  //! two). Invalid UTF-8 bytes count one each, as a replacement character would.
  static std::size_t length(std::string_view utf8);
  //! Whether the bytes are well-formed UTF-8.
  static bool isValidUTF8(std::string_view bytes);

  //! The code point at byte `offset`, advancing `offset` past it; a malformed byte gives
  //! U+FFFD and advances by one. `offset` must be below `utf8.size()`.
  static char32_t nextCodePoint(std::string_view utf8, std::size_t& offset);
  //! Appends the UTF-8 form of `c`; surrogates and values above U+10FFFF append U+FFFD.
  static void appendCodePoint(std::string& utf8, char32_t c);

  //! The text of a range counted in UTF-16 code units. A boundary that falls inside a
  //! surrogate pair moves to the start of that character. Throws OVNException
  //! (NSRangeException) when the range reaches past the end of the text.
  static std::string substringWithRange(std::string_view utf8, OVNRange range);

  //! Percent-encodes every character outside `allowed`: each of its UTF-8 bytes becomes
  //! "%XX" (upper-case hexadecimal). A malformed byte is encoded as itself, so that
  //! decoding gives the original bytes back.
  static std::string stringByAddingPercentEncoding(std::string_view text, const OVNCharacterSet& allowed);
  //! Decodes every "%XX"; nullopt when a "%" is not followed by two hexadecimal digits or
  //! when the decoded bytes are not UTF-8.
  static std::optional<std::string> stringByRemovingPercentEncoding(std::string_view text);

  //! Runs an ICU transform ("Any-Latin; Latin-ASCII", "Latin-Greek", ...) forwards or in
  //! reverse; nullopt when ICU does not know the transform. Transliterators are expensive
  //! to build, so each one is kept once made (per identifier and direction).
  static std::optional<std::string> stringByApplyingTransform(std::string_view text, std::string_view transformID,
                                                              bool reverse);

  //! Full Unicode case mapping without a locale ("straße" -> "STRASSE").
  static std::string uppercaseString(std::string_view text);
  static std::string lowercaseString(std::string_view text);

  //! The pieces between occurrences of `separator` (literal search); an empty separator or
  //! one that does not occur gives the whole text as the only piece.
  static std::vector<std::string> componentsSeparatedByString(std::string_view text, std::string_view separator);
  //! The text without the leading and trailing characters that are members of `set`.
  static std::string stringByTrimmingCharactersInSet(std::string_view text, const OVNCharacterSet& set);
};
