#pragma once
// A number that remembers whether it was made from an integer, an unsigned integer, a
// floating value or a boolean, as the platform's numbers do. Equality and ordering compare
// numeric values (1, 1.0 and true are equal); the description prints the platform's text
// ("1", "2.5", booleans as "1" and "0"). A plain value type: safe to copy between threads.

#include <cstdint>
#include <string>

#include "OvrinCoreExport.h"

enum class OVNNumberKind : std::uint8_t { Boolean, Integer, Unsigned, Floating };

class OVN_EXPORT OVNNumber {
 public:
  constexpr OVNNumber() = default;
  static constexpr OVNNumber boolean(bool v) {
    return OVNNumber(OVNNumberKind::Boolean, v ? 1 : 0, v ? 1u : 0u, v ? 1.0 : 0.0);
  }
  static constexpr OVNNumber integer(std::int64_t v) {
    return OVNNumber(OVNNumberKind::Integer, v, static_cast<std::uint64_t>(v), static_cast<double>(v));
  }
  static constexpr OVNNumber unsignedInteger(std::uint64_t v) {
    return OVNNumber(OVNNumberKind::Unsigned, static_cast<std::int64_t>(v), v, static_cast<double>(v));
  }
  static constexpr OVNNumber floating(double v) { return OVNNumber(OVNNumberKind::Floating, 0, 0, v); }

  constexpr OVNNumberKind kind() const { return kind_; }
  constexpr bool isBoolean() const { return kind_ == OVNNumberKind::Boolean; }
  constexpr bool isFloating() const { return kind_ == OVNNumberKind::Floating; }

  //! Conversions as the platform's numbers make them (floating values truncate).
  std::int64_t longLongValue() const;
  std::uint64_t unsignedLongLongValue() const;
  std::int32_t intValue() const { return static_cast<std::int32_t>(longLongValue()); }
  double doubleValue() const { return double_; }
  bool boolValue() const;

  //! The platform's objective type encoding of the stored value: "B", "q", "Q" or "d".
  const char* objCType() const;
  std::string description() const;

  //! Numeric comparison: -1, 0 or 1 (NaN compares equal only to NaN).
  int compare(const OVNNumber& other) const;
  bool operator==(const OVNNumber& other) const { return compare(other) == 0; }
  std::size_t hash() const;

 private:
  constexpr OVNNumber(OVNNumberKind kind, std::int64_t i, std::uint64_t u, double d)
      : int_(i), unsigned_(u), double_(d), kind_(kind) {}

  std::int64_t int_ = 0;
  std::uint64_t unsigned_ = 0;
  double double_ = 0;
  OVNNumberKind kind_ = OVNNumberKind::Integer;
};
