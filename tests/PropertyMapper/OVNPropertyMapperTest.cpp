#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Logging/OVNLogger.h"
#include "Observation.h"
#include "Platform/OVNArray.h"
#include "Platform/OVNConsoleLog.h"
#include "Platform/OVNJSONSerialization.h"
#include "Platform/OVNOrderedSet.h"
#include "Platform/OVNSet.h"
#include "PropertyMapper/OVNPropertyMapper.h"
#include "PropertyMapper/OVNPropertyMapperSimpleModelFactory.h"
#include "Support/ConsoleCapture.h"
#include "WeatherMappings.h"

namespace mapper_test {

class MapperPart : public OVNObject {
  OVN_CLASS(MapperPart, OVNObject)
 public:
  std::string label;
  std::optional<std::string> note;
  std::int64_t size = 0;
  std::shared_ptr<MapperPart> child;
};

// A class no table is ever registered for.
class MapperOrphan : public OVNObject {
  OVN_CLASS(MapperOrphan, OVNObject)
 public:
  std::string label;
};

class MapperWidget : public OVNObject {
  OVN_CLASS(MapperWidget, OVNObject)
 public:
  std::string name;
  std::optional<std::string> nickname;
  std::int64_t count = 0;
  double lat = 0;
  double lon = 0;
  std::string stamp;
  std::string whole;
  std::shared_ptr<MapperPart> part;
  std::shared_ptr<MapperPart> spare;
  std::shared_ptr<MapperOrphan> orphan;
  std::vector<std::shared_ptr<MapperPart>> parts;
  OVNSetRef partSet;
  OVNSetRef tagSet;
  OVNOrderedSetRef tagOrder;
  OVNArrayRef tagList;
};

// Property types the macros cannot produce (NSTimeZone, 32-bit "l", untyped), so this
// class's table is written by hand.
class MapperGenerated : public OVNObject {
  OVN_CLASS(MapperGenerated, OVNObject)
};

class MapperGeneratedChild : public MapperGenerated {
  OVN_CLASS(MapperGeneratedChild, MapperGenerated)
 public:
  double extra = 0;
};

class NothingAccessor final : public OVNPropertyAccessor {
 public:
  OVNValue get(const OVNObject&) const override { return {}; }
  SetResult set(OVNObject&, const OVNValue&) const override { return SetResult::Mismatch; }
};

}  // namespace mapper_test

using namespace mapper_test;

OVN_PROPERTIES(MapperPart, label, note, size, child)
OVN_PROPERTIES(MapperOrphan, label)
OVN_PROPERTIES(MapperWidget, name, nickname, count, lat, lon, stamp, whole, part, spare, orphan, parts, partSet, tagSet,
               tagOrder, tagList)
OVN_PROPERTIES(MapperGeneratedChild, extra)

const OVNClass& MapperGenerated::classObject() {
  static const OVNClass generated("MapperGenerated", &OVNObject::classObject(), {}, [] {
    std::vector<OVNProperty> properties;
    const std::vector<std::pair<const char*, const char*>> declared = {
        {"numberValue", "T@\"NSNumber\",&,N"}, {"stringValue", "T@\"NSString\",C,N"},
        {"dateValue", "T@\"NSDate\",&,N"},     {"zoneValue", "T@\"NSTimeZone\",&,N"},
        {"charValue", "Tc,N"},                 {"doubleValue", "Td,N"},
        {"intValue", "Ti,N"},                  {"floatValue", "Tf,N"},
        {"longValue", "Tl,N"},                 {"shortValue", "Ts,N"},
        {"unsignedValue", "TI,N"},             {"longLongValue", "Tq,N"},
        {"unsignedLongLongValue", "TQ,N"},     {"boolValue", "TB,N"},
        {"unsignedCharValue", "TC,N"},         {"unsignedShortValue", "TS,N"},
        {"arrayValue", "T@\"NSArray\",&,N"},   {"dataValue", "T@\"NSData\",&,N"},
        {"idValue", "T@,&,N"},                 {"blockValue", "T@?,C,N"},
        {"untypedValue", "R,N"}};
    for (const auto& [name, attributes] : declared)
      properties.emplace_back(name, attributes, std::make_shared<NothingAccessor>());
    return properties;
  }());
  return generated;
}

