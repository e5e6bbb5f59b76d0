#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "Platform/System/OVNBundle.h"
#include "Platform/System/OVNFileManager.h"
#include "Support/TemporaryDirectory.h"

namespace {

class OVNBundleTest : public ::testing::Test {
 protected:
  void TearDown() override { OVNBundle::mainBundle()->setInfoDictionary(nullptr); }
  TemporaryDirectory temporary{"ovnbundle"};
  const std::string root = temporary.path();
};

TEST_F(OVNBundleTest, MainBundleIsTheExecutablesDirectory) {
  auto main = OVNBundle::mainBundle();
  EXPECT_EQ(main, OVNBundle::mainBundle());
  const auto executable = main->executablePath();
  ASSERT_TRUE(executable);
  EXPECT_EQ(std::filesystem::path(*executable).filename(), "OvrinPlatformTests");
  EXPECT_EQ(std::filesystem::path(*executable).parent_path(), main->bundlePath());
  EXPECT_EQ(main->objectForInfoDictionaryKey("CFBundleExecutable"), OVNValue("OvrinPlatformTests"));
}

TEST_F(OVNBundleTest, InfoDictionaryCanBeChangedInCode) {
  auto main = OVNBundle::mainBundle();
  EXPECT_TRUE(main->objectForInfoDictionaryKey("TestKey").isMissing());
  EXPECT_EQ(main->bundleIdentifier(), std::nullopt);

  main->setInfoValue("CFBundleIdentifier", "com.example.demo");
  main->setInfoValue("TestKey", 7);
  const OVNDictionaryRef before = main->infoDictionary();
  EXPECT_EQ(main->bundleIdentifier(), "com.example.demo");
  EXPECT_EQ(main->objectForInfoDictionaryKey("TestKey"), OVNValue(7));
  main->setInfoValue("TestKey", OVNValue());
  EXPECT_TRUE(main->objectForInfoDictionaryKey("TestKey").isMissing());
  EXPECT_EQ(before->objectForKey("TestKey"), OVNValue(7));  // handed out as a copy

  // A replacement keeps the executable name; null goes back to what the disk says.
  main->setInfoDictionary(OVNDictionary::make({{"CFBundleVersion", "2.0"}}));
  EXPECT_EQ(main->infoDictionary()->count(), 2u);
  EXPECT_EQ(main->objectForInfoDictionaryKey("CFBundleExecutable"), OVNValue("OvrinPlatformTests"));
  main->setInfoDictionary(nullptr);
  EXPECT_TRUE(main->objectForInfoDictionaryKey("CFBundleVersion").isMissing());
  EXPECT_EQ(main->bundleIdentifier(), std::nullopt);
}

TEST_F(OVNBundleTest, DirectoryBundlesReadInfoAndFindResources) {
  EXPECT_EQ(OVNBundle::bundleWithPath(root + "/missing"), nullptr);
  ASSERT_TRUE(OVNFileManager::createFileAtPath(root + "/Info.strings", "\"CFBundleIdentifier\" = \"org.test.res\";"));
  ASSERT_TRUE(OVNFileManager::createDirectoryAtPath(root + "/en.lproj", false));
  ASSERT_TRUE(OVNFileManager::createFileAtPath(root + "/en.lproj/Localizable.strings", ""));
  ASSERT_TRUE(OVNFileManager::createFileAtPath(root + "/icon.png", ""));
  EXPECT_EQ(OVNBundle::bundleWithPath(root + "/icon.png"), nullptr);  // a file is no bundle

  auto bundle = OVNBundle::bundleWithPath(root);
  ASSERT_NE(bundle, nullptr);
  EXPECT_EQ(OVNBundle::bundleWithPath(root + "/"), bundle);
  EXPECT_EQ(bundle->bundleIdentifier(), "org.test.res");
  EXPECT_TRUE(bundle->objectForInfoDictionaryKey("CFBundleExecutable").isMissing());
  EXPECT_EQ(bundle->executablePath(), std::nullopt);

  EXPECT_EQ(bundle->pathForResource("icon", "png"), root + "/icon.png");
  EXPECT_EQ(bundle->pathForResource("icon", ".png"), root + "/icon.png");
  EXPECT_EQ(bundle->pathForResource("icon.png", ""), root + "/icon.png");
  EXPECT_EQ(bundle->pathForResource("Localizable", "strings", "en.lproj"), root + "/en.lproj/Localizable.strings");
  EXPECT_EQ(bundle->pathForResource("Localizable", "strings"), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("", "png"), std::nullopt);
}

}  // namespace
