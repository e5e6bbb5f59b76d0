#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNBlock.h"
#include "Platform/Values/OVNBoxedValue.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"

// A small model that codes every scalar kind, a string, a nested model and an untyped
// value, and counts its constructions.
class CodingPlace : public OVNObject {
  OVN_CLASS(CodingPlace, OVNObject)
 public:
  static inline int constructed = 0;
  CodingPlace() { ++constructed; }

  std::string name;
  double latitude = 0;
  std::int64_t elevation = 0;
  bool coastal = false;
  std::shared_ptr<CodingPlace> parent;
  OVNValue extra;

  bool supportsKeyedCoding() const override { return true; }
  bool supportsSecureCoding() const override { return true; }
  void encodeWithCoder(OVNCoder& coder) const override {
    OVNSuper::encodeWithCoder(coder);
    coder.encodeObject(name, "name");
    coder.encodeDouble(latitude, "latitude");
    coder.encodeInt64(elevation, "elevation");
    coder.encodeBool(coastal, "coastal");
    coder.encodeObject(parent, "parent");
    coder.encodeObject(extra, "extra");
  }
  bool initWithCoder(OVNCoder& coder) override {
    if (!OVNSuper::initWithCoder(coder)) return false;
    const OVNValue decodedName = coder.decodeObjectOfClass(*OVNClass::named("NSString"), "name");
    if (decodedName.string()) name = *decodedName.string();
    latitude = coder.decodeDoubleForKey("latitude");
    elevation = coder.decodeInt64ForKey("elevation");
    coastal = coder.decodeBoolForKey("coastal");
    parent = coder.decodeObjectOfClass(CodingPlace::classObject(), "parent").objectAs<CodingPlace>();
    extra = coder.decodeObjectForKey("extra");
    return true;
  }
};
OVN_PROPERTIES(CodingPlace, name, latitude, elevation, coastal, parent, extra)

class CodingCity : public CodingPlace {
  OVN_CLASS(CodingCity, CodingPlace)
 public:
  std::int64_t population = 0;
  void encodeWithCoder(OVNCoder& coder) const override {
    OVNSuper::encodeWithCoder(coder);
    coder.encodeInt64(population, "population");
  }
  bool initWithCoder(OVNCoder& coder) override {
    if (!OVNSuper::initWithCoder(coder)) return false;
    population = coder.decodeInt64ForKey("population");
    return true;
  }
};
OVN_PROPERTIES(CodingCity, population)

// Codable, but no secure coding.
class CodingSketch : public CodingPlace {
  OVN_CLASS(CodingSketch, CodingPlace)
 public:
  bool supportsSecureCoding() const override { return false; }
};
OVN_PROPERTIES(CodingSketch)

// Unrelated to CodingPlace; counts its constructions.
class CodingBadge : public OVNObject {
  OVN_CLASS(CodingBadge, OVNObject)
 public:
  static inline int constructed = 0;
  CodingBadge() { ++constructed; }
  bool supportsKeyedCoding() const override { return true; }
  bool supportsSecureCoding() const override { return true; }
};
OVN_PROPERTIES(CodingBadge)

