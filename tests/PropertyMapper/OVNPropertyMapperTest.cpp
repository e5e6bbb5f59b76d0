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
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"
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
  std::string name, stamp, whole;
  std::optional<std::string> nickname;
  std::int64_t count = 0;
  double lat = 0, lon = 0;
  std::shared_ptr<MapperPart> part, spare;
  std::shared_ptr<MapperOrphan> orphan;
  std::vector<std::shared_ptr<MapperPart>> parts;
  OVNSetRef partSet, tagSet;
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
    const std::vector<std::pair<const char*, const char*>> declared = {{"numberValue", "T@\"NSNumber\",&,N"},
                                                                       {"stringValue", "T@\"NSString\",C,N"},
                                                                       {"dateValue", "T@\"NSDate\",&,N"},
                                                                       {"zoneValue", "T@\"NSTimeZone\",&,N"},
                                                                       {"charValue", "Tc,N"},
                                                                       {"doubleValue", "Td,N"},
                                                                       {"intValue", "Ti,N"},
                                                                       {"floatValue", "Tf,N"},
                                                                       {"longValue", "Tl,N"},
                                                                       {"shortValue", "Ts,N"},
                                                                       {"unsignedValue", "TI,N"},
                                                                       {"longLongValue", "Tq,N"},
                                                                       {"unsignedLongLongValue", "TQ,N"},
                                                                       {"boolValue", "TB,N"},
                                                                       {"unsignedCharValue", "TC,N"},
                                                                       {"unsignedShortValue", "TS,N"},
                                                                       {"arrayValue", "T@\"NSArray\",&,N"},
                                                                       {"dataValue", "T@\"NSData\",&,N"},
                                                                       {"idValue", "T@,&,N"},
                                                                       {"blockValue", "T@?,C,N"},
                                                                       {"untypedValue", "R,N"}};
    for (const auto& [name, attributes] : declared)
      properties.emplace_back(name, attributes, std::make_shared<NothingAccessor>());
    return properties;
  }());
  return generated;
}

