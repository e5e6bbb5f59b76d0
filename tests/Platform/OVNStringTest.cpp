#include <gtest/gtest.h>

#include <thread>

#include "Platform/Objects/OVNException.h"
#include "Platform/Text/OVNCharacterSet.h"
#include "Platform/Text/OVNString.h"

namespace {
const std::string kEmoji = "\xF0\x9F\x98\x80";  // U+1F600, two UTF-16 code units
}

TEST(OVNStringTest, MeasuresAndDecodesUTF8) {
  EXPECT_EQ(OVNString::length("a\xC3\xA9" + kEmoji), 4u);
  EXPECT_EQ(OVNString::length("\xE2\x82"), 2u);  // a truncated sequence: one unit per byte

  for (char32_t c : {U'\0', U'\x7F', U'\x80', U'\u07FF', U'\u0800', U'\uFFFF', U'\U00010000', U'\U0010FFFF'}) {
    std::string utf8;
    OVNString::appendCodePoint(utf8, c);
    std::size_t offset = 0;
    EXPECT_EQ(OVNString::nextCodePoint(utf8, offset), c);
    EXPECT_EQ(offset, utf8.size());
    EXPECT_TRUE(OVNString::isValidUTF8(utf8));
  }
  std::string replaced;
  OVNString::appendCodePoint(replaced, 0xD800);
  OVNString::appendCodePoint(replaced, 0x110000);
  EXPECT_EQ(replaced, "\xEF\xBF\xBD\xEF\xBF\xBD");

  // Overlong forms, encoded surrogates and stray continuation bytes: U+FFFD per byte.
  const std::string malformed = "\xC0\x80\xED\xA0\x80\x80";
  std::size_t offset = 0, count = 0;
  while (offset < malformed.size()) {
    EXPECT_EQ(OVNString::nextCodePoint(malformed, offset), U'\uFFFD');
    ++count;
  }
  EXPECT_EQ(count, malformed.size());
  EXPECT_EQ(OVNString::length(malformed), malformed.size());
}

TEST(OVNStringTest, SubstringsByUTF16Range) {
  const std::string text = "a" + kEmoji + "b\xC3\xA9";  // units: a 0, emoji 1-2, b 3, é 4
  EXPECT_EQ(OVNString::substringWithRange(text, OVNMakeRange(1, 2)), kEmoji);
  EXPECT_EQ(OVNString::substringWithRange(text, OVNMakeRange(3, 2)), "b\xC3\xA9");
  EXPECT_EQ(OVNString::substringWithRange(text, OVNMakeRange(5, 0)), "");
  // A boundary inside the surrogate pair moves to the character's start.
  EXPECT_EQ(OVNString::substringWithRange(text, OVNMakeRange(2, 2)), kEmoji + "b");
  EXPECT_EQ(OVNString::substringWithRange(text, OVNMakeRange(0, 2)), "a");
  EXPECT_THROW(OVNString::substringWithRange(text, OVNMakeRange(4, 2)), OVNException);
  EXPECT_THROW(OVNString::substringWithRange(text, OVNRange{}), OVNException);
}

TEST(OVNStringTest, PercentEncodingRoundTrips) {
  const auto query = OVNCharacterSet::URLQueryAllowedCharacterSet();
  EXPECT_EQ(OVNString::stringByAddingPercentEncoding("Z\xC3\xBCrich " + kEmoji + "?a=1&b", query),
            "Z%C3%BCrich%20%F0%9F%98%80?a=1&b");
  // A member outside ASCII stays as it is; a malformed byte is encoded as itself.
  const auto alphanumeric = OVNCharacterSet::alphanumericCharacterSet();
  EXPECT_EQ(OVNString::stringByAddingPercentEncoding("\xC3\xBC-\xFF", alphanumeric), "\xC3\xBC%2D%FF");
  EXPECT_EQ(OVNString::stringByAddingPercentEncoding("", query), "");

  const std::string original = "a b/\xC3\xA9%" + kEmoji + "\t";
  EXPECT_EQ(
      OVNString::stringByRemovingPercentEncoding(OVNString::stringByAddingPercentEncoding(original, OVNCharacterSet())),
      original);
  EXPECT_EQ(OVNString::stringByRemovingPercentEncoding("%c3%a9+%41"), "\xC3\xA9+A");
  for (std::string_view bad : {"%", "a%4", "%G1", "%zz", "%%41", "%FF", "%C3", "%ED%A0%80"}) {
    EXPECT_FALSE(OVNString::stringByRemovingPercentEncoding(bad).has_value()) << bad;
  }
}

