#include <gtest/gtest.h>

#include "Categories/NSDictionary+OvrinCore.h"
#include "Platform/Values/OVNArray.h"

namespace {

TEST(NSDictionaryOvrinCoreTest, QueryStringParsingDropsMalformedPieces) {
  OVNDictionaryRef parsed = ovn_dictionaryWithQueryString("a=1&b=x%20y&c");
  EXPECT_TRUE(parsed->isEqual(*OVNDictionary::make({{"a", OVNValue("1")}, {"b", OVNValue("x y")}})));
  EXPECT_FALSE(parsed->isMutable());

  EXPECT_EQ(*ovn_dictionaryWithQueryString("a=1&a=2")->objectForKey("a").string(), "2");
  OVNDictionaryRef odd = ovn_dictionaryWithQueryString("a=b=c&&=v&k=&q=one+two&list[]=1&bad=%zz&%e9=x");
  EXPECT_FALSE(odd->contains("a")) << "a piece with two '=' is dropped";
  EXPECT_EQ(*odd->objectForKey("").string(), "v");
  EXPECT_EQ(*odd->objectForKey("k").string(), "");
  EXPECT_EQ(*odd->objectForKey("q").string(), "one two");
  EXPECT_EQ(*odd->objectForKey("list[]").string(), "1") << "brackets get no special treatment";
  EXPECT_FALSE(odd->contains("bad")) << "an invalid escape gives no value";
  EXPECT_EQ(odd->count(), 4u) << "a key that does not decode is dropped too";
  EXPECT_TRUE(ovn_isEmpty(ovn_dictionaryWithQueryString("")));
}

TEST(NSDictionaryOvrinCoreTest, SerializedStringNestsOneLevelAndEscapesValuesOnly) {
  OVNDictionaryRef parameters = OVNDictionary::make(
      {{"q", OVNValue("a b")}, {"list", OVNValue::array({OVNValue(1), OVNValue(2)})}, {"n", OVNValue(2.5)}});
  EXPECT_EQ(ovn_serializedString(*parameters), "list[]=1&list[]=2&n=2.5&q=a%20b");

  OVNDictionaryRef nested =
      OVNDictionary::make({{"p", OVNValue::dictionary({{"x", OVNValue("é")}, {"y", OVNValue("1&2=3+4")}})},
                           {"key with space", OVNValue("v")}});
  EXPECT_EQ(ovn_serializedString(*nested), "key with space=v&p[x]=%C3%A9&p[y]=1&2=3+4")
      << "keys are not escaped and & = + stay in values";
  EXPECT_EQ(ovn_serializedString(*OVNDictionary::make()), "");
}

TEST(NSDictionaryOvrinCoreTest, EscapingKeepsTheQueryCharacters) {
  EXPECT_EQ(ovn_escapeValueForURLParameter("az09-._~!$&'()*+,;=:@/?"), "az09-._~!$&'()*+,;=:@/?");
  EXPECT_EQ(ovn_escapeValueForURLParameter(" \"#%<>[]^`{|}"), "%20%22%23%25%3C%3E%5B%5D%5E%60%7B%7C%7D");
  EXPECT_EQ(ovn_escapeValueForURLParameter("Z\u00fcrich \u2603"), "Z%C3%BCrich%20%E2%98%83");
}

TEST(NSDictionaryOvrinCoreTest, MergingAndEmptiness) {
  OVNDictionaryRef base = OVNDictionary::make({{"a", OVNValue(1)}, {"b", OVNValue(2)}});
  OVNDictionaryRef merged = ovn_dictionaryByAddingEntriesFromDictionary(
      *base, *OVNDictionary::make({{"b", OVNValue(3)}, {"c", OVNValue(4)}}));
  EXPECT_TRUE(merged->isEqual(*OVNDictionary::make({{"a", OVNValue(1)}, {"b", OVNValue(3)}, {"c", OVNValue(4)}})));
  EXPECT_EQ(base->objectForKey("b").longLongValue(), 2) << "the receiver is unchanged";
  EXPECT_TRUE(ovn_isEmpty(OVNDictionaryRef()));
  EXPECT_TRUE(ovn_isEmpty(OVNDictionary::make()));
  EXPECT_FALSE(ovn_isEmpty(base));
}

}  // namespace
