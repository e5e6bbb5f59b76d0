#pragma once
// Base64 in the standard alphabet (RFC 4648 section 4) with "=" padding, as the platform's
// data objects read and write it. Thread-safe (pure functions).

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNBase64 {
 public:
  //! Padded to a multiple of four characters, without line breaks.
  static std::string encode(std::span<const std::uint8_t> bytes);
  static std::string encode(std::string_view bytes);
  //! Nullopt unless the text is well-formed: only the alphabet's characters, a length that
  //! is a multiple of four, and "=" only as the last one or two characters. White space and
  //! line breaks are refused like any other foreign character.
  static std::optional<std::vector<std::uint8_t>> decode(std::string_view text);
};
