#pragma once
// Reader for the platform's ".strings" tables (localized strings, Info.strings):
//
//   /* comment */  // comment to the end of the line
//   "greeting" = "Hello, \"world\"\n";
//   plain.key-1 = value/2;          unquoted tokens of [A-Za-z0-9_.$:/-]
//   "same";                         a key alone maps to itself
//
// Escapes in quoted strings: \" \\ \n \t \r, \Uxxxx (a UTF-16 code unit in four hex digits;
// a surrogate pair written as two escapes is combined); any other escaped character stands
// for itself. Input is UTF-8 (with or without a byte-order mark) or UTF-16 with a
// byte-order mark; results are UTF-8. A key given twice keeps its last value.
// Stateless; any thread.

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNStringsFile {
 public:
  using Table = std::map<std::string, std::string>;

  //! The table in `bytes`, or nullopt when they are malformed (bad syntax, invalid UTF-8 or
  //! UTF-16, an unterminated string or comment, a lone surrogate). Empty input is an empty
  //! table.
  static std::optional<Table> parse(std::string_view bytes);

  //! The table in the file at `path`; nullopt when it cannot be read or is malformed.
  static std::optional<Table> readFile(const std::string& path);
};
