#pragma once
// The library's string helpers (the OvrinCore category of the platform string type): free
// functions taking the receiver first. Each returns a new value and leaves the receiver
// alone. Texts are UTF-8; ranges count UTF-16 code units (see OVNRange.h).
// Thread-safe: pure functions; the fixed patterns are compiled once, on first use, and
// shared.

#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Text/OVNCharacterSet.h"
#include "Platform/Text/OVNRegularExpression.h"
#include "Platform/Values/OVNRange.h"
#include "Platform/Values/OVNValue.h"

//! True for a missing value, the null marker, "" and the text "<null>"; for a container
//! without members and for empty data; for any other value when its description is
//! "<null>".
OVN_EXPORT bool ovn_isEmpty(const OVNValue& string);

//! Whether `s` occurs in the receiver (literal, case-sensitive). An empty `s` never does.
OVN_EXPORT bool ovn_containsString(std::string_view receiver, std::string_view s);
//! The range of the text AFTER the first occurrence of `s`: from the end of the occurrence
//! to the end of the receiver. `{OVNNotFound, 0}` when `s` does not occur (or is empty).
OVN_EXPORT OVNRange ovn_rangeOfString(std::string_view receiver, std::string_view s);
//! Whether the pattern matches anywhere in the receiver; false for an invalid pattern.
OVN_EXPORT bool ovn_matchesPattern(std::string_view receiver, std::string_view pattern,
                                   OVNRegularExpressionOptions options);

//! The receiver's UTF-8 bytes, up to the first zero byte, with every byte other than the
//! ASCII letters, digits and , - . / _ ~ written as "%XX" (upper-case hexadecimal).
OVN_EXPORT std::string ovn_URLEncodedString(std::string_view receiver);
//! "+" read as a space, then percent-escapes decoded; nullopt for an invalid escape or
//! bytes that are not UTF-8.
OVN_EXPORT std::optional<std::string> ovn_URLDecodedString(std::string_view receiver);

//! The sixteen compass-point abbreviations (n, nne, ne, ... nnw), when they stand as whole
//! words in any case, upper-cased: "winds nne at 10" -> "winds NNE at 10".
OVN_EXPORT std::string ovn_stringByFormattingCardinalAbbreviations(std::string_view receiver);

//! An optional sign, then nothing, "0" or digits without a leading zero, then optionally a
//! point and any digits: "", "-", ".5", "1." and "12.50" are numbers; "007", "1e5" and " 1"
//! are not.
OVN_EXPORT bool ovn_isNumber(std::string_view receiver);
//! The same without the fraction: "" and "-" are integers.
OVN_EXPORT bool ovn_isInteger(std::string_view receiver);

//! The suffix from the first character not in `set`; "" when every character is in it.
OVN_EXPORT std::string ovn_stringByTrimmingLeadingCharactersInSet(std::string_view receiver,
                                                                  const OVNCharacterSet& set);
//! The prefix up to the last character not in `set`; "" when every character is in it.
OVN_EXPORT std::string ovn_stringByTrimmingTrailingCharactersInSet(std::string_view receiver,
                                                                   const OVNCharacterSet& set);
OVN_EXPORT std::string ovn_stringByTrimmingLeadingAndTrailingCharactersInSet(std::string_view receiver,
                                                                             const OVNCharacterSet& set);
// The same with the Unicode white space and line breaks.
OVN_EXPORT std::string ovn_stringByTrimmingLeadingWhitespaceAndNewlineCharacters(std::string_view receiver);
OVN_EXPORT std::string ovn_stringByTrimmingTrailingWhitespaceAndNewlineCharacters(std::string_view receiver);
OVN_EXPORT std::string ovn_stringByTrimmingLeadingAndTrailingWhitespaceAndNewlineCharacters(std::string_view receiver);

//! Every match of the pattern, compiled case-insensitively, replaced by the template
//! ("$0" the match, "$1" the first group); nullopt for an invalid pattern.
OVN_EXPORT std::optional<std::string> ovn_stringByReplacingPattern(std::string_view receiver, std::string_view pattern,
                                                                   std::string_view templ);
//! The receiver without any markup tag ("<" ... ">"); character entities stay as they are.
OVN_EXPORT std::string ovn_stringByStrippingHTML(std::string_view receiver);

// Digests of the receiver's UTF-8 bytes in lower-case hexadecimal: 32, 40, 56, 64, 96 and
// 128 characters.
OVN_EXPORT std::string ovn_MD5(std::string_view receiver);
OVN_EXPORT std::string ovn_SHA1(std::string_view receiver);
OVN_EXPORT std::string ovn_SHA224(std::string_view receiver);
OVN_EXPORT std::string ovn_SHA256(std::string_view receiver);
OVN_EXPORT std::string ovn_SHA384(std::string_view receiver);
OVN_EXPORT std::string ovn_SHA512(std::string_view receiver);