namespace {

const OVNClass& cls(const char* name) { return *OVNClass::named(name); }

std::vector<const OVNClass*> valueClasses() {
  std::vector<const OVNClass*> list;
  for (const char* name : {"NSDictionary", "NSArray", "NSSet", "NSOrderedSet", "NSString", "NSNumber", "NSData",
                           "NSDate", "NSNull", "NSValue"}) {
    list.push_back(&cls(name));
  }
  return list;
}

struct Point {
  double x, y;
};

OVNValue everyKind() {
  OVNOrderedSetRef frozenOrder = OVNOrderedSet::make({"b", "a"}, false);
  return OVNValue::dictionary({
      {"null", OVNValue::null()},
      {"min", OVNValue(INT64_MIN)},
      {"max", OVNValue(INT64_MAX)},
      {"unsigned", OVNValue(5u)},
      {"unsignedMax", OVNValue(UINT64_MAX)},
      {"real", OVNValue(0.1)},
      {"whole", OVNValue(3.0)},
      {"flag", OVNValue(true)},
      {"text", OVNValue("h\u00e9llo \U0001F600")},
      {"nullText", OVNValue("$null")},
      {"data", OVNValue(OVNData::fromString("bytes"))},
      {"date", OVNValue(OVNDate(12345.678))},
      {"array", OVNValue::array({1, "two", OVNValue::array({})})},
      {"frozen", OVNValue(OVNArray::make({3.5, false}, false))},
      {"frozenDictionary", OVNValue(OVNDictionary::make({{"k", "v"}}, false))},
      {"set", OVNValue(OVNSet::make({1, 2, "three"}))},
      {"frozenSet", OVNValue(OVNSet::make({"x"}, false))},
      {"order", OVNValue(OVNOrderedSet::make({3, 1, 2}))},
      {"frozenOrder", OVNValue(frozenOrder)},
      {"point", OVNValue(OVNBoxedValue::make(Point{1.5, -2}, "{Point=dd}"))},
      {"$dollar", OVNValue(1)},
  });
}

TEST(OVNKeyedArchiverTest, RoundTripsEveryValueKindInBothFormats) {
  const OVNValue original = everyKind();
  for (int format : {OVNPropertyListBinaryFormat_v1_0, OVNPropertyListXMLFormat_v1_0}) {
    SCOPED_TRACE(format);
    auto archiver = OVNKeyedArchiver::initRequiringSecureCoding(true);
    archiver->setOutputFormat(format);
    archiver->encodeObject(original, OVNKeyedArchiveRootObjectKey);
    OVNDataRef data = archiver->encodedData();
    ASSERT_TRUE(data) << archiver->error()->description();

    std::shared_ptr<OVNError> error;
    const OVNValue back = OVNKeyedUnarchiver::unarchivedObjectOfClasses(valueClasses(), *data, &error);
    ASSERT_TRUE(back.isPresent()) << error->description();
    EXPECT_TRUE(back.isEqual(original)) << back.description();
    const OVNDictionary& d = *back.dictionary();
    EXPECT_EQ(back.className(), "NSMutableDictionary");
    EXPECT_EQ(d["array"].className(), "NSMutableArray");
    EXPECT_EQ(d["frozen"].className(), "NSArray");
    EXPECT_EQ(d["frozenDictionary"].className(), "NSDictionary");
    EXPECT_EQ(d["set"].className(), "NSMutableSet");
    EXPECT_EQ(d["frozenSet"].className(), "NSSet");
    EXPECT_EQ(d["frozenOrder"].className(), "NSOrderedSet");
    EXPECT_TRUE(d["order"].isEqual(OVNOrderedSet::make({3, 1, 2})));  // order kept
    EXPECT_TRUE(d["null"].isNull());
    EXPECT_EQ(d["unsigned"].number()->kind(), OVNNumberKind::Unsigned);
    EXPECT_EQ(d["unsignedMax"].number()->kind(), OVNNumberKind::Unsigned);
    EXPECT_EQ(d["max"].number()->kind(), OVNNumberKind::Integer);
    EXPECT_EQ(d["whole"].number()->kind(), OVNNumberKind::Floating);
    EXPECT_EQ(d["flag"].number()->kind(), OVNNumberKind::Boolean);
    EXPECT_EQ(d["date"].date()->timeIntervalSinceReferenceDate(), 12345.678);
    EXPECT_EQ(d["point"].boxed()->encoding(), "{Point=dd}");
    // The legacy, unrestricted form reads the same archive.
    EXPECT_TRUE(OVNKeyedUnarchiver::unarchiveObjectWithData(*data).isEqual(original));
  }
}

std::shared_ptr<CodingCity> sampleCity(const std::shared_ptr<CodingPlace>& region) {
  auto city = OVNMake<CodingCity>();
  city->name = "Austin";
  city->latitude = 30.27;
  city->elevation = -149;
  city->coastal = true;
  city->population = 961855;
  city->parent = region;
  city->extra = OVNValue::array({"live", 1});
  return city;
}

TEST(OVNKeyedArchiverTest, ModelObjectsRoundTripWithSharedReferences) {
  auto region = OVNMake<CodingPlace>();
  region->name = "Texas";
  auto city = sampleCity(region);
  const OVNValue root = OVNValue::array({city, city, region});

  std::shared_ptr<OVNError> error;
  OVNDataRef data = OVNKeyedArchiver::archivedDataWithRootObject(root, true, &error);
  ASSERT_TRUE(data) << error->description();
  const OVNValue back = OVNKeyedUnarchiver::unarchivedObjectOfClasses(
      {&cls("NSArray"), &CodingPlace::classObject(), &cls("NSString"), &cls("NSNumber")}, *data, &error);
  ASSERT_TRUE(back.isArray()) << error->description();
  const OVNArray& list = *back.array();
  auto first = list[0].objectAs<CodingCity>();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->name, "Austin");
  EXPECT_EQ(first->latitude, 30.27);
  EXPECT_EQ(first->elevation, -149);
  EXPECT_TRUE(first->coastal);
  EXPECT_EQ(first->population, 961855);
  EXPECT_TRUE(first->extra.isEqual(OVNValue::array({"live", 1})));
  // Shared references come back shared.
  EXPECT_EQ(list[1].object().get(), first.get());
  EXPECT_EQ(first->parent.get(), list[2].object().get());
  EXPECT_EQ(first->parent->name, "Texas");
}

