#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "Platform/OVNArray.h"
#include "Platform/OVNException.h"
#include "Platform/OVNRegularExpression.h"
#include "Platform/OVNSet.h"
#include "PropertyMapper/OVNPropertyDescriptor.h"
#include "PropertyMapper/OVNTimestampDescriptor.h"

namespace descriptor_test {

class DescriptorGizmo : public OVNObject {
  OVN_CLASS(DescriptorGizmo, OVNObject)
 public:
  std::string label;
};

}  // namespace descriptor_test

OVN_PROPERTIES(descriptor_test::DescriptorGizmo, label)

namespace {

using descriptor_test::DescriptorGizmo;
using D = OVNPropertyDescriptor;

OVNValue noValue() { return OVNValue(); }

// The messages of every error a descriptor reports for `value`, in order.
std::vector<std::string> messages(const D::Ref& descriptor, const OVNValue& value) {
  std::vector<std::string> texts;
  for (const auto& error : descriptor->validateValue(value)) texts.push_back(error->localizedDescription());
  return texts;
}

bool passes(const D::Ref& descriptor, const OVNValue& value) { return descriptor->validateValue(value).empty(); }

// Seconds since 1970 of a UTC calendar time, worked out by the C library.
double utcSeconds(int year, int month, int day, int hour, int minute, int second) {
  std::tm tm{};
  tm.tm_year = year - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
  return static_cast<double>(timegm(&tm));
}

TEST(PropertyDescriptorInit, EachInitializerSetsItsKindAndMode) {
  auto plain = D::initWithPropertyName("title");
  EXPECT_EQ(plain->type(), 0u);
  EXPECT_EQ(plain->mode(), 3u);
  EXPECT_EQ(plain->propertyName(), "title");
  EXPECT_EQ(D::initWithPropertyName("title", 1)->mode(), 1u);
  EXPECT_EQ(D::initWithPropertyName("title", 1)->type(), 0u);

  auto nested = D::initWithPropertyName("gizmo", DescriptorGizmo::classObject());
  EXPECT_EQ(nested->type(), 1u);
  EXPECT_EQ(nested->mode(), 3u);
  EXPECT_EQ(nested->propertyClass(), &DescriptorGizmo::classObject());
  auto decodeOnly = D::initWithPropertyName("gizmo", DescriptorGizmo::classObject(), 2);
  EXPECT_EQ(decodeOnly->type(), 1u);
  EXPECT_EQ(decodeOnly->mode(), 2u);

  auto held = D::initWithPropertyName("label", std::string("gizmo"), DescriptorGizmo::classObject());
  EXPECT_EQ(held->type(), 2u);
  EXPECT_EQ(held->mode(), 3u);
  EXPECT_EQ(held->propertyName(), "label");
  EXPECT_EQ(held->classPropertyName(), "gizmo");
  EXPECT_EQ(held->propertyClass(), &DescriptorGizmo::classObject());
}

TEST(PropertyDescriptorInit, CallbackKindsTakeTheirModeFromTheCallbacksGiven) {
  auto convert = [](const OVNValue& v, const std::string&) { return v; };
  EXPECT_EQ(D::initWithPropertyName("p", convert, convert)->mode(), 3u);
  EXPECT_EQ(D::initWithPropertyName("p", convert, OVNPropertyDecodingBlock{})->mode(), 1u);
  EXPECT_EQ(D::initWithPropertyName("p", OVNPropertyEncodingBlock{}, convert)->mode(), 2u);
  auto neither = D::initWithPropertyName("p", OVNPropertyEncodingBlock{}, OVNPropertyDecodingBlock{});
  EXPECT_EQ(neither->mode(), 0u);
  EXPECT_EQ(neither->type(), 3u);

  auto generate = [](const OVNObjectRef&) { return OVNValue(1); };
  auto consume = [](const OVNValue&, const OVNObjectRef&) {};
  auto whole = D::initWithEncodingGenerationBlock(generate, consume);
  EXPECT_EQ(whole->type(), 4u);
  EXPECT_EQ(whole->mode(), 3u);
  EXPECT_TRUE(whole->propertyName().empty());
  EXPECT_EQ(D::initWithEncodingGenerationBlock(generate, {})->mode(), 1u);
  EXPECT_EQ(D::initWithEncodingGenerationBlock({}, consume)->mode(), 2u);
  EXPECT_EQ(D::initWithEncodingGenerationBlock({}, {})->mode(), 0u);
}

TEST(PropertyDescriptorInit, PlainConstructionIsRefused) {
  try {
    D::init();
    FAIL() << "init() returned";
  } catch (const OVNException& e) {
    EXPECT_EQ(e.name(), OVNInvalidArgumentException);
    EXPECT_NE(e.reason().find("unrecognized selector"), std::string::npos) << e.reason();
  }
}

TEST(PropertyDescriptorValidation, NamedValidatorErrorCarriesDomainCodeAndMessage) {
  auto title = D::initWithPropertyName("title")->minLength(3);
  auto errors = title->validateValue("ab");
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0]->domain(), "com.ovrinweather.property-mapper");
  EXPECT_EQ(errors[0]->code(), 60550);
  EXPECT_EQ(errors[0]->localizedDescription(), "minLength validation failed on title");
  EXPECT_EQ(errors[0]->userInfo()->objectForKey(OVNLocalizedDescriptionKey).description(),
            "minLength validation failed on title");
  EXPECT_EQ(OVNPropertyMapperErrorDescription, nullptr);  // exported, holds nothing
}

