#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Platform/System/OVNSecureStore.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/ConsoleCapture.h"
#include "Support/IsolatedSecureStore.h"
#include "Support/ScopedEnvironment.h"

namespace {

using Backend = OVNSecureStore::Backend;
constexpr const char* kService = "test-service";

OVNDictionaryRef query(const std::string& account) {
  return OVNDictionary::make({{std::string(kSecClass), std::string(kSecClassGenericPassword)},
                              {std::string(kSecAttrService), kService},
                              {std::string(kSecAttrAccount), account}});
}

OVNDictionaryRef with(const OVNDictionaryRef& base, std::string_view key, OVNValue value) {
  auto made = base->mutableCopy();
  made->set(key, std::move(value));
  return made;
}

OVNDictionaryRef withData(const OVNDictionaryRef& base, const std::string& secret) {
  return with(base, kSecValueData, OVNValue(OVNData::fromString(secret)));
}

std::optional<std::string> secretOf(const std::string& account, OVNStatus* status = nullptr) {
  OVNValue result;
  const OVNStatus found = OVNSecureStore::itemCopyMatching(with(query(account), kSecReturnData, true), &result);
  if (status) *status = found;
  auto data = result.data();
  return found == errSecSuccess && data ? std::optional(std::string(data->view())) : std::nullopt;
}

// Every operation on the item `account` names, with its status.
std::vector<std::pair<std::string, OVNStatus>> everyOperation(const std::string& account) {
  OVNStatus copied = errSecSuccess;
  (void)secretOf(account, &copied);
  return {{"add", OVNSecureStore::itemAdd(withData(query(account + "-new"), "s"))},
          {"update", OVNSecureStore::itemUpdate(query(account), withData(OVNDictionary::make(), "s"))},
          {"copy", copied},
          {"delete", OVNSecureStore::itemDelete(query(account))}};
}

bool isEmptyDirectory(const std::string& path) {
  return !std::filesystem::exists(path) || std::filesystem::is_empty(path);
}

class OVNSecureStoreTest : public ::testing::TestWithParam<Backend> {
 protected:
  IsolatedSecureStore store{GetParam()};
};

}  // namespace

// Both backends behave alike.

TEST_P(OVNSecureStoreTest, AddsUpdatesFindsAndDeletesWithThePlatformsStatusCodes) {
  EXPECT_EQ(OVNSecureStore::activeBackend(), GetParam());
  EXPECT_EQ(OVNSecureStore::itemAdd(withData(query("alice"), "s1")), errSecSuccess);
  EXPECT_EQ(OVNSecureStore::itemAdd(withData(query("alice"), "other")), errSecDuplicateItem);
  EXPECT_EQ(secretOf("alice"), "s1");
  EXPECT_EQ(OVNSecureStore::itemUpdate(query("alice"), withData(OVNDictionary::make(), "s2")), errSecSuccess);
  EXPECT_EQ(secretOf("alice"), "s2");
  // Changing the accessibility alone keeps the data.
  EXPECT_EQ(OVNSecureStore::itemUpdate(query("alice"), OVNDictionary::make({{std::string(kSecAttrAccessible), "ck"}})),
            errSecSuccess);
  EXPECT_EQ(secretOf("alice"), "s2");
  OVNStatus status = errSecSuccess;
  EXPECT_EQ(secretOf("bob", &status), std::nullopt);
  EXPECT_EQ(status, errSecItemNotFound);
  EXPECT_EQ(OVNSecureStore::itemUpdate(query("bob"), OVNDictionary::make()), errSecItemNotFound);
  EXPECT_EQ(OVNSecureStore::itemDelete(query("alice")), errSecSuccess);
  EXPECT_EQ(OVNSecureStore::itemDelete(query("alice")), errSecItemNotFound);
  EXPECT_EQ(secretOf("alice"), std::nullopt);

  // Binary data comes back byte for byte.
  const std::string binary("\0\x01\xff archive \x80", 13);
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("carol"), binary)), errSecSuccess);
  EXPECT_EQ(secretOf("carol"), binary);
}

