#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <random>

#include "Platform/System/OVNStringsFile.h"

namespace {

using Table = OVNStringsFile::Table;

// UTF-16 bytes with a byte-order mark, for ASCII text plus explicit code units.
std::string utf16(const std::u16string& text, bool bigEndian) {
  std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
  for (char16_t unit : text) {
    const char high = static_cast<char>(unit >> 8);
    const char low = static_cast<char>(unit & 0xFF);
    bytes.push_back(bigEndian ? high : low);
    bytes.push_back(bigEndian ? low : high);
  }
  return bytes;
}

// Writes a table back in the quoted form, escaping only what must be escaped.
std::string serialise(const Table& table) {
  std::string out;
  auto quote = [&](const std::string& text) {
    out.push_back('"');
    for (char c : text) {
      if (c == '"' || c == '\\') out.push_back('\\');
      out.push_back(c);
    }
    out.push_back('"');
  };
  for (const auto& [key, value] : table) {
    quote(key);
    out += " = ";
    quote(value);
    out += ";\n";
  }
  return out;
}

const std::string richInput =
    "/* Localizable.strings\n   several lines */\n"
    "\"greeting\" = \"Hello, \\\"world\\\"\";  // trailing comment\n"
    "\"escapes\" = \"tab\\tnl\\ncr\\rbs\\\\\";\n"
    "plain.key-1 = value/2:$_;\n"
    "\"alone\";\n"
    "\"e-acute\" = \"caf\\U00e9\";\n"
    "\"emoji\" = \"\\UD83D\\uDE00\";\n"
    "\"raw\" = \"na\xC3\xAFve\n second line\";\n";

const Table richTable = {
    {"greeting", "Hello, \"world\""},
    {"escapes", "tab\tnl\ncr\rbs\\"},
    {"plain.key-1", "value/2:$_"},
    {"alone", "alone"},
    {"e-acute", "caf\xC3\xA9"},
    {"emoji", "\xF0\x9F\x98\x80"},
    {"raw", "na\xC3\xAFve\n second line"},
};

TEST(OVNStringsFileTest, ReadsEntriesCommentsAndEscapes) {
  EXPECT_EQ(OVNStringsFile::parse(richInput), richTable);
  EXPECT_EQ(OVNStringsFile::parse(""), Table{});
  EXPECT_EQ(OVNStringsFile::parse("  // only a comment"), Table{});
  EXPECT_EQ(OVNStringsFile::parse("a=1;a=2;"), (Table{{"a", "2"}}));
  EXPECT_EQ(OVNStringsFile::parse("\"q\" = \"\\'\\/\";"), (Table{{"q", "'/"}}));
  EXPECT_EQ(OVNStringsFile::parse("\"\" = \"\";"), (Table{{"", ""}}));
}

TEST(OVNStringsFileTest, DecodesByteOrderMarks) {
  EXPECT_EQ(OVNStringsFile::parse("\xEF\xBB\xBF\"k\" = \"v\";"), (Table{{"k", "v"}}));
  const std::u16string text = u"\"k\" = \"caf\u00e9 \U0001F600\";";
  const Table expected = {{"k", "caf\xC3\xA9 \xF0\x9F\x98\x80"}};
  EXPECT_EQ(OVNStringsFile::parse(utf16(text, false)), expected);
  EXPECT_EQ(OVNStringsFile::parse(utf16(text, true)), expected);
}

TEST(OVNStringsFileTest, RejectsMalformedInput) {
  const char* malformed[] = {
      "\"k\" = \"v\"",              // no semicolon
      "\"k\" = \"v;",               // unterminated string
      "\"k\" = ;",                  // no value
      "= \"v\";",                   // no key
      "\"k\" \"v\";",               // no equals sign
      "k = v w;",                   // two tokens
      "/* open comment",            // unterminated comment
      "\"k\" = \"\\U12\";",         // short escape
      "\"k\" = \"\\UD83D\";",       // high surrogate alone
      "\"k\" = \"\\UDE00\";",       // low surrogate alone
      "\"k\" = \"\\UD83Dx\";",      // high surrogate followed by text
      "\"k\" = \"v\\",              // escape at the end
      "k = v!;",                    // character outside unquoted tokens
      "\"k\" = \"\xC3\";",          // truncated UTF-8
      "\"k\" = \"\xC0\xAF\";",      // overlong UTF-8
      "\"k\" = \"\xED\xA0\x80\";",  // encoded surrogate
  };
  for (const char* input : malformed) EXPECT_EQ(OVNStringsFile::parse(input), std::nullopt) << input;
  EXPECT_EQ(OVNStringsFile::parse(utf16(u"\"k\";", false) + "x"), std::nullopt);  // odd length
  EXPECT_EQ(OVNStringsFile::parse(utf16(u"\"k\xD800\";", true)), std::nullopt);   // lone surrogate
}

// Any prefix either fails or yields entries of the full table unchanged: an entry is only
// taken once its semicolon is read.
TEST(OVNStringsFileTest, TruncatedInputYieldsWholeEntriesOrNothing) {
  for (std::size_t length = 0; length <= richInput.size(); ++length) {
    auto table = OVNStringsFile::parse(std::string_view(richInput).substr(0, length));
    if (!table) continue;
    for (const auto& [key, value] : *table) {
      auto full = richTable.find(key);
      ASSERT_NE(full, richTable.end()) << "prefix " << length << " invented key " << key;
      EXPECT_EQ(full->second, value) << "prefix " << length;
    }
  }
}

// Damaged input never crashes, and whatever parses survives a round trip.
TEST(OVNStringsFileTest, DamagedInputParsesConsistentlyOrNotAtAll) {
  std::mt19937 random(20240501);
  int parsed = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string input = richInput;
    const int edits = 1 + static_cast<int>(random() % 4);
    for (int e = 0; e < edits; ++e) {
      const std::size_t at = random() % input.size();
      switch (random() % 3) {
        case 0: input[at] = static_cast<char>(random() % 256); break;
        case 1: input.erase(at, 1 + random() % 8); break;
        default: input.insert(at, 1, "\"\\;=/*U\n"[random() % 8]); break;
      }
    }
    auto table = OVNStringsFile::parse(input);
    if (!table) continue;
    ++parsed;
    EXPECT_EQ(OVNStringsFile::parse(serialise(*table)), table) << input;
  }
  EXPECT_GT(parsed, 0);  // the damage left some inputs well-formed, so both paths ran
}

TEST(OVNStringsFileTest, ReadsFiles) {
  char pattern[] = "/tmp/ovnstrings-XXXXXX";
  const int fd = ::mkstemp(pattern);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::write(fd, richInput.data(), richInput.size()), static_cast<ssize_t>(richInput.size()));
  ::close(fd);
  EXPECT_EQ(OVNStringsFile::readFile(pattern), richTable);
  ::unlink(pattern);
  EXPECT_EQ(OVNStringsFile::readFile(pattern), std::nullopt);
  EXPECT_EQ(OVNStringsFile::readFile("/tmp"), std::nullopt);
}

}  // namespace