namespace {

using D = OVNPropertyDescriptor;

OVNDictionaryRef partTable() {
  return OVNDictionary::make({{"label", D::initWithPropertyName("label")},
                              {"note", D::initWithPropertyName("note")},
                              {"size", D::initWithPropertyName("size")}});
}

// Every kind, both directions. The whole-object rule has no property name of its own and
// would be refused; naming a property the class has lets it through registration.
OVNDictionaryRef widgetTable() {
  auto decode = [](const OVNValue& v, const std::string& name) -> OVNValue { return v.description() + "|" + name; };
  auto encode = [](const OVNValue& v, const std::string& key) -> OVNValue { return v.description() + "|" + key; };
  auto consume = [](const OVNValue& v, const OVNObjectRef& o) {
    std::static_pointer_cast<MapperWidget>(o)->whole = v.description();
  };
  auto generate = [](const OVNObjectRef& o) -> OVNValue {
    auto widget = std::static_pointer_cast<MapperWidget>(o);
    return widget->name + "#" + std::to_string(widget->count);
  };
  auto whole = D::initWithEncodingGenerationBlock(generate, consume);
  whole->setPropertyName("whole");
  return OVNDictionary::make({
      {"name", D::initWithPropertyName("name")},
      {"nick", D::initWithPropertyName("nickname")},
      {"count", D::initWithPropertyName("count")},
      {"loc.lat", D::initWithPropertyName("lat")},
      {"part", D::initWithPropertyName("part", MapperPart::classObject())},
      {"parts", D::initWithPropertyName("parts", MapperPart::classObject())},
      {"partLabel", D::initWithPropertyName("label", std::string("spare"), MapperPart::classObject())},
      {"stampKey", D::initWithPropertyName("stamp", encode, decode)},
      {"summary", whole},
  });
}

// A mapper holding the part table and `widget`.
OVNPropertyMapperRef mapperWith(const OVNDictionaryRef& widget) {
  auto mapper = OVNPropertyMapper::init();
  EXPECT_TRUE(mapper->setMappings(partTable(), MapperPart::classObject()));
  EXPECT_TRUE(mapper->setMappings(widget, MapperWidget::classObject()));
  return mapper;
}

OVNPropertyMapperRef fullWidgetMapper() { return mapperWith(widgetTable()); }

OVNValue json(std::string_view text) {
  std::shared_ptr<OVNError> error;
  OVNValue value = OVNJSONSerialization::JSONObjectWithData(text, 0, &error);
  EXPECT_TRUE(value.isPresent()) << (error ? error->localizedDescription() : "") << "\n" << text;
  return value;
}

void expectEqualValues(const OVNValue& actual, const OVNValue& expected) {
  EXPECT_TRUE(actual.isEqual(expected)) << "actual:\n" << actual.description() << "\nexpected:\n" << expected.description();
}

std::vector<std::string> messagesOf(const OVNPropertyMapper::Errors& errors) {
  std::vector<std::string> texts;
  for (const auto& error : errors) texts.push_back(error->localizedDescription());
  return texts;
}

// ---- registry ------------------------------------------------------------------------

class PropertyMapperRegistry : public ::testing::Test {
 protected:
  void SetUp() override { OVNLogger::setLoggingLevel(OVNLogLevelWarn); }
  OVNPropertyMapperRef mapper = OVNPropertyMapper::init();
};

TEST_F(PropertyMapperRegistry, UnknownPropertyIsRefusedAndLoggedOnlyWithASlot) {
  auto bad = OVNDictionary::make({{"colour", D::initWithPropertyName("colour")}});
  ConsoleCapture console;
  std::shared_ptr<OVNError> error;
  EXPECT_FALSE(mapper->addMappings(bad, MapperWidget::classObject(), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), "com.ovrinweather.property-mapper");
  EXPECT_EQ(error->code(), 60520);
  EXPECT_EQ(error->localizedDescription(), "Mapper contains a property [colour] not found on class [MapperWidget]");
  EXPECT_EQ(mapper->mappingsForClass(MapperWidget::classObject()), nullptr);
  EXPECT_EQ(console.lines(),
            std::vector<std::string>{"[Ovrin] ERROR Mapper contains a property [colour] not found on class [MapperWidget]"});

  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"name", D::initWithPropertyName("name")}}),
                                  MapperWidget::classObject()));
  bad->set("count", D::initWithPropertyName("count"));
  EXPECT_FALSE(mapper->addMappings(bad, MapperWidget::classObject()));
  EXPECT_FALSE(mapper->setMappings(bad, MapperWidget::classObject()));
  EXPECT_EQ(console.lines().size(), 1u);
  EXPECT_EQ(mapper->mappingsForClass(MapperWidget::classObject())->allKeys(), std::vector<std::string>{"name"});
}

TEST_F(PropertyMapperRegistry, RefusalsNameWhatTheirRulesSay) {
  auto refusal = [&](std::initializer_list<std::pair<std::string, OVNValue>> entries) -> std::string {
    std::shared_ptr<OVNError> error;
    if (mapper->addMappings(OVNDictionary::make(entries), MapperWidget::classObject(), &error) || !error) return "accepted";
    return std::to_string(error->code()) + " " + error->localizedDescription();
  };
  EXPECT_EQ(refusal({{"title", "name"}}), "60530 Property mapper for key [title] is invalid on class [MapperWidget]");
  // A nested-property rule needs its holder on the class, yet names its own property.
  EXPECT_EQ(refusal({{"k", D::initWithPropertyName("label", std::string("gizmo"), MapperPart::classObject())}}),
            "60520 Mapper contains a property [label] not found on class [MapperWidget]");
  EXPECT_EQ(refusal({{"k", D::initWithPropertyName("size", std::string("spare"), MapperPart::classObject())}}),
            "accepted");
  // A whole-object rule has no property name.
  EXPECT_EQ(refusal({{"w", D::initWithEncodingGenerationBlock([](const OVNObjectRef&) { return OVNValue(1); }, {})}}),
            "60520 Mapper contains a property [] not found on class [MapperWidget]");
}

TEST_F(PropertyMapperRegistry, AddMergesSetReplacesWithACopy) {
  auto first = D::initWithPropertyName("name");
  auto second = D::initWithPropertyName("nickname");
  auto third = D::initWithPropertyName("count");
  ASSERT_TRUE(mapper->addMappings(OVNDictionary::make({{"a", first}, {"b", second}}), MapperWidget::classObject()));
  ASSERT_TRUE(mapper->addMappings(OVNDictionary::make({{"b", third}, {"c", first}}), MapperWidget::classObject()));
  auto merged = mapper->mappingsForClass(MapperWidget::classObject());
  EXPECT_EQ(merged->allKeys(), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(merged->objectForKey("b").object(), third);  // shared, not copied

  auto replacement = OVNDictionary::make({{"z", second}});
  ASSERT_TRUE(mapper->setMappings(replacement, MapperWidget::classObject()));
  replacement->set("late", first);
  EXPECT_EQ(mapper->mappingsForClass(MapperWidget::classObject())->allKeys(), std::vector<std::string>{"z"});
}

TEST_F(PropertyMapperRegistry, RemoveTakesTableCodersAndOption) {
  mapper->setFinalMappingDecoder([](const OVNDictionaryRef&, const OVNObjectRef&) {}, MapperPart::classObject(), 1);
  EXPECT_EQ(mapper->finalMappingDecoderOptionForClass(MapperPart::classObject()), 1u);
  EXPECT_TRUE(mapper->removeMappingsForClass(MapperPart::classObject()));
  EXPECT_FALSE(mapper->finalMappingDecoderOptionForClass(MapperPart::classObject()).has_value());
  EXPECT_FALSE(mapper->finalMappingDecoderForClass(MapperPart::classObject()));
  EXPECT_FALSE(mapper->removeMappingsForClass(MapperPart::classObject()));

  ASSERT_TRUE(mapper->setMappings(partTable(), MapperPart::classObject()));
  mapper->setFinalMappingEncoder([](const OVNDictionaryRef&, const OVNObjectRef&) {}, MapperPart::classObject());
  EXPECT_TRUE(mapper->removeMappingsForClass(MapperPart::classObject()));
  EXPECT_EQ(mapper->mappingsForClass(MapperPart::classObject()), nullptr);
  EXPECT_FALSE(mapper->finalMappingEncoderForClass(MapperPart::classObject()));
  mapper->setFinalMappingEncoder([](const OVNDictionaryRef&, const OVNObjectRef&) {}, MapperPart::classObject());
  EXPECT_TRUE(mapper->removeMappingsForClass(MapperPart::classObject()));  // an encoder alone counts
}

TEST_F(PropertyMapperRegistry, MergingAnotherMapperTakesWholeTablesAndCoders) {
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"name", D::initWithPropertyName("name")},
                                                       {"count", D::initWithPropertyName("count")}}),
                                  MapperWidget::classObject()));
  ASSERT_TRUE(mapper->setMappings(partTable(), MapperPart::classObject()));
  mapper->setFinalMappingDecoder([](const OVNDictionaryRef&, const OVNObjectRef&) {}, MapperPart::classObject(), 0);

  auto other = OVNPropertyMapper::init();
  ASSERT_TRUE(other->setMappings(OVNDictionary::make({{"w", D::initWithPropertyName("lat")}}), MapperWidget::classObject()));
  int encoded = 0;
  other->setFinalMappingEncoder([&](const OVNDictionaryRef&, const OVNObjectRef&) { ++encoded; },
                                MapperWidget::classObject());
  other->setFinalMappingDecoder([](const OVNDictionaryRef&, const OVNObjectRef&) {}, MapperPart::classObject(), 1);

  mapper->addMappingsFromPropertyMapper(*other);
  EXPECT_EQ(mapper->mappingsForClass(MapperWidget::classObject())->allKeys(), std::vector<std::string>{"w"});
  EXPECT_EQ(mapper->mappingsForClass(MapperPart::classObject())->count(), 3u);
  EXPECT_EQ(mapper->finalMappingDecoderOptionForClass(MapperPart::classObject()), 1u);
  mapper->serializeObject(OVNMake<MapperWidget>());
  EXPECT_EQ(encoded, 1);
}