namespace {

using D = OVNPropertyDescriptor;
using M = OVNPropertyMapper;
using Lines = std::vector<std::string>;

D::Ref plain(std::string name) { return D::initWithPropertyName(std::move(name)); }
// A nested MapperPart (or list of them).
D::Ref nested(std::string name) { return D::initWithPropertyName(std::move(name), MapperPart::classObject()); }

OVNDictionaryRef partTable() {
  return OVNDictionary::make({{"label", plain("label")}, {"note", plain("note")}, {"size", plain("size")}});
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
      {"name", plain("name")},
      {"nick", plain("nickname")},
      {"count", plain("count")},
      {"loc.lat", plain("lat")},
      {"part", nested("part")},
      {"parts", nested("parts")},
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

OVNValue json(std::string_view text) {
  std::shared_ptr<OVNError> error;
  OVNValue value = OVNJSONSerialization::JSONObjectWithData(text, 0, &error);
  EXPECT_TRUE(value.isPresent()) << (error ? error->localizedDescription() : "") << "\n" << text;
  return value;
}

void expectEqualValues(const OVNValue& actual, const OVNValue& expected) {
  EXPECT_TRUE(actual.isEqual(expected)) << "actual:\n"
                                        << actual.description() << "\nexpected:\n"
                                        << expected.description();
}

Lines messagesOf(const OVNPropertyMapper::Errors& errors) {
  Lines texts;
  for (const auto& error : errors) texts.push_back(error->localizedDescription());
  return texts;
}

// ---- registry ------------------------------------------------------------------------

class PropertyMapperRegistry : public ::testing::Test {
 protected:
  void SetUp() override { OVNLogger::setLoggingLevel(OVNLogLevelWarn); }
  OVNPropertyMapperRef mapper = OVNPropertyMapper::init();
  const OVNClass& widget = MapperWidget::classObject();
  const OVNClass& part = MapperPart::classObject();
  OVNPropertyMapper::FinalDecoderBlock noDecoder = [](const OVNDictionaryRef&, const OVNObjectRef&) {};
  OVNPropertyMapper::FinalEncoderBlock noEncoder = [](const OVNDictionaryRef&, const OVNObjectRef&) {};
};

TEST_F(PropertyMapperRegistry, RefusalsNameTheProblemAndAreLoggedOnlyWithASlot) {
  ConsoleCapture console;
  auto refusal = [&](std::initializer_list<std::pair<std::string, OVNValue>> entries) -> std::string {
    std::shared_ptr<OVNError> error;
    if (mapper->addMappings(OVNDictionary::make(entries), widget, &error) || !error) return "accepted";
    EXPECT_EQ(error->domain(), "com.ovrinweather.property-mapper");
    return std::to_string(error->code()) + " " + error->localizedDescription();
  };
  EXPECT_EQ(refusal({{"colour", plain("colour")}}),
            "60520 Mapper contains a property [colour] not found on class [MapperWidget]");
  EXPECT_EQ(mapper->mappingsForClass(widget), nullptr);
  EXPECT_EQ(console.lines(),
            Lines{"[Ovrin] ERROR Mapper contains a property [colour] not found on class [MapperWidget]"});
  EXPECT_EQ(refusal({{"title", "name"}}), "60530 Property mapper for key [title] is invalid on class [MapperWidget]");
  // A nested-property rule needs its holder on the class, yet names its own property.
  EXPECT_EQ(refusal({{"k", D::initWithPropertyName("label", std::string("gizmo"), part)}}),
            "60520 Mapper contains a property [label] not found on class [MapperWidget]");
  EXPECT_EQ(refusal({{"k", D::initWithPropertyName("size", std::string("spare"), part)}}), "accepted");
  // A whole-object rule has no property name.
  EXPECT_EQ(refusal({{"w", D::initWithEncodingGenerationBlock([](const OVNObjectRef&) { return OVNValue(1); }, {})}}),
            "60520 Mapper contains a property [] not found on class [MapperWidget]");

  // Without a slot nothing is logged; one bad entry keeps the whole table out.
  const std::size_t logged = console.lines().size();
  auto bad = OVNDictionary::make({{"colour", plain("colour")}, {"count", plain("count")}});
  EXPECT_FALSE(mapper->addMappings(bad, widget));
  EXPECT_FALSE(mapper->setMappings(bad, widget));
  EXPECT_EQ(console.lines().size(), logged);
  EXPECT_EQ(mapper->mappingsForClass(widget)->allKeys(), Lines{"k"});
}

TEST_F(PropertyMapperRegistry, AddMergesSetReplacesWithACopyMergingTakesWholeTables) {
  auto first = plain("name");
  auto second = plain("nickname");
  auto third = plain("count");
  ASSERT_TRUE(mapper->addMappings(OVNDictionary::make({{"a", first}, {"b", second}}), widget));
  ASSERT_TRUE(mapper->addMappings(OVNDictionary::make({{"b", third}, {"c", first}}), widget));
  auto merged = mapper->mappingsForClass(widget);
  EXPECT_EQ(merged->allKeys(), (Lines{"a", "b", "c"}));
  EXPECT_EQ(merged->objectForKey("b").object(), third);  // shared, not copied

  auto replacement = OVNDictionary::make({{"z", second}});
  ASSERT_TRUE(mapper->setMappings(replacement, widget));
  replacement->set("late", first);
  EXPECT_EQ(mapper->mappingsForClass(widget)->allKeys(), Lines{"z"});

  // Another mapper's tables replace whole tables; its coders and options come along.
  ASSERT_TRUE(mapper->setMappings(partTable(), part));
  mapper->setFinalMappingDecoder(noDecoder, part, M::FinalDecoderWholeDictionary);
  auto other = OVNPropertyMapper::init();
  ASSERT_TRUE(other->setMappings(OVNDictionary::make({{"w", plain("lat")}}), widget));
  int encoded = 0;
  other->setFinalMappingEncoder([&](const OVNDictionaryRef&, const OVNObjectRef&) { ++encoded; }, widget);
  other->setFinalMappingDecoder(noDecoder, part, M::FinalDecoderUnmappedRemainder);
  mapper->addMappingsFromPropertyMapper(*other);
  EXPECT_EQ(mapper->mappingsForClass(widget)->allKeys(), Lines{"w"});
  EXPECT_EQ(mapper->mappingsForClass(part)->count(), 3u);
  EXPECT_EQ(mapper->finalMappingDecoderOptionForClass(part), M::FinalDecoderUnmappedRemainder);
  mapper->serializeObject(OVNMake<MapperWidget>());
  EXPECT_EQ(encoded, 1);
}

TEST_F(PropertyMapperRegistry, RemoveTakesTableCodersAndOption) {
  mapper->setFinalMappingDecoder(noDecoder, part, M::FinalDecoderUnmappedRemainder);
  EXPECT_TRUE(mapper->removeMappingsForClass(part));
  EXPECT_FALSE(mapper->finalMappingDecoderOptionForClass(part).has_value());
  EXPECT_FALSE(mapper->finalMappingDecoderForClass(part));
  EXPECT_FALSE(mapper->removeMappingsForClass(part));

  ASSERT_TRUE(mapper->setMappings(partTable(), part));
  mapper->setFinalMappingEncoder(noEncoder, part);
  EXPECT_TRUE(mapper->removeMappingsForClass(part));
  EXPECT_EQ(mapper->mappingsForClass(part), nullptr);
  EXPECT_FALSE(mapper->finalMappingEncoderForClass(part));
  mapper->setFinalMappingEncoder(noEncoder, part);
  EXPECT_TRUE(mapper->removeMappingsForClass(part));  // an encoder alone counts
}

TEST(PropertyMapperGenerate, ExactlyTheElevenTypesOfTheClassItself) {
  auto table = OVNPropertyMapper::generateMappingsFromClass(MapperGenerated::classObject());
  EXPECT_EQ(table->allKeys(), (Lines{"charValue", "dateValue", "doubleValue", "floatValue", "intValue", "longValue",
                                     "numberValue", "shortValue", "stringValue", "unsignedValue", "zoneValue"}));
  for (const auto& [key, value] : *table) {
    auto descriptor = value.objectAs<D>();
    ASSERT_TRUE(descriptor) << key;
    EXPECT_EQ(descriptor->propertyName(), key);
    EXPECT_EQ(descriptor->type(), 0u);
    EXPECT_EQ(descriptor->mode(), 3u);
  }
  EXPECT_EQ(OVNPropertyMapper::generateMappingsFromClass(MapperGeneratedChild::classObject())->allKeys(),
            Lines{"extra"});
  // generateMappingsWithKeys is pinned by the worked models' measurements table.
}

// ---- value validation -----------------------------------------------------------------

TEST(PropertyMapperValidation, NestedArraysCollectEveryError) {
  auto mapper = OVNPropertyMapper::init();
  auto required = OVNDictionary::make({{"label", plain("label")->isRequired()}});
  ASSERT_TRUE(mapper->setMappings(required, MapperPart::classObject()));
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"parts", nested("parts")}}), MapperWidget::classObject()));

  auto three = json(R"([{"label": "a"}, {}, {"label": null}])");
  EXPECT_EQ(messagesOf(mapper->validateMapping(required, three)),
            (Lines{"isRequired validation failed on label", "isRequired validation failed on label"}));
  EXPECT_EQ(mapper->validateMapping(required, json(R"([[{}, {"label": "x"}], "skip", 5, [[{}]]])")).size(), 2u);
  EXPECT_TRUE(mapper->validateMapping(required, OVNValue()).empty());
  EXPECT_TRUE(mapper->validateMapping(required, "text").empty());

  OVNPropertyMapper::Errors errors;
  EXPECT_EQ(
      mapper->createObjectWithClass(MapperWidget::classObject(), OVNDictionary::make({{"parts", three}}), &errors),
      nullptr);
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[1]->code(), 60550);
}

