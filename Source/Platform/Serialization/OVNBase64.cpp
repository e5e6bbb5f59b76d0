#include "Platform/Serialization/OVNBase64.h"

#include <openssl/evp.h>

#include <algorithm>

namespace {

// Chunks keep EVP's int lengths far from overflow; each is a whole number of groups
// (three bytes in, four characters out).
constexpr std::size_t kGroupsPerChunk = 1 << 20;

bool inAlphabet(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

std::string encodeBytes(const unsigned char* data, std::size_t size) {
  std::string out;
  out.reserve((size + 2) / 3 * 4);
  std::vector<unsigned char> buffer(kGroupsPerChunk * 4 + 1);  // EVP_EncodeBlock adds a NUL
  for (std::size_t offset = 0; offset < size;) {
    const std::size_t n = std::min(size - offset, kGroupsPerChunk * 3);
    const int written = EVP_EncodeBlock(buffer.data(), data + offset, static_cast<int>(n));
    out.append(reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(written));
    offset += n;
  }
  return out;
}

}  // namespace

std::string OVNBase64::encode(std::span<const std::uint8_t> bytes) { return encodeBytes(bytes.data(), bytes.size()); }

std::string OVNBase64::encode(std::string_view bytes) {
  return encodeBytes(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

std::optional<std::vector<std::uint8_t>> OVNBase64::decode(std::string_view text) {
  // EVP_DecodeBlock is lax where we must be strict: it skips leading and trailing white
  // space, reads "=" anywhere as zero bits and counts padding as decoded zero bytes. So the
  // text is checked here first and the padding bytes are dropped afterwards.
  if (text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  if (!text.empty() && text.back() == '=') padding = text[text.size() - 2] == '=' ? 2 : 1;
  for (std::size_t i = 0; i < text.size() - padding; ++i) {
    if (!inAlphabet(text[i])) return std::nullopt;
  }

  std::vector<std::uint8_t> out;
  out.reserve(text.size() / 4 * 3);
  std::vector<unsigned char> buffer(kGroupsPerChunk * 3);
  for (std::size_t offset = 0; offset < text.size();) {
    const std::size_t n = std::min(text.size() - offset, kGroupsPerChunk * 4);
    const int written = EVP_DecodeBlock(buffer.data(), reinterpret_cast<const unsigned char*>(text.data() + offset),
                                        static_cast<int>(n));
    if (written < 0) return std::nullopt;
    out.insert(out.end(), buffer.begin(), buffer.begin() + written);
    offset += n;
  }
  out.resize(out.size() - padding);
  return out;
}
