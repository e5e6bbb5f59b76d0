#include <gtest/gtest.h>

#include <filesystem>
#include <latch>
#include <thread>

#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNBlock.h"
#include "Platform/Values/OVNData.h"
#include "PropertyMapper/NSObject+OVNAutoCoding.h"
#include "PropertyMapper/OVNAutoCodingObject.h"
#include "Support/ConsoleCapture.h"
#include "Support/TemporaryDirectory.h"

struct AutoCodingOrigin {
  double x = 0, y = 0;
};
OVN_STRUCT_ENCODING(AutoCodingOrigin, "{CGPoint=dd}");

namespace autocoding_test {

class AutoCodingPlace : public OVNAutoCodingObject {
  OVN_CLASS(AutoCodingPlace, OVNAutoCodingObject)
 public:
  std::string name;
};

class AutoCodingStation : public OVNAutoCodingObject {
  OVN_CLASS(AutoCodingStation, OVNAutoCodingObject)
 public:
  std::optional<std::string> title;
  std::int64_t count = 0;
  AutoCodingOrigin origin;
  std::optional<std::string> hidden;  // exposed as `note`, so not coded
  double temperature = 0;
  std::uint64_t total = 0;
  std::optional<OVNDate> observedAt;
  std::shared_ptr<AutoCodingPlace> place;
  std::vector<std::shared_ptr<AutoCodingPlace>> places;
  OVNArrayRef readings;
  std::function<void()> handler;
  std::string summary() const { return "s"; }
  double elevation() const { return elevation_; }
  void setElevation(double meters) { elevation_ = meters; }
  double elevation_ = 0;
};

class AutoCodingSubStation : public AutoCodingStation {
  OVN_CLASS(AutoCodingSubStation, AutoCodingStation)
 public:
  std::string network;
  std::int64_t title = 0;  // redeclared: the ancestor's entry wins
};

// Same property names with untyped members, renamed to AutoCodingStation in forged archives.
class AutoCodingLooseStation : public OVNAutoCodingObject {
  OVN_CLASS(AutoCodingLooseStation, OVNAutoCodingObject)
 public:
  OVNValue title, place, places;
};

class AutoCodingRetired : public OVNAutoCodingObject {
  OVN_CLASS(AutoCodingRetired, OVNAutoCodingObject)
 public:
  std::string kept, secret;
};
class AutoCodingRetiredChild : public AutoCodingRetired {
  OVN_CLASS(AutoCodingRetiredChild, AutoCodingRetired)
};
class AutoCodingConcurrent : public OVNAutoCodingObject {
  OVN_CLASS(AutoCodingConcurrent, OVNAutoCodingObject)
 public:
  std::string a;
};

// Attribute texts the member types cannot produce.
class NullAccessor final : public OVNPropertyAccessor {
 public:
  OVNValue get(const OVNObject&) const override { return {}; }
  SetResult set(OVNObject&, const OVNValue&) const override { return SetResult::Stored; }
};
const OVNClass& handMadeClass() {
  static const OVNClass cls("AutoCodingHandMade", &OVNObject::classObject(), {}, [] {
    // clang-format off
    const char* declared[] = {
        "list", "T@\"NSArray<Foo>\",&,N,V_list",   "unknown", "T@\"AutoCodingNoSuchClass\",&,N,V_unknown",
        "any", "T@,&,N,Vany",                      "legacy", "Tl,R,N,V_legacy",
        "dynamicValue", "TL,N,D",                  "readOnlyDynamic", "Tq,R,N,D",
        "klass", "T#,N,V_klass",                   "computed", "T@\"NSString\",C,N",
        "untyped", "C,N,V_untyped",                "other", "Tq,N,V_another",
        "block", "T@?,C,N,V_block",                "point", "T{CGPoint=dd},N,V_point"};
    // clang-format on
    std::vector<OVNProperty> list;  // name, attributes, name, ...
    for (std::size_t i = 0; i + 1 < std::size(declared); i += 2) {
      list.emplace_back(declared[i], declared[i + 1], std::make_shared<NullAccessor>());
    }
    return list;
  }());
  return cls;
}

OVN_PROPERTIES(AutoCodingPlace, name)
OVN_PROPERTIES(AutoCodingStation, title, count, origin, (note, stored_as, hidden), temperature, total, observedAt,
               place, places, readings, handler, summary, (elevation, setElevation))
OVN_PROPERTIES(AutoCodingSubStation, network, title)
OVN_PROPERTIES(AutoCodingLooseStation, title, place, places)
OVN_PROPERTIES(AutoCodingRetired, kept, secret)
OVN_PROPERTIES(AutoCodingRetiredChild)
OVN_PROPERTIES(AutoCodingConcurrent, a)
OVN_RESPONDS_TO(AutoCodingRetired, "codableKeys", "uncodableKeys");
OVN_UNCODABLE_PROPERTIES(AutoCodingRetired, secret);
OVN_RESPONDS_TO(AutoCodingConcurrent, "codableKeys");

const std::string kCodableKeysWarning =
    "AutoCoding Warning: codableKeys method is no longer supported. Use codableProperties instead.";
const std::string kAvoidCoding =
    " method is no longer supported. Use ivars, or synthesize your properties using non-KVC-compliant names to avoid "
    "coding them instead.";

std::map<std::string, std::string> classNames(const OVNCodableProperties& table) {
  std::map<std::string, std::string> names;
  for (const auto& [name, cls] : table) names[name] = cls->name();
  return names;
}

std::shared_ptr<AutoCodingStation> sampleStation() {
  auto station = OVNMake<AutoCodingStation>();
  station->title = "Camp Mabry";
  station->count = -42;
  station->origin = {1, 2};
  station->hidden = "not archived";
  station->temperature = 21.5;
  station->total = 18446744073709551615u;
  station->place = OVNMake<AutoCodingPlace>();
  station->place->name = "Austin";
  auto other = OVNMake<AutoCodingPlace>();
  other->name = "Dallas";
  station->places = {station->place, other};
  station->readings = OVNArray::make({1, 2.5, "x"});
  station->setElevation(149);
  return station;
}

// The reason of the OVNAutocodingException that `run` raises, or what happened instead.
std::string autocodingReason(const std::function<void()>& run) {
  try {
    run();
  } catch (const OVNException& e) {
    return e.name() == OVNAutocodingException ? e.reason() : "other exception " + e.name();
  }
  return "no exception";
}

// The archive of `object` with every class description named `from` renamed to `to`.
OVNDataRef archiveRenamingClass(const OVNObject& object, const std::string& from, const std::string& to) {
  auto data = OVNKeyedArchiver::archivedDataWithRootObject(OVNValue(std::const_pointer_cast<OVNObject>(object.self())),
                                                           true, nullptr);
  OVNValue plist =
      OVNPropertyListSerialization::propertyListWithData(*data, OVNPropertyListMutableContainers, nullptr, nullptr);
  for (const OVNValue& entry : *plist.dictionary()->objectForKey("$objects").array()) {
    if (auto d = entry.dictionary(); d && d->objectForKey("$classname").isEqual(from)) d->set("$classname", to);
  }
  return OVNPropertyListSerialization::dataWithPropertyList(plist, OVNPropertyListBinaryFormat_v1_0, 0, nullptr);
}

TEST(OVNAutoCodingTest, CodableTablesFollowTypesFieldsAndAncestors) {
  using Names = std::map<std::string, std::string>;
  const Names station{{"title", "NSString"}, {"count", "NSNumber"},    {"temperature", "NSNumber"},
                      {"total", "NSNumber"}, {"observedAt", "NSDate"}, {"place", "AutoCodingPlace"},
                      {"places", "NSArray"}, {"readings", "NSArray"},  {"elevation", "NSNumber"}};
  EXPECT_EQ(classNames(codableProperties(AutoCodingStation::classObject())), station);
  const Names handMade{{"list", "NSArray"},
                       {"unknown", "NSObject"},
                       {"any", "NSObject"},
                       {"legacy", "NSNumber"},
                       {"dynamicValue", "NSNumber"}};
  EXPECT_EQ(classNames(codableProperties(handMadeClass())), handMade);

  const auto sub = OVNMake<AutoCodingSubStation>();
  const OVNCodableProperties& merged = ovn_codableProperties(*sub);
  EXPECT_EQ(merged.size(), 10u);
  EXPECT_EQ(merged.at("title")->name(), "NSString");
  EXPECT_EQ(merged.at("network")->name(), "NSString");
  EXPECT_EQ(merged.count("description"), 0u);
  EXPECT_EQ(&ovn_codableProperties(*OVNMake<AutoCodingSubStation>()), &merged) << "kept per class";
}

TEST(OVNAutoCodingTest, RetiredHooksWarnOnEveryBuildAndUncodableNamesAreHonoured) {
  ConsoleCapture console;
  const auto table = codableProperties(AutoCodingRetiredChild::classObject());  // hooks are inherited
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(codableProperties(AutoCodingRetired::classObject()).count("secret"), 0u);
  EXPECT_EQ(codableProperties(AutoCodingRetired::classObject()).count("kept"), 1u);
  const std::vector<std::string> once{kCodableKeysWarning, "AutoCoding Warning: uncodableKeys" + kAvoidCoding,
                                      "AutoCoding Warning: uncodableProperties" + kAvoidCoding};
  std::vector<std::string> expected;
  for (int i = 0; i < 3; ++i) expected.insert(expected.end(), once.begin(), once.end());
  EXPECT_EQ(console.lines(), expected);
  EXPECT_EQ(uncodableProperties(AutoCodingRetiredChild::classObject()), std::vector<std::string>{"secret"});
  EXPECT_TRUE(uncodableProperties(AutoCodingStation::classObject()).empty());
}

TEST(OVNAutoCodingTest, ConcurrentFirstUseBuildsTheTableOnce) {
  ConsoleCapture console;
  constexpr int kThreads = 8;
  std::latch start(kThreads);
  std::vector<const OVNCodableProperties*> seen(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      auto object = OVNMake<AutoCodingConcurrent>();
      start.arrive_and_wait();
      seen[i] = &ovn_codableProperties(*object);
    });
  }
  for (auto& t : threads) t.join();
  for (const auto* table : seen) EXPECT_EQ(table, seen[0]);
  EXPECT_EQ(seen[0]->count("a"), 1u);
  EXPECT_EQ(console.lines(), std::vector<std::string>{kCodableKeysWarning}) << "one build, one warning";
}

