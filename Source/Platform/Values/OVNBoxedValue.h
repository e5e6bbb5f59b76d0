#pragma once
// Raw bytes with their type encoding (NSValue): how structures travel through key-value
// coding. Only a round trip back into a property of the same encoding is promised.
// Immutable; safe to share between threads.

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNBoxedValue {
 public:
  OVNBoxedValue(std::string encoding, std::vector<std::uint8_t> bytes)
      : encoding_(std::move(encoding)), bytes_(std::move(bytes)) {}

  template <class T>
  static std::shared_ptr<const OVNBoxedValue> make(const T& value, std::string encoding) {
    static_assert(std::is_trivially_copyable_v<T>, "only trivially copyable values can be boxed");
    std::vector<std::uint8_t> bytes(sizeof(T));
    std::memcpy(bytes.data(), &value, sizeof(T));
    return std::make_shared<const OVNBoxedValue>(std::move(encoding), std::move(bytes));
  }

  //! Copies the bytes into `out` when size and encoding match.
  template <class T>
  bool get(T& out, const std::string& encoding) const {
    if (encoding != encoding_ || bytes_.size() != sizeof(T)) return false;
    std::memcpy(&out, bytes_.data(), sizeof(T));
    return true;
  }

  const std::string& encoding() const { return encoding_; }
  const std::vector<std::uint8_t>& bytes() const { return bytes_; }
  bool operator==(const OVNBoxedValue& other) const { return encoding_ == other.encoding_ && bytes_ == other.bytes_; }

 private:
  std::string encoding_;
  std::vector<std::uint8_t> bytes_;
};