// A nested object's own rules do not run, but a nested class needs a table even when the
// value is missing.
TEST(PropertyMapperValidation, ErrorsFollowTableOrderAndNestedClassesNeedTables) {
  auto orphan = D::initWithPropertyName("orphan", MapperOrphan::classObject());
  auto mapper = mapperWith(OVNDictionary::make({{"b", plain("name")->isRequired()->minLength(3)},
                                                {"a", plain("count")->min(10)},
                                                {"orphan", orphan},
                                                {"part", nested("part")->isRequired()}}));
  OVNPropertyMapper::Errors errors;
  EXPECT_EQ(mapper->createObjectWithClass(MapperWidget::classObject(), json(R"({"a": 3})"), &errors), nullptr);
  EXPECT_EQ(messagesOf(errors),
            (Lines{"min validation failed on count", "isRequired validation failed on name",
                   "minLength validation failed on name", "Mapper for class [MapperOrphan] not found"}));
  ASSERT_EQ(errors.size(), 4u);
  EXPECT_EQ(errors[3]->code(), 60540);
  EXPECT_EQ(errors[3]->domain(), "com.ovrinweather.property-mapper");
  EXPECT_EQ(mapper->createObjectWithClass(MapperOrphan::classObject(), json(R"({"label": "x"})"), &errors), nullptr);
  EXPECT_EQ(messagesOf(errors), Lines{"Mapper for class [MapperOrphan] not found"});
}