TEST(OVNAutoCodingTest, ArchiveCopyAndDictionaryCarryTheCodableValues) {
  const auto station = sampleStation();
  std::shared_ptr<OVNError> error;
  auto data = OVNKeyedArchiver::archivedDataWithRootObject(station, true, &error);
  ASSERT_TRUE(data) << error->description();
  const OVNValue value = OVNKeyedUnarchiver::unarchivedObjectOfClass(AutoCodingStation::classObject(), *data, &error);
  auto restored = value.objectAs<AutoCodingStation>();
  ASSERT_TRUE(restored) << (error ? error->description() : value.description());
  EXPECT_EQ(restored->title, "Camp Mabry");
  EXPECT_EQ(restored->count, -42);
  EXPECT_EQ(restored->temperature, 21.5);
  EXPECT_EQ(restored->total, 18446744073709551615u);
  EXPECT_EQ(restored->elevation(), 149);
  EXPECT_FALSE(restored->observedAt.has_value());
  EXPECT_FALSE(restored->hidden.has_value()) << "a renamed field is not coded";
  EXPECT_EQ(restored->origin.x, 0) << "structures are not coded";
  ASSERT_TRUE(restored->place);
  EXPECT_EQ(restored->place->name, "Austin");
  ASSERT_EQ(restored->places.size(), 2u);
  EXPECT_EQ(restored->places[0], restored->place);
  EXPECT_EQ(restored->places[1]->name, "Dallas");
  EXPECT_TRUE(OVNValue(restored->readings).isEqual(station->readings));

  // Values that are missing are not written; a restore leaves absent keys untouched.
  auto archiver = OVNKeyedArchiver::initRequiringSecureCoding(true);
  ovn_encodeWithCoder(*station, *archiver);
  auto coder = OVNKeyedUnarchiver::initForReadingFromData(*archiver->encodedData(), nullptr);
  EXPECT_TRUE(coder->containsValueForKey("title"));
  EXPECT_FALSE(coder->containsValueForKey("observedAt"));
  EXPECT_FALSE(coder->containsValueForKey("note"));
  auto target = OVNMake<AutoCodingStation>();
  target->observedAt = OVNDate(5);
  EXPECT_TRUE(ovn_setWithCoder(*target, *coder));
  EXPECT_EQ(target->observedAt, OVNDate(5));
  EXPECT_EQ(target->count, -42);

  // Copies and dictionaries share the values.
  EXPECT_TRUE(station->supportsCopying());
  auto copy = std::dynamic_pointer_cast<AutoCodingStation>(station->copy());
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->title, station->title);
  EXPECT_EQ(copy->readings, station->readings) << "containers are shared";
  EXPECT_EQ(copy->place, station->place);
  EXPECT_EQ(copy->elevation(), 149);
  EXPECT_FALSE(copy->hidden.has_value());
  auto sub = OVNMake<AutoCodingSubStation>();
  sub->network = "NWS";
  EXPECT_EQ(std::static_pointer_cast<AutoCodingSubStation>(OVNValue(sub).copy().object())->network, "NWS");
  const auto dictionary = ovn_dictionaryRepresentation(*station);
  EXPECT_EQ(dictionary->allKeys(), (std::vector<std::string>{"count", "elevation", "place", "places", "readings",
                                                             "temperature", "title", "total"}));
  EXPECT_EQ(dictionary->objectForKey("place").object(), station->place);
  EXPECT_TRUE(dictionary->objectForKey("count").isEqual(-42));
}

