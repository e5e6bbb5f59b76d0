#include <gtest/gtest.h>

#include "NSArray+OVNApiObject.h"
#include "NSObject+OVNApiObject.h"
#include "OVNApiObject.h"
#include "Observation.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNArray.h"

namespace apiobjecttest {

class ApiObjectBase : public OVNApiObject {
  OVN_CLASS(ApiObjectBase, OVNApiObject)
 public:
  std::string name;
  std::int64_t count = 0;
  std::string label() const { return "L:" + name; }
};

// Redeclares `count` with another type: the ancestor's declaration must win in listings.
class ApiObjectChild : public ApiObjectBase {
  OVN_CLASS(ApiObjectChild, ApiObjectBase)
 public:
  double count = 0;
  std::optional<std::string> note;
  OVNArrayRef items;
  std::shared_ptr<Place> place;
  OVNDictionaryRef raw;
};

OVN_PROPERTIES(ApiObjectBase, name, count, label)
OVN_PROPERTIES(ApiObjectChild, count, note, items, place, raw)

}  // namespace apiobjecttest

namespace {
using apiobjecttest::ApiObjectBase;
using apiobjecttest::ApiObjectChild;

std::string typeOf(const OVNDictionaryRef& listing, std::string_view name) {
  const OVNValue type = listing->objectForKey(name);
  return type.isString() ? *type.string() : "<absent>";
}

TEST(OVNApiObjectTest, PropertyListingsWalkTheHierarchyAndAncestorsWin) {
  auto all = OVNApiObject::propertiesOfClass(&ApiObjectChild::classObject(), false);
  EXPECT_EQ(typeOf(all, "count"), "q") << "the base declares count as a 64-bit integer";
  EXPECT_EQ(typeOf(all, "note"), "NSString");
  EXPECT_EQ(typeOf(all, "place"), "Place");
  EXPECT_EQ(typeOf(all, "label"), "NSString");
  EXPECT_EQ(typeOf(all, "identifier"), "id");
  EXPECT_FALSE(all->isMutable());

  auto writable = OVNApiObject::propertiesOfClass(&ApiObjectChild::classObject(), true);
  EXPECT_EQ(typeOf(writable, "label"), "<absent>");
  EXPECT_EQ(typeOf(writable, "identifier"), "<absent>");
  EXPECT_EQ(writable->count(), all->count() - 2);

  auto own = OVNApiObject::propertiesOfSubclass(&ApiObjectChild::classObject(), false);
  EXPECT_EQ(own->count(), 5u);
  EXPECT_EQ(typeOf(own, "count"), "d");
  EXPECT_EQ(typeOf(own, "name"), "<absent>");

  EXPECT_FALSE(OVNApiObject::propertiesOfClass(nullptr, false));
  EXPECT_FALSE(OVNApiObject::propertiesOfSubclass(nullptr, true));
  EXPECT_TRUE(OVNApiObject::propertiesOfClass(&OVNObject::classObject(), false)->empty())
      << "the root's own properties are never listed";
  auto child = OVNMake<ApiObjectChild>();
  EXPECT_TRUE(OVNApiObject::propertiesOfObject(*child, false)->isEqual(*all));
}

TEST(OVNApiObjectTest, UpdateWithObjectCopiesWritablePropertiesIncludingNulls) {
  auto source = OVNMake<ApiObjectChild>();
  source->name = "Austin";
  source->note.reset();
  source->items = OVNArray::make({1, 2});
  auto target = OVNMake<ApiObjectChild>();
  target->note = "stale";
  target->count = 4.5;
  target->updateWithObject(source);
  EXPECT_EQ(target->name, "Austin");
  EXPECT_FALSE(target->note) << "a missing value clears the receiver's";
  EXPECT_EQ(target->items, source->items) << "values are shared, not copied";
  EXPECT_EQ(target->count, 0);

  // A dictionary works as the source too; keys it lacks clear object properties and leave
  // scalars as they are.
  auto fromDictionary = OVNMake<ApiObjectChild>();
  fromDictionary->count = 2;
  fromDictionary->note = "old";
  fromDictionary->updateWithObject(OVNValue::dictionary({{"name", "Dallas"}}));
  EXPECT_EQ(fromDictionary->name, "Dallas");
  EXPECT_FALSE(fromDictionary->note);
  EXPECT_EQ(fromDictionary->count, 2);
}

TEST(OVNApiObjectTest, ToDictionaryConvertsModelsAndArraysButNotNestedContainers) {
  auto place = OVNMake<Place>();
  place->name = "austin";
  auto inner = OVNArray::make({"x"});
  auto object = OVNMake<ApiObjectChild>();
  object->name = "Austin";
  object->count = 2.5;
  object->place = place;
  object->items = OVNArray::make({OVNValue(place), OVNValue(inner), "text", 3, OVNValue::null()});
  object->raw = OVNDictionary::make({{"nested", OVNValue(place)}});

  OVNDictionaryRef dictionary = object->toDictionary();
  EXPECT_EQ(*dictionary->objectForKey("name").string(), "Austin");
  EXPECT_DOUBLE_EQ(*dictionary->objectForKey("count").doubleValue(), 2.5);
  EXPECT_TRUE(dictionary->objectForKey("note").isNull()) << "nothing becomes null";
  EXPECT_TRUE(dictionary->objectForKey("identifier").isNull());
  EXPECT_EQ(*dictionary->objectForKey("label").string(), "L:Austin");
  EXPECT_EQ(*dictionary->objectForKey("place").dictionary()->objectForKey("name").string(), "austin");

  OVNArrayRef items = dictionary->objectForKey("items").array();
  ASSERT_TRUE(items);
  ASSERT_EQ(items->count(), 5u);
  EXPECT_TRUE(items->at(0).isDictionary()) << "a model in an array becomes its dictionary";
  EXPECT_EQ(items->at(1).array(), inner) << "an array inside the array stays as it is";
  EXPECT_EQ(*items->at(2).string(), "text");
  EXPECT_TRUE(items->at(4).isNull());
  // Nested dictionaries are kept as they are, models inside them included.
  EXPECT_TRUE(dictionary->objectForKey("raw").dictionary()->objectForKey("nested").objectAs<Place>());
  EXPECT_FALSE(ovn_toDictionary(OVNArrayRef()));
}

}  // namespace