TEST(PropertyDescriptorValidation, NamedValidationRunsEvenOnNothingAndNothingFails) {
  auto descriptor = D::initWithPropertyName("title");
  int calls = 0;
  descriptor->addValidatorWithName("always", [&](const OVNValue&) {
    ++calls;
    return true;
  });
  EXPECT_TRUE(passes(descriptor, "x"));
  EXPECT_EQ(messages(descriptor, noValue()), std::vector<std::string>{"always validation failed on title"});
  EXPECT_EQ(messages(descriptor, OVNValue::null()), std::vector<std::string>{"always validation failed on title"});
  EXPECT_EQ(calls, 3);
}

TEST(PropertyDescriptorValidation, ValidateValueKeepsOrderAndNeverStopsEarly) {
  auto descriptor = D::initWithPropertyName("code");
  int lastRan = 0;
  descriptor->minLength(5)->equalTo("zzz")->maxLength(10);
  descriptor->addValidatorWithBlock([&](const OVNValue& value, const std::string& name) -> std::shared_ptr<OVNError> {
    ++lastRan;
    return OVNError::errorWithDomain("test", 7, name + "=" + value.description());
  });
  EXPECT_EQ(descriptor->validationBlocks().size(), 4u);
  EXPECT_EQ(messages(descriptor, "abc"), (std::vector<std::string>{"minLength validation failed on code",
                                                                   "equalTo validation failed on code", "code=abc"}));
  EXPECT_EQ(lastRan, 1);
}

TEST(PropertyDescriptorValidators, ChainingReturnsTheSameDescriptor) {
  auto descriptor = D::initWithPropertyName("title");
  EXPECT_EQ(descriptor->isRequired(), descriptor);
  EXPECT_EQ(descriptor->lengthRange(1, 2)->range(0, 1)->oneOf(OVNValue::array({"a"})), descriptor);
  EXPECT_EQ(descriptor->validationBlocks().size(), 4u);
}

