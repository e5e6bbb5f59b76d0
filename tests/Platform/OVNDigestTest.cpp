#include <gtest/gtest.h>

#include <random>

#include "Platform/Serialization/OVNBase64.h"
#include "Platform/Serialization/OVNDigest.h"

namespace {

std::vector<std::uint8_t> bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

struct Vector {
  std::string_view input;
  std::string_view md5, sha1, sha224, sha256, sha384, sha512;
};

}  // namespace

// FIPS 180 examples ("abc" and the empty message) and the RFC 1321 test suite.
TEST(OVNDigestTest, PublishedVectors) {
  const Vector vectors[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e", "da39a3ee5e6b4b0d3255bfef95601890afd80709",
       "d14a028c2a3a2bc9476102bb288234c415a2b01f828ea62ac5b3e42f",
       "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
       "38b060a751ac96384cd9327eb1b1e36a21fdb71114be07434c0cc7bf63f6e1da274edebfe76f65fbd51ad2f14898b95b",
       "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a8"
       "1a538327af927da3e"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72", "a9993e364706816aba3e25717850c26c9cd0d89d",
       "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7",
       "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
       "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7",
       "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d4423643ce80"
       "e2a9ac94fa54ca49f"},
  };
  for (const Vector& v : vectors) {
    EXPECT_EQ(OVNDigest::hexString(OVNDigest::MD5(v.input)), v.md5);
    EXPECT_EQ(OVNDigest::hexString(OVNDigest::SHA1(v.input)), v.sha1);
    EXPECT_EQ(OVNDigest::hexString(OVNDigest::SHA224(v.input)), v.sha224);
    EXPECT_EQ(OVNDigest::hexString(OVNDigest::SHA256(v.input)), v.sha256);
    EXPECT_EQ(OVNDigest::hexString(OVNDigest::SHA384(v.input)), v.sha384);
    EXPECT_EQ(OVNDigest::hexString(OVNDigest::SHA512(v.input)), v.sha512);
    // Bytes and text give the same digest.
    EXPECT_EQ(OVNDigest::SHA256(bytesOf(v.input)), OVNDigest::SHA256(v.input));
  }
  const std::pair<std::string_view, std::string_view> md5Suite[] = {
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& [input, md5] : md5Suite) EXPECT_EQ(OVNDigest::hexString(OVNDigest::MD5(bytesOf(input))), md5);
  // Multi-block messages: the two-block example and a million "a".
  EXPECT_EQ(OVNDigest::hexString(OVNDigest::SHA256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  const std::string million(1000000, 'a');
  EXPECT_EQ(OVNDigest::hexString(OVNDigest::SHA1(million)), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

TEST(OVNDigestTest, HexStringWritesTwoLowerCaseDigitsPerByte) {
  EXPECT_EQ(OVNDigest::hexString(std::vector<std::uint8_t>{0x00, 0x0f, 0xa0, 0xff}), "000fa0ff");
  EXPECT_EQ(OVNDigest::hexString({}), "");
}

// RFC 4648 section 10.
TEST(OVNBase64Test, PublishedVectorsBothWays) {
  const std::pair<std::string_view, std::string_view> vectors[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
  };
  for (const auto& [plain, encoded] : vectors) {
    EXPECT_EQ(OVNBase64::encode(plain), encoded);
    EXPECT_EQ(OVNBase64::encode(bytesOf(plain)), encoded);
    EXPECT_EQ(OVNBase64::decode(encoded), bytesOf(plain)) << encoded;
  }
}

TEST(OVNBase64Test, RefusesMalformedText) {
  for (std::string_view bad : {"Zg", "Zg=", "Zm9", "Zg==Zg==", "Z===", "====", "Zm=v", "=Zm9", "Zm9v\n", " Zm9v",
                               "Zm9v YmFy", "Zm-v", "Zm_v", "Zm9\xC3\xA9"}) {
    EXPECT_FALSE(OVNBase64::decode(bad).has_value()) << bad;
  }
}

TEST(OVNBase64Test, RoundTripsAnyBytes) {
  std::mt19937 random(7);
  for (std::size_t size = 0; size < 64; ++size) {
    std::vector<std::uint8_t> bytes(size);
    for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
    const std::string encoded = OVNBase64::encode(bytes);
    EXPECT_EQ(encoded.size(), (size + 2) / 3 * 4);
    EXPECT_EQ(OVNBase64::decode(encoded), bytes);
  }
  // Larger than one internal chunk, and not a multiple of three.
  std::vector<std::uint8_t> large(3 * (1 << 20) + 2);
  for (auto& b : large) b = static_cast<std::uint8_t>(random());
  const std::string encoded = OVNBase64::encode(large);
  EXPECT_EQ(encoded.size(), (large.size() + 2) / 3 * 4);
  EXPECT_EQ(encoded.find_first_of("\n="), encoded.size() - 1);
  EXPECT_EQ(OVNBase64::decode(encoded), large);
}
