#include <gtest/gtest.h>

#include "OVNOAuthCredential.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/System/OVNSecItem.h"
#include "Platform/System/OVNSecureStore.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/IsolatedSecureStore.h"

TEST(OVNOAuthCredentialTest, ExpiresOnlyOnceItsExpirationHasPassed) {
  OVNTestClock clock(1000);
  auto credential = OVNOAuthCredential::credentialWithOAuthToken("token", "bearer");
  EXPECT_TRUE(credential->isExpired());  // no expiration: expired
  for (auto [offset, expired] : {std::pair{1.0, false}, {0.0, false}, {-0.001, true}}) {
    credential->setRefreshToken("refresh", OVNDate(1000 + offset));
    EXPECT_EQ(credential->isExpired(), expired) << offset;
  }
  clock.advance(1);
  credential->setExpiration(OVNDate(1000.5));
  EXPECT_TRUE(credential->isExpired());
}

TEST(OVNOAuthCredentialTest, DescribesAndArchivesItsFourValues) {
  auto credential = OVNOAuthCredential::credentialWithOAuthToken("abc", "bearer");
  EXPECT_EQ(
      credential->description(),
      "<OVNOAuthCredential accessToken:\"abc\" tokenType:\"bearer\" refreshToken:\"(null)\" expiration:\"(null)\">");
  credential->setRefreshToken("r1", OVNDate(0));
  EXPECT_EQ(credential->description(),
            "<OVNOAuthCredential accessToken:\"abc\" tokenType:\"bearer\" refreshToken:\"r1\" "
            "expiration:\"2001-01-01 00:00:00 +0000\">");

  auto data = OVNKeyedArchiver::archivedDataWithRootObject(OVNValue(credential), false, nullptr);
  ASSERT_TRUE(data);
  auto restored = OVNKeyedUnarchiver::unarchiveObjectWithData(*data).objectAs<OVNOAuthCredential>();
  ASSERT_TRUE(restored);
  EXPECT_EQ(restored->description(), credential->description());

  auto partial = OVNMake<OVNOAuthCredential>();  // missing values decode as missing
  partial->setAccessToken("only");
  auto again = OVNKeyedUnarchiver::unarchiveObjectWithData(
                   *OVNKeyedArchiver::archivedDataWithRootObject(OVNValue(partial), false, nullptr))
                   .objectAs<OVNOAuthCredential>();
  ASSERT_TRUE(again);
  EXPECT_EQ(again->tokenType(), std::nullopt);
  EXPECT_EQ(again->expiration(), std::nullopt);
}

TEST(OVNOAuthCredentialTest, TheStoreQueryNamesClassServiceAndAccountOnly) {
  auto query = OVNKeychainQueryDictionaryWithIdentifier("client.user.credential");
  EXPECT_TRUE(query->isEqual(*OVNDictionary::make(
      {{"class", "genp"}, {"svce", "OVNOAuthCredentialService"}, {"acct", "client.user.credential"}})));
  EXPECT_EQ(query->count(), 3u);
}

namespace {

class OVNOAuthCredentialStoreTest : public ::testing::TestWithParam<OVNSecureStore::Backend> {
 protected:
  IsolatedSecureStore store{GetParam()};
};

}  // namespace

TEST_P(OVNOAuthCredentialStoreTest, StoresOneItemPerIdentifierAndReadsItBack) {
  auto credential = OVNOAuthCredential::credentialWithOAuthToken("a1", "bearer");
  credential->setRefreshToken("r1", OVNDate(100));
  EXPECT_EQ(OVNOAuthCredential::retrieveCredentialWithIdentifier("client.user.credential"), nullptr);
  EXPECT_TRUE(OVNOAuthCredential::storeCredential(credential, "client.user.credential"));
  credential->setAccessToken("a2");
  EXPECT_TRUE(OVNOAuthCredential::storeCredential(credential, "client.user.credential"));  // an update
  auto read = OVNOAuthCredential::retrieveCredentialWithIdentifier("client.user.credential");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->description(), credential->description());
  EXPECT_EQ(OVNOAuthCredential::retrieveCredentialWithIdentifier("other"), nullptr);
  EXPECT_TRUE(OVNOAuthCredential::deleteCredentialWithIdentifier("client.user.credential"));
  EXPECT_EQ(OVNOAuthCredential::retrieveCredentialWithIdentifier("client.user.credential"), nullptr);
  EXPECT_FALSE(OVNOAuthCredential::deleteCredentialWithIdentifier("client.user.credential"));
}

TEST_P(OVNOAuthCredentialStoreTest, AnItemThatIsNotAnArchivedCredentialReadsAsNone) {
  // What another program (or damage) left under the credential's service and account.
  const std::string foreign[] = {"", "not an archive", std::string("bplist00\xff\0\x01", 11)};
  for (const auto& bytes : foreign) {
    auto attributes = OVNKeychainQueryDictionaryWithIdentifier("client.user.credential")->mutableCopy();
    attributes->set(kSecValueData, OVNValue(OVNData::fromString(bytes)));
    ASSERT_EQ(OVNSecureStore::itemAdd(attributes), errSecSuccess);
    EXPECT_EQ(OVNOAuthCredential::retrieveCredentialWithIdentifier("client.user.credential"), nullptr) << bytes;
    EXPECT_TRUE(OVNOAuthCredential::deleteCredentialWithIdentifier("client.user.credential"));
  }
}

INSTANTIATE_TEST_SUITE_P(Backends, OVNOAuthCredentialStoreTest,
                         ::testing::Values(OVNSecureStore::Backend::file, OVNSecureStore::Backend::secretService),
                         [](const auto& info) { return IsolatedSecureStore::nameOf(info.param); });