// ---- create, update, serialize ----------------------------------------------------------

TEST(PropertyMapperConvert, EveryKindInBothDirections) {
  auto mapper = mapperWith(widgetTable());
  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({
      "name": "Gear", "nick": "G", "count": 7, "loc": {"lat": 45.1}, "part": {"label": "P", "size": 3},
      "parts": [{"label": "a"}, {"label": "b"}], "partLabel": "S", "stampKey": "raw",
      "summary": "sum", "ignored": {"x": 1}})"));
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->lat, 45.1);
  EXPECT_EQ(widget->stamp, "raw|stamp");  // decoding is given the property name
  EXPECT_EQ(widget->whole, "sum");
  // The rest shows in the serialized form. loc.lat is dropped (no earlier entry made
  // "loc"); the nested-property rule writes under its holder's name; the encoding callback
  // is given the source key.
  expectEqualValues(mapper->serializeObject(widget), json(R"({
      "name": "Gear", "nick": "G", "count": 7, "loc": {},
      "part": {"label": "P", "size": 3},
      "parts": [{"label": "a", "size": 0}, {"label": "b", "size": 0}],
      "spare": {"partLabel": "S"}, "stampKey": "raw|stamp|stampKey", "summary": "Gear#7"})"));
}

TEST(PropertyMapperConvert, SerializationOptionsForMissingValues) {
  auto mapper = mapperWith(widgetTable());
  auto widget = OVNMake<MapperWidget>();
  expectEqualValues(mapper->serializeObject(widget, M::SerializeSkipMissing), json(R"({
      "name": "", "count": 0, "loc": {}, "parts": [], "spare": {}, "stampKey": "|stampKey", "summary": "#0"})"));
  expectEqualValues(mapper->serializeObject(widget, M::SerializeMissingAsNull), json(R"({
      "name": "", "nick": null, "count": 0, "loc": {}, "part": null, "parts": [],
      "spare": {"partLabel": null}, "stampKey": "|stampKey", "summary": "#0"})"));

  // Only a single nested object inherits SerializeMissingAsNull; collection members skip
  // missing values.
  widget->part = OVNMake<MapperPart>();
  widget->parts.push_back(OVNMake<MapperPart>());
  auto result = mapper->serializeObject(widget, M::SerializeMissingAsNull).dictionary();
  expectEqualValues(result->objectForKey("part"), json(R"({"label": "", "note": null, "size": 0})"));
  expectEqualValues(result->objectForKey("parts"), json(R"([{"label": "", "size": 0}])"));
}

TEST(PropertyMapperConvert, DottedKeysLandOnlyUnderAnEarlierParent) {
  auto mapper = OVNPropertyMapper::init();
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"loc.lat", plain("lat")}, {"loc.lon", plain("lon")}}),
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
  EXPECT_EQ(console.lines(), (Lines{"DICT: setValue: 45.1, forKeyPath: loc.lat - result: (null)",
                                    "DICT: setValue: -7.25, forKeyPath: loc.lon - result: -7.25"}));

  // With three parts, a missing middle level is made beside the existing top-level entry.
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"a.x", plain("lat")}, {"a.y.z", plain("lon")}}),
                                  MapperWidget::classObject()));
  expectEqualValues(mapper->serializeObject(widget), json(R"({"a": {}, "y": {}})"));
}

