#include <gtest/gtest.h>
#include <stdlib.h>

#include <map>

#include "Platform/Text/OVNLocale.h"

namespace {

class OVNLocaleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
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

}  // namespace
