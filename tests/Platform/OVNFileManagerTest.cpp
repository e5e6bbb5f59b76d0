#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <optional>
#include <vector>

#include "Platform/Objects/OVNError.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/System/OVNFileManager.h"
#include "Support/TemporaryDirectory.h"

namespace {

class OVNFileManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    savedCaches = OVNFileManager::cachesDirectory();
    OVNFileManager::setCachesDirectory(std::nullopt);  // these tests read the defaults
    for (const char* name : {"HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"}) {
      if (const char* value = std::getenv(name)) saved[name] = value;
    }
  }
  void TearDown() override {
    for (const char* name : {"HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"}) {
      if (saved.count(name))
        ::setenv(name, saved[name].c_str(), 1);
      else
        ::unsetenv(name);
    }
    OVNFileManager::setCachesDirectory(savedCaches);  // the test program's own
    OVNFileManager::setDocumentationDirectory(std::nullopt);
    OVNBundle::mainBundle()->setInfoDictionary(nullptr);
  }
  std::optional<std::string> savedCaches;

  // Sets, or with null clears, a variable; TearDown restores it.
  static void set(const char* name, const char* value) {
    if (value)
      ::setenv(name, value, 1);
    else
      ::unsetenv(name);
  }
  TemporaryDirectory temporary{"ovnfiles"};
  const std::string root = temporary.path();
  std::map<std::string, std::string> saved;
};

TEST_F(OVNFileManagerTest, DirectoriesFollowXdgScopedByTheApplication) {
  set("HOME", "/home/user");
  set("XDG_CACHE_HOME", nullptr);
  set("XDG_DATA_HOME", nullptr);
  EXPECT_EQ(OVNFileManager::applicationIdentifier(), "OvrinPlatformTests");
  EXPECT_EQ(OVNFileManager::cachesDirectory(), "/home/user/.cache/OvrinPlatformTests");
  EXPECT_EQ(OVNFileManager::documentationDirectory(), "/home/user/.local/share/OvrinPlatformTests/Documentation");

  set("XDG_CACHE_HOME", "/var/cache/x");
  set("XDG_DATA_HOME", "relative/is/ignored");
  OVNBundle::mainBundle()->setInfoValue("CFBundleIdentifier", "com.example.demo");
  EXPECT_EQ(OVNFileManager::cachesDirectory(), "/var/cache/x/com.example.demo");
  EXPECT_EQ(OVNFileManager::documentationDirectory(), "/home/user/.local/share/com.example.demo/Documentation");

  set("HOME", nullptr);
  set("XDG_CACHE_HOME", nullptr);
  EXPECT_EQ(OVNFileManager::cachesDirectory(), std::nullopt);
  EXPECT_EQ(OVNFileManager::documentationDirectory(), std::nullopt);

  OVNFileManager::setCachesDirectory(root + "/caches");
  OVNFileManager::setDocumentationDirectory(root + "/docs");
  EXPECT_EQ(OVNFileManager::cachesDirectory(), root + "/caches");
  EXPECT_EQ(OVNFileManager::documentationDirectory(), root + "/docs");
  OVNFileManager::setCachesDirectory(std::nullopt);  // back to the (unnamed) default
  EXPECT_EQ(OVNFileManager::cachesDirectory(), std::nullopt);
}

TEST_F(OVNFileManagerTest, FileOperationsReportFailureWithoutThrowing) {
  const std::string nested = root + "/a/b", file = nested + "/file.bin";
  const std::string bytes("a\0b\xff", 4);
  EXPECT_FALSE(OVNFileManager::createFileAtPath(file, bytes));  // no directory yet
  EXPECT_FALSE(OVNFileManager::createDirectoryAtPath(nested, false));
  ASSERT_TRUE(OVNFileManager::createDirectoryAtPath(nested, true));
  ASSERT_TRUE(OVNFileManager::createFileAtPath(file, bytes));
  EXPECT_EQ(OVNFileManager::contentsAtPath(file), bytes);
  EXPECT_FALSE(OVNFileManager::createDirectoryAtPath(file, true));  // a file is in the way
  EXPECT_EQ(OVNFileManager::contentsAtPath(nested), std::nullopt);  // a directory has no contents
  EXPECT_TRUE(OVNFileManager::removeItemAtPath(root + "/a"));       // the whole tree
  EXPECT_FALSE(OVNFileManager::fileExistsAtPath(file));
  EXPECT_FALSE(OVNFileManager::removeItemAtPath(root + "/a"));
  EXPECT_EQ(OVNFileManager::contentsAtPath(file), std::nullopt);
}

TEST_F(OVNFileManagerTest, AtomicWritesAttributesAndWalks) {
  const std::string file = root + "/sub/item";
  EXPECT_FALSE(OVNFileManager::writeFileAtomically(file, "x", false));  // no directory
  std::shared_ptr<OVNError> error;
  ASSERT_TRUE(OVNFileManager::createDirectoryAtPath(root + "/sub", false, &error));
  for (bool synchronize : {false, true}) {
    ASSERT_TRUE(OVNFileManager::writeFileAtomically(file, synchronize ? "second" : "first", synchronize));
  }
  EXPECT_EQ(OVNFileManager::contentsAtPath(file), "second");
  EXPECT_EQ(OVNFileManager::subpathsOfDirectoryAtPath(root), (std::vector<std::string>{root + "/sub", file}))
      << "no temporary file is left behind";

  const auto attributes = OVNFileManager::attributesOfItemAtPath(file, &error);
  ASSERT_TRUE(attributes);
  EXPECT_EQ(attributes->size, 6u);
  EXPECT_FALSE(attributes->isDirectory);
  EXPECT_NEAR(attributes->modificationDate.timeIntervalSinceNow(), 0, 60);
  EXPECT_TRUE(OVNFileManager::attributesOfItemAtPath(root + "/sub", nullptr)->isDirectory);

  EXPECT_FALSE(OVNFileManager::attributesOfItemAtPath(root + "/missing", &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), OVNFileReadNoSuchFileError);
  EXPECT_FALSE(OVNFileManager::createDirectoryAtPath(file + "/below", true, &error));  // a file is in the way
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), OVNCocoaErrorDomain);
  EXPECT_NE(error->localizedDescription().find("below"), std::string::npos) << error->localizedDescription();
  EXPECT_TRUE(OVNFileManager::subpathsOfDirectoryAtPath(root + "/missing").empty());
}

}  // namespace
