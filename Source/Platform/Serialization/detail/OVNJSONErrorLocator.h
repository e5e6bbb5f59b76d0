#pragma once
// Finds where JSON text first goes wrong. The reader (simdjson) says what is wrong but not
// where; this slower scan runs only after a failure, to put a position in the error.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ovn::detail {

struct OVNJSONErrorLocation {
  std::size_t offset = 0;  // byte offset of the offending character
  std::size_t line = 1;    // 1-based
  std::size_t column = 1;  // 1-based, in bytes
  std::string reason;      // what was found there
};

class OVNJSONErrorLocator {
 public:
  //! The first syntax error in `text` (grammar of RFC 8259, nesting limit `maximumDepth`),
  //! or nothing when the text is well-formed as far as this scan can tell.
  static std::optional<OVNJSONErrorLocation> firstSyntaxError(std::string_view text, std::size_t maximumDepth);
  //! The first byte that is not part of well-formed UTF-8.
  static std::optional<OVNJSONErrorLocation> firstInvalidUTF8(std::string_view text);
  //! Line and column of a byte offset.
  static OVNJSONErrorLocation locate(std::string_view text, std::size_t offset, std::string reason);
};

}  // namespace ovn::detail
