#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Text/OVNRegularExpression.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNSet.h"
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

D::Ref p() { return D::initWithPropertyName("p"); }

std::vector<std::string> texts(const std::vector<std::shared_ptr<OVNError>>& errors) {
  std::vector<std::string> texts;
  for (const auto& error : errors) texts.push_back(error->localizedDescription());
  return texts;
}

// The messages of every error a descriptor reports for `value`, in order.
std::vector<std::string> messages(const D::Ref& descriptor, const OVNValue& value) {
  return texts(descriptor->validateValue(value));
}

TEST(PropertyDescriptorInit, EachInitializerSetsItsKindAndMode) {
  const OVNClass& gizmo = DescriptorGizmo::classObject();
  auto convert = [](const OVNValue& v, const std::string&) { return v; };
  auto generate = [](const OVNObjectRef&) { return OVNValue(1); };
  auto consume = [](const OVNValue&, const OVNObjectRef&) {};
  constexpr std::uint64_t kNoMode = 0;  // neither direction
  struct Row {
    D::Ref descriptor;
    std::uint64_t type, mode;
  };
  const std::vector<Row> rows = {
      {D::initWithPropertyName("title"), D::Plain, D::EncodeDecode},
      {D::initWithPropertyName("title", D::Encode), D::Plain, D::Encode},
      {D::initWithPropertyName("gizmo", gizmo), D::NestedObject, D::EncodeDecode},
      {D::initWithPropertyName("gizmo", gizmo, D::Decode), D::NestedObject, D::Decode},
      {D::initWithPropertyName("label", std::string("gizmo"), gizmo), D::NestedProperty, D::EncodeDecode},
      // Callback kinds: Encode with an encoder, Decode with a decoder.
      {D::initWithPropertyName("p", convert, convert), D::Converted, D::EncodeDecode},
      {D::initWithPropertyName("p", convert, OVNPropertyDecodingBlock{}), D::Converted, D::Encode},
      {D::initWithPropertyName("p", OVNPropertyEncodingBlock{}, convert), D::Converted, D::Decode},
      {D::initWithPropertyName("p", OVNPropertyEncodingBlock{}, OVNPropertyDecodingBlock{}), D::Converted, kNoMode},
      {D::initWithEncodingGenerationBlock(generate, consume), D::WholeObject, D::EncodeDecode},
      {D::initWithEncodingGenerationBlock(generate, {}), D::WholeObject, D::Encode},
      {D::initWithEncodingGenerationBlock({}, consume), D::WholeObject, D::Decode},
      {D::initWithEncodingGenerationBlock({}, {}), D::WholeObject, kNoMode},
      {OVNTimestampDescriptor("observedAt"), D::Converted, D::EncodeDecode},
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].descriptor->type(), rows[i].type) << "row " << i;
    EXPECT_EQ(rows[i].descriptor->mode(), rows[i].mode) << "row " << i;
  }
  EXPECT_EQ(rows[0].descriptor->propertyName(), "title");
  EXPECT_EQ(rows[2].descriptor->propertyClass(), &gizmo);
  EXPECT_EQ(rows[4].descriptor->propertyName(), "label");
  EXPECT_EQ(rows[4].descriptor->classPropertyName(), "gizmo");
  EXPECT_EQ(rows[4].descriptor->propertyClass(), &gizmo);
  EXPECT_TRUE(rows[9].descriptor->propertyName().empty());
  EXPECT_EQ(rows[13].descriptor->propertyName(), "observedAt");

  try {
    D::init();
    FAIL() << "init() returned";
  } catch (const OVNException& e) {
    EXPECT_EQ(e.name(), OVNInvalidArgumentException);
    EXPECT_NE(e.reason().find("unrecognized selector"), std::string::npos) << e.reason();
  }
}

TEST(PropertyDescriptorValidation, ErrorsComeInValidatorOrderWithDomainCodeAndMessage) {
  auto descriptor = D::initWithPropertyName("code");
  int customCalls = 0;
  descriptor->minLength(5)->equalTo("zzz")->maxLength(10);
  descriptor->addValidatorWithBlock([&](const OVNValue& value, const std::string& name) -> std::shared_ptr<OVNError> {
    ++customCalls;
    return OVNError::errorWithDomain("test", 7, name + "=" + value.description());
  });
  const auto errors = descriptor->validateValue("abc");
  ASSERT_EQ(texts(errors), (std::vector<std::string>{"minLength validation failed on code",
                                                     "equalTo validation failed on code", "code=abc"}));
  EXPECT_EQ(customCalls, 1);
  EXPECT_EQ(errors[0]->domain(), "com.ovrinweather.property-mapper");
  EXPECT_EQ(errors[0]->code(), 60550);
  EXPECT_EQ(errors[0]->userInfo()->objectForKey(OVNLocalizedDescriptionKey).description(),
            "minLength validation failed on code");
  EXPECT_EQ(OVNPropertyMapperErrorDescription, nullptr);  // exported, holds nothing

  // A named rule runs even on nothing, and nothing fails whatever it answers.
  auto always = D::initWithPropertyName("title");
  int calls = 0;
  always->addValidatorWithName("always", [&](const OVNValue&) { return ++calls > 0; });
  EXPECT_TRUE(always->validateValue("x").empty());
  for (const OVNValue& nothing : {OVNValue(), OVNValue::null()})
    EXPECT_EQ(messages(always, nothing), std::vector<std::string>{"always validation failed on title"});
  EXPECT_EQ(calls, 3);
}

