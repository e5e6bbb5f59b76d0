#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <limits>
#include <string>

#include "Platform/Objects/OVNError.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNSet.h"

namespace {

OVNValue read(std::string_view text, unsigned options = 0, std::shared_ptr<OVNError>* error = nullptr) {
  return OVNJSONSerialization::JSONObjectWithData(text, options, error);
}

std::string write(const OVNValue& value, unsigned options = 0, std::shared_ptr<OVNError>* error = nullptr) {
  OVNDataRef data = OVNJSONSerialization::dataWithJSONObject(value, options, error);
  return data ? std::string(data->view()) : std::string("<failed>");
}

std::string debugDescription(const std::shared_ptr<OVNError>& error) {
  const OVNValue detail = error->userInfo()->objectForKey(OVNDebugDescriptionErrorKey);
  return detail.isString() ? *detail.string() : "";
}

TEST(OVNJSONSerializationTest, ReadsEveryKindKeepingNumbersApart) {
  OVNValue value = read(R"({"i": -12, "u": 18446744073709551615, "d": 2.5, "e": 1E2, "t": true,
                            "f": false, "n": null, "s": "x", "a": [1, "two", [], {}]})");
  OVNDictionaryRef d = value.dictionary();
  ASSERT_TRUE(d);
  EXPECT_EQ(d->objectForKey("i").number()->kind(), OVNNumberKind::Integer);
  EXPECT_EQ(d->objectForKey("i").longLongValue(), -12);
  EXPECT_EQ(d->objectForKey("u").number()->kind(), OVNNumberKind::Unsigned);
  EXPECT_EQ(d->objectForKey("u").number()->unsignedLongLongValue(), UINT64_MAX);
  EXPECT_EQ(d->objectForKey("d").number()->kind(), OVNNumberKind::Floating);
  EXPECT_EQ(d->objectForKey("e").number()->kind(), OVNNumberKind::Floating);
  EXPECT_EQ(d->objectForKey("e").doubleValue(), 100.0);
  EXPECT_EQ(d->objectForKey("t").number()->kind(), OVNNumberKind::Boolean);
  EXPECT_EQ(d->objectForKey("f").boolValue(), false);
  EXPECT_TRUE(d->objectForKey("n").isNull());
  EXPECT_EQ(*d->objectForKey("s").string(), "x");
  OVNArrayRef a = d->objectForKey("a").array();
  ASSERT_TRUE(a);
  ASSERT_EQ(a->count(), 4u);
  EXPECT_TRUE(a->at(2).isArray());
  EXPECT_TRUE(a->at(3).isDictionary());
}

TEST(OVNJSONSerializationTest, ContainersAreMutableOnlyWhenAsked) {
  EXPECT_FALSE(read("[{}]").array()->isMutable());
  EXPECT_FALSE(read("[{}]").array()->at(0).dictionary()->isMutable());
  OVNValue mutableValue = read("[{}]", OVNJSONReadingMutableContainers);
  EXPECT_TRUE(mutableValue.array()->isMutable());
  EXPECT_TRUE(mutableValue.array()->at(0).dictionary()->isMutable());
  EXPECT_TRUE(mutableValue.isKindOfClassNamed("NSMutableArray"));
}

TEST(OVNJSONSerializationTest, FragmentsNeedTheirOption) {
  std::shared_ptr<OVNError> error;
  EXPECT_TRUE(read("42", 0, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), OVNCocoaErrorDomain);
  EXPECT_EQ(error->code(), OVNPropertyListReadCorruptError);
  EXPECT_EQ(read("42", OVNJSONReadingFragmentsAllowed).longLongValue(), 42);
  EXPECT_EQ(*read("\"s\"", OVNJSONReadingFragmentsAllowed).string(), "s");
  EXPECT_TRUE(read("null", OVNJSONReadingFragmentsAllowed).isNull());
  EXPECT_EQ(write(OVNValue(7)), "<failed>");
  EXPECT_EQ(write(OVNValue(7), OVNJSONWritingFragmentsAllowed), "7");
}