TEST_P(OVNSecureStoreTest, QueriesThatDoNotNameAGenericPasswordByServiceAndAccountAreRejected) {
  constexpr OVNStatus errSecParam = -50;
  const auto named = query("dave");
  int index = 0;
  for (const auto& bad : {with(named, kSecClass, "inet"), with(named, kSecAttrService, 1),
                          OVNDictionary::make({{std::string(kSecClass), std::string(kSecClassGenericPassword)},
                                               {std::string(kSecAttrService), kService}})}) {
    SCOPED_TRACE(index++);
    EXPECT_EQ(OVNSecureStore::itemAdd(withData(bad, "s")), errSecParam);
    EXPECT_EQ(OVNSecureStore::itemUpdate(bad, withData(OVNDictionary::make(), "s")), errSecParam);
    OVNValue result;
    EXPECT_EQ(OVNSecureStore::itemCopyMatching(with(bad, kSecReturnData, true), &result), errSecParam);
    EXPECT_EQ(OVNSecureStore::itemDelete(bad), errSecParam);
  }
}

TEST_P(OVNSecureStoreTest, ConcurrentWritersLeaveOneWholeItem) {
  constexpr int kWriters = 4;
  constexpr int kRounds = 10;
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("erin"), "v0")), errSecSuccess);
  std::vector<std::thread> writers;
  for (int writer = 1; writer <= kWriters; ++writer) {
    writers.emplace_back([writer] {
      for (int round = 0; round < kRounds; ++round) {
        (void)OVNSecureStore::itemUpdate(query("erin"), withData(OVNDictionary::make(), "v" + std::to_string(writer)));
      }
    });
  }
  for (auto& writer : writers) writer.join();
  const auto secret = secretOf("erin");
  ASSERT_TRUE(secret);
  EXPECT_TRUE(*secret == "v1" || *secret == "v2" || *secret == "v3" || *secret == "v4") << *secret;
  EXPECT_EQ(isEmptyDirectory(store.fileStoreDirectory()), GetParam() == Backend::secretService)
      << "items go to the chosen backend only";
}

INSTANTIATE_TEST_SUITE_P(Backends, OVNSecureStoreTest, ::testing::Values(Backend::file, Backend::secretService),
                         [](const auto& info) { return IsolatedSecureStore::nameOf(info.param); });

// The file store only.

namespace {

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status {};
  ::stat(path.c_str(), &status);
  return status.st_mode & 0777;
}

std::vector<std::filesystem::path> filesIn(const std::string& directory) {
  std::vector<std::filesystem::path> found;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) found.push_back(entry.path());
  return found;
}

}  // namespace

TEST(OVNSecureStoreFileTest, OnlyTheUserCanReachItemsAndExposedOrDamagedOnesAreNeverUsed) {
  IsolatedSecureStore store(Backend::file);
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("dave"), "secret")), errSecSuccess);
  ASSERT_EQ(OVNSecureStore::itemUpdate(query("dave"), withData(OVNDictionary::make(), "secret")), errSecSuccess);
  EXPECT_EQ(modeOf(store.fileStoreDirectory()), 0700u);
  const auto files = filesIn(store.fileStoreDirectory());
  ASSERT_EQ(files.size(), 1u);  // no temporary file left behind
  const auto item = files[0];
  EXPECT_EQ(modeOf(item), 0600u);

  ConsoleCapture console;
  ::chmod(item.c_str(), 0644);
  EXPECT_EQ(secretOf("dave"), std::nullopt);  // others could read it
  ::chmod(item.c_str(), 0600);
  EXPECT_EQ(secretOf("dave"), "secret");
  if (::geteuid() == 0) {  // only root can give a file away; CI runs as root
    constexpr uid_t nobody = 65534;
    ASSERT_EQ(::chown(item.c_str(), nobody, nobody), 0);
    EXPECT_EQ(secretOf("dave"), std::nullopt);  // not the user's own
    ASSERT_EQ(::chown(item.c_str(), 0, 0), 0);
  }
  std::ofstream(item, std::ios::trunc) << "not a property list";
  OVNStatus status = errSecSuccess;
  EXPECT_EQ(secretOf("dave", &status), std::nullopt);
  EXPECT_NE(status, errSecSuccess);
  for (const auto& line : console.lines()) EXPECT_EQ(line.find("secret"), std::string::npos) << line;
}

// The Secret Service only.

