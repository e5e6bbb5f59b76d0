#include <gtest/gtest.h>

#include <thread>

#include "Platform/Objects/OVNException.h"
#include "Platform/Text/OVNRegularExpression.h"
#include "Platform/Values/OVNDictionary.h"

namespace {

std::shared_ptr<OVNRegularExpression> compile(std::string_view pattern, OVNRegularExpressionOptions options = 0) {
  auto expression = OVNRegularExpression::regularExpressionWithPattern(pattern, options, nullptr);
  EXPECT_NE(expression, nullptr) << pattern;
  return expression;
}

bool matches(std::string_view pattern, OVNRegularExpressionOptions options, std::string_view text) {
  return compile(pattern, options)->firstMatchInString(text).has_value();
}

}  // namespace

TEST(OVNRegularExpressionTest, InvalidPatternGivesNullAndAFormattingError) {
  std::shared_ptr<OVNError> error;
  EXPECT_EQ(OVNRegularExpression::regularExpressionWithPattern("a(b", 0, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), OVNCocoaErrorDomain);
  EXPECT_EQ(error->code(), OVNFormattingError);
  EXPECT_EQ(error->localizedDescription(), "The value \u201Ca(b\u201D is invalid.");
  EXPECT_EQ(*error->userInfo()->objectForKey(OVNInvalidValueKey).string(), "a(b");
  EXPECT_TRUE(error->userInfo()->objectForKey(OVNDebugDescriptionErrorKey).isString());
  // No place for the error is fine too.
  EXPECT_EQ(OVNRegularExpression::regularExpressionWithPattern("*", 0, nullptr), nullptr);

  auto expression = compile("(a)(?<name>b)?", OVNRegularExpressionCaseInsensitive);
  EXPECT_EQ(expression->pattern(), "(a)(?<name>b)?");
  EXPECT_EQ(expression->options(), OVNRegularExpressionCaseInsensitive);
  EXPECT_EQ(expression->numberOfCaptureGroups(), 2u);
  EXPECT_TRUE(expression->isEqual(*compile("(a)(?<name>b)?", OVNRegularExpressionCaseInsensitive)));
  EXPECT_FALSE(expression->isEqual(*compile("(a)(?<name>b)?")));
}

TEST(OVNRegularExpressionTest, OptionsTakeThePlatformMeanings) {
  EXPECT_FALSE(matches("abc", 0, "xABCx"));
  EXPECT_TRUE(matches("abc", OVNRegularExpressionCaseInsensitive, "xABCx"));
  EXPECT_TRUE(matches("a b # comment", OVNRegularExpressionAllowCommentsAndWhitespace, "ab"));
  EXPECT_FALSE(matches("a.c", OVNRegularExpressionIgnoreMetacharacters, "abc"));
  EXPECT_TRUE(matches("a.c", OVNRegularExpressionIgnoreMetacharacters, "xa.c"));
  EXPECT_FALSE(matches("a.c", 0, "a\nc"));
  EXPECT_TRUE(matches("a.c", OVNRegularExpressionDotMatchesLineSeparators, "a\nc"));
  EXPECT_FALSE(matches("^b$", 0, "a\nb\nc"));
  EXPECT_TRUE(matches("^b$", OVNRegularExpressionAnchorsMatchLines, "a\nb\nc"));
  EXPECT_FALSE(matches("a.b", 0, "a\rb"));
  EXPECT_TRUE(matches("a.b", OVNRegularExpressionUseUnixLineSeparators, "a\rb"));
  // Unicode word boundaries keep an apostrophe inside a word.
  EXPECT_TRUE(matches("n\\b", 0, "can't"));
  EXPECT_FALSE(matches("n\\b", OVNRegularExpressionUseUnicodeWordBoundaries, "can't"));
}

TEST(OVNRegularExpressionTest, RangesCountUTF16CodeUnits) {
  // U+1F600 is two code units, "é" one (two bytes), a malformed byte one.
  auto expression = compile("(b)(x)?");
  const auto result = expression->firstMatchInString(
      "\xF0\x9F\x98\x80\xC3\xA9\xFF"
      "ab");
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->range(), OVNMakeRange(5, 1));
  EXPECT_EQ(result->numberOfRanges(), 3u);
  EXPECT_EQ(result->rangeAtIndex(1), OVNMakeRange(5, 1));
  EXPECT_FALSE(result->rangeAtIndex(2).found());
  EXPECT_EQ(result->rangeAtIndex(2).length, 0u);
  EXPECT_THROW(result->rangeAtIndex(3), OVNException);

  EXPECT_EQ(compile("\\x{FFFD}")->rangeOfFirstMatchInString("a\xC0\x80"), OVNMakeRange(1, 1));
  EXPECT_EQ(compile("z")->rangeOfFirstMatchInString("abc"), OVNRange{});
  EXPECT_FALSE(compile("z")->firstMatchInString("abc").has_value());
}