TEST(PropertyMapperGenerate, ExactlyTheElevenTypesOfTheClassItself) {
  auto table = OVNPropertyMapper::generateMappingsFromClass(MapperGenerated::classObject());
  EXPECT_EQ(table->allKeys(), (std::vector<std::string>{"charValue", "dateValue", "doubleValue", "floatValue",
                                                         "intValue", "longValue", "numberValue", "shortValue",
                                                         "stringValue", "unsignedValue", "zoneValue"}));
  for (const auto& [key, value] : *table) {
    auto descriptor = value.objectAs<D>();
    ASSERT_TRUE(descriptor) << key;
    EXPECT_EQ(descriptor->propertyName(), key);
    EXPECT_EQ(descriptor->type(), 0u);
    EXPECT_EQ(descriptor->mode(), 3u);
  }
  EXPECT_EQ(OVNPropertyMapper::generateMappingsFromClass(MapperGeneratedChild::classObject())->allKeys(),
            std::vector<std::string>{"extra"});

  auto keyed = OVNPropertyMapper::generateMappingsWithKeys({"name", "count"});
  EXPECT_EQ(keyed->allKeys(), (std::vector<std::string>{"count", "name"}));
  EXPECT_EQ(keyed->objectForKey("count").objectAs<D>()->propertyName(), "count");
}

// ---- value validation -----------------------------------------------------------------

TEST(PropertyMapperValidation, NestedArraysCollectEveryError) {
  auto mapper = OVNPropertyMapper::init();
  auto required = OVNDictionary::make({{"label", D::initWithPropertyName("label")->isRequired()}});
  ASSERT_TRUE(mapper->setMappings(required, MapperPart::classObject()));
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"parts", D::initWithPropertyName("parts", MapperPart::classObject())}}),
                                  MapperWidget::classObject()));

  auto three = json(R"([{"label": "a"}, {}, {"label": null}])");
  EXPECT_EQ(messagesOf(mapper->validateMapping(required, three)),
            (std::vector<std::string>{"isRequired validation failed on label", "isRequired validation failed on label"}));
  EXPECT_EQ(mapper->validateMapping(required, json(R"([[{}, {"label": "x"}], "skip", 5, [[{}]]])")).size(), 2u);
  EXPECT_TRUE(mapper->validateMapping(required, OVNValue()).empty());
  EXPECT_TRUE(mapper->validateMapping(required, "text").empty());

  OVNPropertyMapper::Errors errors;
  auto source = OVNDictionary::make({{"parts", three}});
  EXPECT_EQ(mapper->createObjectWithClass(MapperWidget::classObject(), source, &errors), nullptr);
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[1]->code(), 60550);
}

TEST(PropertyMapperValidation, ErrorsFollowTableOrderAndNestedOwnValidatorsDoNotRun) {
  auto mapper = OVNPropertyMapper::init();
  ASSERT_TRUE(mapper->setMappings(partTable(), MapperPart::classObject()));
  ASSERT_TRUE(mapper->setMappings(
      OVNDictionary::make({{"b", D::initWithPropertyName("name")->isRequired()->minLength(3)},
                           {"a", D::initWithPropertyName("count")->min(10)},
                           {"part", D::initWithPropertyName("part", MapperPart::classObject())->isRequired()}}),
      MapperWidget::classObject()));
  OVNPropertyMapper::Errors errors;
  EXPECT_EQ(mapper->createObjectWithClass(MapperWidget::classObject(), json(R"({"a": 3})"), &errors), nullptr);
  EXPECT_EQ(messagesOf(errors), (std::vector<std::string>{"min validation failed on count",
                                                          "isRequired validation failed on name",
                                                          "minLength validation failed on name"}));
}

TEST(PropertyMapperValidation, NestedClassWithoutTableFailsEvenWhenValueMissing) {
  auto mapper = OVNPropertyMapper::init();
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"name", D::initWithPropertyName("name")},
                                                       {"orphan", D::initWithPropertyName("orphan", MapperOrphan::classObject())}}),
                                  MapperWidget::classObject()));
  OVNPropertyMapper::Errors errors;
  EXPECT_EQ(mapper->createObjectWithClass(MapperWidget::classObject(), json(R"({"name": "x"})"), &errors), nullptr);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0]->code(), 60540);
  EXPECT_EQ(errors[0]->domain(), "com.ovrinweather.property-mapper");
  EXPECT_EQ(errors[0]->localizedDescription(), "Mapper for class [MapperOrphan] not found");

  errors.clear();
  EXPECT_EQ(mapper->createObjectWithClass(MapperPart::classObject(), json(R"({"label": "x"})"), &errors), nullptr);
  EXPECT_EQ(messagesOf(errors), std::vector<std::string>{"Mapper for class [MapperPart] not found"});
}

