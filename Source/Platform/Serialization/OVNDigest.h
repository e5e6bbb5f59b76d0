#pragma once
// Message digests of bytes (the platform's CC_MD5 ... CC_SHA512 family) and their usual
// lower-case hexadecimal form. Thread-safe (pure functions).
//
// MD5 and SHA-1 are here because the web services and caches that use them name them;
// they are not for security.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNDigest {
 public:
  //! 16 bytes.
  static std::vector<std::uint8_t> MD5(std::string_view bytes);
  static std::vector<std::uint8_t> MD5(std::span<const std::uint8_t> bytes);
  //! 20 bytes.
  static std::vector<std::uint8_t> SHA1(std::string_view bytes);
  static std::vector<std::uint8_t> SHA1(std::span<const std::uint8_t> bytes);
  //! 28 bytes.
  static std::vector<std::uint8_t> SHA224(std::string_view bytes);
  static std::vector<std::uint8_t> SHA224(std::span<const std::uint8_t> bytes);
  //! 32 bytes.
  static std::vector<std::uint8_t> SHA256(std::string_view bytes);
  static std::vector<std::uint8_t> SHA256(std::span<const std::uint8_t> bytes);
  //! 48 bytes.
  static std::vector<std::uint8_t> SHA384(std::string_view bytes);
  static std::vector<std::uint8_t> SHA384(std::span<const std::uint8_t> bytes);
  //! 64 bytes.
  static std::vector<std::uint8_t> SHA512(std::string_view bytes);
  static std::vector<std::uint8_t> SHA512(std::span<const std::uint8_t> bytes);

  //! Two lower-case hexadecimal digits per byte ("%02x").
  static std::string hexString(std::span<const std::uint8_t> bytes);
};