TEST(OVNSecureStoreSecretServiceTest, ItemsCarryServiceAccountAndLabelButNeverTheSecret) {
  IsolatedSecureStore store(Backend::secretService);
  const std::string secret = "s3cr3t-bytes";
  ASSERT_EQ(OVNSecureStore::itemAdd(with(withData(query("frank"), secret), kSecAttrAccessible,
                                         std::string(kSecAttrAccessibleWhenUnlocked))),
            errSecSuccess);
  auto item = store.keyring().item(kService, "frank");
  ASSERT_TRUE(item);
  EXPECT_EQ(item->label, "test-service (frank)");
  EXPECT_EQ(item->secret, secret);
  const std::map<std::string, std::string> expected{{"service", kService},
                                                    {"account", "frank"},
                                                    {"accessible", std::string(kSecAttrAccessibleWhenUnlocked)},
                                                    {"xdg:schema", "com.ovrinweather.GenericPassword"}};
  EXPECT_EQ(item->attributes, expected);

  // An update replaces the accessibility and the label given, and keeps the rest.
  ASSERT_EQ(OVNSecureStore::itemUpdate(query("frank"), OVNDictionary::make({{std::string(kSecAttrAccessible), "ck"},
                                                                            {std::string(kSecAttrLabel), "Frank"}})),
            errSecSuccess);
  item = store.keyring().item(kService, "frank");
  ASSERT_TRUE(item);
  EXPECT_EQ(item->label, "Frank");
  EXPECT_EQ(item->attributes.at("accessible"), "ck");
  EXPECT_EQ(item->attributes.size(), expected.size());
  EXPECT_EQ(item->secret, secret);
  EXPECT_TRUE(isEmptyDirectory(store.fileStoreDirectory()));
}

TEST(OVNSecureStoreSecretServiceTest, ALockedKeyringGivesInteractionNotAllowedWithoutAPrompt) {
  IsolatedSecureStore store(Backend::secretService);
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("grace"), "s")), errSecSuccess);
  store.keyring().lockDefaultCollection();
  for (const auto& [operation, status] : everyOperation("grace")) {
    EXPECT_EQ(status, errSecInteractionNotAllowed) << operation;
  }
  EXPECT_EQ(OVNSecureStore::itemAdd(withData(query("grace"), "s")), errSecDuplicateItem);  // it is there, locked
}

TEST(OVNSecureStoreSecretServiceTest, AStoppedServiceOrBusGivesNotAvailableAndNeverFallsBackToFiles) {
  IsolatedSecureStore store(Backend::secretService);
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("heidi"), "s")), errSecSuccess);
  for (const auto& stop : {std::function<void()>([&] { store.keyring().stopKeyringDaemon(); }),
                           std::function<void()>([&] { store.keyring().stopBus(); })}) {
    stop();
    for (const auto& [operation, status] : everyOperation("heidi")) {
      EXPECT_EQ(status, errSecNotAvailable) << operation;
    }
  }
  EXPECT_EQ(OVNSecureStore::activeBackend(), Backend::secretService);
  EXPECT_TRUE(isEmptyDirectory(store.fileStoreDirectory()));
}

TEST(OVNSecureStoreSecretServiceTest, WithoutAChoiceTheSecretServiceOnTheSessionBusIsUsed) {
  IsolatedSecureStore store(Backend::secretService);
  OVNSecureStore::setBackend(std::nullopt);
  EXPECT_EQ(OVNSecureStore::activeBackend(), Backend::secretService);
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("ivan"), "s")), errSecSuccess);
  EXPECT_TRUE(store.keyring().item(kService, "ivan"));
  EXPECT_TRUE(isEmptyDirectory(store.fileStoreDirectory()));
}

TEST(OVNSecureStoreSecretServiceTest, WithoutASessionBusTheChosenServiceIsNotAvailableAndTheAutomaticChoiceIsFiles) {
  TemporaryDirectory runtime("ovrin-no-bus");
  ScopedEnvironment environment;
  environment.set("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  environment.set("XDG_RUNTIME_DIR", runtime.path());
  IsolatedSecureStore store(Backend::file);  // its directory, no keyring
  OVNSecureStore::setBackend(Backend::secretService);
  for (const auto& [operation, status] : everyOperation("judy")) EXPECT_EQ(status, errSecNotAvailable) << operation;
  EXPECT_TRUE(isEmptyDirectory(store.fileStoreDirectory()));

  ConsoleCapture console;
  OVNSecureStore::setBackend(std::nullopt);
  EXPECT_EQ(OVNSecureStore::activeBackend(), Backend::file);
  ASSERT_EQ(OVNSecureStore::itemAdd(withData(query("judy"), "s")), errSecSuccess);
  EXPECT_FALSE(isEmptyDirectory(store.fileStoreDirectory()));
  ASSERT_EQ(console.lines().size(), 1u);  // announced once
  EXPECT_NE(console.lines()[0].find(store.fileStoreDirectory()), std::string::npos);
}
