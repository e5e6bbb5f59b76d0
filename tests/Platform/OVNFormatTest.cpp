#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNFormat.h"

namespace {

struct Row {
  const char* what;
  std::string formatted;
  std::string expected;
};

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) EXPECT_EQ(row.formatted, row.expected) << row.what;
}

}  // namespace

// The conversions the library's own texts use, as C prints them.
TEST(OVNFormatTest, ConversionsBehaveAsInC) {
  expectRows({
      {"objects", OVNFormat("[Ovrin] %@ %@", "WARN", "disk full"), "[Ovrin] WARN disk full"},
      {"nil and null", OVNFormat("%@ and %@", OVNValue(), OVNValue::null()), "(null) and <null>"},
      {"a container", OVNFormat("%@", OVNValue::array({1})), "(\n    1\n)"},
      {"a number for %@", OVNFormat("%@", 2.5), "2.5"},
      {"signed", OVNFormat("%d|%i|%ld|%li|%lld", 1, -2, 3L, -4L, 5LL), "1|-2|3|-4|5"},
      {"beyond 32 bits", OVNFormat("%i", 4294967297LL), "4294967297"},
      {"unsigned", OVNFormat("%u|%lu|%llu", 5u, 6UL, 18446744073709551615ULL), "5|6|18446744073709551615"},
      {"hexadecimal and octal", OVNFormat("%02x|%X|%llx|%o", 10, 255, 0xABCDEFULL, 8), "0a|FF|abcdef|10"},
      {"a numeric value for %d", OVNFormat("%d", OVNValue(12)), "12"},
      {"floating", OVNFormat("%f|%0.2f|%0.1g|%.3e", 1.5, 3.14159, 0.25, 1234.5), "1.500000|3.14|0.2|1.234e+03"},
      {"widths and flags", OVNFormat("%5s|%-3d|%+d|%05.1f", "ab", 7, 3, 2.25), "   ab|7  |+3|002.2"},
      {"characters and text", OVNFormat("%c%s", 'A', std::string("bc")), "Abc"},
      {"a long text", OVNFormat("<%s>", std::string(500, 'x')), "<" + std::string(500, 'x') + ">"},
      {"a null pointer", OVNFormat("%p", static_cast<const void*>(nullptr)), "0x0"},
  });
}

// What is not a conversion stays text; what has no argument prints nothing.
TEST(OVNFormatTest, PercentSignsUnknownConversionsAndMissingArguments) {
  expectRows({
      {"a literal percent", OVNFormat("100%% sure"), "100% sure"},
      {"a percent at the end", OVNFormat("100%"), "100%"},
      {"a dangling length modifier", OVNFormat("size %l"), "size %l"},
      {"an unknown conversion", OVNFormat("%k|%@", "x"), "%k|x"},
      {"an unknown conversion after a length", OVNFormat("%lk|%@", "x"), "%lk|x"},
      {"an unknown conversion after flags", OVNFormat("%-05.2hhy|%@", "x"), "%-05.2hhy|x"},
      {"a missing argument", OVNFormat("%@ %@", "only"), "only "},
      {"missing numbers", OVNFormat("[%d][%0.2f]"), "[][]"},
      {"extra arguments are ignored", OVNFormat("%d", 1, 2, 3), "1"},
  });
}