TEST(OVNJSONSerializationTest, NumbersAtTheLimitsSurviveARoundTrip) {
  const OVNValue limits = OVNValue::array(
      {OVNValue(std::numeric_limits<std::int64_t>::min()), OVNValue(std::numeric_limits<std::int64_t>::max()),
       OVNValue(std::numeric_limits<std::uint64_t>::max()), OVNValue(DBL_MAX), OVNValue(-DBL_MAX), OVNValue(DBL_MIN),
       OVNValue(std::numeric_limits<double>::denorm_min()), OVNValue(0.1), OVNValue(-0.0), OVNValue(1e300),
       OVNValue(1844674907377055873841.79), OVNValue(123456789.125)});
  const std::string text = write(limits);
  OVNArrayRef back = read(text).array();
  ASSERT_TRUE(back) << text;
  ASSERT_EQ(back->count(), limits.array()->count());
  for (std::size_t i = 0; i < back->count(); ++i) {
    const OVNNumber original = *limits.array()->at(i).number();
    const OVNNumber restored = *back->at(i).number();
    if (original.isFloating()) {
      EXPECT_EQ(restored.doubleValue(), original.doubleValue()) << "member " << i << " of " << text;
    } else {
      EXPECT_EQ(restored.kind(), original.kind()) << "member " << i;
      EXPECT_EQ(restored.unsignedLongLongValue(), original.unsignedLongLongValue()) << "member " << i;
    }
  }
  EXPECT_NE(text.find("-9223372036854775808"), std::string::npos);
  EXPECT_NE(text.find("18446744073709551615"), std::string::npos);
}

TEST(OVNJSONSerializationTest, NumbersBeyondTheLimitsAreRefused) {
  std::shared_ptr<OVNError> error;
  EXPECT_TRUE(read("[18446744073709551616]", 0, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_NE(debugDescription(error).find("out of range"), std::string::npos) << debugDescription(error);
  EXPECT_TRUE(read("[1e400]").isMissing());
  EXPECT_EQ(write(OVNValue::array({OVNValue(std::numeric_limits<double>::infinity())})), "<failed>");
  EXPECT_EQ(write(OVNValue::array({OVNValue(std::numeric_limits<double>::quiet_NaN())})), "<failed>");
}

TEST(OVNJSONSerializationTest, EscapesAndSurrogatePairsReadAndWrite) {
  OVNValue value = read(R"(["a\"b\\c\/d\n\t\u0001", "\u00e9\u20ac", "\ud83c\udf27", "Zürich"])");
  OVNArrayRef a = value.array();
  ASSERT_TRUE(a);
  EXPECT_EQ(*a->at(0).string(), "a\"b\\c/d\n\t\x01");
  EXPECT_EQ(*a->at(1).string(), "\u00e9\u20ac");
  EXPECT_EQ(*a->at(2).string(), "\U0001F327");
  EXPECT_EQ(*a->at(3).string(), "Z\u00fcrich");
  EXPECT_EQ(write(value), R"(["a\"b\\c\/d\n\t\u0001","é€","🌧","Zürich"])");
  EXPECT_EQ(write(value, OVNJSONWritingWithoutEscapingSlashes), R"(["a\"b\\c/d\n\t\u0001","é€","🌧","Zürich"])");
  EXPECT_TRUE(read(R"(["\ud83c"])").isMissing()) << "a lone high surrogate is not text";
  EXPECT_TRUE(read(R"(["\udf27x"])").isMissing()) << "a lone low surrogate is not text";
}

TEST(OVNJSONSerializationTest, RepeatedKeysKeepTheLastValue) {
  OVNDictionaryRef d = read(R"({"a": 1, "b": 2, "a": 3})").dictionary();
  ASSERT_TRUE(d);
  EXPECT_EQ(d->count(), 2u);
  EXPECT_EQ(d->objectForKey("a").longLongValue(), 3);
}

TEST(OVNJSONSerializationTest, LargeObjectsWithRepeatsMatchKeyByKeyInsertion) {
  // Forty keys in shuffled order, some repeated: the result must equal setting them one by
  // one, the later value of a repeated key winning.
  std::string text = "{";
  OVNDictionary expected;
  for (int i = 0; i < 50; ++i) {
    const int key = (i * 17) % 40;  // 10 keys come twice
    if (i) text += ',';
    text += "\"key" + std::to_string(key) + "\":" + std::to_string(i);
    expected.set("key" + std::to_string(key), i);
  }
  text += "}";
  OVNDictionaryRef d = read(text).dictionary();
  ASSERT_TRUE(d);
  EXPECT_EQ(d->count(), 40u);
  EXPECT_TRUE(d->isEqual(expected)) << OVNValue(d).description();
}

TEST(OVNJSONSerializationTest, IntegralDoublesWriteAsPlainDigits) {
  EXPECT_EQ(write(OVNValue::array({1795000000.0, 2.5, -3.0, 1e20, 0.0001, 0.00001, 0.0})),
            "[1795000000,2.5,-3,1e+20,0.0001,1e-05,0]");
}

