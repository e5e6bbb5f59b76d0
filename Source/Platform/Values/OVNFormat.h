#pragma once
// One format function for every formatted text of the library: `%@` prints a value's
// description (an object's, a string as it is, "(null)" for missing); the printf
// conversions (%d %i %u %ld %li %lld %lu %llu %x %X %o %f %e %g %c %s %p %%, with flags,
// width and precision such as %02x, %0.2f, %0.1g) behave as in C. An argument of another
// kind than its conversion asks is converted (a number for %@ prints its description; a
// numeric OVNValue for %d prints its integer); arguments beyond the format are ignored,
// missing ones print as nothing. A conversion the function does not know ("%k", "%lk") is
// kept as it stands in the format, flags and length modifiers included.
// Thread-safe.

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNFormatArgument {
 public:
  OVNFormatArgument(const OVNValue& v) : value_(v) {}
  OVNFormatArgument(const char* v) : value_(v ? OVNValue(v) : OVNValue()) {}
  OVNFormatArgument(const std::string& v) : value_(OVNValue(v)) {}
  OVNFormatArgument(std::string_view v) : value_(OVNValue(v)) {}
  OVNFormatArgument(const void* v) : value_(v) {}
  template <class T,
            std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T> && !std::is_same_v<T, bool>, int> = 0>
  OVNFormatArgument(T v) : value_(static_cast<std::int64_t>(v)) {}
  template <class T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T>, int> = 0>
  OVNFormatArgument(T v) : value_(static_cast<std::uint64_t>(v)) {}
  OVNFormatArgument(bool v) : value_(static_cast<std::int64_t>(v)) {}
  OVNFormatArgument(double v) : value_(v) {}
  template <class T, std::enable_if_t<std::is_convertible_v<T, OVNValue> && std::is_class_v<T>, int> = 0>
  OVNFormatArgument(const T& v) : value_(OVNValue(v)) {}

  using Storage = std::variant<OVNValue, std::int64_t, std::uint64_t, double, const void*>;
  const Storage& storage() const { return value_; }

 private:
  Storage value_;
};

//! Formats `format` with the arguments; see the header comment for the conversions.
OVN_EXPORT std::string OVNFormatList(std::string_view format, const OVNFormatArgument* arguments, std::size_t count);

template <class... Args>
std::string OVNFormat(std::string_view format, const Args&... args) {
  if constexpr (sizeof...(Args) == 0) {
    return OVNFormatList(format, nullptr, 0);
  } else {
    const OVNFormatArgument list[] = {OVNFormatArgument(args)...};
    return OVNFormatList(format, list, sizeof...(Args));
  }
}
