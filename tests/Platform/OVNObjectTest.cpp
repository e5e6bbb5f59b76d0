#include <gtest/gtest.h>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"
#include "Support/TestModels.h"

namespace {

std::string attributesOf(const OVNClass& cls, std::string_view name) {
  const OVNProperty* p = cls.ownProperty(name);
  return p ? p->attributes() : "<none>";
}

TEST(OVNClassTest, AttributeTextsFollowMemberTypes) {
  const OVNClass& cls = TestStation::classObject();
  const std::pair<const char*, const char*> expected[] = {
      {"title", "T@\"NSString\",C,N,V_title"},
      {"code", "T@\"NSString\",C,N,V_code"},
      {"count", "Tq,N,V_count"},
      {"total", "TQ,N,V_total"},
      {"small", "Ti,N,V_small"},
      {"tiny", "Ts,N,V_tiny"},
      {"byte", "TC,N,V_byte"},
      {"temperature", "Td,N,V_temperature"},
      {"ratio", "Tf,N,V_ratio"},
      {"active", "TB,N,V_active"},
      {"color", "Ti,N,V_color"},
      {"pressure", "T@\"NSNumber\",&,N,V_pressure"},
      {"observedAt", "T@\"NSDate\",&,N,V_observedAt"},
      {"extra", "T@,&,N,V_extra"},
      {"readings", "T@\"NSArray\",&,N,V_readings"},
      {"attributes", "T@\"NSDictionary\",&,N,V_attributes"},
      {"payload", "T@\"NSData\",&,N,V_payload"},
      {"tags", "T@\"NSSet\",&,N,V_tags"},
      {"history", "T@\"NSOrderedSet\",&,N,V_history"},
      {"rank", "T@\"NSNumber\",&,N,V_rank"},
      {"port", "TS,N,V_port"},
      {"flags", "TI,N,V_flags"},
      {"grade", "Tc,N,V_grade"},
      {"place", "T@\"TestPlace\",&,N,V_place"},
      {"nearby", "T@\"TestPlace\",W,N,V_nearby"},
      {"places", "T@\"NSArray\",&,N,V_places"},
      {"handler", "T@?,C,N,V_handler"},
      {"origin", "T{CGPoint=dd},N,V_origin"},
      {"summary", "T@\"NSString\",R,C,N"},
      {"elevation", "Td,N,D"},
  };
  for (const auto& [name, attributes] : expected) EXPECT_EQ(attributesOf(cls, name), attributes) << name;
}

TEST(OVNClassTest, OwnPropertiesInDeclarationOrderAndHierarchy) {
  const OVNClass& sub = TestSubStation::classObject();
  ASSERT_EQ(sub.properties().size(), 1u);
  EXPECT_EQ(sub.properties()[0].name(), "network");
  EXPECT_EQ(sub.superclass(), &TestStation::classObject());
  EXPECT_EQ(TestStation::classObject().properties().front().name(), "title");
  EXPECT_EQ(TestStation::classObject().properties().back().name(), "elevation");
  EXPECT_EQ(sub.ownProperty("title"), nullptr);
  EXPECT_NE(sub.property("title"), nullptr);        // reached through the superclass
  EXPECT_NE(sub.property("description"), nullptr);  // the root's own properties

  const OVNClass& root = OVNObject::classObject();
  EXPECT_EQ(root.name(), "NSObject");
  std::vector<std::string> rootNames;
  for (const auto& p : root.properties()) rootNames.push_back(p.name());
  EXPECT_EQ(rootNames, (std::vector<std::string>{"hash", "superclass", "description", "debugDescription"}));
  EXPECT_TRUE(root.ownProperty("hash")->isReadOnly());
}

TEST(OVNClassTest, RegistryFindsClassesAndMakesInstances) {
  const OVNClass* cls = OVNClass::named("TestSubStation");
  ASSERT_NE(cls, nullptr);
  OVNObjectRef object = cls->createInstance();
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(object->className(), "TestSubStation");
  EXPECT_TRUE(object->isKindOfClass(TestStation::classObject()));
  EXPECT_FALSE(object->isMemberOfClass(TestStation::classObject()));
  EXPECT_EQ(OVNClass::named("OVNObject"), &OVNObject::classObject());
  EXPECT_EQ(OVNClass::named("NoSuchClass"), nullptr);

  const OVNClass* mutableArray = OVNClass::named("NSMutableArray");
  ASSERT_NE(mutableArray, nullptr);
  EXPECT_TRUE(mutableArray->isInstance(OVNArray::make({1})));
  EXPECT_FALSE(mutableArray->isInstance(OVNArray::make({1}, false)));
  EXPECT_TRUE(OVNValue(OVNArray::make({1})).isKindOfClassNamed("NSArray"));
  EXPECT_TRUE(OVNValue(3).isKindOfClassNamed("NSValue"));
  EXPECT_TRUE(OVNValue("x").isKindOfClassNamed("NSObject"));
  EXPECT_FALSE(OVNValue().isKindOfClassNamed("NSObject"));
}

TEST(OVNObjectTest, KeyValueCodingRoundTripsEveryKind) {
  auto station = OVNMake<TestStation>();
  auto place = OVNMake<TestPlace>();
  place->name = "Austin";
  const OVNValue handler = OVNBlock::make(std::function<void(int)>([](int) {}));
  const std::pair<const char*, OVNValue> values[] = {
      {"title", "Camp Mabry"},
      {"code", "KATT"},
      {"count", 42},
      {"total", 7u},
      {"small", -3},
      {"tiny", 12},
      {"byte", 200},
      {"temperature", 21.5},
      {"ratio", 0.5},
      {"active", true},
      {"pressure", 1013.25},
      {"observedAt", OVNDate(1000)},
      {"extra", OVNValue::null()},
      {"readings", OVNArray::make({1, 2})},
      {"attributes", OVNDictionary::make({{"a", 1}})},
      {"place", place},
      {"payload", OVNData::fromString("raw")},
      {"tags", OVNSet::make({"a"})},
      {"history", OVNOrderedSet::make({"x", "y"})},
      {"rank", 3},
      {"port", 8080},
      {"flags", 4294967295u},
      {"grade", 66},
      {"nearby", place},
      {"places", OVNArray::make({place})},
      {"codes", OVNArray::make({1, 2, 3})},
      {"elevation", 149.0},
  };
  for (const auto& [key, value] : values) {
    station->setValue(value, key);
    EXPECT_TRUE(station->valueForKey(key).isEqual(value)) << key << ": " << station->valueForKey(key).description();
  }
  EXPECT_EQ(station->count, 42);
  EXPECT_EQ(station->byte, 200);
  EXPECT_EQ(station->elevation(), 149.0);
  EXPECT_EQ(station->places.at(0), place);

  // Scalars come back as numbers of their own kind.
  EXPECT_EQ(station->valueForKey("active").number()->kind(), OVNNumberKind::Boolean);
  EXPECT_EQ(station->valueForKey("temperature").number()->kind(), OVNNumberKind::Floating);
  EXPECT_EQ(station->valueForKey("total").number()->kind(), OVNNumberKind::Unsigned);

  station->setValue(handler, "handler");
  EXPECT_TRUE(station->handler);
  station->setValue(OVNBoxedValue::make(TestPoint{1, 2}, "{CGPoint=dd}"), "origin");
  EXPECT_EQ(station->origin.y, 2);
  EXPECT_EQ(station->valueForKey("origin").boxed()->encoding(), "{CGPoint=dd}");
  station->setValue(static_cast<int>(TestColor::Green), "color");
  EXPECT_EQ(station->color, TestColor::Green);
  EXPECT_EQ(*station->valueForKey("summary").string(), "Camp Mabry/42");
}

TEST(OVNObjectTest, ConversionsAndClearing) {
  auto station = OVNMake<TestStation>();
  station->setValue("12.75", "temperature");  // strings convert as the platform reads them
  EXPECT_EQ(station->temperature, 12.75);
  station->setValue(" 17abc", "count");
  EXPECT_EQ(station->count, 17);
  station->setValue(3.9, "count");  // floating values truncate into integers
  EXPECT_EQ(station->count, 3);
  station->setValue("yes", "active");
  EXPECT_TRUE(station->active);

  station->title = "t";
  station->setValue(OVNValue(), "title");
  EXPECT_FALSE(station->title.has_value());
  EXPECT_TRUE(station->valueForKey("title").isMissing());
  station->setValue(OVNValue::null(), "pressure");
  EXPECT_FALSE(station->pressure.has_value());

  // Missing for a scalar asks setNilValueForKey, which refuses.
  EXPECT_THROW(station->setValue(OVNValue(), "count"), OVNException);
  // A value of the wrong kind is a programming error, and the member keeps its value.
  station->code = "KATT";
  try {
    station->setValue(5, "code");
    FAIL() << "expected an exception";
  } catch (const OVNException& e) {
    EXPECT_EQ(e.name(), OVNInvalidArgumentException);
  }
  EXPECT_EQ(station->code, "KATT");
  EXPECT_THROW(station->setValue(OVNArray::make({OVNDictionary::make({})}), "codes"), OVNException);
}

TEST(OVNObjectTest, UnknownAndReadOnlyKeysThrowUndefinedKey) {
  auto station = OVNMake<TestStation>();
  try {
    station->valueForKey("nope");
    FAIL();
  } catch (const OVNException& e) {
    EXPECT_EQ(e.name(), OVNUndefinedKeyException);
    EXPECT_NE(e.reason().find("not key value coding-compliant for the key nope."), std::string::npos);
  }
  EXPECT_THROW(station->setValue(1, "summary"), OVNException);
  EXPECT_THROW(station->setValue(1, "description"), OVNException);
}

TEST(OVNObjectTest, KeyPathsWalkObjectsDictionariesAndArrays) {
  auto station = OVNMake<TestStation>();
  auto place = OVNMake<TestPlace>();
  auto parent = OVNMake<TestPlace>();
  parent->name = "Texas";
  place->parent = parent;
  station->place = place;
  station->attributes = OVNDictionary::make({{"inner", OVNDictionary::make({{"depth", 2}})}});
  auto a = OVNMake<TestPlace>();
  a->name = "A";
  auto b = OVNMake<TestPlace>();
  b->name = "B";
  station->places = {a, b};

  EXPECT_EQ(*station->valueForKeyPath("place.parent.name").string(), "Texas");
  EXPECT_EQ(station->valueForKeyPath("attributes.inner.depth").longLongValue(), 2);
  EXPECT_TRUE(station->valueForKeyPath("place.parent.parent.name").isMissing());
  EXPECT_TRUE(station->valueForKeyPath("places.name").isEqual(OVNArray::make({"A", "B"})));

  station->setValueForKeyPath("Lone Star", "place.parent.name");
  EXPECT_EQ(parent->name, "Lone Star");
  station->setValueForKeyPath(3, "attributes.inner.depth");
  EXPECT_EQ(station->valueForKeyPath("attributes.inner.depth").longLongValue(), 3);
}

TEST(OVNObjectTest, RespondsToGettersSettersAndHooks) {
  auto sub = OVNMake<TestSubStation>();
  EXPECT_TRUE(sub->respondsTo("title"));
  EXPECT_TRUE(sub->respondsTo("setTitle:"));
  EXPECT_TRUE(sub->respondsTo("network"));
  EXPECT_TRUE(sub->respondsTo("codableKeys"));
  EXPECT_FALSE(sub->respondsTo("setSummary:"));  // read-only
  EXPECT_FALSE(sub->respondsTo("settitle:"));
  EXPECT_FALSE(OVNMake<TestStation>()->respondsTo("codableKeys"));  // declared by the subclass only
}

TEST(OVNObjectTest, DescriptionEqualityAndCopying) {
  auto station = OVNMake<TestStation>();
  auto other = OVNMake<TestStation>();
  EXPECT_EQ(station->description().rfind("<TestStation: 0x", 0), 0u);
  EXPECT_TRUE(station->isEqual(*station));
  EXPECT_FALSE(station->isEqual(*other));
  EXPECT_FALSE(station->supportsCopying());
  EXPECT_THROW(station->copy(), OVNException);
  // A value holding an object that cannot copy keeps the same object.
  EXPECT_EQ(OVNValue(station).copy().object(), station);
}

class CreationHookObject : public OVNObject {
  OVN_CLASS(CreationHookObject, OVNObject)
 public:
  std::string seenClass;