TEST(OVNJSONSerializationTest, MalformedTextGivesAPositionedError) {
  struct Case {
    const char* text;
    const char* where;
  };
  const Case cases[] = {
      {"{\"a\": 1,}", "line 1, column 9"}, {"[1, 2\n, 3 4]", "line 2, column 5"},
      {"{\"a\" 1}", "line 1, column 6"},   {"[\"unterminated]", "line 1, column 2"},
      {"[01]", "line 1, column 3"},        {"[1.]", "line 1, column 4"},
      {"[tru]", "line 1, column 2"},       {"[\"bad \\x escape\"]", "line 1, column 7"},
      {"{} []", "line 1, column 4"},       {"[\"a\tb\"]", "line 1, column 4"},
      {"   ", "line 1, column 4"},
  };
  for (const Case& c : cases) {
    std::shared_ptr<OVNError> error;
    EXPECT_TRUE(read(c.text, OVNJSONReadingFragmentsAllowed, &error).isMissing()) << c.text;
    ASSERT_TRUE(error) << c.text;
    EXPECT_EQ(error->code(), OVNPropertyListReadCorruptError);
    EXPECT_NE(debugDescription(error).find(c.where), std::string::npos) << c.text << ": " << debugDescription(error);
  }
}

TEST(OVNJSONSerializationTest, InvalidUTF8IsRefusedWithItsPosition) {
  std::shared_ptr<OVNError> error;
  EXPECT_TRUE(read("[\"ok\", \"\xC3\x28\"]", 0, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_NE(debugDescription(error).find("byte 8"), std::string::npos) << debugDescription(error);
  EXPECT_EQ(write(OVNValue::array({OVNValue(std::string("\xFF"))})), "<failed>");
}

TEST(OVNJSONSerializationTest, ByteOrderMarkIsSkippedAndEmptyInputRefused) {
  EXPECT_EQ(read("\xEF\xBB\xBF[1]").array()->count(), 1u);
  std::shared_ptr<OVNError> error;
  EXPECT_TRUE(read("", 0, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_NE(debugDescription(error).find("empty"), std::string::npos);
}

TEST(OVNJSONSerializationTest, NestingStopsAtTheDocumentedLimit) {
  const std::size_t limit = OVNJSONSerialization::maximumNestingDepth;
  const std::string deepest = std::string(limit, '[') + std::string(limit, ']');
  EXPECT_TRUE(read(deepest).isArray());
  std::shared_ptr<OVNError> error;
  const std::string tooDeep = std::string(limit + 1, '[') + std::string(limit + 1, ']');
  EXPECT_TRUE(read(tooDeep, 0, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_NE(debugDescription(error).find("nesting"), std::string::npos) << debugDescription(error);

  // A million opening brackets must neither overflow the stack nor hang.
  EXPECT_TRUE(read(std::string(1000000, '[')).isMissing());

  // Writing refuses what reading would refuse, including an array that holds itself.
  OVNValue nested = OVNValue::array({});
  OVNValue outer = nested;
  for (std::size_t i = 0; i < limit; ++i) outer = OVNValue::array({outer});
  EXPECT_EQ(write(outer), "<failed>");
  OVNArrayRef cycle = OVNArray::make();
  cycle->add(OVNValue(cycle));
  EXPECT_FALSE(OVNJSONSerialization::isValidJSONObject(OVNValue(cycle)));
  cycle->removeAll();
}

TEST(OVNJSONSerializationTest, ValuesJSONCannotHoldAreRefusedOnWrite) {
  const OVNValue invalid[] = {OVNValue(OVNDate::dateWithTimeIntervalSince1970(0)), OVNValue(OVNData::fromString("x")),
                              OVNValue(OVNSet::make({OVNValue(1)}))};
  for (const OVNValue& value : invalid) {
    std::shared_ptr<OVNError> error;
    EXPECT_EQ(write(OVNValue::dictionary({{"k", value}}), 0, &error), "<failed>") << value.className();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), OVNPropertyListWriteInvalidError);
    EXPECT_NE(debugDescription(error).find(value.className()), std::string::npos) << debugDescription(error);
    EXPECT_FALSE(OVNJSONSerialization::isValidJSONObject(OVNValue::array({value})));
  }
  EXPECT_TRUE(OVNJSONSerialization::isValidJSONObject(OVNValue::dictionary({{"k", OVNValue::null()}})));
}

TEST(OVNJSONSerializationTest, WritesCompactAndPrettyForms) {
  const OVNValue value = OVNValue::dictionary({{"b", OVNValue::array({OVNValue(1), OVNValue(true), OVNValue::null()})},
                                               {"a", OVNValue(2.5)},
                                               {"e", OVNValue::array({})}});
  EXPECT_EQ(write(value), R"({"a":2.5,"b":[1,true,null],"e":[]})");
  EXPECT_EQ(write(value, OVNJSONWritingPrettyPrinted),
            "{\n  \"a\" : 2.5,\n  \"b\" : [\n    1,\n    true,\n    null\n  ],\n  \"e\" : []\n}");
  EXPECT_TRUE(read(write(value, OVNJSONWritingPrettyPrinted)).isEqual(value));
}

}  // namespace