TEST(OVNKeyedArchiverTest, WritesTheKeyedArchiveLayout) {
  auto archiver = OVNKeyedArchiver::initRequiringSecureCoding(false);
  archiver->encodeObject(sampleCity(nullptr), OVNKeyedArchiveRootObjectKey);
  archiver->encodeInt64(3, "$count");
  OVNDataRef data = archiver->encodedData();
  ASSERT_TRUE(data);
  const OVNValue tree = OVNPropertyListSerialization::propertyListWithData(*data, 0, nullptr, nullptr);
  ASSERT_TRUE(tree.isDictionary());
  const OVNDictionary& archive = *tree.dictionary();
  EXPECT_EQ(*archive["$archiver"].string(), "NSKeyedArchiver");
  EXPECT_EQ(archive["$version"].number()->longLongValue(), 100000);
  const OVNArray& objects = *archive["$objects"].array();
  EXPECT_EQ(*objects[0].string(), "$null");
  const OVNDictionary& top = *archive["$top"].dictionary();
  EXPECT_EQ(top["$$count"].number()->longLongValue(), 3);  // "$" keys are escaped
  const OVNValue rootRef = top["root"].dictionary()->objectForKey("CF$UID");
  const OVNDictionary& city = *objects[rootRef.number()->longLongValue()].dictionary();
  EXPECT_EQ(city["population"].number()->longLongValue(), 961855);
  EXPECT_TRUE(city["coastal"].number()->isBoolean());
  const OVNValue classRef = city["$class"].dictionary()->objectForKey("CF$UID");
  const OVNDictionary& description = *objects[classRef.number()->longLongValue()].dictionary();
  EXPECT_EQ(*description["$classname"].string(), "CodingCity");
  EXPECT_TRUE(description["$classes"].isEqual(OVNValue::array({"CodingCity", "CodingPlace", "NSObject"})));
}