// ---- create, update, serialize ----------------------------------------------------------

TEST(PropertyMapperConvert, EveryKindInBothDirections) {
  auto mapper = fullWidgetMapper();
  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({
      "name": "Gear", "nick": "G", "count": 7, "loc": {"lat": 45.1}, "part": {"label": "P", "size": 3},
      "parts": [{"label": "a"}, {"label": "b"}], "partLabel": "S", "stampKey": "raw",
      "summary": "sum", "ignored": {"x": 1}})"));
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->name, "Gear");
  EXPECT_EQ(widget->nickname, "G");
  EXPECT_EQ(widget->count, 7);
  EXPECT_EQ(widget->lat, 45.1);
  ASSERT_TRUE(widget->part);
  EXPECT_EQ(widget->part->label, "P");
  EXPECT_EQ(widget->part->size, 3);
  ASSERT_EQ(widget->parts.size(), 2u);
  EXPECT_EQ(widget->parts[0]->label + widget->parts[1]->label, "ab");
  ASSERT_TRUE(widget->spare);
  EXPECT_EQ(widget->spare->label, "S");
  EXPECT_EQ(widget->stamp, "raw|stamp");  // decoding is given the property name
  EXPECT_EQ(widget->whole, "sum");
  // loc.lat is dropped (no earlier entry made "loc"); the nested-property rule writes under
  // its holder's name; the encoding callback is given the source key.
  expectEqualValues(mapper->serializeObject(widget), json(R"({
      "name": "Gear", "nick": "G", "count": 7, "loc": {},
      "part": {"label": "P", "size": 3},
      "parts": [{"label": "a", "size": 0}, {"label": "b", "size": 0}],
      "spare": {"partLabel": "S"}, "stampKey": "raw|stamp|stampKey", "summary": "Gear#7"})"));
}

TEST(PropertyMapperConvert, SerializationOptionsForMissingValues) {
  auto mapper = fullWidgetMapper();
  auto widget = OVNMake<MapperWidget>();
  expectEqualValues(mapper->serializeObject(widget, 0), json(R"({
      "name": "", "count": 0, "loc": {}, "parts": [], "spare": {}, "stampKey": "|stampKey", "summary": "#0"})"));
  expectEqualValues(mapper->serializeObject(widget, 1), json(R"({
      "name": "", "nick": null, "count": 0, "loc": {}, "part": null, "parts": [],
      "spare": {"partLabel": null}, "stampKey": "|stampKey", "summary": "#0"})"));

  // Only a single nested object inherits option 1; collection members get option 0.
  widget->part = OVNMake<MapperPart>();
  widget->parts.push_back(OVNMake<MapperPart>());
  auto result = mapper->serializeObject(widget, 1).dictionary();
  expectEqualValues(result->objectForKey("part"), json(R"({"label": "", "note": null, "size": 0})"));
  expectEqualValues(result->objectForKey("parts"), json(R"([{"label": "", "size": 0}])"));
}

TEST(PropertyMapperConvert, DottedKeysLandOnlyUnderAnEarlierParent) {
  auto mapper = OVNPropertyMapper::init();
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"loc.lat", D::initWithPropertyName("lat")},
                                                       {"loc.lon", D::initWithPropertyName("lon")}}),
                                  MapperWidget::classObject()));
  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({"loc": {"lat": 45.1, "lon": -7.25}})"));
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->lat, 45.1);
  EXPECT_EQ(widget->lon, -7.25);
  // loc.lat comes first and finds no "loc": it makes an empty one and is dropped;
  // loc.lon then finds "loc" and lands in it. Every write logs its debug line.
  const bool debug = OVNConsoleLog::isDebugEnabled();
  OVNConsoleLog::setDebugEnabled(true);
  ConsoleCapture console;
  expectEqualValues(mapper->serializeObject(widget), json(R"({"loc": {"lon": -7.25}})"));
  OVNConsoleLog::setDebugEnabled(debug);
  EXPECT_EQ(console.lines(), (std::vector<std::string>{"DICT: setValue: 45.1, forKeyPath: loc.lat - result: (null)",
                                                       "DICT: setValue: -7.25, forKeyPath: loc.lon - result: -7.25"}));

  // With three parts, a missing middle level is made beside the existing top-level entry.
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"a.x", D::initWithPropertyName("lat")},
                                                       {"a.y.z", D::initWithPropertyName("lon")}}),
                                  MapperWidget::classObject()));
  expectEqualValues(mapper->serializeObject(widget), json(R"({"a": {}, "y": {}})"));
}

TEST(PropertyMapperConvert, WholeSourceKeysBuildNestedObjectsFromTheParent) {
  auto mapper = OVNPropertyMapper::init();
  ASSERT_TRUE(mapper->setMappings(
      OVNDictionary::make({{"label", D::initWithPropertyName("label")->isRequired()}}), MapperPart::classObject()));
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"*", D::initWithPropertyName("part", MapperPart::classObject())},
                                                       {"^second", D::initWithPropertyName("spare", MapperPart::classObject())},
                                                       {"name", D::initWithPropertyName("name")}}),
                                  MapperWidget::classObject()));
  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({"name": "N", "label": "L"})"));
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->name, "N");
  ASSERT_TRUE(widget->part && widget->spare);
  EXPECT_EQ(widget->part->label, "L");
  EXPECT_EQ(widget->spare->label, "L");
  // Validation looks "*" up as a plain key, so the nested table's rule is not applied.
  auto unlabelled = mapper->createObjectWithClass<MapperWidget>(json(R"({"name": "N"})"));
  ASSERT_TRUE(unlabelled && unlabelled->part);
  EXPECT_EQ(unlabelled->part->label, "");
  expectEqualValues(mapper->serializeObject(widget),
                    json(R"({"*": {"label": "L"}, "^second": {"label": "L"}, "name": "N"})"));
}

