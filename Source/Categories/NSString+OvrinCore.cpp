#include <memory>

#include "Categories/NSString+OvrinCore.h"
#include "Platform/Serialization/OVNDigest.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"

namespace {

// The fixed patterns, each compiled once on first use. They are known to be valid, so none
// is ever null.
using Expression = std::shared_ptr<const OVNRegularExpression>;

Expression compile(std::string_view pattern, OVNRegularExpressionOptions options) {
  return OVNRegularExpression::regularExpressionWithPattern(pattern, options, nullptr);
}

const OVNRegularExpression& compassPointExpression() {
  static const Expression expression =
      compile("\\b(N|NNE|NE|ENE|E|ESE|SE|SSE|S|SSW|SW|WSW|W|WNW|NW|NNW)\\b", OVNRegularExpressionCaseInsensitive);
  return *expression;
}

// The number tests match the whole text, not a part of it: "\A(?: ... )\z" keeps "$" from
// accepting a text that ends in a line break.
const OVNRegularExpression& numberExpression() {
  static const Expression expression = compile("\\A(?:^([+-]?)(?:|0|[1-9]\\d*)(?:\\.\\d*)?$)\\z", 0);
  return *expression;
}

const OVNRegularExpression& integerExpression() {
  static const Expression expression = compile("\\A(?:^([+-]?)(?:|0|[1-9]\\d*)?$)\\z", 0);
  return *expression;
}

const OVNRegularExpression& markupTagExpression() {
  static const Expression expression = compile("<[^>]+>", 0);
  return *expression;
}

}  // namespace

bool ovn_isEmpty(const OVNValue& string) {
  switch (string.kind()) {
    case OVNValueKind::Missing:
    case OVNValueKind::Null: return true;
    case OVNValueKind::String: return string.string()->empty() || *string.string() == "<null>";
    case OVNValueKind::Data: return string.data()->length() == 0;
    case OVNValueKind::Array: return string.array()->count() == 0;
    case OVNValueKind::Dictionary: return string.dictionary()->count() == 0;
    case OVNValueKind::Set: return string.set()->count() == 0;
    case OVNValueKind::OrderedSet: return string.orderedSet()->count() == 0;
    default: return string.description() == "<null>";
  }
}

bool ovn_containsString(std::string_view receiver, std::string_view s) {
  return !s.empty() && receiver.find(s) != std::string_view::npos;
}

OVNRange ovn_rangeOfString(std::string_view receiver, std::string_view s) {
  // Byte search is literal search: UTF-8 sequences cannot start inside one another.
  const std::size_t found = s.empty() ? std::string_view::npos : receiver.find(s);
  if (found == std::string_view::npos) return OVNRange{};
  // UTF-16 units up to the end of the occurrence, counted over the whole receiver: a
  // malformed needle may end inside a character, which then counts whole.
  const std::size_t end = found + s.size();
  std::size_t location = 0, total = 0;
  for (std::size_t i = 0; i < receiver.size();) {
    const bool before = i < end;
    total += OVNString::nextCodePoint(receiver, i) >= 0x10000 ? 2 : 1;
    if (before) location = total;
  }
  return OVNMakeRange(location, total - location);
}

bool ovn_matchesPattern(std::string_view receiver, std::string_view pattern, OVNRegularExpressionOptions options) {
  const auto expression = OVNRegularExpression::regularExpressionWithPattern(pattern, options, nullptr);
  return expression && expression->firstMatchInString(receiver).has_value();
}

std::string ovn_URLEncodedString(std::string_view receiver) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  // The bytes are those of a C string: they end at the first zero byte.
  const std::string_view bytes = receiver.substr(0, receiver.find('\0'));
  std::string out;
  out.reserve(bytes.size());
  for (char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    const bool kept = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
                      byte == ',' || byte == '-' || byte == '.' || byte == '/' || byte == '_' || byte == '~';
    if (kept) {
      out.push_back(c);
    } else {
      out.push_back('%');
      out.push_back(kHex[byte >> 4]);
      out.push_back(kHex[byte & 0x0F]);
    }
  }
  return out;
}

std::optional<std::string> ovn_URLDecodedString(std::string_view receiver) {
  std::string spaced(receiver);
  for (char& c : spaced) {
    if (c == '+') c = ' ';
  }
  return OVNString::stringByRemovingPercentEncoding(spaced);
}

