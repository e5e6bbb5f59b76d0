#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/Values/OVNArray.h"
#include "PropertyMapper/NSArray+OVNDeepCopy.h"
#include "PropertyMapper/NSDictionary+OVNDeepCopy.h"
#include "PropertyMapper/NSMutableDictionary+OVNSafeValue.h"
#include "PropertyMapper/NSObject+OVNPropertyIntrospection.h"
#include "PropertyMapper/OVNPropertyMapper.h"
#include "Support/ConsoleCapture.h"

struct IntrospectionSpot {
  double x = 0, y = 0;
};
OVN_STRUCT_ENCODING(IntrospectionSpot, "{IntrospectionSpot=dd}");

namespace introspection_test {

class IntrospectionBase : public OVNObject {
  OVN_CLASS(IntrospectionBase, OVNObject)
 public:
  std::string title;
  std::int64_t count = 0;
};
class IntrospectionChild : public IntrospectionBase {
  OVN_CLASS(IntrospectionChild, IntrospectionBase)
 public:
  double ratio = 0;
};
// Redeclares `count` with another type.
class IntrospectionRedeclared : public IntrospectionBase {
  OVN_CLASS(IntrospectionRedeclared, IntrospectionBase)
 public:
  std::optional<std::string> count;
};
class IntrospectionEmpty : public OVNObject {
  OVN_CLASS(IntrospectionEmpty, OVNObject)
};

class IntrospectionItem : public OVNObject {
  OVN_CLASS(IntrospectionItem, OVNObject)
 public:
  bool flag = false;
  double amount = 0;
  float share = 0;
  std::int8_t small = 0;
  std::uint16_t port = 0;
  std::int64_t offset = 0;
  std::uint64_t total = 0;
  std::optional<std::string> note;
  std::optional<double> maybe;
  OVNValue anything;
  std::function<void()> handler;
  std::vector<std::shared_ptr<IntrospectionItem>> children;
  std::shared_ptr<IntrospectionBase> owner;
  IntrospectionSpot spot;
};

// One property of a const-qualified type, which the macros cannot declare.
class IntrospectionConst : public OVNObject {
  OVN_CLASS(IntrospectionConst, OVNObject)
};
class ConstTextAccessor final : public OVNPropertyAccessor {
 public:
  OVNValue get(const OVNObject&) const override { return "const text"; }
  SetResult set(OVNObject&, const OVNValue&) const override { return SetResult::Mismatch; }
};

}  // namespace introspection_test

using namespace introspection_test;

OVN_PROPERTIES(IntrospectionBase, title, count)
OVN_PROPERTIES(IntrospectionChild, ratio)
OVN_PROPERTIES(IntrospectionRedeclared, count)
OVN_PROPERTIES(IntrospectionEmpty)
OVN_PROPERTIES(IntrospectionItem, flag, amount, share, small, port, offset, total, note, maybe, anything, handler,
               children, owner, spot)

const OVNClass& IntrospectionConst::classObject() {
  static const OVNClass cls("IntrospectionConst", &OVNObject::classObject(),
                            [] { return OVNMake<IntrospectionConst>(); },
                            {OVNProperty("label", "Tr*,R,N", std::make_shared<ConstTextAccessor>())});
  return cls;
}