TEST(PropertyMapperConvert, ArraysBecomeSetsAndOrderedSetsByPropertyType) {
  auto mapper = OVNPropertyMapper::init();
  ASSERT_TRUE(mapper->setMappings(partTable(), MapperPart::classObject()));
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"tagSet", D::initWithPropertyName("tagSet")},
                                                       {"tagOrder", D::initWithPropertyName("tagOrder")},
                                                       {"tagList", D::initWithPropertyName("tagList")},
                                                       {"name", D::initWithPropertyName("name")},
                                                       {"partSet", D::initWithPropertyName("partSet", MapperPart::classObject())}}),
                                  MapperWidget::classObject()));
  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({
      "tagSet": ["b", "a", "b"], "tagOrder": ["b", "a", "b", "c"], "tagList": ["b", "a", "b"], "name": ["x"],
      "partSet": [{"label": "a"}, {"label": "b"}, {"label": "c"}]})"));
  ASSERT_TRUE(widget);
  ASSERT_TRUE(widget->tagSet);
  EXPECT_EQ(widget->tagSet->count(), 2u);
  EXPECT_TRUE(widget->tagSet->contains("a") && widget->tagSet->contains("b"));
  EXPECT_TRUE(widget->tagSet->isMutable());
  ASSERT_TRUE(widget->tagOrder);
  expectEqualValues(OVNArray::make(widget->tagOrder->members()), json(R"(["b", "a", "c"])"));
  expectEqualValues(widget->tagList, json(R"(["b", "a", "b"])"));
  EXPECT_EQ(widget->name, "");  // an array is not stored into a string
  ASSERT_TRUE(widget->partSet);
  std::vector<std::string> labels;
  for (const auto& member : *widget->partSet) labels.push_back(member.objectAs<MapperPart>()->label);
  std::sort(labels.begin(), labels.end());
  EXPECT_EQ(labels, (std::vector<std::string>{"a", "b", "c"}));

  // A set of objects serializes to a list of their dictionaries.
  auto serialized = mapper->serializeObject(widget).dictionary();
  ASSERT_TRUE(serialized->objectForKey("partSet").array());
  EXPECT_EQ(serialized->objectForKey("partSet").array()->count(), 3u);
}

TEST(PropertyMapperConvert, NullAndMissingLeavePropertiesUntouched) {
  auto mapper = fullWidgetMapper();
  auto widget = OVNMake<MapperWidget>();
  widget->name = "keep";
  widget->nickname = "nick";
  widget->count = 5;
  widget->part = OVNMake<MapperPart>();
  widget->stamp = "s";
  auto part = widget->part;
  mapper->updateObjectInstance(widget, json(R"({"name": null, "nick": null, "count": null, "part": null,
                                                "parts": null, "partLabel": null, "stampKey": null, "loc": null,
                                                "summary": null})"));
  EXPECT_EQ(widget->name, "keep");
  EXPECT_EQ(widget->nickname, "nick");
  EXPECT_EQ(widget->count, 5);
  EXPECT_EQ(widget->part, part);
  EXPECT_EQ(widget->spare, nullptr);  // the holder is not made for a null value
  EXPECT_EQ(widget->stamp, "s");
  EXPECT_EQ(widget->whole, "");
}

TEST(PropertyMapperConvert, ExistingNestedObjectsAreUpdatedInPlace) {
  auto mapper = fullWidgetMapper();
  auto widget = OVNMake<MapperWidget>();
  auto part = OVNMake<MapperPart>();
  part->label = "old";
  part->size = 9;
  auto spare = OVNMake<MapperPart>();
  spare->size = 1;
  widget->part = part;
  widget->spare = spare;
  mapper->updateObjectInstance(widget, json(R"({"part": {"label": "new"}, "partLabel": "t"})"));
  EXPECT_EQ(widget->part, part);
  EXPECT_EQ(part->label, "new");
  EXPECT_EQ(part->size, 9);
  EXPECT_EQ(widget->spare, spare);
  EXPECT_EQ(spare->label, "t");
  EXPECT_EQ(spare->size, 1);
}

TEST(PropertyMapperConvert, ModesDecideTheDirectionsAndUnknownKindsAreIgnored) {
  auto mapper = OVNPropertyMapper::init();
  auto unknownKind = D::initWithPropertyName("lat");
  unknownKind->setType(7);
  auto decodeOnly = D::initWithPropertyName("stamp", OVNPropertyEncodingBlock{},
                                            [](const OVNValue& v, const std::string&) { return v; });
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"name", D::initWithPropertyName("name", 1)},
                                                       {"count", D::initWithPropertyName("count", 2)},
                                                       {"stamp", decodeOnly},
                                                       {"lat", unknownKind}}),
                                  MapperWidget::classObject()));
  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({"name": "x", "count": 3, "stamp": "s", "lat": 1.5})"));
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->name, "");
  EXPECT_EQ(widget->count, 3);
  EXPECT_EQ(widget->stamp, "s");
  EXPECT_EQ(widget->lat, 0);
  widget->name = "y";
  expectEqualValues(mapper->serializeObject(widget), json(R"({"name": "y"})"));
}

TEST(PropertyMapperConvert, SafeValueAccessClearsOnlyObjectTypedProperties) {
  auto mapper = OVNPropertyMapper::init();
  auto widget = OVNMake<MapperWidget>();
  widget->name = "n";
  widget->nickname = "k";
  widget->count = 4;
  widget->part = OVNMake<MapperPart>();
  mapper->setSafeValue(OVNValue(), "nickname", *widget);
  mapper->setSafeValue(OVNValue::null(), "part", *widget);
  mapper->setSafeValue(OVNValue::null(), "name", *widget);
  mapper->setSafeValue(OVNValue(), "count", *widget);
  mapper->setSafeValue(OVNValue::array({"a"}), "count", *widget);
  mapper->setSafeValue("x", "nope", *widget);
  EXPECT_FALSE(widget->nickname.has_value());
  EXPECT_EQ(widget->part, nullptr);
  EXPECT_EQ(widget->name, "");
  EXPECT_EQ(widget->count, 4);
  auto list = OVNArray::make({"a"});
  mapper->setSafeValue(list, "tagList", *widget);
  EXPECT_EQ(widget->tagList, list);  // stored as it is, not copied

  EXPECT_EQ(mapper->getSafeValueForKey("count", *widget).number()->longLongValue(), 4);
  EXPECT_TRUE(mapper->getSafeValueForKey("nope", *widget).isMissing());
  auto made = mapper->classPropertyForInstance(widget, "spare", &MapperPart::classObject());
  ASSERT_TRUE(made);
  EXPECT_EQ(widget->spare, made);
  EXPECT_EQ(mapper->classPropertyForInstance(widget, "spare", &MapperPart::classObject()), made);
}