TEST(OVNKeyedArchiverTest, TypedDecodingChecksTheValuesClass) {
  OVNDataRef text = OVNKeyedArchiver::archivedDataWithRootObject("text", true, nullptr);
  std::shared_ptr<OVNError> error;
  EXPECT_TRUE(OVNKeyedUnarchiver::unarchivedObjectOfClass(cls("NSArray"), *text, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), OVNCoderReadCorruptError);
  EXPECT_NE(error->localizedDescription().find("NSString"), std::string::npos);

  // Members are checked against the same list.
  OVNDataRef mixed = OVNKeyedArchiver::archivedDataWithRootObject(OVNValue::array({1, "x"}), true, nullptr);
  EXPECT_TRUE(
      OVNKeyedUnarchiver::unarchivedObjectOfClasses({&cls("NSArray"), &cls("NSNumber")}, *mixed, &error).isMissing());
  EXPECT_TRUE(OVNKeyedUnarchiver::unarchivedObjectOfClasses({&cls("NSArray"), &cls("NSNumber"), &cls("NSString")},
                                                            *mixed, &error)
                  .isArray());
  // A mutable array answers for NSArray, not the other way round.
  EXPECT_TRUE(OVNKeyedUnarchiver::unarchivedObjectOfClasses(
                  {&cls("NSMutableArray"), &cls("NSNumber")},
                  *OVNKeyedArchiver::archivedDataWithRootObject(OVNArray::make({1}, false), true, nullptr), &error)
                  .isMissing());

  // A value reached twice is checked against each decode's own list.
  auto archiver = OVNKeyedArchiver::initRequiringSecureCoding(true);
  OVNArrayRef shared = OVNArray::make({"s"});
  archiver->encodeObject(shared, "a");
  archiver->encodeObject(shared, "b");
  auto unarchiver = OVNKeyedUnarchiver::initForReadingFromData(*archiver->encodedData(), &error);
  ASSERT_TRUE(unarchiver);
  EXPECT_TRUE(unarchiver->decodeObjectOfClasses({&cls("NSArray"), &cls("NSString")}, "a").isArray());
  EXPECT_TRUE(unarchiver->decodeObjectOfClass(cls("NSArray"), "b").isMissing());
  ASSERT_TRUE(unarchiver->error());
  EXPECT_NE(unarchiver->error()->localizedDescription().find("NSString"), std::string::npos);
}

