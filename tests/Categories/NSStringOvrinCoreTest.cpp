#include <gtest/gtest.h>

#include <random>

#include "Categories/NSString+OvrinCore.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNSet.h"

namespace {

// An object that describes itself as the null marker does.
class OVNNullDescribingTestObject : public OVNObject {
  OVN_CLASS(OVNNullDescribingTestObject, OVNObject)
 public:
  std::string description() const override { return "<null>"; }
};

const std::string kEmoji = "\xF0\x9F\x98\x80";  // two UTF-16 code units

// Markup stripping as described: remove the first tag, then search again from the start.
std::string stripByRepeatedSearch(std::string text) {
  auto tag = OVNRegularExpression::regularExpressionWithPattern("<[^>]+>", 0, nullptr);
  for (OVNRange range; (range = tag->rangeOfFirstMatchInString(text)).found();) {
    text = OVNString::substringWithRange(text, OVNMakeRange(0, range.location)) +
           OVNString::substringWithRange(text, OVNMakeRange(range.end(), OVNString::length(text) - range.end()));
  }
  return text;
}

}  // namespace

OVN_PROPERTIES(OVNNullDescribingTestObject)

TEST(NSStringOvrinCoreTest, EmptinessCoversNullMarkersAndEmptyContainers) {
  for (const OVNValue& empty : {OVNValue(), OVNValue::null(), OVNValue(""), OVNValue("<null>"),
                                OVNValue(OVNArray::make()), OVNValue(OVNDictionary::make()), OVNValue(OVNSet::make()),
                                OVNValue(OVNData::fromString("")), OVNValue(OVNMake<OVNNullDescribingTestObject>())}) {
    EXPECT_TRUE(ovn_isEmpty(empty)) << empty.description();
  }
  for (const OVNValue& full :
       {OVNValue(" "), OVNValue("(null)"), OVNValue("<NULL>"), OVNValue(0), OVNValue::array({OVNValue::null()}),
        OVNValue(OVNData::fromString("x")), OVNValue(OVNMake<OVNObject>())}) {
    EXPECT_FALSE(ovn_isEmpty(full)) << full.description();
  }
}

TEST(NSStringOvrinCoreTest, SearchesLiterally) {
  EXPECT_TRUE(ovn_containsString("Weather", "ath"));
  EXPECT_FALSE(ovn_containsString("Weather", "ATH"));
  EXPECT_FALSE(ovn_containsString("Weather", ""));
  // The range AFTER the match, in UTF-16 units.
  EXPECT_EQ(ovn_rangeOfString("xxabyy", "ab"), OVNMakeRange(4, 2));
  EXPECT_EQ(ovn_rangeOfString("xxab", "ab"), OVNMakeRange(4, 0));
  EXPECT_EQ(ovn_rangeOfString(kEmoji + "ab" + kEmoji + "\xC3\xA9", "ab"), OVNMakeRange(4, 3));
  EXPECT_EQ(ovn_rangeOfString("abab", "ab"), OVNMakeRange(2, 2));
  EXPECT_EQ(ovn_rangeOfString("xxabyy", "ba"), (OVNRange{OVNNotFound, 0}));
  EXPECT_FALSE(ovn_rangeOfString("xx", "").found());
  // A needle ending inside a character takes the whole character.
  EXPECT_EQ(ovn_rangeOfString(kEmoji + "a", kEmoji.substr(0, 3)), OVNMakeRange(2, 1));

  EXPECT_TRUE(ovn_matchesPattern("wind 12 km", "\\d+", 0));
  EXPECT_FALSE(ovn_matchesPattern("WIND", "wind", 0));
  EXPECT_TRUE(ovn_matchesPattern("WIND", "wind", OVNRegularExpressionCaseInsensitive));
  EXPECT_FALSE(ovn_matchesPattern("a(b", "a(b", 0));  // invalid pattern
}