// ---- final decoders and encoders -------------------------------------------------------

class PropertyMapperFinalCoders : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"a", D::initWithPropertyName("name")},
                                                         {"b.c", D::initWithPropertyName("count")}}),
                                    MapperWidget::classObject()));
  }
  void decodeWith(std::uint64_t option) {
    mapper->setFinalMappingDecoder(
        [this](const OVNDictionaryRef& given, const OVNObjectRef& object) {
          received = given;
          receivedObject = object;
          ++calls;
        },
        MapperWidget::classObject(), option);
  }
  OVNPropertyMapperRef mapper = OVNPropertyMapper::init();
  OVNDictionaryRef source = json(R"({"a": "x", "b": {"c": 2, "d": 3}, "e": 4})").dictionary();
  OVNDictionaryRef received;
  OVNObjectRef receivedObject;
  int calls = 0;
};

TEST_F(PropertyMapperFinalCoders, OptionZeroGetsTheWholeSource) {
  decodeWith(0);
  auto widget = mapper->createObjectWithClass(MapperWidget::classObject(), source);
  ASSERT_TRUE(widget);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(received, source);
  EXPECT_EQ(receivedObject, widget);
}

TEST_F(PropertyMapperFinalCoders, OptionOneGetsOnlyTheUnmappedRemainder) {
  decodeWith(1);
  auto widget = mapper->createObjectWithClass<MapperWidget>(source);
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->name, "x");
  EXPECT_EQ(widget->count, 2);
  EXPECT_EQ(calls, 1);
  expectEqualValues(received, json(R"({"b": {"d": 3}, "e": 4})"));
  expectEqualValues(source, json(R"({"a": "x", "b": {"c": 2, "d": 3}, "e": 4})"));
}

TEST_F(PropertyMapperFinalCoders, OtherOptionsNeverCallAndMissingTableStillCalls) {
  decodeWith(2);
  ASSERT_TRUE(mapper->createObjectWithClass(MapperWidget::classObject(), source));
  EXPECT_EQ(calls, 0);

  ASSERT_TRUE(mapper->removeMappingsForClass(MapperWidget::classObject()));
  decodeWith(0);
  auto widget = OVNMake<MapperWidget>();
  mapper->updateObjectInstance(widget, source);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(widget->name, "");
}

TEST_F(PropertyMapperFinalCoders, EncoderWorksOnAMutableDeepCopyAndTheLastOneWins) {
  int firstCalls = 0;
  mapper->setFinalMappingEncoder([&](const OVNDictionaryRef&, const OVNObjectRef&) { ++firstCalls; },
                                 MapperWidget::classObject());
  mapper->setFinalMappingEncoder(
      [this](const OVNDictionaryRef& serialized, const OVNObjectRef& object) {
        receivedObject = object;
        auto b = serialized->objectForKey("b").dictionary();
        ASSERT_TRUE(b && b->isMutable());
        b->set("added", true);
        serialized->set("extra", "yes");
      },
      MapperWidget::classObject());
  auto widget = OVNMake<MapperWidget>();
  widget->name = "n";
  widget->count = 9;
  // "b.c" makes an empty "b" and drops the count, which the encoder can then fill.
  expectEqualValues(mapper->serializeObject(widget), json(R"({"a": "n", "b": {"added": true}, "extra": "yes"})"));
  EXPECT_EQ(receivedObject, widget);
  EXPECT_EQ(firstCalls, 0);
}

// ---- factories, odd elements and wrong shapes -----------------------------------------

class RecordingFactory : public OVNPropertyMapperModelFactoryProtocol {
 public:
  explicit RecordingFactory(bool makeParts) : makeParts_(makeParts) {}
  OVNObjectRef instanceForClass(const OVNClass& cls, const OVNValue& dictionary) override {
    calls.push_back(cls.name() + " " + (dictionary.isDictionary() ? "dictionary" : dictionary.className()));
    if (cls.name() == "MapperPart" && !makeParts_) return nullptr;
    return cls.createInstance();
  }
  std::vector<std::string> calls;

 private:
  bool makeParts_;
};

TEST(PropertyMapperFactory, NullInstancesAreSkippedQuietlyOrWithALogLine) {
  auto factory = std::make_shared<RecordingFactory>(false);
  auto mapper = mapperWith(OVNDictionary::make({{"part", D::initWithPropertyName("part", MapperPart::classObject())},
                                                {"parts", D::initWithPropertyName("parts", MapperPart::classObject())}}));
  mapper->setModelFactory(factory);
  ConsoleCapture console;
  OVNPropertyMapper::Errors errors;
  EXPECT_EQ(mapper->createObjectWithClass(MapperPart::classObject(), json(R"({"label": "x"})"), &errors), nullptr);
  EXPECT_TRUE(errors.empty());
  EXPECT_TRUE(console.lines().empty());

  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({"part": {"label": "p"}, "parts": [{}, {}]})"));
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->part, nullptr);
  EXPECT_TRUE(widget->parts.empty());
  const std::string line = "**ERROR** Could not create instance of MapperPart in array for property parts";
  EXPECT_EQ(console.lines(), (std::vector<std::string>{line, line}));
  EXPECT_EQ(factory->calls, (std::vector<std::string>{"MapperPart dictionary", "MapperWidget dictionary",
                                                      "MapperPart nil", "MapperPart dictionary",
                                                      "MapperPart dictionary"}));
  EXPECT_EQ(OVNPropertyMapper::initWithModelFactory(factory)->modelFactory(), factory);
  EXPECT_TRUE(std::dynamic_pointer_cast<OVNPropertyMapperSimpleModelFactory>(OVNPropertyMapper::init()->modelFactory()));
}

