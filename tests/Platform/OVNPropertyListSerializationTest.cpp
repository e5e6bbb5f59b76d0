#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "Platform/Objects/OVNError.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNBlock.h"
#include "Platform/Values/OVNBoxedValue.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

OVNDataRef write(const OVNValue& value, int format, std::shared_ptr<OVNError>* error = nullptr) {
  return OVNPropertyListSerialization::dataWithPropertyList(value, format, 0, error);
}

OVNValue read(const Bytes& bytes, std::shared_ptr<OVNError>* error = nullptr, int options = 0, int* format = nullptr) {
  return OVNPropertyListSerialization::propertyListWithData(OVNData(bytes), options, format, error);
}

OVNValue read(std::string_view text, std::shared_ptr<OVNError>* error = nullptr) {
  return read(Bytes(text.begin(), text.end()), error);
}

OVNNumberKind kindAt(const OVNValue& dictionary, std::string_view key) {
  return dictionary.dictionary()->objectForKey(key).number()->kind();
}

// Every kind a property list holds, at the edges of their ranges.
OVNValue sampleOfEveryKind() {
  Bytes allBytes;
  for (int i = 0; i < 256; ++i) allBytes.push_back(static_cast<std::uint8_t>(i));
  return OVNValue::dictionary({
      {"min", OVNValue(std::numeric_limits<long long>::min())},
      {"max", OVNValue(std::numeric_limits<long long>::max())},
      {"minusOne", OVNValue(-1)},
      {"byteEdges", OVNValue::array({0, 255, 256, 65535, 65536, 4294967295LL, 4294967296LL})},
      {"unsignedMax", OVNValue(std::numeric_limits<unsigned long long>::max())},
      {"reals", OVNValue::array({0.1, -2.5e-300, 1.7976931348623157e308, 3.0, -0.0})},
      {"yes", OVNValue(true)},
      {"no", OVNValue(false)},
      {"unicode", OVNValue("h\u00e9llo \u65e5\u672c \U0001F600 <&> \"quoted\"")},
      {"long", OVNValue(std::string(40, 'x'))},
      {"empty", OVNValue("")},
      {"dates",
       OVNValue::array({OVNDate(0), OVNDate(86400 * 365.0), OVNDate(-3000000000.0), OVNDate::distantFuture()})},
      {"data", OVNValue(OVNData::make(allBytes))},
      {"noData", OVNValue(OVNData::make({}))},
      {"nested", OVNValue::array({OVNValue::array({}), OVNValue::dictionary({{"k", OVNValue::array({"deep"})}})})},
      {"\u00fcber key", OVNValue(1)},
  });
}

TEST(OVNPropertyListSerializationTest, RoundTripsEveryKindInBothFormats) {
  const OVNValue original = sampleOfEveryKind();
  for (int format : {OVNPropertyListXMLFormat_v1_0, OVNPropertyListBinaryFormat_v1_0}) {
    SCOPED_TRACE(format);
    std::shared_ptr<OVNError> error;
    OVNDataRef data = write(original, format, &error);
    ASSERT_TRUE(data) << (error ? error->description() : "");
    int found = 0;
    const OVNValue back = read(data->bytes(), &error, OVNPropertyListImmutable, &found);
    ASSERT_TRUE(back.isPresent()) << error->description();
    EXPECT_EQ(found, format);
    EXPECT_TRUE(back.isEqual(original)) << back.description();
    // Equality compares numbers by value; their kinds must survive too.
    EXPECT_EQ(kindAt(back, "max"), OVNNumberKind::Integer);
    EXPECT_EQ(kindAt(back, "minusOne"), OVNNumberKind::Integer);
    EXPECT_EQ(kindAt(back, "unsignedMax"), OVNNumberKind::Unsigned);
    EXPECT_EQ(kindAt(back, "yes"), OVNNumberKind::Boolean);
    EXPECT_EQ(back.dictionary()->objectForKey("reals").array()->at(3).number()->kind(), OVNNumberKind::Floating);
    if (format == OVNPropertyListBinaryFormat_v1_0) {  // libplist's XML writes negative zero as 0.0
      EXPECT_TRUE(std::signbit(back.dictionary()->objectForKey("reals").array()->at(4).number()->doubleValue()));
    }
    EXPECT_FALSE(back.dictionary()->isMutable());
  }
}