namespace {

TEST(PropertyIntrospectionType, AttributeTextsAndDeclaredMembersGiveTheirTypeStrings) {
  const std::vector<std::pair<std::string, std::string>> attributes = {
      {"T@\"NSString\",C,N,V_title", "NSString"},
      {"Tq,N,V_count", "q"},
      {"T@,&,N,V_extra", "id"},
      {"T@?,C,N,V_handler", "block"},
      {"T@\"NSArray<Foo>\",&,N,V_items", "NSArray<Foo>"},
      {"T{CGPoint=dd},N,V_origin", "{CGPoint=dd}"},
      {"TB,R,N", "B"},
      {"Td", "d"},
      {"R,N,T@\"Place\",&", "Place"},  // the first T piece, wherever it is
      {"R,N,V_name", ""},
      {"", ""}};
  for (const auto& [text, type] : attributes) EXPECT_EQ(getPropertyType(text), type) << text;

  // Only the class's own properties, in an immutable table.
  auto child = ovn_propertiesDictionaryFromClass(IntrospectionChild::classObject());
  EXPECT_TRUE(child->isEqual(*OVNDictionary::make({{"ratio", "d"}}))) << OVNValue(child).description();
  EXPECT_FALSE(child->isMutable());
  EXPECT_TRUE(ovn_propertiesDictionaryFromClass(IntrospectionEmpty::classObject())->empty());
  auto item = ovn_propertiesDictionaryFromClass(IntrospectionItem::classObject());
  const std::vector<std::pair<std::string, std::string>> expected = {{"amount", "d"},
                                                                     {"anything", "id"},
                                                                     {"children", "NSArray"},
                                                                     {"flag", "B"},
                                                                     {"handler", "block"},
                                                                     {"maybe", "NSNumber"},
                                                                     {"note", "NSString"},
                                                                     {"offset", "q"},
                                                                     {"owner", "IntrospectionBase"},
                                                                     {"port", "S"},
                                                                     {"share", "f"},
                                                                     {"small", "c"},
                                                                     {"spot", "{IntrospectionSpot=dd}"},
                                                                     {"total", "Q"}};
  ASSERT_EQ(item->count(), expected.size());
  for (const auto& [name, type] : expected) EXPECT_EQ(item->objectForKey(name).description(), type) << name;
}

TEST(PropertyIntrospectionTable, MapperTableCoversAncestorsWhichWinAndIsCached) {
  auto mapper = OVNPropertyMapper::init();
  auto table = mapper->propertiesForClass(IntrospectionChild::classObject());
  // Three of the model's own plus the four the root object declares.
  const std::vector<std::pair<std::string, std::string>> expected = {{"title", "NSString"},
                                                                     {"count", "q"},
                                                                     {"ratio", "d"},
                                                                     {"hash", "Q"},
                                                                     {"superclass", "#"},
                                                                     {"description", "NSString"},
                                                                     {"debugDescription", "NSString"}};
  ASSERT_EQ(table->count(), expected.size());
  for (const auto& [name, type] : expected) EXPECT_EQ(table->objectForKey(name).description(), type) << name;

  EXPECT_EQ(mapper->propertiesForClass(IntrospectionChild::classObject()), table);
  EXPECT_EQ(mapper->cachedPropertiesByClass()->objectForKey("IntrospectionChild").dictionary(), table);
  EXPECT_FALSE(mapper->cachedPropertiesByClass()->contains("IntrospectionBase"));

  // Where a subclass redeclares a property, the ancestor's type string wins.
  EXPECT_EQ(
      ovn_propertiesDictionaryFromClass(IntrospectionRedeclared::classObject())->objectForKey("count").description(),
      "NSString");
  EXPECT_EQ(mapper->propertiesForClass(IntrospectionRedeclared::classObject())->objectForKey("count").description(),
            "q");
}

TEST(PropertyIntrospectionWrapped, ScalarsAsNumbersOfTheirKindObjectsAsTheyAreStructuresBoxed) {
  auto item = OVNMake<IntrospectionItem>();
  item->flag = true;
  item->amount = 0.1;
  item->share = 1.5f;
  item->small = -5;
  item->port = 65535;
  item->offset = std::numeric_limits<std::int64_t>::min();
  item->total = std::numeric_limits<std::uint64_t>::max();
  item->owner = OVNMake<IntrospectionBase>();
  item->note = "n";
  item->spot = {1.25, -2.5};
  // The number a key gives, kept alive by the caller's full expression.
  auto wrapped = [&](const char* key) { return ovn_wrappedValueForKey(*item, key); };
  ASSERT_TRUE(wrapped("flag").number());
  EXPECT_TRUE(wrapped("flag").number()->isBoolean());
  EXPECT_EQ(wrapped("flag").number()->longLongValue(), 1);
  item->flag = false;
  EXPECT_TRUE(wrapped("flag").number()->isBoolean());
  EXPECT_EQ(wrapped("flag").number()->longLongValue(), 0);
  EXPECT_EQ(wrapped("amount").number()->doubleValue(), 0.1);
  EXPECT_EQ(wrapped("share").number()->doubleValue(), 1.5);
  EXPECT_EQ(wrapped("small").number()->longLongValue(), -5);
  EXPECT_EQ(wrapped("port").number()->longLongValue(), 65535);
  EXPECT_EQ(wrapped("offset").number()->longLongValue(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(wrapped("total").number()->unsignedLongLongValue(), std::numeric_limits<std::uint64_t>::max());

  EXPECT_EQ(ovn_wrappedValueForKey(*item, "owner").object(), item->owner);
  EXPECT_EQ(*ovn_wrappedValueForKey(*item, "note").string(), "n");
  EXPECT_TRUE(ovn_wrappedValueForKey(*item, "maybe").isMissing());
  OVNValue spot = ovn_wrappedValueForKey(*item, "spot");
  ASSERT_TRUE(spot.boxed());
  auto other = OVNMake<IntrospectionItem>();
  other->setValue(spot, "spot");
  EXPECT_EQ(other->spot.x, 1.25);
  EXPECT_EQ(other->spot.y, -2.5);

  auto constant = OVNMake<IntrospectionConst>();
  EXPECT_EQ(*constant->valueForKey("label").string(), "const text");    // the getter works...
  EXPECT_TRUE(ovn_wrappedValueForKey(*constant, "label").isMissing());  // ...but is not read
  try {
    ovn_wrappedValueForKey(*item, "nope");
    FAIL() << "no exception for an unknown key";
  } catch (const OVNException& e) {
    EXPECT_EQ(e.name(), OVNUndefinedKeyException);
  }
}

TEST(PropertyIntrospectionSafeValue, StoresAtExistingKeyPathsAndLogsTheResult) {
  const bool debug = OVNConsoleLog::isDebugEnabled();
  OVNConsoleLog::setDebugEnabled(true);
  ConsoleCapture console;
  auto dictionary = OVNDictionary::make({{"loc", OVNDictionary::make()}});
  ovn_setSafeValue(*dictionary, 45.5, "loc.lat");
  ovn_setSafeValue(*dictionary, "x", "name");
  ovn_setSafeValue(*dictionary, OVNValue::null(), "gone");
  ovn_setSafeValue(*dictionary, 7, "a.b");            // no "a": nothing stored
  ovn_setSafeValue(*dictionary, OVNValue(), "name");  // missing: nothing stored, nothing logged
  OVNConsoleLog::setDebugEnabled(debug);
  EXPECT_TRUE(dictionary->isEqual(*OVNDictionary::make(
      {{"loc", OVNValue::dictionary({{"lat", 45.5}})}, {"name", "x"}, {"gone", OVNValue::null()}})))
      << OVNValue(dictionary).description();
  EXPECT_EQ(console.lines(), (std::vector<std::string>{"DICT: setValue: 45.5, forKeyPath: loc.lat - result: 45.5",
                                                       "DICT: setValue: x, forKeyPath: name - result: x",
                                                       "DICT: setValue: <null>, forKeyPath: gone - result: <null>",
                                                       "DICT: setValue: 7, forKeyPath: a.b - result: (null)"}));
}

TEST(PropertyIntrospectionDeepCopy, DeepCopyCopiesOneLevelMutableDeepCopyAllLevels) {
  // {"list": [{"k": "v"}], "inner": {"a": 1}}, all containers mutable.
  auto make = [] {
    return OVNDictionary::make(
        {{"list", OVNValue::array({OVNValue::dictionary({{"k", "v"}})})}, {"inner", OVNValue::dictionary({{"a", 1}})}});
  };
  auto source = make();
  auto copy = ovn_deepCopy(source);
  ASSERT_TRUE(copy);
  EXPECT_TRUE(copy->isMutable());
  EXPECT_TRUE(copy->isEqual(*source));
  EXPECT_NE(copy->objectForKey("inner").dictionary(), source->objectForKey("inner").dictionary());
  EXPECT_FALSE(copy->objectForKey("inner").dictionary()->isMutable());
  auto copiedList = copy->objectForKey("list").array();
  EXPECT_NE(copiedList, source->objectForKey("list").array());
  EXPECT_EQ(copiedList->at(0).dictionary(), source->objectForKey("list").array()->at(0).dictionary());
  copy->set("inner", "changed");
  EXPECT_TRUE(source->isEqual(*make()));

  auto deep = ovn_mutableDeepCopy(source);
  ASSERT_TRUE(deep);
  EXPECT_TRUE(deep->isEqual(*source));
  auto list = deep->objectForKey("list").array();
  auto element = list->at(0).dictionary();
  auto inner = deep->objectForKey("inner").dictionary();
  ASSERT_TRUE(deep->isMutable() && list->isMutable() && element->isMutable() && inner->isMutable());
  element->set("k", "changed");
  list->add("more");
  inner->remove("a");
  EXPECT_TRUE(source->isEqual(*make()));
  EXPECT_EQ(ovn_deepCopy(OVNDictionaryRef()), nullptr);
  EXPECT_EQ(ovn_mutableDeepCopy(OVNDictionaryRef()), nullptr);

  // The array forms follow the same rules.
  auto array = OVNArray::make({source, "s"});
  auto shallow = ovn_deepCopy(array);
  EXPECT_TRUE(shallow->isMutable());
  EXPECT_NE(shallow->at(0).dictionary(), source);
  EXPECT_FALSE(shallow->at(0).dictionary()->isMutable());
  EXPECT_EQ(shallow->at(0).dictionary()->objectForKey("inner").dictionary(),
            source->objectForKey("inner").dictionary());
  auto deepArray = ovn_mutableDeepCopy(array);
  auto deepInner = deepArray->at(0).dictionary()->objectForKey("inner").dictionary();
  ASSERT_TRUE(deepInner->isMutable());
  deepInner->set("a", 2);
  EXPECT_EQ(source->valueForKeyPath("inner.a").number()->longLongValue(), 1);
  EXPECT_EQ(*deepArray->at(1).string(), "s");
}

}  // namespace