 protected:
  void didCreate() override { seenClass = className(); }
};
class CreationHookSubclass : public CreationHookObject {
  OVN_CLASS(CreationHookSubclass, CreationHookObject)
};

TEST(OVNObjectTest, FactoriesRunTheHookOnTheMostDerivedClass) {
  EXPECT_EQ(OVNMake<CreationHookSubclass>()->seenClass, "CreationHookSubclass");
  auto made = OVNClass::named("CreationHookSubclass")->createInstance();
  EXPECT_EQ(std::static_pointer_cast<CreationHookObject>(made)->seenClass, "CreationHookSubclass");
}

// A member exposed under another property name.
class RenamedFieldObject : public OVNObject {
  OVN_CLASS(RenamedFieldObject, OVNObject)
 public:
  std::optional<std::string> hiddenTitle_;
  std::int64_t count_ = 0;
  std::string label;
};

TEST(OVNObjectTest, RenamedFieldNamesTheMemberAndIsReachedByPropertyName) {
  const OVNClass& cls = RenamedFieldObject::classObject();
  EXPECT_EQ(attributesOf(cls, "title"), "T@\"NSString\",C,N,VhiddenTitle_");
  EXPECT_EQ(attributesOf(cls, "count"), "Tq,N,Vcount_");
  EXPECT_EQ(attributesOf(cls, "label"), "T@\"NSString\",C,N,V_label");
  EXPECT_EQ(cls.ownProperty("hiddenTitle_"), nullptr);
  EXPECT_EQ(cls.ownProperty("title")->fieldName(), "hiddenTitle_");
  EXPECT_FALSE(cls.ownProperty("title")->isReadOnly());
  EXPECT_FALSE(cls.ownProperty("title")->isDynamic());

  auto object = OVNMake<RenamedFieldObject>();
  object->setValue("Austin", "title");
  object->setValue(7, "count");
  EXPECT_EQ(object->hiddenTitle_, "Austin");
  EXPECT_EQ(object->count_, 7);
  object->hiddenTitle_ = "Dallas";
  EXPECT_EQ(*object->valueForKey("title").string(), "Dallas");
  EXPECT_TRUE(object->respondsTo("setTitle:"));
  EXPECT_THROW(object->valueForKey("hiddenTitle_"), OVNException);
}

}  // namespace

OVN_PROPERTIES(CreationHookObject)
OVN_PROPERTIES(CreationHookSubclass)
OVN_PROPERTIES(RenamedFieldObject, (title, stored_as, hiddenTitle_), (count, stored_as, count_), label)