TEST(OVNPropertyListSerializationTest, BinaryKeepsFractionalDatesExactly) {
  const OVNValue dates = OVNValue::array({OVNDate(-0.5), OVNDate(0.001), OVNDate(123456789.123456)});
  OVNDataRef data = write(dates, OVNPropertyListBinaryFormat_v1_0);
  ASSERT_TRUE(data);
  const OVNValue back = read(data->bytes());
  ASSERT_TRUE(back.isArray());
  EXPECT_EQ(back.array()->at(0).date()->timeIntervalSinceReferenceDate(), -0.5);
  EXPECT_EQ(back.array()->at(2).date()->timeIntervalSinceReferenceDate(), 123456789.123456);
}

TEST(OVNPropertyListSerializationTest, WritesTheBinaryFormByTheBook) {
  // {"a": 1} laid out by hand: header, dictionary (1 entry, refs 1 and 2), "a", 1, offset
  // table (8, 11, 13), trailer (1-byte offsets and refs, 3 objects, top 0, table at 15).
  const Bytes expected = {'b',  'p', 'l', 'i', 's', 't', '0', '0', 0xD1, 0x01, 0x02, 0x51, 'a', 0x10, 0x01, 0x08, 0x0B,
                          0x0D, 0,   0,   0,   0,   0,   0,   1,   1,    0,    0,    0,    0,   0,    0,    0,    3,
                          0,    0,   0,   0,   0,   0,   0,   0,   0,    0,    0,    0,    0,   0,    0,    15};
  OVNDataRef data = write(OVNValue::dictionary({{"a", 1}}), OVNPropertyListBinaryFormat_v1_0);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->bytes(), expected);
  EXPECT_TRUE(read(expected).isEqual(OVNValue::dictionary({{"a", 1}})));
}

TEST(OVNPropertyListSerializationTest, ReadsHandWrittenXML) {
  const char* text = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
  <!-- a comment -->
  <key>name</key><string>Fish &amp; Chips &lt;3</string>
  <key>count</key><integer>-42</integer>
  <key>big</key><integer>18446744073709551615</integer>
  <key>ratio</key><real>2.5</real>
  <key>on</key><true/>
  <key>when</key><date>2001-01-02T00:00:00Z</date>
  <key>blob</key><data>aGVsbG8=</data>
  <key>list</key><array><string>a</string><integer>7</integer></array>
  <key>ref</key><dict><key>CF$UID</key><integer>3</integer></dict>
</dict>
</plist>)";
  std::shared_ptr<OVNError> error;
  const OVNValue value = read(text, &error);
  ASSERT_TRUE(value.isDictionary()) << error->description();
  const OVNDictionary& d = *value.dictionary();
  EXPECT_EQ(*d["name"].string(), "Fish & Chips <3");
  EXPECT_EQ(d["count"].number()->longLongValue(), -42);
  EXPECT_EQ(d["big"].number()->kind(), OVNNumberKind::Unsigned);
  EXPECT_EQ(d["big"].number()->unsignedLongLongValue(), 18446744073709551615ULL);
  EXPECT_EQ(d["ratio"].number()->doubleValue(), 2.5);
  EXPECT_TRUE(d["on"].number()->isBoolean());
  EXPECT_EQ(d["when"].date()->timeIntervalSinceReferenceDate(), 86400.0);
  EXPECT_EQ(d["blob"].data()->view(), "hello");
  EXPECT_TRUE(d["list"].isEqual(OVNValue::array({"a", 7})));
  EXPECT_TRUE(d["ref"].isEqual(OVNValue::dictionary({{"CF$UID", 3}})));
}

TEST(OVNPropertyListSerializationTest, MutabilityOptionAndSharedContainers) {
  OVNArrayRef shared = OVNArray::make({1, 2});
  const OVNValue value = OVNValue::array({shared, shared});
  OVNDataRef data = write(value, OVNPropertyListBinaryFormat_v1_0);
  ASSERT_TRUE(data);
  const OVNValue immutable = read(data->bytes());
  EXPECT_FALSE(immutable.array()->isMutable());
  const OVNValue mutableRead = read(data->bytes(), nullptr, OVNPropertyListMutableContainers);
  ASSERT_TRUE(mutableRead.array()->isMutable());
  EXPECT_TRUE(mutableRead.array()->at(0).array()->isMutable());
  // Written once, read back as one container.
  EXPECT_EQ(mutableRead.array()->at(0).array().get(), mutableRead.array()->at(1).array().get());
}