TEST(NSStringOvrinCoreTest, URLEncodingKeepsItsOwnSetAndStopsAtZero) {
  EXPECT_EQ(ovn_URLEncodedString("a b/c,d?\xC3\xA9"), "a%20b/c,d%3F%C3%A9");
  EXPECT_EQ(ovn_URLEncodedString("AZaz09,-./_~"), "AZaz09,-./_~");
  EXPECT_EQ(ovn_URLEncodedString("+&=[]:;@!*'()%"), "%2B%26%3D%5B%5D%3A%3B%40%21%2A%27%28%29%25");
  EXPECT_EQ(ovn_URLEncodedString(std::string_view("a\0b", 3)), "a");
  EXPECT_EQ(ovn_URLEncodedString(""), "");

  EXPECT_EQ(ovn_URLDecodedString("a+b%20c"), "a b c");
  EXPECT_EQ(ovn_URLDecodedString("%2B+%C3%A9"), "+ \xC3\xA9");  // "+" is a space only when literal
  EXPECT_FALSE(ovn_URLDecodedString("100%").has_value());
  EXPECT_FALSE(ovn_URLDecodedString("%C3").has_value());
  const std::string text = "a/b c?d=\xC3\xA9&" + kEmoji;
  EXPECT_EQ(ovn_URLDecodedString(ovn_URLEncodedString(text)), text);
}

TEST(NSStringOvrinCoreTest, UpperCasesCompassPointsAsWholeWords) {
  EXPECT_EQ(ovn_stringByFormattingCardinalAbbreviations("winds nne at 10"), "winds NNE at 10");
  EXPECT_EQ(ovn_stringByFormattingCardinalAbbreviations("news"), "news");
  EXPECT_EQ(ovn_stringByFormattingCardinalAbbreviations("a e b"), "a E b");
  EXPECT_EQ(ovn_stringByFormattingCardinalAbbreviations("n, Sw and wsw; s-se."), "N, SW and WSW; S-SE.");
  EXPECT_EQ(ovn_stringByFormattingCardinalAbbreviations("nnee sse2 ne"), "nnee sse2 NE");
  EXPECT_EQ(ovn_stringByFormattingCardinalAbbreviations(kEmoji + "w"), kEmoji + "W");
}

TEST(NSStringOvrinCoreTest, NumberTestsArePermissive) {
  for (std::string_view number :
       {"", "+", "-", "0", ".5", "1.", "12.50", "-3.25", "+7", "0.", ".", "-.", "1\xD9\xA3"}) {
    EXPECT_TRUE(ovn_isNumber(number)) << number;  // "\d" is any decimal digit, Arabic-Indic too
  }
  for (std::string_view other : {"007", "01", "1e5", " 1", "1 ", "1.2.3", "abc", "12\n", "--1", "+-"}) {
    EXPECT_FALSE(ovn_isNumber(other)) << other;
  }
  for (std::string_view integer : {"", "-", "+", "0", "42", "-17"}) EXPECT_TRUE(ovn_isInteger(integer)) << integer;
  for (std::string_view other : {"1.", ".5", "042", "1.0", "4 2", "7\n"}) EXPECT_FALSE(ovn_isInteger(other)) << other;
}

TEST(NSStringOvrinCoreTest, TrimsEitherEnd) {
  const auto xy = OVNCharacterSet::characterSetWithCharactersInString("xy");
  EXPECT_EQ(ovn_stringByTrimmingLeadingCharactersInSet("xyaxb yx", xy), "axb yx");
  EXPECT_EQ(ovn_stringByTrimmingTrailingCharactersInSet("xyaxb yx", xy), "xyaxb ");
  EXPECT_EQ(ovn_stringByTrimmingLeadingAndTrailingCharactersInSet("xyaxb yx", xy), "axb ");
  EXPECT_EQ(ovn_stringByTrimmingLeadingCharactersInSet("xyyx", xy), "");
  EXPECT_EQ(ovn_stringByTrimmingTrailingCharactersInSet("xyyx", xy), "");

  const std::string padded =
      " \t\n\xC2\xA0\xE3\x80\x80"
      "a b"
      "\r\n\xE2\x80\xA8 ";
  EXPECT_EQ(ovn_stringByTrimmingLeadingWhitespaceAndNewlineCharacters(padded), "a b\r\n\xE2\x80\xA8 ");
  EXPECT_EQ(ovn_stringByTrimmingTrailingWhitespaceAndNewlineCharacters(padded),
            " \t\n\xC2\xA0\xE3\x80\x80"
            "a b");
  EXPECT_EQ(ovn_stringByTrimmingLeadingAndTrailingWhitespaceAndNewlineCharacters(padded), "a b");
  EXPECT_EQ(ovn_stringByTrimmingLeadingAndTrailingWhitespaceAndNewlineCharacters(" \n\r\n \t"), "");
}

