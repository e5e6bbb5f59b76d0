#pragma once
// Immutable bytes (NSData). Shared between values by reference; safe to read from any thread.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNData {
 public:
  OVNData() = default;
  explicit OVNData(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}
  static std::shared_ptr<const OVNData> make(std::vector<std::uint8_t> bytes);
  static std::shared_ptr<const OVNData> fromString(std::string_view text);

  const std::vector<std::uint8_t>& bytes() const { return bytes_; }
  std::size_t length() const { return bytes_.size(); }
  std::string_view view() const { return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()}; }

  //! The platform's form: "{length = 3, bytes = 0x616263}" (longer data elided in the middle).
  std::string description() const;
  bool operator==(const OVNData& other) const { return bytes_ == other.bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};