TEST(PropertyMapperShapes, ArrayElementsThatAreNotDictionariesAreSkipped) {
  auto mapper = mapperWith(OVNDictionary::make({{"parts", D::initWithPropertyName("parts", MapperPart::classObject())}}));
  ConsoleCapture console;
  auto widget = mapper->createObjectWithClass<MapperWidget>(
      json(R"({"parts": [{"label": "a"}, "junk", 5, null, [], {"label": "b"}]})"));
  ASSERT_TRUE(widget);
  ASSERT_EQ(widget->parts.size(), 2u);
  EXPECT_EQ(widget->parts[0]->label, "a");
  EXPECT_EQ(widget->parts[1]->label, "b");
  EXPECT_EQ(console.lines(), std::vector<std::string>(
                                 4, "**ERROR** Could not create instance of MapperPart in array for property parts"));
}

TEST(PropertyMapperShapes, WrongShapesNeitherCrashNorStoreNonsense) {
  auto mapper = fullWidgetMapper();
  ConsoleCapture console;  // keeps expected log lines off the test output
  auto fromText = mapper->createObjectWithClass<MapperWidget>(OVNValue("just text"));
  ASSERT_TRUE(fromText);
  EXPECT_EQ(fromText->name, "");

  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({
      "name": 5, "nick": [1, 2], "count": "12", "loc": "flat", "part": "not an object",
      "parts": {"label": "x"}, "partLabel": {"deep": [null]}, "unknown": {"a": [1, 2]}})"));
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->name, "");
  EXPECT_FALSE(widget->nickname.has_value());
  EXPECT_EQ(widget->count, 12);  // numeric text converts as key-value coding does
  EXPECT_EQ(widget->lat, 0);
  EXPECT_EQ(widget->part, nullptr);
  EXPECT_TRUE(widget->parts.empty());

  auto nulls = mapper->createObjectWithClass<MapperWidget>(json(R"({
      "name": null, "part": {"label": null, "child": null}, "parts": [null, {"label": null}], "loc": {"lat": null}})"));
  ASSERT_TRUE(nulls);
  ASSERT_TRUE(nulls->part);
  EXPECT_EQ(nulls->part->label, "");
  ASSERT_EQ(nulls->parts.size(), 1u);
}

TEST(PropertyMapperShapes, DeeplyNestedInputIsFollowedToTheBottom) {
  auto mapper = OVNPropertyMapper::init();
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"label", D::initWithPropertyName("label")->isRequired()},
                                                       {"child", D::initWithPropertyName("child", MapperPart::classObject())}}),
                                  MapperPart::classObject()));
  constexpr int depth = 300;
  OVNDictionaryRef source = OVNDictionary::make({{"label", "bottom"}});
  for (int level = depth - 1; level > 0; --level)
    source = OVNDictionary::make({{"label", std::to_string(level)}, {"child", source}});
  auto top = mapper->createObjectWithClass<MapperPart>(source);
  ASSERT_TRUE(top);
  int levels = 1;
  auto part = top;
  for (; part->child; part = part->child) ++levels;
  EXPECT_EQ(levels, depth);
  EXPECT_EQ(part->label, "bottom");

  auto serialized = mapper->serializeObject(top).dictionary();
  EXPECT_EQ(*serialized->valueForKeyPath("child.child.label").string(), "3");
}

TEST(PropertyMapperShapes, SerializingNothingNullAndUnmappedObjects) {
  auto mapper = OVNPropertyMapper::init();
  EXPECT_TRUE(mapper->serializeObject(OVNValue::null()).isNull());
  EXPECT_TRUE(mapper->serializeObject(OVNValue()).isMissing());
  auto serialized = mapper->serializeObject(OVNMake<MapperOrphan>());
  ASSERT_TRUE(serialized.dictionary());
  EXPECT_TRUE(serialized.dictionary()->empty());
  EXPECT_TRUE(serialized.dictionary()->isMutable());
  // A final encoder runs even without a table.
  mapper->setFinalMappingEncoder([](const OVNDictionaryRef& d, const OVNObjectRef&) { d->set("made", "here"); },
                                 MapperOrphan::classObject());
  expectEqualValues(mapper->serializeObject(OVNMake<MapperOrphan>()), json(R"({"made": "here"})"));
}

// ---- threads ---------------------------------------------------------------------------

TEST(PropertyMapperThreads, ConcurrentFirstUseOfOneClass) {
  auto mapper = mapperWith(OVNDictionary::make({{"name", D::initWithPropertyName("name")},
                                                {"part", D::initWithPropertyName("part", MapperPart::classObject())},
                                                {"parts", D::initWithPropertyName("parts", MapperPart::classObject())},
                                                {"tagSet", D::initWithPropertyName("tagSet")}}));
  const OVNValue source = json(R"({"name": "w", "part": {"label": "p", "size": 2},
                                   "parts": [{"label": "a"}, {"label": "b"}], "tagSet": ["x", "y"]})");
  constexpr int threads = 8;
  std::latch start(threads);
  std::atomic<int> good{0};
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back([&] {
      start.arrive_and_wait();
      for (int i = 0; i < 20; ++i) {
        auto widget = mapper->createObjectWithClass<MapperWidget>(source);
        if (widget && widget->name == "w" && widget->part && widget->part->size == 2 && widget->parts.size() == 2 &&
            widget->parts[1]->label == "b" && widget->tagSet && widget->tagSet->count() == 2 &&
            mapper->serializeObject(widget).dictionary()->valueForKeyPath("part.label").isEqual("p"))
          ++good;
      }
    });
  }
  for (auto& worker : workers) worker.join();
  EXPECT_EQ(good.load(), threads * 20);
}

// ---- the worked model set --------------------------------------------------------------

