#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLComponents.h"
#include "Platform/Objects/OVNException.h"

namespace {

void expectInvalidArgument(const std::function<void()>& change, const char* what) {
  try {
    change();
    ADD_FAILURE() << what << " must throw";
  } catch (const OVNException& e) {
    EXPECT_EQ(e.name(), OVNInvalidArgumentException) << what;
  }
}

TEST(OVNURLComponentsTest, ReadsThePartsOfAString) {
  const auto c = OVNURLComponents::componentsWithString("http://u%20s:p%40:w@[::1]:8080/a%20b/?x=%26#f%20");
  ASSERT_TRUE(c);
  EXPECT_EQ(c->scheme(), "http");
  EXPECT_EQ(c->user(), "u s");
  EXPECT_EQ(c->percentEncodedUser(), "u%20s");
  EXPECT_EQ(c->password(), "p@:w");
  EXPECT_EQ(c->percentEncodedPassword(), "p%40:w");
  EXPECT_EQ(c->host(), "::1");
  EXPECT_EQ(c->percentEncodedHost(), "[::1]");
  EXPECT_EQ(c->port(), 8080);
  EXPECT_EQ(c->path(), "/a b/");
  EXPECT_EQ(c->query(), "x=&");
  EXPECT_EQ(c->percentEncodedQuery(), "x=%26");
  EXPECT_EQ(c->fragment(), "f ");
  EXPECT_EQ(c->string(), "http://u%20s:p%40:w@[::1]:8080/a%20b/?x=%26#f%20");

  EXPECT_FALSE(OVNURLComponents::componentsWithString("http://a b/"));
  EXPECT_FALSE(OVNURLComponents::componentsWithString("http://a/%G0"));
}

TEST(OVNURLComponentsTest, DecodedSettersPercentEncodeWhatThePartDoesNotAllow) {
  OVNURLComponents c;
  c.setScheme("https");
  c.setHost("m\xC3\xBCnchen.example");              // ü
  c.setPath("/v1/a;b/\xE6\x9D\xB1\xE4\xBA\xAC 1");  // 東京
  c.setQuery("q=Z\xC3\xBCrich & more#");
  c.setFragment("a#b");
  c.setUser("a:b@c");
  EXPECT_EQ(c.percentEncodedHost(), "m%C3%BCnchen.example");
  EXPECT_EQ(c.percentEncodedPath(), "/v1/a%3Bb/%E6%9D%B1%E4%BA%AC%201");
  EXPECT_EQ(c.percentEncodedQuery(), "q=Z%C3%BCrich%20&%20more%23");
  EXPECT_EQ(c.percentEncodedFragment(), "a%23b");
  EXPECT_EQ(c.percentEncodedUser(), "a%3Ab%40c");
  EXPECT_EQ(c.path(), "/v1/a;b/\xE6\x9D\xB1\xE4\xBA\xAC 1");
  EXPECT_EQ(c.string(),
            "https://a%3Ab%40c@m%C3%BCnchen.example/v1/a%3Bb/%E6%9D%B1%E4%BA%AC%201"
            "?q=Z%C3%BCrich%20&%20more%23#a%23b");

  // The query keeps its sub-delimiters and "/?:@" as they are.
  const std::string kept = "AZaz09-._~!$&'()*+,;=:@/?";
  c.setQuery(kept);
  EXPECT_EQ(c.percentEncodedQuery(), kept);
  c.setQuery("%");
  EXPECT_EQ(c.percentEncodedQuery(), "%25");

  c.setHost("::1");
  EXPECT_EQ(c.percentEncodedHost(), "[::1]");
  EXPECT_EQ(c.host(), "::1");
}

TEST(OVNURLComponentsTest, TellsAnAbsentQueryFromAnEmptyOne) {
  auto c = OVNURLComponents::componentsWithString("http://a/p");
  EXPECT_FALSE(c->query());
  EXPECT_FALSE(c->percentEncodedQuery());
  c->setPercentEncodedQuery("");
  EXPECT_EQ(c->string(), "http://a/p?");
  EXPECT_EQ(c->URL()->query(), "");
  c->setQuery(std::nullopt);
  EXPECT_EQ(c->string(), "http://a/p");
  EXPECT_EQ(OVNURLComponents::componentsWithString("http://a/p?")->percentEncodedQuery(), "");
}

TEST(OVNURLComponentsTest, RebuildsAfterSettingThePercentEncodedQuery) {
  const auto url = OVNURL::URLWithString("search?x=1#top", OVNURL::URLWithString("https://api.example.com/v1/"));
  auto c = OVNURLComponents::componentsWithURL(url, true);
  ASSERT_TRUE(c);
  c->setPercentEncodedQuery(*c->percentEncodedQuery() + "&q=a%20b&limit=10");
  const auto rebuilt = c->URL();
  ASSERT_TRUE(rebuilt);
  EXPECT_EQ(rebuilt->absoluteString(), "https://api.example.com/v1/search?x=1&q=a%20b&limit=10#top");
  EXPECT_EQ(rebuilt->query(), "x=1&q=a%20b&limit=10");
  EXPECT_EQ(c->query(), "x=1&q=a b&limit=10");

  // Without resolving, the parts are those of the relative text.
  const auto relative = OVNURLComponents::componentsWithURL(url, false);
  EXPECT_FALSE(relative->host());
  EXPECT_EQ(relative->path(), "search");
  EXPECT_FALSE(OVNURLComponents::componentsWithURL(nullptr, true));
}

TEST(OVNURLComponentsTest, BadEncodedPartsAreProgrammingErrors) {
  OVNURLComponents c;
  expectInvalidArgument([&] { c.setPercentEncodedQuery("a b"); }, "a blank in a query");
  expectInvalidArgument([&] { c.setPercentEncodedQuery("a%zz"); }, "a bad escape");
  expectInvalidArgument([&] { c.setPercentEncodedQuery("a%2"); }, "a short escape");
  expectInvalidArgument([&] { c.setPercentEncodedQuery("a#b"); }, "a '#' in a query");
  expectInvalidArgument([&] { c.setPercentEncodedPath("/a?b"); }, "a '?' in a path");
  expectInvalidArgument([&] { c.setPercentEncodedFragment("\xC3\xA9"); }, "raw UTF-8 in a fragment");
  expectInvalidArgument([&] { c.setPercentEncodedHost("a/b"); }, "a '/' in a host");
  expectInvalidArgument([&] { c.setPercentEncodedHost("[::g]"); }, "a bad IPv6 literal");
  expectInvalidArgument([&] { c.setPercentEncodedUser("a:b"); }, "a ':' in a user");
  expectInvalidArgument([&] { c.setScheme("1http"); }, "a scheme starting with a digit");
  expectInvalidArgument([&] { c.setPort(-1); }, "a negative port");
  EXPECT_FALSE(c.percentEncodedQuery());  // nothing was stored

  c.setPercentEncodedHost("[2001:db8::1]");
  c.setPercentEncodedPassword("a:b%20");
  c.setPercentEncodedPath("/a;b@c:d");
  c.setScheme("coap+tcp");
  EXPECT_EQ(c.string(), "coap+tcp://:a:b%20@[2001:db8::1]/a;b@c:d");
}

TEST(OVNURLComponentsTest, GivesNoURLWhenThePartsDoNotMakeOne) {
  OVNURLComponents c;
  c.setScheme("http");
  c.setHost("a");
  c.setPath("b");  // a host needs a path starting with "/"
  EXPECT_FALSE(c.URL());
  EXPECT_FALSE(c.string());
  c.setPath("/b");
  EXPECT_EQ(c.string(), "http://a/b");
  c.setPort(70000);
  EXPECT_FALSE(c.URL());
  c.setPort(std::nullopt);

  OVNURLComponents noAuthority;
  noAuthority.setPath("//x");
  EXPECT_FALSE(noAuthority.URL());
  noAuthority.setPath("a:b");  // would read as a scheme
  EXPECT_FALSE(noAuthority.URL());
  noAuthority.setScheme("urn");
  EXPECT_EQ(noAuthority.string(), "urn:a:b");
  EXPECT_EQ(OVNURLComponents().string(), "");
}

TEST(OVNURLComponentsTest, CopiesComparesAndCodesItsKeys) {
  auto c = OVNURLComponents::componentsWithString("http://a/b?c");
  auto copy = std::static_pointer_cast<OVNURLComponents>(c->copy());
  EXPECT_NE(copy, c);
  EXPECT_TRUE(copy->isEqual(*c));
  copy->setFragment("x");
  EXPECT_FALSE(copy->isEqual(*c));
  EXPECT_FALSE(c->fragment());

  EXPECT_EQ(c->className(), "NSURLComponents");
  c->setValue(OVNValue("x=1 2"), "query");
  EXPECT_EQ(c->percentEncodedQuery(), "x=1%202");
  EXPECT_EQ(c->valueForKey("port"), OVNValue());
  EXPECT_NE(c->description().find("{scheme = http, user = (null), password = (null), host = a, port = (null), "
                                  "path = /b, query = x=1 2, fragment = (null)}"),
            std::string::npos);
}

}  // namespace