TEST(OVNRegularExpressionTest, FindsEveryMatchIncludingEmptyOnes) {
  auto digits = compile("\\d+");
  const auto all = digits->matchesInString("a1b22c333");
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0].range(), OVNMakeRange(1, 1));
  EXPECT_EQ(all[1].range(), OVNMakeRange(3, 2));
  EXPECT_EQ(all[2].range(), OVNMakeRange(6, 3));
  EXPECT_EQ(digits->numberOfMatchesInString("a1b22c333"), 3u);
  // An empty match moves the search one character on: before a, before b and at the end.
  EXPECT_EQ(compile("x*")->numberOfMatchesInString("ab"), 3u);
  EXPECT_EQ(compile("x*")->numberOfMatchesInString(""), 1u);
}

TEST(OVNRegularExpressionTest, SearchesOnlyInsideTheGivenRange) {
  auto digits = compile("\\d+");
  EXPECT_EQ(digits->numberOfMatchesInString("12a34b56", OVNMakeRange(1, 5)), 2u);
  // The range's edges cut matches and act as the text's edges for anchors.
  EXPECT_EQ(digits->rangeOfFirstMatchInString("12a34b56", OVNMakeRange(1, 5)), OVNMakeRange(1, 1));
  EXPECT_EQ(compile("^b")->rangeOfFirstMatchInString("ab", OVNMakeRange(1, 1)), OVNMakeRange(1, 1));
  EXPECT_EQ(digits->matchesInString("12a34", OVNMakeRange(5, 0)).size(), 0u);
  EXPECT_EQ(digits->stringByReplacingMatchesInString("12a34b56", OVNMakeRange(3, 3), "#"), "12a#b56");
  EXPECT_THROW(digits->numberOfMatchesInString("abc", OVNMakeRange(2, 2)), OVNException);
  EXPECT_THROW(digits->firstMatchInString("abc", OVNRange{}), OVNException);
  // A range is in UTF-16 units: the emoji takes two.
  EXPECT_THROW(digits->matchesInString("\xF0\x9F\x98\x80", OVNMakeRange(0, 3)), OVNException);
}

TEST(OVNRegularExpressionTest, ExpandsTemplates) {
  auto pair = compile("(\\w)(\\d)?");
  EXPECT_EQ(pair->stringByReplacingMatchesInString("a1 b", "[$2$1|$0]"), "[1a|a1] [b|b]");
  EXPECT_EQ(pair->stringByReplacingMatchesInString("a1", "\\$1 \\\\ $ $x cost$"), "$1 \\ $ $x cost$");
  // Digits join the reference only while they still name a group of the pattern.
  EXPECT_EQ(pair->stringByReplacingMatchesInString("a1", "$10$9"), "a0");
  auto eleven = compile("(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)(k)");
  EXPECT_EQ(eleven->stringByReplacingMatchesInString("abcdefghijk", "$11$10$1"), "kja");
  // Matches replaced in order, text between them kept, non-ASCII intact.
  EXPECT_EQ(compile("o")->stringByReplacingMatchesInString("Zo\xC3\xABo\xF0\x9F\x98\x80o", "0"),
            "Z0\xC3\xAB"
            "0\xF0\x9F\x98\x80"
            "0");
  EXPECT_EQ(compile("x*")->stringByReplacingMatchesInString("ab", "-"), "-a-b-");

  const std::string upper = compile("[a-z]+")->stringByReplacingMatchesInString(
      "ab 12 cd", [](const OVNTextCheckingResult& result, std::string_view text) {
        return std::string(text) + "@" + std::to_string(result.range().location);
      });
  EXPECT_EQ(upper, "ab@0 12 cd@6");
}

TEST(OVNRegularExpressionTest, EscapedPatternsAndTemplatesStandForThemselves) {
  const std::string text = "a\\b*c?d+e[f]g(h)i{j}k^l$m|n.o/p #-&~";
  auto literal = compile(OVNRegularExpression::escapedPatternForString(text));
  const auto found = literal->matchesInString("xx" + text + text);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].range(), OVNMakeRange(2, text.size()));
  EXPECT_EQ(OVNRegularExpression::escapedPatternForString("1.5*2"), "1\\.5\\*2");

  const std::string templ = "$1 \\ $0";
  EXPECT_EQ(
      compile("(x)")->stringByReplacingMatchesInString("axb", OVNRegularExpression::escapedTemplateForString(templ)),
      "a" + templ + "b");
}

TEST(OVNRegularExpressionTest, OneExpressionServesManyThreads) {
  auto words = compile("\\b\\w+\\b");
  std::vector<std::thread> threads;
  std::vector<std::size_t> counts(4);
  for (std::size_t t = 0; t < counts.size(); ++t) {
    threads.emplace_back([&, t] {
      std::string text;
      for (std::size_t i = 0; i <= t; ++i) text += "alpha beta ";
      for (int round = 0; round < 200; ++round) counts[t] += words->numberOfMatchesInString(text);
    });
  }
  for (auto& thread : threads) thread.join();
  for (std::size_t t = 0; t < counts.size(); ++t) EXPECT_EQ(counts[t], 200 * 2 * (t + 1));
}