TEST(OVNKeyedArchiverTest, DisallowedClassesAreNeverInstantiated) {
  OVNDataRef data = OVNKeyedArchiver::archivedDataWithRootObject(OVNValue::array({sampleCity(nullptr)}), true, nullptr);
  ASSERT_TRUE(data);
  const int before = CodingPlace::constructed;
  std::shared_ptr<OVNError> error;
  EXPECT_TRUE(
      OVNKeyedUnarchiver::unarchivedObjectOfClasses({&cls("NSArray"), &cls("NSString")}, *data, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_NE(error->localizedDescription().find("CodingCity"), std::string::npos);
  EXPECT_EQ(CodingPlace::constructed, before);

  // An archive whose "$classes" claims CodingPlace for a CodingBadge gains nothing: the
  // registry decides what a class descends from.
  OVNDataRef badge = OVNKeyedArchiver::archivedDataWithRootObject(OVNMake<CodingBadge>(), true, nullptr);
  OVNValue tree = OVNPropertyListSerialization::propertyListWithData(*badge, 1, nullptr, nullptr);
  OVNArrayRef objects = tree.dictionary()->objectForKey("$objects").array();
  for (std::size_t i = 0; i < objects->count(); ++i) {
    if (auto d = objects->at(i).dictionary(); d && d->contains("$classname")) {
      d->set("$classes", OVNValue::array({"CodingBadge", "CodingPlace", "NSObject"}));
    }
  }
  OVNDataRef lying = OVNPropertyListSerialization::dataWithPropertyList(tree, 200, 0, nullptr);
  const int badgesBefore = CodingBadge::constructed;
  EXPECT_TRUE(OVNKeyedUnarchiver::unarchivedObjectOfClass(CodingPlace::classObject(), *lying, &error).isMissing());
  EXPECT_EQ(CodingBadge::constructed, badgesBefore);
  EXPECT_TRUE(OVNKeyedUnarchiver::unarchivedObjectOfClass(CodingBadge::classObject(), *lying, &error).isObject());
}

TEST(OVNKeyedArchiverTest, SecureCodingNeedsClassesThatSupportIt) {
  auto sketch = OVNMake<CodingSketch>();
  std::shared_ptr<OVNError> error;
  EXPECT_FALSE(OVNKeyedArchiver::archivedDataWithRootObject(sketch, true, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), OVNCoderInvalidValueError);

  OVNDataRef data = OVNKeyedArchiver::archivedDataWithRootObject(sketch, false, &error);
  ASSERT_TRUE(data);
  EXPECT_TRUE(OVNKeyedUnarchiver::unarchivedObjectOfClass(CodingPlace::classObject(), *data, &error).isMissing());
  EXPECT_NE(error->localizedDescription().find("secure coding"), std::string::npos);
  EXPECT_TRUE(OVNKeyedUnarchiver::unarchiveObjectWithData(*data).objectAs<CodingSketch>());
}

TEST(OVNKeyedArchiverTest, RefusesWhatCannotBeArchived) {
  std::shared_ptr<OVNError> error;
  EXPECT_FALSE(OVNKeyedArchiver::archivedDataWithRootObject(
      OVNValue::array({OVNBlock::make(std::function<void()>([] {}))}), false, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), OVNCoderInvalidValueError);
  EXPECT_NE(error->localizedDescription().find("block"), std::string::npos);

  EXPECT_FALSE(OVNKeyedArchiver::archivedDataWithRootObject(OVNMake<OVNObject>(), false, &error));
  EXPECT_NE(error->localizedDescription().find("does not support keyed coding"), std::string::npos);

  OVNArrayRef loop = OVNArray::make({1});
  loop->add(loop);
  EXPECT_FALSE(OVNKeyedArchiver::archivedDataWithRootObject(loop, false, &error));
  EXPECT_NE(error->localizedDescription().find("cycle"), std::string::npos);
  loop->removeAll();  // break the cycle so the array can be freed
}

TEST(OVNKeyedArchiverTest, InstanceFormsCodeSeveralTopLevelKeys) {
  auto archiver = OVNKeyedArchiver::initRequiringSecureCoding(true);
  archiver->setOutputFormat(OVNPropertyListXMLFormat_v1_0);
  archiver->encodeInt64(-7, "count");
  archiver->encodeBool(true, "flag");
  archiver->encodeDouble(2.5, "ratio");
  archiver->encodeObject("hello", "greeting");
  archiver->encodeObject(OVNValue(), "nothing");
  OVNDataRef data = archiver->encodedData();
  ASSERT_TRUE(data);
  EXPECT_EQ(data->view().substr(0, 5), "<?xml");
  EXPECT_THROW(archiver->encodeBool(true, "late"), OVNException);
  EXPECT_THROW(archiver->decodeBoolForKey("flag"), OVNException);
  EXPECT_THROW(archiver->setOutputFormat(OVNPropertyListOpenStepFormat), OVNException);

  std::shared_ptr<OVNError> error;
  auto unarchiver = OVNKeyedUnarchiver::initForReadingFromData(*data, &error);
  ASSERT_TRUE(unarchiver);
  EXPECT_TRUE(unarchiver->requiresSecureCoding());
  EXPECT_TRUE(unarchiver->containsValueForKey("count"));
  EXPECT_FALSE(unarchiver->containsValueForKey("nothing"));
  EXPECT_EQ(unarchiver->decodeInt64ForKey("count"), -7);
  EXPECT_TRUE(unarchiver->decodeBoolForKey("flag"));
  EXPECT_EQ(unarchiver->decodeDoubleForKey("ratio"), 2.5);
  EXPECT_EQ(unarchiver->decodeInt64ForKey("absent"), 0);
  EXPECT_EQ(*unarchiver->decodeObjectOfClass(cls("NSString"), "greeting").string(), "hello");
  EXPECT_FALSE(unarchiver->error());
  // Secure decoding without classes decodes nothing; the insecure form does.
  EXPECT_TRUE(unarchiver->decodeObjectForKey("greeting").isMissing());
  EXPECT_TRUE(unarchiver->error());
  unarchiver->finishDecoding();
  EXPECT_THROW(unarchiver->decodeBoolForKey("flag"), OVNException);

  auto insecure = OVNKeyedUnarchiver::initForReadingFromData(*data, &error);
  insecure->setRequiresSecureCoding(false);
  EXPECT_EQ(*insecure->decodeObjectForKey("greeting").string(), "hello");
}

// Rewrites a sound archive's property list and expects the result to be refused.
class CorruptArchive {
 public:
  CorruptArchive() {
    auto region = OVNMake<CodingPlace>();
    auto city = sampleCity(region);
    data_ = OVNKeyedArchiver::archivedDataWithRootObject(OVNValue::array({city, region}), true, nullptr);
  }
  OVNDataRef sound() const { return data_; }
  OVNValue tree() const {
    return OVNPropertyListSerialization::propertyListWithData(*data_, OVNPropertyListMutableContainers, nullptr,
                                                              nullptr);
  }
  static OVNArrayRef objects(const OVNValue& tree) { return tree.dictionary()->objectForKey("$objects").array(); }
  // The index of the first archived object of the named class.
  static std::size_t indexOf(const OVNValue& tree, const char* className) {
    const OVNArrayRef list = objects(tree);
    for (std::size_t i = 0; i < list->count(); ++i) {
      auto d = list->at(i).dictionary();
      if (!d || !d->contains("$class")) continue;
      const auto classIndex = d->objectForKey("$class").dictionary()->objectForKey("CF$UID").number()->longLongValue();
      if (*list->at(classIndex).dictionary()->objectForKey("$classname").string() == className) return i;
    }
    return 0;
  }
  static OVNValue uid(long long n) { return OVNValue::dictionary({{"CF$UID", n}}); }

  static void expectRefused(const OVNValue& tree, std::int64_t code = OVNCoderReadCorruptError,
                            const char* mentioning = nullptr) {
    OVNDataRef bytes = OVNPropertyListSerialization::dataWithPropertyList(tree, 200, 0, nullptr);
    ASSERT_TRUE(bytes);
    expectRefused(*bytes, code, mentioning);
  }
  static void expectRefused(const OVNData& bytes, std::int64_t code = OVNCoderReadCorruptError,
                            const char* mentioning = nullptr) {
    std::shared_ptr<OVNError> error;
    const OVNValue value = OVNKeyedUnarchiver::unarchivedObjectOfClasses(
        {&cls("NSArray"), &CodingPlace::classObject(), &cls("NSString"), &cls("NSNumber")}, bytes, &error);
    EXPECT_TRUE(value.isMissing());
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), code) << error->description();
    if (mentioning) {
      EXPECT_NE(error->localizedDescription().find(mentioning), std::string::npos) << error->localizedDescription();
    }
    EXPECT_TRUE(OVNKeyedUnarchiver::unarchiveObjectWithData(bytes).isMissing());
  }

 private:
  OVNDataRef data_;
};