std::string ovn_stringByFormattingCardinalAbbreviations(std::string_view receiver) {
  return compassPointExpression().stringByReplacingMatchesInString(
      receiver,
      [](const OVNTextCheckingResult&, std::string_view matched) { return OVNString::uppercaseString(matched); });
}

bool ovn_isNumber(std::string_view receiver) { return numberExpression().firstMatchInString(receiver).has_value(); }

bool ovn_isInteger(std::string_view receiver) { return integerExpression().firstMatchInString(receiver).has_value(); }

std::string ovn_stringByTrimmingLeadingCharactersInSet(std::string_view receiver, const OVNCharacterSet& set) {
  for (std::size_t i = 0; i < receiver.size();) {
    const std::size_t start = i;
    if (!set.characterIsMember(OVNString::nextCodePoint(receiver, i))) return std::string(receiver.substr(start));
  }
  return {};
}

std::string ovn_stringByTrimmingTrailingCharactersInSet(std::string_view receiver, const OVNCharacterSet& set) {
  std::size_t end = 0;  // just past the last character not in the set
  for (std::size_t i = 0; i < receiver.size();) {
    if (!set.characterIsMember(OVNString::nextCodePoint(receiver, i))) end = i;
  }
  return std::string(receiver.substr(0, end));
}

std::string ovn_stringByTrimmingLeadingAndTrailingCharactersInSet(std::string_view receiver,
                                                                  const OVNCharacterSet& set) {
  return ovn_stringByTrimmingTrailingCharactersInSet(ovn_stringByTrimmingLeadingCharactersInSet(receiver, set), set);
}

std::string ovn_stringByTrimmingLeadingWhitespaceAndNewlineCharacters(std::string_view receiver) {
  return ovn_stringByTrimmingLeadingCharactersInSet(receiver, OVNCharacterSet::whitespaceAndNewlineCharacterSet());
}

std::string ovn_stringByTrimmingTrailingWhitespaceAndNewlineCharacters(std::string_view receiver) {
  return ovn_stringByTrimmingTrailingCharactersInSet(receiver, OVNCharacterSet::whitespaceAndNewlineCharacterSet());
}

std::string ovn_stringByTrimmingLeadingAndTrailingWhitespaceAndNewlineCharacters(std::string_view receiver) {
  return ovn_stringByTrimmingLeadingAndTrailingCharactersInSet(receiver,
                                                               OVNCharacterSet::whitespaceAndNewlineCharacterSet());
}

std::optional<std::string> ovn_stringByReplacingPattern(std::string_view receiver, std::string_view pattern,
                                                        std::string_view templ) {
  const auto expression =
      OVNRegularExpression::regularExpressionWithPattern(pattern, OVNRegularExpressionCaseInsensitive, nullptr);
  if (!expression) return std::nullopt;
  return expression->stringByReplacingMatchesInString(receiver, templ);
}

std::string ovn_stringByStrippingHTML(std::string_view receiver) {
  // Removing the first tag and searching again from the start finds the same tags as one
  // pass does: a tag ends at the first ">" after its "<", and every "<" before a removed
  // tag either has no ">" after it or is directly followed by one. So one pass, which is
  // linear and plainly terminates, gives the result of the repeated search.
  return markupTagExpression().stringByReplacingMatchesInString(receiver, "");
}

std::string ovn_MD5(std::string_view receiver) { return OVNDigest::hexString(OVNDigest::MD5(receiver)); }
std::string ovn_SHA1(std::string_view receiver) { return OVNDigest::hexString(OVNDigest::SHA1(receiver)); }
std::string ovn_SHA224(std::string_view receiver) { return OVNDigest::hexString(OVNDigest::SHA224(receiver)); }
std::string ovn_SHA256(std::string_view receiver) { return OVNDigest::hexString(OVNDigest::SHA256(receiver)); }
std::string ovn_SHA384(std::string_view receiver) { return OVNDigest::hexString(OVNDigest::SHA384(receiver)); }
std::string ovn_SHA512(std::string_view receiver) { return OVNDigest::hexString(OVNDigest::SHA512(receiver)); }
