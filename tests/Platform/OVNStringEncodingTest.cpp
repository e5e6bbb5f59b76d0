#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "Platform/Text/OVNStringEncoding.h"

namespace {

struct NameCase {
  const char* name;
  OVNStringEncoding expected;
};

TEST(OVNStringEncodingTest, CharsetNamesMapToThePlatformNumbersInAnyCaseAndAlias) {
  const NameCase cases[] = {
      {"UTF-8", OVNUTF8StringEncoding},
      {"iso-8859-1", OVNISOLatin1StringEncoding},
      {"latin1", OVNISOLatin1StringEncoding},
      {"windows-1252", OVNWindowsCP1252StringEncoding},
      {"utf-16le", OVNUTF16LittleEndianStringEncoding},
      {"no-such-charset", OVNInvalidStringEncoding},
      {"", OVNInvalidStringEncoding},
  };
  for (const auto& c : cases) EXPECT_EQ(OVNStringConvertIANACharSetNameToEncoding(c.name), c.expected) << c.name;
}

struct DecodeCase {
  std::string bytes;
  OVNStringEncoding encoding;
  std::optional<std::string> expected;
};

TEST(OVNStringEncodingTest, DecodesValidBytesAndRefusesInvalidOnes) {
  const DecodeCase cases[] = {
      {"caf\xC3\xA9", OVNUTF8StringEncoding, "caf\xC3\xA9"},
      {"caf\xE9", OVNISOLatin1StringEncoding, "caf\xC3\xA9"},
      {"\x80", OVNWindowsCP1252StringEncoding, "\xE2\x82\xAC"},
      {std::string("h\0i\0", 4), OVNUTF16LittleEndianStringEncoding, "hi"},
      {"caf\xE9", OVNUTF8StringEncoding, std::nullopt},
      {"\xE9", OVNASCIIStringEncoding, std::nullopt},
      {"abc", OVNInvalidStringEncoding, std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(OVNStringDecodeBytes(c.bytes, c.encoding), c.expected) << c.encoding;
}

}  // namespace