TEST(OVNKeyedArchiverTest, CorruptArchivesAreRefused) {
  CorruptArchive archive;
  ASSERT_TRUE(archive.sound());
  std::shared_ptr<OVNError> soundError;
  ASSERT_TRUE(OVNKeyedUnarchiver::unarchivedObjectOfClasses(
                  {&cls("NSArray"), &CodingPlace::classObject(), &cls("NSString"), &cls("NSNumber")}, *archive.sound(),
                  &soundError)
                  .isArray());
  for (std::size_t length = 0; length < archive.sound()->length(); length += 5) {
    CorruptArchive::expectRefused(OVNData(
        std::vector<std::uint8_t>(archive.sound()->bytes().begin(), archive.sound()->bytes().begin() + length)));
  }
  CorruptArchive::expectRefused(*OVNData::fromString("<plist><array/></plist>"), OVNCoderReadCorruptError,
                                "not a keyed archive");
  CorruptArchive::expectRefused(*OVNKeyedArchiver::archivedDataWithRootObject(OVNValue(), true, nullptr),
                                OVNCoderValueNotFoundError);

  using Edit = std::function<void(const OVNValue& tree)>;
  const std::pair<const char*, Edit> edits[] = {
      {"object table", [](const OVNValue& t) { t.dictionary()->set("$objects", "none"); }},
      {"not an object reference",
       [](const OVNValue& t) { t.dictionary()->objectForKey("$top").dictionary()->set("root", "x"); }},
      {"points past",
       [](const OVNValue& t) {
         t.dictionary()->objectForKey("$top").dictionary()->set("root", CorruptArchive::uid(999));
       }},
      {"class reference",
       [](const OVNValue& t) {
         CorruptArchive::objects(t)
             ->at(CorruptArchive::indexOf(t, "CodingCity"))
             .dictionary()
             ->set("$class", CorruptArchive::uid(0));
       }},
      {"no such class",
       [](const OVNValue& t) {
         auto list = CorruptArchive::objects(t);
         const auto classIndex =
             list->at(CorruptArchive::indexOf(t, "CodingCity")).dictionary()->objectForKey("$class");
         list->at(classIndex.dictionary()->objectForKey("CF$UID").number()->longLongValue())
             .dictionary()
             ->set("$classname", "NoSuchClass");
       }},
      {"member list",
       [](const OVNValue& t) {
         CorruptArchive::objects(t)
             ->at(CorruptArchive::indexOf(t, "NSMutableArray"))
             .dictionary()
             ->set("NS.objects", 3);
       }},
      {"contains itself",
       [](const OVNValue& t) {
         const std::size_t array = CorruptArchive::indexOf(t, "NSMutableArray");
         CorruptArchive::objects(t)->at(array).dictionary()->set(
             "NS.objects", OVNValue::array({CorruptArchive::uid(static_cast<long long>(array))}));
       }},
      {"contains itself",
       [](const OVNValue& t) {
         const std::size_t city = CorruptArchive::indexOf(t, "CodingCity");
         CorruptArchive::objects(t)->at(city).dictionary()->set("parent",
                                                                CorruptArchive::uid(static_cast<long long>(city)));
       }},
      {"not a number",
       [](const OVNValue& t) {
         CorruptArchive::objects(t)
             ->at(CorruptArchive::indexOf(t, "CodingCity"))
             .dictionary()
             ->set("latitude", "north");
       }},
      {"invalid form",
       [](const OVNValue& t) {
         const auto root = t.dictionary()->objectForKey("$top").dictionary()->objectForKey("root");
         CorruptArchive::objects(t)->replace(root.dictionary()->objectForKey("CF$UID").number()->longLongValue(),
                                             OVNValue::array({}));
       }},
  };
  for (const auto& [mentioning, edit] : edits) {
    SCOPED_TRACE(mentioning);
    const OVNValue tree = archive.tree();
    edit(tree);
    CorruptArchive::expectRefused(tree, OVNCoderReadCorruptError, mentioning);
  }
}