constexpr std::string_view kObservations = R"([
  {"id": "KAUS", "dataSource": "METAR", "loc": {"lat": 30.18, "long": -97.68},
   "place": {"name": "austin", "state": "tx", "country": "us"},
   "profile": {"tz": "America/Chicago", "elevM": 150, "hasPrecip": true},
   "obTimestamp": 1500000000, "obDateTime": "2017-07-13T21:40:00-05:00",
   "ob": {"tempC": 33.9, "tempF": 93, "dewpointC": 21.1, "humidity": 47, "pressureMB": 1014, "windKPH": 19,
          "windDir": "S", "weather": "Mostly Sunny", "weatherCoded": "::FW", "icon": "fair.png", "isDay": true,
          "visibilityKM": 16.09, "sky": 20, "precipMM": 0.5},
   "periods": [{"timestamp": 1500003600, "tempC": 33.0}, {"timestamp": 1500007200.7, "tempC": 31.5}],
   "relativeTo": {"lat": 30.2, "long": -97.7, "distanceKM": 3.2}},
  {"id": "KSEA", "dataSource": "MADIS", "loc": {"lat": 47.45, "long": -122.31},
   "place": {"name": "seattle", "state": "wa", "country": "us"},
   "profile": {"tz": "America/Los_Angeles", "elevM": 131, "hasPrecip": false},
   "obTimestamp": 1500001200, "obDateTime": "2017-07-13T19:00:00-07:00",
   "ob": {"tempC": -1.5, "tempF": 29.3, "dewpointC": -3.0, "humidity": 86, "pressureMB": 1021, "windKPH": 0,
          "windDir": "N", "weather": "Light Snow", "weatherCoded": "::S", "icon": "snow.png", "isDay": false,
          "visibilityKM": 4.8, "sky": 100, "precipMM": null},
   "periods": [], "qc": "good"},
  {"id": "KPHX", "dataSource": "METAR", "loc": {"lat": 33.43, "long": -112.01},
   "place": {"name": "phoenix", "state": "az", "country": "us"},
   "ob": {"tempC": 44.0, "humidity": 140, "precipMM": 0}},
  {"id": "NZCM", "dataSource": "PWS", "loc": {"lat": -77.85, "long": 166.67},
   "place": {"name": "mcmurdo station", "country": "aq"},
   "profile": {"tz": "Antarctica/McMurdo", "elevM": -2, "hasPrecip": false},
   "obTimestamp": 1499990000.99, "obDateTime": "2017-07-14T11:53:20+12:00",
   "ob": {"tempC": -20.5, "tempF": -4.9, "humidity": 70, "pressureMB": 990, "windKPH": 55, "windDir": "SSE",
          "weather": "Blowing Snow", "icon": "blizzard.png", "isDay": false, "sky": 90},
   "periods": [{"timestamp": 1500000000, "tempC": -21}, {"timestamp": 1500003600, "tempC": -22.5},
               {"timestamp": 1500007200, "tempC": -23}]}
])";

TEST(PropertyMapperWorkedModels, ObservationsMapAndSerializeBack) {
  auto mapper = makeWeatherMapper();
  auto list = json(kObservations).array();
  ASSERT_TRUE(list);
  ASSERT_EQ(list->count(), 4u);
  std::vector<std::shared_ptr<Observation>> observations;
  for (const OVNValue& entry : *list) {
    OVNPropertyMapper::Errors errors;
    observations.push_back(mapper->createObjectWithClass<Observation>(entry, &errors));
    if (!observations.back()) EXPECT_EQ(messagesOf(errors), std::vector<std::string>{"range validation failed on humidity"});
  }
  ASSERT_TRUE(observations[0] && observations[1] && observations[3]);
  EXPECT_EQ(observations[2], nullptr);

  const auto& austin = *observations[0];
  EXPECT_EQ(austin.stationId, "KAUS");
  EXPECT_EQ(austin.latitude, 30.18);
  EXPECT_EQ(austin.longitude, -97.68);
  ASSERT_TRUE(austin.place && austin.profile && austin.measurements);
  EXPECT_EQ(austin.place->state, "tx");
  EXPECT_EQ(austin.profile->timezone, "America/Chicago");
  EXPECT_EQ(austin.profile->elevationM, 150);
  EXPECT_TRUE(austin.profile->hasPrecip);
  EXPECT_EQ(austin.observedAt.timeIntervalSince1970(), 1500000000.0);
  EXPECT_EQ(austin.measurements->tempF, 93.0);
  EXPECT_EQ(austin.measurements->humidity, 47);
  EXPECT_TRUE(austin.measurements->isDay);
  EXPECT_EQ(austin.measurements->precipMM, 0.5);
  ASSERT_EQ(austin.periods.size(), 2u);
  EXPECT_EQ(austin.periods[1]->validAt.timeIntervalSince1970(), 1500007200.0);
  EXPECT_EQ(austin.periods[1]->tempC, 31.5);
  // Unmapped keys are kept; the emptied "loc" is not worth keeping.
  expectEqualValues(austin.extras, json(R"({"relativeTo": {"lat": 30.2, "long": -97.7, "distanceKM": 3.2}})"));

  const auto& seattle = *observations[1];
  EXPECT_FALSE(seattle.measurements->precipMM.has_value());
  EXPECT_EQ(seattle.measurements->tempC, -1.5);
  EXPECT_FALSE(seattle.measurements->isDay);
  EXPECT_TRUE(seattle.periods.empty());
  EXPECT_EQ(*seattle.extras->objectForKey("qc").string(), "good");

  const auto& mcmurdo = *observations[3];
  EXPECT_EQ(mcmurdo.observedAt.timeIntervalSince1970(), 1499990000.0);
  EXPECT_EQ(mcmurdo.place->state, "");
  EXPECT_EQ(mcmurdo.profile->elevationM, -2);
  ASSERT_EQ(mcmurdo.periods.size(), 3u);
  EXPECT_EQ(mcmurdo.periods[2]->tempC, -23.0);

  // Austin serializes back to its input, except that timestamps have lost their fractions.
  auto expected = json(kObservations).array()->at(0).dictionary()->mutableCopy();
  expected->set("periods", json(R"([{"timestamp": 1500003600, "tempC": 33}, {"timestamp": 1500007200, "tempC": 31.5}])"));
  expectEqualValues(mapper->serializeObject(observations[0]), expected);

  auto seattleOb = mapper->serializeObject(observations[1]).dictionary()->objectForKey("ob").dictionary();
  ASSERT_TRUE(seattleOb);
  EXPECT_FALSE(seattleOb->contains("precipMM"));
  EXPECT_TRUE(mapper->serializeObject(observations[1], 1).dictionary()->valueForKeyPath("ob.precipMM").isNull());
  // A model object stands in for its dictionary as a source.
  auto copy = OVNMake<Place>();
  mapper->updateObjectInstance(copy, OVNValue(austin.place));
  EXPECT_EQ(copy->name + "," + copy->state + "," + copy->country, "austin,tx,us");

  auto timestamp = mapper->serializeObject(observations[3]).dictionary()->objectForKey("obTimestamp");
  ASSERT_TRUE(timestamp.number());
  EXPECT_TRUE(timestamp.number()->isFloating());
  EXPECT_EQ(timestamp.number()->doubleValue(), 1499990000.0);
}

}  // namespace