TEST(PropertyDescriptorValidators, EveryReadyMadeRuleChainsAndRefusesMissingAndNull) {
  auto digit = OVNRegularExpression::regularExpressionWithPattern("\\d", 0, nullptr);
  ASSERT_TRUE(digit);
  // Bounds that a length or integer value of 0 would meet.
  auto all = p();
  EXPECT_EQ(all->isRequired()
                ->lengthRange(0, 5)
                ->matchesRegex(digit)
                ->length(0)
                ->minLength(0)
                ->maxLength(5)
                ->oneOf(OVNValue::array({OVNValue::null()}))
                ->equalTo("")
                ->min(0)
                ->max(0)
                ->range(-1, 1),
            all);
  EXPECT_EQ(all->validationBlocks().size(), 11u);
  std::vector<std::string> expected;
  for (const char* name : {"isRequired", "lengthRange", "matchesRegex", "length", "minLength", "maxLength", "oneOf",
                           "equalTo", "min", "max", "range"})
    expected.push_back(std::string(name) + " validation failed on p");
  EXPECT_EQ(messages(all, OVNValue()), expected);
  EXPECT_EQ(messages(all, OVNValue::null()), expected);
}

TEST(PropertyDescriptorValidators, EachRulePassesAndRefusesWhatItSays) {
  auto digit = OVNRegularExpression::regularExpressionWithPattern("\\d", 0, nullptr);
  struct Row {
    D::Ref rule;
    std::vector<OVNValue> passing, failing;
  };
  const std::vector<Row> rows = {
      {p()->isRequired(), {"", 0, false, OVNValue::array({})}, {}},
      // Bounds are inclusive whichever order they come in; lengths count UTF-16 units.
      {p()->lengthRange(10, 2), {"ab", "abcdefghij"}, {"a", "abcdefghijk"}},
      {p()->lengthRange(2, 10), {"ab", "abcdefghij"}, {"a", "abcdefghijk"}},
      {p()->length(3),
       {"abc", "h\xC3\xA9\xC3\xA9",
        "\xF0\x9F\x98\x80"
        "a"},
       {"ab", "abcd"}},
      {p()->minLength(3), {"abc"}, {"ab"}},
      {p()->maxLength(3), {"", "abc"}, {"abcd"}},
      // Passes only when the expression finds no match, also at the very end.
      {p()->matchesRegex(digit), {"ab", ""}, {"a1", "abc9"}},
      {p()->oneOf(OVNValue::array({"METAR", "PWS"})), {"PWS"}, {"pws", "MADIS"}},
      {p()->oneOf(OVNSet::make({1, 2})), {2.0}, {3}},
      {p()->equalTo("abc"), {"abc"}, {"abd"}},
      {p()->equalTo("5"), {}, {5}},
      // Numbers compare by their integer value; numeric strings count.
      {p()->min(0), {0, -0.5}, {-1}},
      {p()->max(10), {10, 10.9, "7"}, {11, "12"}},
      {p()->range(5, 5), {5, 5.9}, {4, 6}},
      {p()->range(10, -10), {-10, 10}, {-11, 11}},
      {p()->range(-10, 10), {-10, 10}, {-11, 11}},
      {p()->min(4294967296LL), {4294967296LL}, {4294967295LL}},
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (const OVNValue& value : rows[i].passing)
      EXPECT_TRUE(rows[i].rule->validateValue(value).empty()) << "row " << i << " " << value.description();
    for (const OVNValue& value : rows[i].failing)
      EXPECT_EQ(rows[i].rule->validateValue(value).size(), 1u) << "row " << i << " " << value.description();
  }
}

TEST(TimestampDescriptor, DecodesWholeSecondsOfNumbersAndEncodesFloatingSeconds) {
  const auto rule = OVNTimestampDescriptor("t");
  const std::vector<std::pair<OVNValue, double>> rows = {
      {1500000000.9, 1500000000.0},
      {1500000000, 1500000000.0},
      {-1.5, -1.0},  // truncated towards zero
      {"1500000000", 0.0},
      {OVNValue(), 0.0},
      {4294967301LL, 5.0},  // a signed 32-bit count: the high bits are lost
  };
  for (const auto& [input, seconds] : rows)
    EXPECT_EQ(rule->decodingBlock()(input, "t").date()->timeIntervalSince1970(), seconds) << input.description();

  const OVNValue encoded = rule->encodingBlock()(OVNDate::dateWithTimeIntervalSince1970(1500000000.25), "t");
  ASSERT_TRUE(encoded.number());
  EXPECT_TRUE(encoded.number()->isFloating());
  EXPECT_EQ(encoded.number()->doubleValue(), 1500000000.25);
}

}  // namespace