TEST(OVNKeyedArchiverTest, SharingCannotAmplifyWork) {
  // Archived once per level, but 2^21 values once expanded: sets and equality would pay that.
  OVNValue shared = "leaf";
  for (int i = 0; i < 21; ++i) shared = OVNValue::array({shared, shared});
  OVNDataRef data = OVNKeyedArchiver::archivedDataWithRootObject(shared, true, nullptr);
  ASSERT_TRUE(data);
  std::shared_ptr<OVNError> error;
  EXPECT_TRUE(
      OVNKeyedUnarchiver::unarchivedObjectOfClasses({&cls("NSArray"), &cls("NSString")}, *data, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_NE(error->localizedDescription().find("expand"), std::string::npos);
}

TEST(OVNKeyedArchiverTest, DeepNestingIsRefusedNotFollowed) {
  OVNValue nested = "core";
  for (int i = 0; i < 300; ++i) nested = OVNValue::array({nested});
  OVNDataRef data = OVNKeyedArchiver::archivedDataWithRootObject(nested, true, nullptr);
  ASSERT_TRUE(data);  // the archive itself is a flat table
  std::shared_ptr<OVNError> error;
  EXPECT_TRUE(
      OVNKeyedUnarchiver::unarchivedObjectOfClasses({&cls("NSArray"), &cls("NSString")}, *data, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_NE(error->localizedDescription().find("nested more than 256"), std::string::npos);
}

}  // namespace