TEST(OVNStringTest, AppliesICUTransforms) {
  EXPECT_EQ(OVNString::stringByApplyingTransform("Z\xC3\xBCrich Stra\xC3\x9F"
                                                 "e \xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0",
                                                 "Any-Latin; Latin-ASCII; [:^ASCII:] Remove", false),
            "Zurich Strasse Moskva");
  EXPECT_EQ(OVNString::stringByApplyingTransform("A\xC3\xA9", "Hex-Any", true), "\\u0041\\u00E9");
  EXPECT_EQ(OVNString::stringByApplyingTransform("\\u0041\\u00E9", "Hex-Any", false), "A\xC3\xA9");
  EXPECT_FALSE(OVNString::stringByApplyingTransform("abc", "No-Such-Transform", false).has_value());

  // One cached transliterator used from several threads at once.
  std::vector<std::thread> threads;
  std::vector<std::string> results(4);
  for (auto& result : results) {
    threads.emplace_back([&result] {
      for (int i = 0; i < 50; ++i) result = *OVNString::stringByApplyingTransform("\xC3\x85se", "Latin-ASCII", false);
    });
  }
  for (auto& thread : threads) thread.join();
  for (const auto& result : results) EXPECT_EQ(result, "Ase");
}

TEST(OVNStringTest, MapsCaseWithoutALocale) {
  EXPECT_EQ(OVNString::uppercaseString("stra\xC3\x9F"
                                       "e nne"),
            "STRASSE NNE");
  EXPECT_EQ(OVNString::lowercaseString("\xCE\x9F\xCE\x94\xCE\x9F\xCE\xA3"),
            "\xCE\xBF\xCE\xB4\xCE\xBF\xCF\x82");                     // final sigma
  EXPECT_EQ(OVNString::lowercaseString("I\xC4\xB0"), "ii\xCC\x87");  // no Turkish rules
  EXPECT_EQ(OVNString::uppercaseString(kEmoji + "a"), kEmoji + "A");
}

TEST(OVNStringTest, SplitsAndTrims) {
  using Pieces = std::vector<std::string>;
  EXPECT_EQ(OVNString::componentsSeparatedByString("a,b,,c,", ","), (Pieces{"a", "b", "", "c", ""}));
  EXPECT_EQ(OVNString::componentsSeparatedByString("a::b:c", "::"), (Pieces{"a", "b:c"}));
  EXPECT_EQ(OVNString::componentsSeparatedByString("", ","), (Pieces{""}));
  EXPECT_EQ(OVNString::componentsSeparatedByString("abc", ""), (Pieces{"abc"}));

  const auto space = OVNCharacterSet::whitespaceAndNewlineCharacterSet();
  EXPECT_EQ(OVNString::stringByTrimmingCharactersInSet(" \t\xE3\x80\x80 a \n b\r\n\xE2\x80\xA8", space), "a \n b");
  EXPECT_EQ(OVNString::stringByTrimmingCharactersInSet(" \n ", space), "");
  EXPECT_EQ(OVNString::stringByTrimmingCharactersInSet(kEmoji + "x" + kEmoji,
                                                       OVNCharacterSet::characterSetWithCharactersInString(kEmoji)),
            "x");
}
