#include <gtest/gtest.h>

#include <cmath>

#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"

namespace {

TEST(OVNValueTest, MissingAndNullAreDifferent) {
  OVNValue missing;
  OVNValue null = OVNValue::null();
  EXPECT_TRUE(missing.isMissing());
  EXPECT_FALSE(static_cast<bool>(missing));
  EXPECT_TRUE(null.isNull());
  EXPECT_TRUE(static_cast<bool>(null));
  EXPECT_FALSE(missing == null);
  EXPECT_EQ(missing.description(), "(null)");
  EXPECT_EQ(null.description(), "<null>");
  EXPECT_TRUE(OVNValue(static_cast<const char*>(nullptr)).isMissing());
  EXPECT_TRUE(OVNValue(OVNArrayRef()).isMissing());
}

TEST(OVNValueTest, NumbersRememberTheirKindAndCompareNumerically) {
  EXPECT_EQ(OVNValue(1).description(), "1");
  EXPECT_EQ(OVNValue(2.5).description(), "2.5");
  EXPECT_EQ(OVNValue(0.1).description(), "0.1");
  EXPECT_EQ(OVNValue(true).description(), "1");
  EXPECT_EQ(OVNValue(-7LL).description(), "-7");
  EXPECT_EQ(OVNValue(18446744073709551615ULL).description(), "18446744073709551615");
  EXPECT_EQ(OVNValue(true).number()->kind(), OVNNumberKind::Boolean);
  EXPECT_EQ(OVNValue(3.0).number()->kind(), OVNNumberKind::Floating);

  EXPECT_EQ(OVNValue(1), OVNValue(1.0));
  EXPECT_EQ(OVNValue(1), OVNValue(true));
  EXPECT_EQ(OVNValue(1).hash(), OVNValue(1.0).hash());
  EXPECT_FALSE(OVNValue(-1) == OVNValue(18446744073709551615ULL));
  EXPECT_FALSE(OVNValue(1) == OVNValue("1"));
  EXPECT_EQ(OVNNumber::floating(1e30).longLongValue(), INT64_MAX);  // clamps, never undefined
  EXPECT_EQ(OVNNumber::floating(NAN).longLongValue(), 0);
}

TEST(OVNValueTest, StringsReadAsNumbersTheWayThePlatformDoes) {
  EXPECT_EQ(OVNValue("  42abc").longLongValue(), 42);
  EXPECT_EQ(OVNValue("abc").longLongValue(), 0);
  EXPECT_EQ(OVNValue("-2.5e1x").doubleValue(), -25.0);
  EXPECT_EQ(OVNValue("0x10").doubleValue(), 0.0);
  EXPECT_EQ(OVNValue("Yes").boolValue(), true);
  EXPECT_EQ(OVNValue("007").boolValue(), true);
  EXPECT_EQ(OVNValue("no").boolValue(), false);
  EXPECT_FALSE(OVNValue(OVNDate()).longLongValue().has_value());
}

TEST(OVNValueTest, ContainersAreSharedUntilCopied) {
  OVNValue original = OVNValue::array({1, "two"});
  OVNValue shared = original;
  shared.array()->add(3);
  EXPECT_EQ(original.array()->count(), 3u);  // same array

  OVNValue frozen = original.copy();
  EXPECT_FALSE(frozen.array()->isMutable());
  EXPECT_THROW(frozen.array()->add(4), OVNException);
  OVNValue thawed = frozen.mutableCopy();
  thawed.array()->add(4);
  EXPECT_EQ(frozen.array()->count(), 3u);
  EXPECT_EQ(thawed.array()->count(), 4u);
  EXPECT_EQ(frozen, original);  // equality is by members

  EXPECT_THROW(original.array()->at(9), OVNException);
  EXPECT_THROW(original.array()->add(OVNValue()), OVNException);

  auto dictionary = OVNDictionary::make({{"a", 1}});
  dictionary->set("a", OVNValue());  // setting nothing removes
  EXPECT_FALSE(dictionary->contains("a"));
  EXPECT_THROW(dictionary->copy()->set("b", 2), OVNException);
}

TEST(OVNValueTest, SetsAndOrderedSetsKeepDistinctMembers) {
  auto set = OVNSet::make({1, 1.0, "1", OVNValue::null()});
  EXPECT_EQ(set->count(), 3u);  // 1 and 1.0 are equal
  EXPECT_TRUE(set->contains(true));
  auto ordered = OVNOrderedSet::make({"b", "a", "b"});
  ASSERT_EQ(ordered->count(), 2u);
  EXPECT_EQ(ordered->at(0).description(), "b");
  ordered->remove("b");
  EXPECT_EQ(ordered->indexOfObject("a"), 0u);
}

TEST(OVNValueTest, DescriptionsUseThePlatformForms) {
  OVNValue nested = OVNValue::dictionary({
      {"name", "Camp Mabry"},
      {"id", 7},
      {"list", OVNValue::array({1, "a b", OVNValue::null()})},
      {"empty", OVNValue::array({})},
  });
  EXPECT_EQ(nested.description(),
            "{\n"
            "    empty = (\n    );\n"
            "    id = 7;\n"
            "    list = (\n        1,\n        \"a b\",\n        \"<null>\"\n    );\n"
            "    name = \"Camp Mabry\";\n"
            "}");
  EXPECT_EQ(OVNValue::array({}).description(), "(\n)");
  EXPECT_EQ(OVNValue(OVNSet::make({"b", "a"})).description(), "{(\n    a,\n    b\n)}");
  EXPECT_EQ(OVNValue(OVNDate(0)).description(), "2001-01-01 00:00:00 +0000");
  EXPECT_EQ(OVNValue(OVNData::fromString("abc")).description(), "{length = 3, bytes = 0x616263}");
  EXPECT_EQ(OVNValue("plain").description(), "plain");
}

TEST(OVNErrorTest, DomainCodeAndDescription) {
  auto error = OVNError::errorWithDomain("com.ovrinapi.errors", 404, "Not found");
  EXPECT_EQ(error->localizedDescription(), "Not found");
  EXPECT_EQ(error->description(),
            "Error Domain=com.ovrinapi.errors Code=404 \"Not found\" UserInfo={\n    NSLocalizedDescription = \"Not "
            "found\";\n}");
  auto bare = OVNError::errorWithDomain("d", -1);
  EXPECT_EQ(bare->localizedDescription(), "The operation couldn\u2019t be completed. (d error -1.)");
  EXPECT_TRUE(bare->isEqual(*OVNError::errorWithDomain("d", -1)));
  EXPECT_EQ(OVNValue(error).className(), "OVNError");
  EXPECT_EQ(error->valueForKey("code").longLongValue(), 404);
}

TEST(OVNStringTest, LengthCountsUTF16CodeUnits) {
  EXPECT_EQ(OVNString::length("abc"), 3u);
  EXPECT_EQ(OVNString::length("\xC3\xA9t\xC3\xA9"), 3u);  // été
  EXPECT_EQ(OVNString::length("\xF0\x9F\x8C\xA7"), 2u);   // a cloud emoji: a surrogate pair
  EXPECT_EQ(OVNString::length("\xE2\x82\xAC"), 1u);       // euro sign
  EXPECT_EQ(OVNString::length("a\xFF"), 2u);              // an invalid byte counts once
  EXPECT_FALSE(OVNString::isValidUTF8("\xC0\x80"));       // overlong
  EXPECT_FALSE(OVNString::isValidUTF8("\xED\xA0\x80"));   // a surrogate
  EXPECT_TRUE(OVNString::isValidUTF8("\xF0\x9F\x8C\xA7"));
}

}  // namespace