TEST(OVNAutoCodingTest, WrongClassRaisesOrFails) {
  auto loose = OVNMake<AutoCodingLooseStation>();
  loose->title = 5;
  const auto forged = archiveRenamingClass(*loose, "AutoCodingLooseStation", "AutoCodingStation");
  const std::string expected = "Expected 'title' to be a NSString, but was actually a NSNumber";
  // Only the exception matters here: the decode never returns.
  EXPECT_EQ(autocodingReason([&] {
              static_cast<void>(
                  OVNKeyedUnarchiver::unarchivedObjectOfClass(AutoCodingStation::classObject(), *forged, nullptr));
            }),
            expected);
  EXPECT_EQ(autocodingReason([&] { static_cast<void>(OVNKeyedUnarchiver::unarchiveObjectWithData(*forged)); }),
            expected);

  // A secure coder never makes a model object of another class than the property's.
  loose->title = OVNValue();
  loose->place = OVNMake<AutoCodingStation>();
  const auto wrongModel = archiveRenamingClass(*loose, "AutoCodingLooseStation", "AutoCodingStation");
  std::shared_ptr<OVNError> error;
  EXPECT_TRUE(
      OVNKeyedUnarchiver::unarchivedObjectOfClass(AutoCodingStation::classObject(), *wrongModel, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), OVNCoderReadCorruptError);
  EXPECT_EQ(autocodingReason([&] { static_cast<void>(OVNKeyedUnarchiver::unarchiveObjectWithData(*wrongModel)); }),
            "Expected 'place' to be a AutoCodingPlace, but was actually a AutoCodingStation");

  // The right class that the member cannot hold fails the decode instead of throwing.
  loose->place = OVNValue();
  loose->places = OVNArray::make({"not a place"});
  error = nullptr;
  const auto strings = archiveRenamingClass(*loose, "AutoCodingLooseStation", "AutoCodingStation");
  EXPECT_TRUE(
      OVNKeyedUnarchiver::unarchivedObjectOfClass(AutoCodingStation::classObject(), *strings, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_NE(error->localizedDescription().find("'places'"), std::string::npos) << error->localizedDescription();

  // An unknown class anywhere in the archive fails the whole decode.
  error = nullptr;
  const auto unknown = archiveRenamingClass(*sampleStation(), "AutoCodingPlace", "AutoCodingNoSuchPlace");
  EXPECT_TRUE(
      OVNKeyedUnarchiver::unarchivedObjectOfClass(AutoCodingStation::classObject(), *unknown, &error).isMissing());
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), OVNCoderReadCorruptError);
}

