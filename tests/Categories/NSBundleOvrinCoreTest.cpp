#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Categories/NSBundle+OvrinCore.h"
#include "Platform/Text/OVNLocale.h"
#include "Support/TemporaryDirectory.h"

namespace {

void writeFile(const std::string& path, const std::string& text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << text;
}

TEST(NSBundleOvrinCoreTest, StringsBundleFollowsThePreferredLanguages) {
  TemporaryDirectory directory("ovrin-bundle");
  std::filesystem::create_directories(directory.path() + "/fr.lproj");
  std::filesystem::create_directories(directory.path() + "/en.lproj");
  std::filesystem::create_directories(directory.path() + "/pt-BR.lproj");
  OVNBundleRef resources = OVNBundle::bundleWithPath(directory.path());
  ASSERT_TRUE(resources);

  const auto chosen = [&](std::vector<std::string> languages) -> std::string {
    OVNBundleRef bundle = ovn_stringsBundleForLanguages(*resources, languages);
    return bundle ? std::filesystem::path(bundle->bundlePath()).filename().string() : "(none)";
  };
  EXPECT_EQ(chosen({"fr-CA", "en"}), "fr.lproj");
  EXPECT_EQ(chosen({"de-DE", "en-GB"}), "en.lproj");
  EXPECT_EQ(chosen({"pt-BR"}), "pt-BR.lproj");
  EXPECT_EQ(chosen({"fr-Latn-CA"}), "(none)") << "only a tag of exactly two parts falls back to its language";
  EXPECT_EQ(chosen({"de"}), "(none)");
  EXPECT_EQ(chosen({}), "(none)");
}

TEST(NSBundleOvrinCoreTest, LibraryTextsComeFromTheResourceBundleInTheUsersLanguage) {
  OVNLocale::setPreferredLanguages({"de-AT", "en"});
  ASSERT_TRUE(ovrinBundle()) << "Ovrin.bundle must be found beside the library";
  ASSERT_TRUE(ovrinStringsBundle());
  EXPECT_EQ(std::filesystem::path(ovrinStringsBundle()->bundlePath()).filename(), "de.lproj");
  EXPECT_EQ(OVNLocalizedString("Tomorrow Night"), "Morgen Nacht");
  EXPECT_EQ(OVNLocalizedString("No such text"), "No such text");

  // Chosen once: a later change of languages does not move it.
  OVNLocale::setPreferredLanguages({"es"});
  EXPECT_EQ(OVNLocalizedString("Today"), "Heute");
}

TEST(NSBundleOvrinCoreTest, EveryShippedLanguageTranslatesEveryDayName) {
  OVNBundleRef resources = ovrinBundle();
  ASSERT_TRUE(resources);
  const char* keys[] = {"Today", "Tonight", "Tomorrow", "Tomorrow Night", "Yesterday", "Last Night"};
  for (const char* language : {"en", "de", "fr", "es"}) {
    OVNBundleRef strings = ovn_stringsBundleForLanguages(*resources, {language});
    ASSERT_TRUE(strings) << language;
    for (const char* key : keys) {
      const std::string text = strings->localizedStringForKey(key, "<missing>", "Localizable");
      EXPECT_NE(text, "<missing>") << language << ": " << key;
      if (std::string(language) == "en") {
        EXPECT_EQ(text, key);
      }
    }
  }
}

TEST(NSBundleOvrinCoreTest, BundleLookupFallsBackToValueThenKey) {
  TemporaryDirectory directory("ovrin-bundle");
  writeFile(directory.path() + "/en.lproj/Localizable.strings", "\"hello\" = \"Hello\";\n");
  writeFile(directory.path() + "/de.lproj/Localizable.strings", "\"hello\" = \"Hallo\";\n");
  writeFile(directory.path() + "/Info.strings", "CFBundleShortVersionString = \"2.1\";\nCFBundleVersion = 42;\n");
  OVNBundleRef bundle = OVNBundle::bundleWithPath(directory.path());
  ASSERT_TRUE(bundle);
  OVNLocale::setPreferredLanguages({"de-CH"});
  EXPECT_EQ(bundle->localizedStringForKey("hello"), "Hallo");
  EXPECT_EQ(bundle->localizedStringForKey("bye"), "bye");
  EXPECT_EQ(bundle->localizedStringForKey("bye", "Tschüss"), "Tschüss");
  OVNLocale::setPreferredLanguages({"it"});
  EXPECT_EQ(bundle->localizedStringForKey("hello"), "Hello") << "English is the last resort";
  EXPECT_EQ(ovn_appVersion(*bundle), "2.1");
  EXPECT_EQ(ovn_appBuild(*bundle), "42");
  EXPECT_EQ(ovn_appBuild(*OVNBundle::bundleWithPath(directory.path() + "/en.lproj")), std::nullopt);
}

}  // namespace
