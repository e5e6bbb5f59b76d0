#include <gtest/gtest.h>

#include "OVNApiRequestOptions.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"

namespace requestoptionstest {

// Options that carry a limit, read from dictionaries and written back.
class LimitOptions : public OVNApiRequestOptions {
  OVN_CLASS(LimitOptions, OVNApiRequestOptions)
 public:
  std::int64_t limit = 0;
  OVNDictionaryRef optionsAsDictionary() const override {
    auto dictionary = OVNApiRequestOptions::optionsAsDictionary()->mutableCopy();
    if (limit) dictionary->set("limit", limit);
    return dictionary->copy();
  }

 protected:
  void readOptionsDictionary(const OVNDictionary& dictionary) override {
    if (auto value = dictionary.objectForKey("limit").longLongValue()) limit = *value;
  }
};

OVN_PROPERTIES(LimitOptions, limit)

}  // namespace requestoptionstest

namespace {
using requestoptionstest::LimitOptions;

TEST(OVNApiRequestOptionsTest, BaseReadsNothingFromDictionariesQueriesOrPaths) {
  auto fromDictionary = OVNApiRequestOptions::optionsFromDictionary(OVNDictionary::make({{"action", "closest"}}));
  EXPECT_FALSE(fromDictionary->action()) << "the base deliberately ignores the dictionary";
  EXPECT_FALSE(OVNApiRequestOptions::optionsFromQueryString("action=closest")->action());
  auto fromPath = OVNApiRequestOptions::optionsFromURLPath("observations/austin,tx");
  EXPECT_EQ(&fromPath->objectClass(), &OVNApiRequestOptions::classObject());
  EXPECT_FALSE(fromPath->action());
}

TEST(OVNApiRequestOptionsTest, SubclassesAreBuiltAndReadThroughTheClassOperations) {
  auto options = OVNApiRequestOptions::optionsFromURLPath<LimitOptions>("observations/austin,tx?limit=5&p=1?extra");
  ASSERT_TRUE(options);
  EXPECT_EQ(options->limit, 5) << "the text between the first two question marks is the query";
  EXPECT_EQ(OVNApiRequestOptions::optionsFromURLPath<LimitOptions>("a?x=1?limit=9")->limit, 0);
  EXPECT_EQ(OVNApiRequestOptions::optionsFromQueryString<LimitOptions>("limit=12")->limit, 12);
  auto runtime = OVNApiRequestOptions::options(LimitOptions::classObject());
  EXPECT_TRUE(std::dynamic_pointer_cast<LimitOptions>(runtime));
  EXPECT_THROW(OVNApiRequestOptions::options(OVNObject::classObject()), OVNException);
}

TEST(OVNApiRequestOptionsTest, DictionaryQueryStringCopyAndDescription) {
  auto options = OVNApiRequestOptions::options();
  EXPECT_TRUE(options->optionsAsDictionary()->empty());
  EXPECT_EQ(options->optionsAsQueryString(), "");
  options->setAction("closest");
  auto dictionary = options->optionsAsDictionary();
  EXPECT_FALSE(dictionary->isMutable());
  EXPECT_EQ(dictionary->count(), 1u);
  EXPECT_EQ(*dictionary->objectForKey("action").string(), "closest");
  EXPECT_EQ(options->optionsAsQueryString(), "action=closest");

  auto limited = OVNApiRequestOptions::options<LimitOptions>();
  limited->setAction("within");
  limited->limit = 3;
  EXPECT_EQ(limited->optionsAsQueryString(), "action=within&limit=3");
  auto copied = std::dynamic_pointer_cast<LimitOptions>(limited->copy());
  ASSERT_TRUE(copied) << "the copy is of the same class";
  EXPECT_EQ(copied->action(), "within");
  EXPECT_EQ(copied->limit, 0) << "the base copies only the action";
  limited->setAction("changed");
  EXPECT_EQ(copied->action(), "within");
  EXPECT_EQ(copied->description(), "<LimitOptions: action=within, limit=0>") << "the base's properties come first";
  EXPECT_EQ(OVNApiRequestOptions::options()->description(), "<OVNApiRequestOptions: action=(null)>");
}

}  // namespace
