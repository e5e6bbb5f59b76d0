#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Platform/System/OVNSecureStore.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/ConsoleCapture.h"
#include "Support/TemporaryDirectory.h"

namespace {

class OVNSecureStoreTest : public ::testing::Test {
 protected:
  OVNSecureStoreTest() {
    OVNSecureStore::setBackend(OVNSecureStore::Backend::file);
    OVNSecureStore::setFileStoreDirectory(directory);
  }
  ~OVNSecureStoreTest() override {
    OVNSecureStore::setFileStoreDirectory(std::nullopt);
    OVNSecureStore::setBackend(std::nullopt);
  }

  static OVNDictionaryRef query(const std::string& account) {
    return OVNDictionary::make({{std::string(kSecClass), std::string(kSecClassGenericPassword)},
                                {std::string(kSecAttrService), "test-service"},
                                {std::string(kSecAttrAccount), account}});
  }
  static OVNDictionaryRef withData(const OVNDictionaryRef& base, const std::string& secret) {
    auto made = base->mutableCopy();
    made->set(kSecValueData, OVNValue(OVNData::fromString(secret)));
    return made;
  }
  static std::optional<std::string> secretOf(const std::string& account, OVNStatus* status = nullptr) {
    auto asked = query(account)->mutableCopy();
    asked->set(kSecReturnData, true);
    OVNValue result;
    const OVNStatus found = OVNSecureStore::itemCopyMatching(asked, &result);
    if (status) *status = found;
    auto data = result.data();
    return found == errSecSuccess && data ? std::optional(std::string(data->view())) : std::nullopt;
  }
  std::vector<std::filesystem::path> files() const {
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) found.push_back(entry.path());
    return found;
  }

  TemporaryDirectory root{"ovrin-secure-store"};
  const std::string directory = root.path() + "/Keychain";
};

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status {};
  ::stat(path.c_str(), &status);
  return status.st_mode & 0777;
}

}  // namespace

TEST_F(OVNSecureStoreTest, AddsUpdatesFindsAndDeletesWithThePlatformsStatusCodes) {
  EXPECT_EQ(OVNSecureStore::activeBackend(), OVNSecureStore::Backend::file);
  EXPECT_EQ(OVNSecureStore::itemAdd(withData(query("alice"), "s1")), errSecSuccess);
  EXPECT_EQ(OVNSecureStore::itemAdd(withData(query("alice"), "other")), errSecDuplicateItem);
  EXPECT_EQ(secretOf("alice"), "s1");
  EXPECT_EQ(
      OVNSecureStore::itemUpdate(
          query("alice"), OVNDictionary::make({{std::string(kSecValueData), OVNValue(OVNData::fromString("s2"))}})),
      errSecSuccess);
  EXPECT_EQ(secretOf("alice"), "s2");
  OVNStatus status = errSecSuccess;
  EXPECT_EQ(secretOf("bob", &status), std::nullopt);
  EXPECT_EQ(status, errSecItemNotFound);
  EXPECT_EQ(OVNSecureStore::itemUpdate(query("bob"), OVNDictionary::make()), errSecItemNotFound);
  EXPECT_EQ(OVNSecureStore::itemDelete(query("alice")), errSecSuccess);
  EXPECT_EQ(OVNSecureStore::itemDelete(query("alice")), errSecItemNotFound);

  // Only the user can reach what is stored, and replacing leaves nothing half written.
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("carol"), "s3")), errSecSuccess);
  EXPECT_EQ(modeOf(directory), 0700u);
  ASSERT_EQ(files().size(), 1u);
  EXPECT_EQ(modeOf(files()[0]), 0600u);
}

TEST_F(OVNSecureStoreTest, ExposedDamagedOrForeignItemsAreNeverUsed) {
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("dave"), "secret")), errSecSuccess);
  const auto item = files()[0];
  ConsoleCapture console;
  ::chmod(item.c_str(), 0644);
  EXPECT_EQ(secretOf("dave"), std::nullopt);  // others could read it
  ::chmod(item.c_str(), 0600);
  EXPECT_EQ(secretOf("dave"), "secret");
  std::ofstream(item, std::ios::trunc) << "not a property list";
  OVNStatus status = errSecSuccess;
  EXPECT_EQ(secretOf("dave", &status), std::nullopt);
  EXPECT_NE(status, errSecSuccess);
  for (const auto& line : console.lines()) EXPECT_EQ(line.find("secret"), std::string::npos) << line;
}

TEST_F(OVNSecureStoreTest, ConcurrentWritersLeaveOneWholeItem) {
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("erin"), "v0")), errSecSuccess);
  std::vector<std::thread> writers;
  for (int writer = 1; writer <= 4; ++writer) {
    writers.emplace_back([writer] {
      for (int round = 0; round < 20; ++round) {
        (void)OVNSecureStore::itemUpdate(query("erin"), withData(OVNDictionary::make(), "v" + std::to_string(writer)));
      }
    });
  }
  for (auto& writer : writers) writer.join();
  const auto secret = secretOf("erin");
  ASSERT_TRUE(secret);
  EXPECT_TRUE(*secret == "v1" || *secret == "v2" || *secret == "v3" || *secret == "v4") << *secret;
  EXPECT_EQ(files().size(), 1u);  // no temporary file left behind
}