TEST(OVNPropertyListSerializationTest, RefusesWhatAPropertyListCannotHold) {
  struct Case {
    OVNValue value;
    const char* named;
  };
  const Case cases[] = {
      {OVNValue::null(), "NSNull"},
      {OVNSet::make({1}), "NSMutableSet"},
      {OVNOrderedSet::make({1}), "NSMutableOrderedSet"},
      {OVNMake<OVNObject>(), "NSObject"},
      {OVNBlock::make(std::function<void()>([] {})), "NSBlock"},
      {OVNBoxedValue::make(3.0, "d"), "NSValue"},
      {OVNValue(), "nil"},
      {OVNValue(std::string("\xff\xfe")), "UTF-8"},
  };
  for (const Case& c : cases) {
    for (int format : {OVNPropertyListXMLFormat_v1_0, OVNPropertyListBinaryFormat_v1_0}) {
      SCOPED_TRACE(std::string(c.named) + " " + std::to_string(format));
      // Nested where a container can hold it; a missing value can only be the whole value.
      const OVNValue nested =
          c.value.isMissing() ? c.value : OVNValue::dictionary({{"ok", 1}, {"bad", OVNValue::array({c.value})}});
      std::shared_ptr<OVNError> error;
      EXPECT_FALSE(write(nested, format, &error));
      ASSERT_TRUE(error);
      EXPECT_EQ(error->domain(), OVNCocoaErrorDomain);
      EXPECT_EQ(error->code(), OVNPropertyListWriteInvalidError);
      EXPECT_NE(error->localizedDescription().find(c.named), std::string::npos) << error->localizedDescription();
      EXPECT_FALSE(OVNPropertyListSerialization::propertyList(nested, format));
    }
  }
  // NUL characters fit the binary form only.
  const OVNValue withNul = OVNValue(std::string("a\0b", 3));
  EXPECT_FALSE(write(withNul, OVNPropertyListXMLFormat_v1_0));
  OVNDataRef binary = write(withNul, OVNPropertyListBinaryFormat_v1_0);
  ASSERT_TRUE(binary);
  EXPECT_EQ(*read(binary->bytes()).string(), std::string("a\0b", 3));
  // The OpenStep form holds strings, data and containers only, and is never written.
  EXPECT_TRUE(OVNPropertyListSerialization::propertyList(OVNValue::array({"a"}), OVNPropertyListOpenStepFormat));
  EXPECT_FALSE(OVNPropertyListSerialization::propertyList(OVNValue::array({1}), OVNPropertyListOpenStepFormat));
  EXPECT_FALSE(write(OVNValue::array({"a"}), OVNPropertyListOpenStepFormat));
}

TEST(OVNPropertyListSerializationTest, NestsUpTo512LevelsOfContainers) {
  OVNValue nested = OVNValue::array({"core"});
  for (int level = 2; level <= 512; ++level) nested = OVNValue::array({nested});
  for (int format : {OVNPropertyListXMLFormat_v1_0, OVNPropertyListBinaryFormat_v1_0}) {
    OVNDataRef data = write(nested, format);
    ASSERT_TRUE(data);
    EXPECT_TRUE(read(data->bytes()).isEqual(nested));
    EXPECT_FALSE(write(OVNValue::array({nested}), format));
  }
}

TEST(OVNPropertyListSerializationTest, RefusesAContainerThatContainsItself) {
  OVNArrayRef loop = OVNArray::make({1});
  loop->add(loop);
  std::shared_ptr<OVNError> error;
  EXPECT_FALSE(write(loop, OVNPropertyListBinaryFormat_v1_0, &error));
  ASSERT_TRUE(error);
  EXPECT_NE(error->localizedDescription().find("contains itself"), std::string::npos);
  loop->removeAll();  // break the cycle so the array can be freed
}

// A binary property list whose objects are given as raw bytes: top object 0, references of
// `refSize` bytes, offsets of as many bytes as they need.
Bytes binaryWithObjects(const std::vector<Bytes>& objects, std::uint8_t refSize = 1) {
  Bytes out = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
  std::vector<std::size_t> offsets;
  for (const Bytes& object : objects) {
    offsets.push_back(out.size());
    out.insert(out.end(), object.begin(), object.end());
  }
  const std::size_t table = out.size();
  const std::uint8_t offsetSize = table > 0xFF ? 2 : 1;
  for (std::size_t offset : offsets) {
    if (offsetSize == 2) out.push_back(static_cast<std::uint8_t>(offset >> 8));
    out.push_back(static_cast<std::uint8_t>(offset));
  }
  out.insert(out.end(), {0, 0, 0, 0, 0, 0, offsetSize, refSize});
  for (std::uint64_t v :
       {static_cast<std::uint64_t>(objects.size()), std::uint64_t{0}, static_cast<std::uint64_t>(table)}) {
    for (int i = 7; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  }
  return out;
}

void expectCorrupt(const Bytes& bytes, const char* mentioning = nullptr) {
  std::shared_ptr<OVNError> error;
  const OVNValue value = read(bytes, &error);
  EXPECT_TRUE(value.isMissing()) << value.description();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), OVNCocoaErrorDomain);
  EXPECT_EQ(error->code(), OVNPropertyListReadCorruptError);
  if (mentioning) {
    EXPECT_NE(error->localizedDescription().find(mentioning), std::string::npos) << error->localizedDescription();
  }
}