TEST(NSStringOvrinCoreTest, ReplacesPatternsCaseInsensitively) {
  EXPECT_EQ(ovn_stringByReplacingPattern("Hello HELLO world", "hello", "[$0]"), "[Hello] [HELLO] world");
  EXPECT_EQ(ovn_stringByReplacingPattern("2016-05-12", "(\\d+)-(\\d+)-(\\d+)", "$3/$2/$1"), "12/05/2016");
  EXPECT_EQ(ovn_stringByReplacingPattern("abc", "x", "y"), "abc");
  EXPECT_FALSE(ovn_stringByReplacingPattern("abc", "[a", "y").has_value());
}

TEST(NSStringOvrinCoreTest, StripsMarkupTags) {
  EXPECT_EQ(ovn_stringByStrippingHTML("<b>Hi</b> &amp; bye"), "Hi &amp; bye");
  EXPECT_EQ(ovn_stringByStrippingHTML("<p class=\"x\">a<br/>\nb</p>"), "a\nb");
  EXPECT_EQ(ovn_stringByStrippingHTML("<<b>i>x"), "i>x");
  EXPECT_EQ(ovn_stringByStrippingHTML("1 < 2 > 0, <> stays, <unclosed"), "1  0, <> stays, <unclosed");
  EXPECT_EQ(ovn_stringByStrippingHTML("<a\nhref=x>" + kEmoji + "</a>"), kEmoji);

  // Agrees with removing one tag at a time and searching again from the start.
  std::mt19937 random(11);
  const char alphabet[] = {'<', '>', 'a', ' ', '/'};
  for (int round = 0; round < 300; ++round) {
    std::string text;
    for (int i = random() % 16; i > 0; --i) text.push_back(alphabet[random() % sizeof alphabet]);
    EXPECT_EQ(ovn_stringByStrippingHTML(text), stripByRepeatedSearch(text)) << text;
  }
}

TEST(NSStringOvrinCoreTest, DigestsAreLowerCaseHex) {
  EXPECT_EQ(ovn_SHA1(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
  const std::string fox = "The quick brown fox jumps over the lazy dog";
  EXPECT_EQ(ovn_MD5(fox), "9e107d9d372bb6826bd81d3542a419d6");
  EXPECT_EQ(ovn_SHA1(fox), "2fd4e1c67a2d28fced849ee1bb76e7391b93eb12");
  EXPECT_EQ(ovn_SHA224(fox), "730e109bd7a8a32b1cb9d9a09aa2325d2430587ddbc0c38bad911525");
  EXPECT_EQ(ovn_SHA256(fox), "d7a8fbb307d7809469ca9abcb0082e4f8d5651e46d3cdb762d02d0bf37c9e592");
  EXPECT_EQ(ovn_SHA384(fox),
            "ca737f1014a48f4c0b6dd43cb177b0afd9e5169367544c494011e3317dbf9a509cb1e5dc1e85a941bbee3d7f2afbc9b1");
  EXPECT_EQ(
      ovn_SHA512(fox),
      "07e547d9586f6a73f73fbac0435ed76951218fb7d0c8d788a309d785436bbb642e93a252a954f23912547d1e8a3b5ed6e1bfd7097821"
      "233fa0538f3db854fee6");
}