TEST(PropertyMapperConvert, WholeSourceKeysBuildNestedObjectsFromTheParent) {
  auto mapper = OVNPropertyMapper::init();
  ASSERT_TRUE(
      mapper->setMappings(OVNDictionary::make({{"label", plain("label")->isRequired()}}), MapperPart::classObject()));
  ASSERT_TRUE(mapper->setMappings(
      OVNDictionary::make({{"*", nested("part")}, {"^second", nested("spare")}, {"name", plain("name")}}),
      MapperWidget::classObject()));
  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({"name": "N", "label": "L"})"));
  ASSERT_TRUE(widget);
  expectEqualValues(mapper->serializeObject(widget),
                    json(R"({"*": {"label": "L"}, "^second": {"label": "L"}, "name": "N"})"));
  // Validation looks "*" up as a plain key, so the nested table's rule is not applied.
  auto unlabelled = mapper->createObjectWithClass<MapperWidget>(json(R"({"name": "N"})"));
  ASSERT_TRUE(unlabelled && unlabelled->part);
  EXPECT_EQ(unlabelled->part->label, "");
}

TEST(PropertyMapperConvert, ArraysBecomeSetsAndOrderedSetsByPropertyType) {
  auto mapper = mapperWith(OVNDictionary::make({{"tagSet", plain("tagSet")},
                                                {"tagOrder", plain("tagOrder")},
                                                {"tagList", plain("tagList")},
                                                {"name", plain("name")},
                                                {"partSet", nested("partSet")}}));
  auto widget = mapper->createObjectWithClass<MapperWidget>(json(R"({
      "tagSet": ["b", "a", "b"], "tagOrder": ["b", "a", "b", "c"], "tagList": ["b", "a", "b"], "name": ["x"],
      "partSet": [{"label": "a"}, {"label": "b"}, {"label": "c"}]})"));
  ASSERT_TRUE(widget && widget->tagSet && widget->tagOrder && widget->partSet);
  EXPECT_EQ(widget->tagSet->count(), 2u);
  EXPECT_TRUE(widget->tagSet->contains("a") && widget->tagSet->contains("b"));
  EXPECT_TRUE(widget->tagSet->isMutable());
  expectEqualValues(OVNArray::make(widget->tagOrder->members()), json(R"(["b", "a", "c"])"));
  expectEqualValues(widget->tagList, json(R"(["b", "a", "b"])"));
  EXPECT_EQ(widget->name, "");  // an array is not stored into a string
  Lines labels;
  for (const auto& member : *widget->partSet) labels.push_back(member.objectAs<MapperPart>()->label);
  std::sort(labels.begin(), labels.end());
  EXPECT_EQ(labels, (Lines{"a", "b", "c"}));

  // A set of objects serializes to a list of their dictionaries.
  auto serialized = mapper->serializeObject(widget).dictionary();
  ASSERT_TRUE(serialized->objectForKey("partSet").array());
  EXPECT_EQ(serialized->objectForKey("partSet").array()->count(), 3u);
}

TEST(PropertyMapperConvert, UpdatesKeepWhatNullLeavesAndFillNestedObjectsInPlace) {
  auto mapper = mapperWith(widgetTable());
  auto widget = OVNMake<MapperWidget>();
  widget->name = "keep";
  widget->nickname = "nick";
  widget->count = 5;
  widget->stamp = "s";
  auto part = widget->part = OVNMake<MapperPart>();
  part->label = "old";
  part->size = 9;
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

  auto spare = widget->spare = OVNMake<MapperPart>();
  spare->size = 1;
  mapper->updateObjectInstance(widget, json(R"({"part": {"label": "new"}, "partLabel": "t"})"));
  EXPECT_EQ(widget->part, part);
  EXPECT_EQ(part->label + "," + std::to_string(part->size), "new,9");
  EXPECT_EQ(widget->spare, spare);
  EXPECT_EQ(spare->label + "," + std::to_string(spare->size), "t,1");
}

TEST(PropertyMapperConvert, ModesDecideTheDirectionsAndUnknownKindsAreIgnored) {
  auto mapper = OVNPropertyMapper::init();
  auto unknownKind = plain("lat");
  unknownKind->setType(D::WholeObject + 1);
  auto decodeOnly = D::initWithPropertyName("stamp", OVNPropertyEncodingBlock{},
                                            [](const OVNValue& v, const std::string&) { return v; });
  ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"name", D::initWithPropertyName("name", D::Encode)},
                                                       {"count", D::initWithPropertyName("count", D::Decode)},
                                                       {"stamp", decodeOnly},
                                                       {"lat", unknownKind}}),
                                  MapperWidget::classObject()));
  auto widget =
      mapper->createObjectWithClass<MapperWidget>(json(R"({"name": "x", "count": 3, "stamp": "s", "lat": 1.5})"));
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
  EXPECT_TRUE(mapper->getSafeValueForKey("nope", *widget).isMissing());
}