TEST(OVNAutoCodingTest, FilesHoldArchivesOrPlainPropertyLists) {
  TemporaryDirectory directory("autocoding");
  const std::string path = directory.path() + "/station.archive";
  for (bool atomically : {true, false}) {
    auto station = sampleStation();
    station->count = atomically ? 1 : 2;
    ASSERT_TRUE(ovn_writeToFile(*station, path, atomically));
    auto restored = ovn_objectWithContentsOfFile(path).objectAs<AutoCodingStation>();
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->count, station->count);
    EXPECT_EQ(restored->places.at(1)->name, "Dallas");
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1) << "no temporary file left";
  EXPECT_FALSE(ovn_writeToFile(*sampleStation(), directory.path() + "/missing/station.archive", true));
  auto unarchivable = OVNMake<AutoCodingLooseStation>();
  unarchivable->title = OVNBlock::make(std::function<void()>([] {}));
  EXPECT_FALSE(ovn_writeToFile(*unarchivable, path, true));
  EXPECT_EQ(ovn_objectWithContentsOfFile(path).objectAs<AutoCodingStation>()->count, 2) << "old file kept";

  const auto plain = OVNDictionary::make({{"name", "Austin"}, {"ids", OVNArray::make({1, 2})}});
  ASSERT_TRUE(OVNFileManager::createFileAtPath(
      path, std::string(OVNPropertyListSerialization::dataWithPropertyList(plain, 100, 0, nullptr)->view())));
  EXPECT_TRUE(ovn_objectWithContentsOfFile(path).isEqual(plain));
  ASSERT_TRUE(OVNFileManager::createFileAtPath(path, "not a property list"));
  EXPECT_TRUE(ovn_objectWithContentsOfFile(path).isMissing());
  EXPECT_TRUE(ovn_objectWithContentsOfFile(directory.path() + "/absent").isMissing());
  ASSERT_TRUE(OVNFileManager::createFileAtPath(
      path, std::string(archiveRenamingClass(*sampleStation(), "AutoCodingPlace", "AutoCodingNoSuchPlace")->view())));
  EXPECT_TRUE(ovn_objectWithContentsOfFile(path).isMissing());
}

}  // namespace autocoding_test
