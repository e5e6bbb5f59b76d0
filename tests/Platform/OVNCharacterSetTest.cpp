#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "Platform/Text/OVNCharacterSet.h"

namespace {

// The printable ASCII characters that are members of `set`.
std::string asciiMembers(const OVNCharacterSet& set) {
  std::string members;
  for (char32_t c = 0; c < 0x80; ++c) {
    if (set.characterIsMember(c)) members.push_back(static_cast<char>(c));
  }
  return members;
}

const std::string kLettersAndDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// `extra` merged into the RFC 3986 unreserved characters and sub-delimiters, in ASCII order.
std::string urlSet(std::string extra, bool withSemicolon = true) {
  std::string all = "!$&'()*+,-.=_~" + kLettersAndDigits + extra + (withSemicolon ? ";" : "");
  std::sort(all.begin(), all.end());
  return all;
}

}  // namespace

TEST(OVNCharacterSetTest, PredefinedSetsFollowUnicodeCategories) {
  const auto whitespace = OVNCharacterSet::whitespaceCharacterSet();
  for (char32_t c : {U' ', U'\t', U'\u00A0', U'\u2003', U'\u3000'})
    EXPECT_TRUE(whitespace.characterIsMember(c)) << static_cast<std::uint32_t>(c);
  for (char32_t c : {U'\n', U'\r', U'\u2028', U'a'})
    EXPECT_FALSE(whitespace.characterIsMember(c)) << static_cast<std::uint32_t>(c);

  const auto newline = OVNCharacterSet::newlineCharacterSet();
  for (char32_t c : {U'\n', U'\v', U'\f', U'\r', U'\u0085', U'\u2028', U'\u2029'}) {
    EXPECT_TRUE(newline.characterIsMember(c)) << static_cast<std::uint32_t>(c);
  }
  EXPECT_FALSE(newline.characterIsMember(U' '));

  const auto both = OVNCharacterSet::whitespaceAndNewlineCharacterSet();
  EXPECT_TRUE(both.isSupersetOfSet(whitespace));
  EXPECT_TRUE(both.isSupersetOfSet(newline));
  EXPECT_EQ(asciiMembers(both), "\t\n\v\f\r ");

  const auto alphanumeric = OVNCharacterSet::alphanumericCharacterSet();
  EXPECT_EQ(asciiMembers(alphanumeric), kLettersAndDigits);
  // Letters, marks and numbers of every script.
  for (char32_t c : {U'\u00E9', U'\u0301', U'\u0663', U'\u00BD', U'\u4E2D'}) {
    EXPECT_TRUE(alphanumeric.characterIsMember(c)) << static_cast<std::uint32_t>(c);
  }
  EXPECT_TRUE(OVNCharacterSet::letterCharacterSet().characterIsMember(U'\u0416'));
  EXPECT_FALSE(OVNCharacterSet::letterCharacterSet().characterIsMember(U'7'));

  const auto digits = OVNCharacterSet::decimalDigitCharacterSet();
  EXPECT_EQ(asciiMembers(digits), "0123456789");
  EXPECT_TRUE(digits.characterIsMember(U'\u0663'));   // ARABIC-INDIC DIGIT THREE
  EXPECT_FALSE(digits.characterIsMember(U'\u00BD'));  // a fraction is a number, not a digit
}

TEST(OVNCharacterSetTest, URLSetsHoldEachComponentsCharacters) {
  EXPECT_EQ(asciiMembers(OVNCharacterSet::URLQueryAllowedCharacterSet()), urlSet(":@/?"));
  EXPECT_EQ(asciiMembers(OVNCharacterSet::URLFragmentAllowedCharacterSet()), urlSet(":@/?"));
  EXPECT_EQ(asciiMembers(OVNCharacterSet::URLPathAllowedCharacterSet()), urlSet(":@/", false));
  EXPECT_EQ(asciiMembers(OVNCharacterSet::URLHostAllowedCharacterSet()), urlSet(":[]"));
  EXPECT_EQ(asciiMembers(OVNCharacterSet::URLUserAllowedCharacterSet()), urlSet(""));
  EXPECT_EQ(asciiMembers(OVNCharacterSet::URLPasswordAllowedCharacterSet()), urlSet(""));
  EXPECT_FALSE(OVNCharacterSet::URLQueryAllowedCharacterSet().characterIsMember(U'\u00E9'));
}

TEST(OVNCharacterSetTest, DerivedSets) {
  const auto set = OVNCharacterSet::characterSetWithCharactersInString("ab\xC3\xA9\xF0\x9F\x98\x80\xFF");
  for (char32_t c : {U'a', U'b', U'\u00E9', U'\U0001F600', U'\uFFFD'})
    EXPECT_TRUE(set.characterIsMember(c)) << static_cast<std::uint32_t>(c);
  EXPECT_FALSE(set.characterIsMember(U'c'));
  EXPECT_FALSE(OVNCharacterSet().characterIsMember(U'a'));

  const auto inverted = set.invertedSet();
  for (char32_t c : {U'a', U'\U0001F600'}) EXPECT_FALSE(inverted.characterIsMember(c));
  for (char32_t c : {U'\0', U'c', U'\U0010FFFF'}) EXPECT_TRUE(inverted.characterIsMember(c));
  EXPECT_FALSE(inverted.characterIsMember(0x110000));  // not a code point at all
  EXPECT_EQ(inverted.invertedSet(), set);
  EXPECT_FALSE(inverted == set);

  const auto query = OVNCharacterSet::URLQueryAllowedCharacterSet();
  const auto strict = query.characterSetByRemovingCharactersInString(":#[]@!$&'()*+,;=");
  EXPECT_EQ(asciiMembers(strict), "-./0123456789?ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~");
  EXPECT_TRUE(query.characterIsMember(U'&'));  // the original is untouched
  EXPECT_TRUE(query.isSupersetOfSet(strict));
  EXPECT_FALSE(strict.isSupersetOfSet(query));
  EXPECT_EQ(strict.characterSetByAddingCharactersInString("&"),
            query.characterSetByRemovingCharactersInString(":#[]@!$'()*+,;="));

  const auto ab = OVNCharacterSet::characterSetWithCharactersInString("ab");
  const auto bc = OVNCharacterSet::characterSetWithCharactersInString("bc");
  EXPECT_EQ(ab.characterSetByFormingUnionWithCharacterSet(bc),
            OVNCharacterSet::characterSetWithCharactersInString("abc"));
  EXPECT_EQ(ab.characterSetByFormingIntersectionWithCharacterSet(bc),
            OVNCharacterSet::characterSetWithCharactersInString("b"));
}