// ---- final decoders and encoders -------------------------------------------------------

class PropertyMapperFinalCoders : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(mapper->setMappings(OVNDictionary::make({{"a", plain("name")}, {"b.c", plain("count")}}),
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

TEST_F(PropertyMapperFinalCoders, DecoderGetsTheWholeSourceOrTheUnmappedRemainderOrNothing) {
  decodeWith(0);
  auto widget = mapper->createObjectWithClass<MapperWidget>(source);
  ASSERT_TRUE(widget);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(received, source);
  EXPECT_EQ(receivedObject, widget);

  decodeWith(1);
  widget = mapper->createObjectWithClass<MapperWidget>(source);
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->name + "," + std::to_string(widget->count), "x,2");
  EXPECT_EQ(calls, 2);
  expectEqualValues(received, json(R"({"b": {"d": 3}, "e": 4})"));
  expectEqualValues(source, json(R"({"a": "x", "b": {"c": 2, "d": 3}, "e": 4})"));

  decodeWith(2);  // other options never call
  ASSERT_TRUE(mapper->createObjectWithClass(MapperWidget::classObject(), source));
  EXPECT_EQ(calls, 2);

  // Without a table the decoder still runs.
  ASSERT_TRUE(mapper->removeMappingsForClass(MapperWidget::classObject()));
  decodeWith(0);
  widget = OVNMake<MapperWidget>();
  mapper->updateObjectInstance(widget, source);
  EXPECT_EQ(calls, 3);
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
  OVNObjectRef instanceForClass(const OVNClass& cls, const OVNValue& dictionary) override {
    calls.push_back(cls.name() + " " + (dictionary.isDictionary() ? "dictionary" : dictionary.className()));
    return cls.name() == "MapperPart" ? nullptr : cls.createInstance();
  }
  Lines calls;
};

const std::string kNoPartLine = "**ERROR** Could not create instance of MapperPart in array for property parts";

TEST(PropertyMapperFactory, NullInstancesAreSkippedQuietlyOrWithALogLine) {
  auto factory = std::make_shared<RecordingFactory>();
  auto mapper = mapperWith(OVNDictionary::make({{"part", nested("part")}, {"parts", nested("parts")}}));
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
  EXPECT_EQ(console.lines(), (Lines{kNoPartLine, kNoPartLine}));
  EXPECT_EQ(factory->calls, (Lines{"MapperPart dictionary", "MapperWidget dictionary", "MapperPart nil",
                                   "MapperPart dictionary", "MapperPart dictionary"}));
  EXPECT_EQ(OVNPropertyMapper::initWithModelFactory(factory)->modelFactory(), factory);
  EXPECT_TRUE(
      std::dynamic_pointer_cast<OVNPropertyMapperSimpleModelFactory>(OVNPropertyMapper::init()->modelFactory()));
}

TEST(PropertyMapperShapes, WrongShapesNeitherCrashNorStoreNonsense) {
  auto mapper = mapperWith(widgetTable());
  ConsoleCapture console;
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

  // Null values leave defaults; list members that are not dictionaries are skipped, each
  // with the factory's line.
  auto mixed = mapper->createObjectWithClass<MapperWidget>(json(R"({"part": {"label": null, "child": null},
      "parts": [{"label": "a"}, "junk", 5, null, [], {"label": null}], "loc": {"lat": null}})"));
  ASSERT_TRUE(mixed && mixed->part);
  EXPECT_EQ(mixed->part->label, "");
  ASSERT_EQ(mixed->parts.size(), 2u);
  EXPECT_EQ(mixed->parts[0]->label + "," + mixed->parts[1]->label, "a,");
  const Lines lines = console.lines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), kNoPartLine), 4);
}

