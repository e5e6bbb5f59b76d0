#include "Platform/Values/OVNData.h"

#include <cstdio>

std::shared_ptr<const OVNData> OVNData::make(std::vector<std::uint8_t> bytes) {
  return std::make_shared<const OVNData>(std::move(bytes));
}

std::shared_ptr<const OVNData> OVNData::fromString(std::string_view text) {
  return make(std::vector<std::uint8_t>(text.begin(), text.end()));
}

std::string OVNData::description() const {
  // Up to 24 bytes are shown whole; longer data shows its first and last 8 bytes.
  auto hex = [this](std::size_t from, std::size_t to) {
    std::string out;
    char pair[3];
    for (std::size_t i = from; i < to; ++i) {
      std::snprintf(pair, sizeof pair, "%02x", bytes_[i]);
      out += pair;
    }
    return out;
  };
  std::string bytesText =
      bytes_.size() <= 24 ? hex(0, bytes_.size()) : hex(0, 8) + " ... " + hex(bytes_.size() - 8, bytes_.size());
  return "{length = " + std::to_string(bytes_.size()) + ", bytes = 0x" + bytesText + "}";
}