TEST(PropertyDescriptorValidators, EveryReadyMadeValidatorRefusesMissingAndNull) {
  auto digit = OVNRegularExpression::regularExpressionWithPattern("\\d", 0, nullptr);
  ASSERT_TRUE(digit);
  const std::vector<std::pair<std::string, D::Ref>> rules = {
      {"isRequired", D::initWithPropertyName("p")->isRequired()},
      {"lengthRange", D::initWithPropertyName("p")->lengthRange(0, 5)},
      {"matchesRegex", D::initWithPropertyName("p")->matchesRegex(digit)},
      {"length", D::initWithPropertyName("p")->length(0)},
      {"minLength", D::initWithPropertyName("p")->minLength(0)},
      {"maxLength", D::initWithPropertyName("p")->maxLength(5)},
      {"oneOf", D::initWithPropertyName("p")->oneOf(OVNValue::array({OVNValue::null()}))},
      {"equalTo", D::initWithPropertyName("p")->equalTo("")},
      {"min", D::initWithPropertyName("p")->min(0)},
      {"max", D::initWithPropertyName("p")->max(0)},
      {"range", D::initWithPropertyName("p")->range(-1, 1)},
  };
  for (const auto& [name, rule] : rules) {
    const std::vector<std::string> expected{name + " validation failed on p"};
    EXPECT_EQ(messages(rule, noValue()), expected) << name;
    EXPECT_EQ(messages(rule, OVNValue::null()), expected) << name;
  }
}

TEST(PropertyDescriptorValidators, IsRequiredPassesAnyPresentValue) {
  auto rule = D::initWithPropertyName("title")->isRequired();
  EXPECT_TRUE(passes(rule, ""));
  EXPECT_TRUE(passes(rule, 0));
  EXPECT_TRUE(passes(rule, false));
  EXPECT_TRUE(passes(rule, OVNValue::array({})));
  EXPECT_EQ(messages(rule, OVNValue::null()), std::vector<std::string>{"isRequired validation failed on title"});
}

TEST(PropertyDescriptorValidators, LengthRulesCountUtf16UnitsWithInclusiveBounds) {
  for (auto rule : {D::initWithPropertyName("p")->lengthRange(10, 2), D::initWithPropertyName("p")->lengthRange(2, 10)}) {
    EXPECT_FALSE(passes(rule, "a"));
    EXPECT_TRUE(passes(rule, "ab"));
    EXPECT_TRUE(passes(rule, "abcdefghij"));
    EXPECT_FALSE(passes(rule, "abcdefghijk"));
  }
  auto exact = D::initWithPropertyName("p")->length(3);
  EXPECT_TRUE(passes(exact, "abc"));
  EXPECT_TRUE(passes(exact, "h\xC3\xA9\xC3\xA9"));      // "héé": 5 bytes, 3 units
  EXPECT_TRUE(passes(exact, "\xF0\x9F\x98\x80" "a"));  // U+1F600 takes two units
  EXPECT_FALSE(passes(exact, "ab"));
  EXPECT_FALSE(passes(exact, "abcd"));
  auto atLeast = D::initWithPropertyName("p")->minLength(3);
  EXPECT_TRUE(passes(atLeast, "abc"));
  EXPECT_FALSE(passes(atLeast, "ab"));
  auto atMost = D::initWithPropertyName("p")->maxLength(3);
  EXPECT_TRUE(passes(atMost, ""));
  EXPECT_TRUE(passes(atMost, "abc"));
  EXPECT_FALSE(passes(atMost, "abcd"));
}

TEST(PropertyDescriptorValidators, MatchesRegexPassesOnlyWithoutAMatch) {
  auto digit = OVNRegularExpression::regularExpressionWithPattern("\\d", 0, nullptr);
  auto rule = D::initWithPropertyName("code")->matchesRegex(digit);
  EXPECT_TRUE(passes(rule, "ab"));
  EXPECT_TRUE(passes(rule, ""));
  EXPECT_EQ(messages(rule, "a1"), std::vector<std::string>{"matchesRegex validation failed on code"});
  EXPECT_FALSE(passes(rule, "abc9"));  // a match at the very end counts
}