TEST(PropertyMapperShapes, DeeplyNestedInputIsFollowedToTheBottom) {
  auto mapper = OVNPropertyMapper::init();
  ASSERT_TRUE(
      mapper->setMappings(OVNDictionary::make({{"label", plain("label")->isRequired()}, {"child", nested("child")}}),
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
  EXPECT_EQ(*mapper->serializeObject(top).dictionary()->valueForKeyPath("child.child.label").string(), "3");
}

TEST(PropertyMapperShapes, SerializingNothingNullAndUnmappedObjects) {
  auto mapper = OVNPropertyMapper::init();
  EXPECT_TRUE(mapper->serializeObject(OVNValue::null()).isNull());
  EXPECT_TRUE(mapper->serializeObject(OVNValue()).isMissing());
  auto serialized = mapper->serializeObject(OVNMake<MapperOrphan>()).dictionary();
  ASSERT_TRUE(serialized);
  EXPECT_TRUE(serialized->empty());
  EXPECT_TRUE(serialized->isMutable());
  // A final encoder runs even without a table.
  mapper->setFinalMappingEncoder([](const OVNDictionaryRef& d, const OVNObjectRef&) { d->set("made", "here"); },
                                 MapperOrphan::classObject());
  expectEqualValues(mapper->serializeObject(OVNMake<MapperOrphan>()), json(R"({"made": "here"})"));
}

// ---- threads ---------------------------------------------------------------------------

TEST(PropertyMapperThreads, ConcurrentFirstUseOfOneClass) {
  auto mapper = mapperWith(OVNDictionary::make(
      {{"name", plain("name")}, {"part", nested("part")}, {"parts", nested("parts")}, {"tagSet", plain("tagSet")}}));
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

constexpr std::string_view kAustin = R"({"id": "KAUS", "dataSource": "METAR", "loc": {"lat": 30.18, "long": -97.68},
   "place": {"name": "austin", "state": "tx", "country": "us"},
   "profile": {"tz": "America/Chicago", "elevM": 150, "hasPrecip": true},
   "obTimestamp": 1500000000, "obDateTime": "2017-07-13T21:40:00-05:00",
   "ob": {"tempC": 33.9, "tempF": 93, "dewpointC": 21.1, "humidity": 47, "pressureMB": 1014, "windKPH": 19,
          "windDir": "S", "weather": "Mostly Sunny", "weatherCoded": "::FW", "icon": "fair.png", "isDay": true,
          "visibilityKM": 16.09, "sky": 20, "precipMM": 0.5},
   "periods": [{"timestamp": 1500003600, "tempC": 33.0}, {"timestamp": 1500007200.7, "tempC": 31.5}],
   "relativeTo": {"lat": 30.2, "long": -97.7, "distanceKM": 3.2}})";

TEST(PropertyMapperWorkedModels, AnObservationMapsAndSerializesBack) {
  auto mapper = makeWeatherMapper();
  ASSERT_TRUE(mapper);
  OVNPropertyMapper::Errors errors;
  // A nested object's own rules are checked.
  EXPECT_EQ(mapper->createObjectWithClass<Observation>(json(R"({"id": "KPHX", "dataSource": "METAR",
      "loc": {"lat": 33.43, "long": -112.01}, "ob": {"tempC": 44.0, "humidity": 140}})"),
                                                       &errors),
            nullptr);
  EXPECT_EQ(messagesOf(errors), Lines{"range validation failed on humidity"});

  auto austin = mapper->createObjectWithClass<Observation>(json(kAustin));
  ASSERT_TRUE(austin);
  // Unmapped keys are kept; the emptied "loc" is not worth keeping.
  expectEqualValues(austin->extras, json(R"({"relativeTo": {"lat": 30.2, "long": -97.7, "distanceKM": 3.2}})"));
  // It serializes back to its input, except that timestamps have lost their fractions.
  auto expected = json(kAustin).dictionary()->mutableCopy();
  expected->set("periods",
                json(R"([{"timestamp": 1500003600, "tempC": 33}, {"timestamp": 1500007200, "tempC": 31.5}])"));
  auto serialized = mapper->serializeObject(austin);
  expectEqualValues(serialized, expected);
  EXPECT_TRUE(serialized.dictionary()->objectForKey("obTimestamp").number()->isFloating());

  // A model object stands in for its dictionary as a source.
  auto copy = OVNMake<Place>();
  mapper->updateObjectInstance(copy, OVNValue(austin->place));
  EXPECT_EQ(copy->name + "," + copy->state + "," + copy->country, "austin,tx,us");
}

}  // namespace
