// Runs the text services over arbitrary bytes. Nothing may crash, and what one operation
// promises about another must hold: decoding what was encoded gives it back, ranges lie
// inside the text, a trimmed or stripped text has nothing left to trim or strip.
// The first byte picks the operation; the rest is the input.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Categories/NSString+OvrinCore.h"
#include "Platform/Serialization/OVNBase64.h"
#include "Platform/Text/OVNCharacterSet.h"
#include "Platform/Text/OVNRegularExpression.h"
#include "Platform/Text/OVNString.h"

namespace {

void check(bool condition) {
  if (!condition) std::abort();
}

void base64(std::string_view text) {
  if (const auto decoded = OVNBase64::decode(text)) check(OVNBase64::decode(OVNBase64::encode(*decoded)) == decoded);
  const std::vector<std::uint8_t> raw(text.begin(), text.end());
  check(OVNBase64::decode(OVNBase64::encode(raw)) == raw);
}

void percent(std::string_view text) {
  (void)OVNString::stringByRemovingPercentEncoding(text);
  (void)ovn_URLDecodedString(text);
  const auto encoded = OVNString::stringByAddingPercentEncoding(text, OVNCharacterSet::URLQueryAllowedCharacterSet());
  const auto decoded = OVNString::stringByRemovingPercentEncoding(encoded);
  check(decoded.has_value() == OVNString::isValidUTF8(text));
  if (decoded) check(*decoded == text);
  const std::string_view untilZero = text.substr(0, text.find('\0'));
  const auto urlDecoded = ovn_URLDecodedString(ovn_URLEncodedString(text));
  check(urlDecoded.has_value() == OVNString::isValidUTF8(untilZero));
  if (urlDecoded) check(*urlDecoded == untilZero);
}

// Fixed patterns over the text: a fuzzed pattern could make the matcher's own
// backtracking explode, which is ICU's business, not this library's.
void expressions(std::uint8_t selector, std::string_view text) {
  static const char* const patterns[] = {"(\\w+)|(\\d)", "x*", "\\b(N|NE|E)\\b", "(a)(b)?(c)*", "$|^", ".(?=.)"};
  const auto expression = OVNRegularExpression::regularExpressionWithPattern(patterns[selector % std::size(patterns)],
                                                                             selector >> 3, nullptr);
  check(expression != nullptr);
  const std::size_t length = OVNString::length(text);
  for (const auto& result : expression->matchesInString(text)) {
    check(result.numberOfRanges() == expression->numberOfCaptureGroups() + 1);
    for (std::size_t i = 0; i < result.numberOfRanges(); ++i) {
      const OVNRange range = result.rangeAtIndex(i);
      if (!range.found()) continue;
      check(range.end() <= length);
      (void)OVNString::substringWithRange(text, range);
    }
  }
  const std::string same = expression->stringByReplacingMatchesInString(text, "$0");
  if (OVNString::isValidUTF8(text)) check(same == text);
  (void)expression->stringByReplacingMatchesInString(text, OVNMakeRange(length / 2, length - length / 2), text);
  // The text is also a template and, escaped, a pattern that finds itself.
  (void)expression->stringByReplacingMatchesInString(text, text);
  if (const auto self = OVNRegularExpression::regularExpressionWithPattern(
          OVNRegularExpression::escapedPatternForString(text), 0, nullptr)) {
    check(self->rangeOfFirstMatchInString(text) == OVNMakeRange(0, length));
  }
  (void)OVNRegularExpression::regularExpressionWithPattern(text, selector, nullptr);
}

void helpers(std::string_view text) {
  const std::string stripped = ovn_stringByStrippingHTML(text);
  check(ovn_stringByStrippingHTML(stripped) == stripped);
  (void)ovn_stringByFormattingCardinalAbbreviations(text);
  (void)ovn_isNumber(text);
  (void)ovn_isInteger(text);
  const std::string trimmed = ovn_stringByTrimmingLeadingAndTrailingWhitespaceAndNewlineCharacters(text);
  check(ovn_stringByTrimmingLeadingAndTrailingWhitespaceAndNewlineCharacters(trimmed) == trimmed);
  check(OVNString::stringByTrimmingCharactersInSet(text, OVNCharacterSet::whitespaceAndNewlineCharacterSet()) ==
        trimmed);
  check(ovn_stringByTrimmingLeadingCharactersInSet(text, OVNCharacterSet::characterSetWithCharactersInString(text))
            .empty());
  const std::size_t half = text.size() / 2;
  const OVNRange after = ovn_rangeOfString(text, text.substr(half));
  check(after.found() == (half < text.size()));
  if (after.found()) check(after.end() == OVNString::length(text));
}

void caseAndTransforms(std::string_view text) {
  (void)OVNString::uppercaseString(text);
  (void)OVNString::lowercaseString(text);
  const auto ascii = OVNString::stringByApplyingTransform(text, "Any-Latin; Latin-ASCII; [:^ASCII:] Remove", false);
  check(ascii.has_value());
  for (char c : *ascii) check(static_cast<unsigned char>(c) < 0x80);
  (void)OVNString::componentsSeparatedByString(text, text.substr(0, 1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const std::uint8_t selector = bytes[0];
  const std::string_view text(reinterpret_cast<const char*>(bytes + 1), size - 1);
  switch (selector % 5) {
    case 0: base64(text); break;
    case 1: percent(text); break;
    case 2: expressions(selector / 5, text.substr(0, 512)); break;
    case 3: helpers(text); break;
    default: caseAndTransforms(text.substr(0, 512)); break;
  }
  return 0;
}