TEST(PropertyDescriptorValidators, OneOfAndEqualToCompareByValue) {
  auto source = D::initWithPropertyName("p")->oneOf(OVNValue::array({"METAR", "PWS"}));
  EXPECT_TRUE(passes(source, "PWS"));
  EXPECT_FALSE(passes(source, "pws"));
  EXPECT_FALSE(passes(source, "MADIS"));
  auto numbers = D::initWithPropertyName("p")->oneOf(OVNSet::make({1, 2}));
  EXPECT_TRUE(passes(numbers, 2.0));  // numbers compare numerically
  EXPECT_FALSE(passes(numbers, 3));

  auto same = D::initWithPropertyName("p")->equalTo("abc");
  EXPECT_TRUE(passes(same, "abc"));
  EXPECT_FALSE(passes(same, "abd"));
  EXPECT_FALSE(passes(D::initWithPropertyName("p")->equalTo("5"), 5));  // not a string
}

TEST(PropertyDescriptorValidators, NumericRulesUseTheIntegerValueWithInclusiveBounds) {
  auto atLeastZero = D::initWithPropertyName("p")->min(0);
  EXPECT_FALSE(passes(atLeastZero, -1));
  EXPECT_TRUE(passes(atLeastZero, 0));
  EXPECT_TRUE(passes(atLeastZero, -0.5));  // integer value 0
  auto atMostTen = D::initWithPropertyName("p")->max(10);
  EXPECT_TRUE(passes(atMostTen, 10));
  EXPECT_TRUE(passes(atMostTen, 10.9));
  EXPECT_FALSE(passes(atMostTen, 11));
  EXPECT_TRUE(passes(atMostTen, "7"));
  EXPECT_FALSE(passes(atMostTen, "12"));

  auto onlyFive = D::initWithPropertyName("p")->range(5, 5);
  EXPECT_TRUE(passes(onlyFive, 5));
  EXPECT_TRUE(passes(onlyFive, 5.9));
  EXPECT_FALSE(passes(onlyFive, 4));
  EXPECT_FALSE(passes(onlyFive, 6));
  for (auto rule : {D::initWithPropertyName("p")->range(10, -10), D::initWithPropertyName("p")->range(-10, 10)}) {
    EXPECT_TRUE(passes(rule, -10));
    EXPECT_TRUE(passes(rule, 10));
    EXPECT_FALSE(passes(rule, -11));
    EXPECT_FALSE(passes(rule, 11));
  }
  auto big = D::initWithPropertyName("p")->min(4294967296LL);  // beyond 32 bits
  EXPECT_TRUE(passes(big, 4294967296LL));
  EXPECT_FALSE(passes(big, 4294967295LL));
}

TEST(TimestampDescriptor, IsAConvertedRuleInBothDirections) {
  auto rule = OVNTimestampDescriptor("observedAt");
  EXPECT_EQ(rule->type(), 3u);
  EXPECT_EQ(rule->mode(), 3u);
  EXPECT_EQ(rule->propertyName(), "observedAt");
}

TEST(TimestampDescriptor, DecodesWholeSecondsOfNumbersOnly) {
  const auto decode = OVNTimestampDescriptor("t")->decodingBlock();
  auto seconds = [&](const OVNValue& v) { return decode(v, "t").date()->timeIntervalSince1970(); };
  EXPECT_EQ(seconds(1500000000.9), utcSeconds(2017, 7, 14, 2, 40, 0));
  EXPECT_EQ(seconds(1500000000), utcSeconds(2017, 7, 14, 2, 40, 0));
  EXPECT_EQ(seconds(-1.5), -1.0);  // truncated towards zero
  EXPECT_EQ(seconds("1500000000"), 0.0);
  EXPECT_EQ(seconds(noValue()), 0.0);
  EXPECT_EQ(seconds(4294967301LL), 5.0);  // a signed 32-bit count: the high bits are lost
}

TEST(TimestampDescriptor, EncodesADateAsFloatingSeconds) {
  const auto encode = OVNTimestampDescriptor("t")->encodingBlock();
  const OVNValue encoded = encode(OVNDate::dateWithTimeIntervalSince1970(1500000000.25), "t");
  ASSERT_TRUE(encoded.number());
  EXPECT_TRUE(encoded.number()->isFloating());
  EXPECT_EQ(encoded.number()->doubleValue(), 1500000000.25);
}

}  // namespace
