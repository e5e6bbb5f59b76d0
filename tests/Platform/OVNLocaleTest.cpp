#include <gtest/gtest.h>
#include <stdlib.h>

#include <map>

#include "Platform/Text/OVNLocale.h"

namespace {

class OVNLocaleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LC_TIME", "LANG"}) {
      const char* value = std::getenv(name);
      saved[name] = value ? std::optional<std::string>(value) : std::nullopt;
      ::unsetenv(name);
    }
  }
  void TearDown() override {
    for (const auto& [name, value] : saved) {
      if (value)
        ::setenv(name.c_str(), value->c_str(), 1);
      else
        ::unsetenv(name.c_str());
    }
    OVNLocale::setPreferredLanguages({});
    OVNLocale::setCurrentLocale(nullptr);
  }
  std::map<std::string, std::optional<std::string>> saved;
};

TEST_F(OVNLocaleTest, LocaleNamesBecomeLanguageTags) {
  EXPECT_EQ(OVNLocale::languageTagFromLocaleName("en_US.UTF-8"), "en-US");
  EXPECT_EQ(OVNLocale::languageTagFromLocaleName("de_DE@euro"), "de-DE");
  EXPECT_EQ(OVNLocale::languageTagFromLocaleName("fr"), "fr");
  EXPECT_EQ(OVNLocale::languageTagFromLocaleName("pt_BR"), "pt-BR");
  EXPECT_EQ(OVNLocale::languageTagFromLocaleName("sr_RS.UTF-8@latin"), "sr-RS");
  for (const char* unusable : {"", "C", "POSIX", "C.UTF-8", ".UTF-8"}) {
    EXPECT_EQ(OVNLocale::languageTagFromLocaleName(unusable), std::nullopt) << unusable;
  }
}

TEST_F(OVNLocaleTest, EnvironmentDecidesInItsOrder) {
  EXPECT_EQ(OVNLocale::preferredLanguages(), std::vector<std::string>{"en"});

  ::setenv("LANG", "de_DE.UTF-8", 1);
  ::setenv("LC_ALL", "C", 1);  // the C locale names no language, so it is passed over
  EXPECT_EQ(OVNLocale::preferredLanguages(), std::vector<std::string>{"de-DE"});
  ::setenv("LC_MESSAGES", "fr_FR", 1);
  EXPECT_EQ(OVNLocale::preferredLanguages(), std::vector<std::string>{"fr-FR"});

  ::setenv("LANGUAGE", "pt_BR:fr::C:pt_BR.UTF-8:en", 1);
  EXPECT_EQ(OVNLocale::preferredLanguages(), (std::vector<std::string>{"pt-BR", "fr", "en"}));
  ::setenv("LANGUAGE", "C:", 1);  // nothing usable: the locale variables decide
  EXPECT_EQ(OVNLocale::preferredLanguages(), std::vector<std::string>{"fr-FR"});
}

TEST_F(OVNLocaleTest, CodeOverridesTheEnvironment) {
  ::setenv("LANG", "de_DE.UTF-8", 1);
  OVNLocale::setPreferredLanguages({"ja", "en"});
  EXPECT_EQ(OVNLocale::preferredLanguages(), (std::vector<std::string>{"ja", "en"}));
  OVNLocale::setPreferredLanguages({});
  EXPECT_EQ(OVNLocale::preferredLanguages(), std::vector<std::string>{"de-DE"});
}

TEST_F(OVNLocaleTest, IdentifiersAreCanonical) {
  const std::pair<const char*, const char*> cases[] = {
      {"de-DE", "de_DE"}, {"en_us", "en_US"}, {"en_US_POSIX", "en_US_POSIX"}, {"zh-Hant-TW", "zh_Hant_TW"}, {"", ""}};
  for (const auto& [identifier, canonical] : cases) {
    EXPECT_EQ(OVNLocale::localeWithLocaleIdentifier(identifier)->localeIdentifier(), canonical) << identifier;
  }
  auto german = OVNLocale::localeWithLocaleIdentifier("de_DE");
  EXPECT_TRUE(german->isEqual(*OVNLocale::localeWithLocaleIdentifier("de-DE")));
  EXPECT_EQ(german->hash(), OVNLocale::localeWithLocaleIdentifier("de-DE")->hash());
  EXPECT_FALSE(german->isEqual(*OVNLocale::systemLocale()));
  EXPECT_EQ(OVNLocale::systemLocale()->localeIdentifier(), "en_US_POSIX");
  EXPECT_TRUE(german->description().ends_with(" de_DE"));
}

TEST_F(OVNLocaleTest, CurrentLocaleFollowsTheTimeVariables) {
  struct Case {
    const char *lcAll, *lcTime, *lang, *identifier;
  };
  const Case cases[] = {{nullptr, nullptr, nullptr, "en_US_POSIX"},
                        {nullptr, nullptr, "de_DE.UTF-8", "de_DE"},
                        {nullptr, "fr_FR@euro", "de_DE.UTF-8", "fr_FR"},
                        {"", "", "de_DE", "de_DE"},
                        {"C.UTF-8", "fr_FR", "de_DE", "en_US_POSIX"},
                        {"POSIX", nullptr, nullptr, "en_US_POSIX"},
                        {"pt_BR", "fr_FR", "de_DE", "pt_BR"}};
  for (const auto& c : cases) {
    const std::pair<const char*, const char*> variables[] = {
        {"LC_ALL", c.lcAll}, {"LC_TIME", c.lcTime}, {"LANG", c.lang}};
    for (const auto& [name, value] : variables) value ? ::setenv(name, value, 1) : ::unsetenv(name);
    EXPECT_EQ(OVNLocale::currentLocale()->localeIdentifier(), c.identifier);
  }
  OVNLocale::setCurrentLocale(OVNLocale::localeWithLocaleIdentifier("ja_JP"));
  EXPECT_EQ(OVNLocale::currentLocale()->localeIdentifier(), "ja_JP");
  OVNLocale::setCurrentLocale(nullptr);
  EXPECT_EQ(OVNLocale::currentLocale()->localeIdentifier(), "pt_BR");
}

}  // namespace