TEST(OVNPropertyListSerializationTest, CorruptBinaryInputGivesAnError) {
  // The hand-made objects themselves are sound: a one-member array of "a".
  ASSERT_TRUE(read(binaryWithObjects({{0xA1, 0x01}, {0x51, 'a'}})).isEqual(OVNValue::array({"a"})));

  expectCorrupt({}, "empty");
  expectCorrupt({'b', 'p', 'l', 'i', 's', 't', '0', '0'}, "too short");
  expectCorrupt(binaryWithObjects({{0xA1, 0x05}, {0x51, 'a'}}), "past the last object");
  expectCorrupt(binaryWithObjects({{0xA1, 0x00}}), "contains itself");
  expectCorrupt(binaryWithObjects({{0xAF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}), "truncated");
  expectCorrupt(binaryWithObjects({{0x5F, 0x10, 0xF0, 'a'}}), "truncated");
  expectCorrupt(binaryWithObjects({{0xD1, 0x01, 0x01}, {0x10, 0x01}}), "key is not a string");
  expectCorrupt(binaryWithObjects({{0x14, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}}), "64 bits");
  expectCorrupt(binaryWithObjects({{0x00}}), "unsupported");
  expectCorrupt(binaryWithObjects({{0x27, 0, 0}}), "real");

  // A trailer whose object count and table offset lie far beyond the data.
  Bytes huge = binaryWithObjects({{0x51, 'a'}});
  std::fill(huge.end() - 24, huge.end() - 16, 0xFF);
  expectCorrupt(huge);

  // Every truncation of a sound property list.
  OVNDataRef sound = write(sampleOfEveryKind(), OVNPropertyListBinaryFormat_v1_0);
  ASSERT_TRUE(sound);
  for (std::size_t length = 0; length < sound->length(); length += 7) {
    expectCorrupt(Bytes(sound->bytes().begin(), sound->bytes().begin() + length));
  }

  // Containers nested beyond the limit: each array holds the next one.
  std::vector<Bytes> chain;
  for (int i = 1; i <= 600; ++i)
    chain.push_back({0xA1, static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)});
  chain.push_back({0x51, 'a'});
  const Bytes deep = binaryWithObjects(chain, 2);
  expectCorrupt(deep, "nested too deeply");
}

TEST(OVNPropertyListSerializationTest, SharingCannotAmplifyWork) {
  // Forty levels, each array holding the next one twice: 2^40 values once expanded.
  std::vector<Bytes> chain;
  for (int i = 1; i <= 40; ++i) chain.push_back({0xA2, static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i)});
  chain.push_back({0x51, 'a'});
  expectCorrupt(binaryWithObjects(chain), "expand");

  // Writing: the binary form shares, XML would write 2^21 leaves out in full.
  OVNValue shared = "leaf";
  for (int i = 0; i < 21; ++i) shared = OVNValue::array({shared, shared});
  OVNDataRef binary = write(shared, OVNPropertyListBinaryFormat_v1_0);
  ASSERT_TRUE(binary);
  EXPECT_LT(binary->length(), 1000u);
  std::shared_ptr<OVNError> error;
  EXPECT_FALSE(write(shared, OVNPropertyListXMLFormat_v1_0, &error));
  ASSERT_TRUE(error);
  EXPECT_NE(error->localizedDescription().find("more than"), std::string::npos);
}

TEST(OVNPropertyListSerializationTest, CorruptXMLInputGivesAnError) {
  expectCorrupt(Bytes{'h', 'e', 'l', 'l', 'o'}, "neither");
  const char* broken[] = {
      "<plist><array><string>x</array></plist>",
      "<plist><dict><integer>3</integer></dict></plist>",
      "<plist></plist>",
      "<plist><string>a&bogus;b</string></plist>",
      "<plist><string>\xff\xfe</string></plist>",
  };
  for (const char* text : broken) {
    SCOPED_TRACE(text);
    expectCorrupt(Bytes(text, text + std::strlen(text)));
  }
  std::string deep = "<plist>";
  for (int i = 0; i < 600; ++i) deep += "<array>";
  for (int i = 0; i < 600; ++i) deep += "</array>";
  deep += "</plist>";
  expectCorrupt(Bytes(deep.begin(), deep.end()), "nested too deeply");
}

}  // namespace
