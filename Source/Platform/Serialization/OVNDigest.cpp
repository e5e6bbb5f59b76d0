#include "Platform/Serialization/OVNDigest.h"

#include <openssl/evp.h>

namespace {

std::vector<std::uint8_t> digest(const EVP_MD* algorithm, const void* data, std::size_t size) {
  static constexpr std::uint8_t kNothing = 0;
  std::vector<std::uint8_t> out(EVP_MAX_MD_SIZE);
  unsigned int length = 0;
  // One call per digest: EVP_Digest takes a size_t length, so any size is fine.
  if (EVP_Digest(size ? data : &kNothing, size, out.data(), &length, algorithm, nullptr) != 1) return {};
  out.resize(length);
  return out;
}

std::vector<std::uint8_t> digest(const EVP_MD* algorithm, std::string_view bytes) {
  return digest(algorithm, bytes.data(), bytes.size());
}

std::vector<std::uint8_t> digest(const EVP_MD* algorithm, std::span<const std::uint8_t> bytes) {
  return digest(algorithm, bytes.data(), bytes.size());
}

}  // namespace

std::vector<std::uint8_t> OVNDigest::MD5(std::string_view bytes) { return digest(EVP_md5(), bytes); }
std::vector<std::uint8_t> OVNDigest::MD5(std::span<const std::uint8_t> bytes) { return digest(EVP_md5(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA1(std::string_view bytes) { return digest(EVP_sha1(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA1(std::span<const std::uint8_t> bytes) { return digest(EVP_sha1(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA224(std::string_view bytes) { return digest(EVP_sha224(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA224(std::span<const std::uint8_t> bytes) { return digest(EVP_sha224(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA256(std::string_view bytes) { return digest(EVP_sha256(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA256(std::span<const std::uint8_t> bytes) { return digest(EVP_sha256(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA384(std::string_view bytes) { return digest(EVP_sha384(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA384(std::span<const std::uint8_t> bytes) { return digest(EVP_sha384(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA512(std::string_view bytes) { return digest(EVP_sha512(), bytes); }
std::vector<std::uint8_t> OVNDigest::SHA512(std::span<const std::uint8_t> bytes) { return digest(EVP_sha512(), bytes); }

std::string OVNDigest::hexString(std::span<const std::uint8_t> bytes) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (std::uint8_t byte : bytes) {
    out.push_back(kHex[byte >> 4]);
    out.push_back(kHex[byte & 0x0F]);
  }
  return out;
}
