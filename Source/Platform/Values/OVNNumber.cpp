#include "Platform/Values/OVNNumber.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <limits>

std::int64_t OVNNumber::longLongValue() const {
  switch (kind_) {
    case OVNNumberKind::Floating: {
      if (std::isnan(double_)) return 0;
      if (double_ >= 9.2233720368547758e18) return std::numeric_limits<std::int64_t>::max();
      if (double_ <= -9.2233720368547758e18) return std::numeric_limits<std::int64_t>::min();
      return static_cast<std::int64_t>(double_);
    }
    default: return int_;
  }
}

std::uint64_t OVNNumber::unsignedLongLongValue() const {
  switch (kind_) {
    case OVNNumberKind::Floating:
      if (std::isnan(double_) || double_ <= 0) return static_cast<std::uint64_t>(longLongValue());
      if (double_ >= 1.8446744073709552e19) return std::numeric_limits<std::uint64_t>::max();
      return static_cast<std::uint64_t>(double_);
    default: return unsigned_;
  }
}

bool OVNNumber::boolValue() const {
  if (kind_ == OVNNumberKind::Floating) return double_ != 0;
  return int_ != 0;
}

const char* OVNNumber::objCType() const {
  switch (kind_) {
    case OVNNumberKind::Boolean: return "B";
    case OVNNumberKind::Integer: return "q";
    case OVNNumberKind::Unsigned: return "Q";
    case OVNNumberKind::Floating: return "d";
  }
  return "q";
}

std::string OVNNumber::description() const {
  char text[64];
  switch (kind_) {
    case OVNNumberKind::Boolean:
    case OVNNumberKind::Integer: {
      auto end = std::to_chars(text, text + sizeof text, int_).ptr;
      return std::string(text, end);
    }
    case OVNNumberKind::Unsigned: {
      auto end = std::to_chars(text, text + sizeof text, unsigned_).ptr;
      return std::string(text, end);
    }
    case OVNNumberKind::Floating: {
      if (std::isnan(double_)) return "nan";
      if (std::isinf(double_)) return double_ > 0 ? "inf" : "-inf";
      // Shortest text that reads back as the same double: 2.5, 0.1, 1e+100.
      auto end = std::to_chars(text, text + sizeof text, double_).ptr;
      return std::string(text, end);
    }
  }
  return {};
}

int OVNNumber::compare(const OVNNumber& other) const {
  const bool exact = kind_ != OVNNumberKind::Floating && other.kind_ != OVNNumberKind::Floating;
  if (exact) {
    // Compare integers exactly, minding the signed/unsigned boundary.
    const bool selfNegative = kind_ != OVNNumberKind::Unsigned && int_ < 0;
    const bool otherNegative = other.kind_ != OVNNumberKind::Unsigned && other.int_ < 0;
    if (selfNegative != otherNegative) return selfNegative ? -1 : 1;
    if (selfNegative) return int_ < other.int_ ? -1 : (int_ > other.int_ ? 1 : 0);
    return unsigned_ < other.unsigned_ ? -1 : (unsigned_ > other.unsigned_ ? 1 : 0);
  }
  const double a = double_, b = other.double_;
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) == std::isnan(b) ? 0 : (std::isnan(a) ? -1 : 1);
  return a < b ? -1 : (a > b ? 1 : 0);
}

std::size_t OVNNumber::hash() const {
  // Equal numbers must hash alike whatever their kind: integral values hash as integers.
  if (kind_ == OVNNumberKind::Floating) {
    double whole;
    if (std::modf(double_, &whole) == 0.0 && std::fabs(double_) < 9.2e18) {
      return std::hash<std::int64_t>()(static_cast<std::int64_t>(double_));
    }
    return std::hash<double>()(double_);
  }
  if (kind_ == OVNNumberKind::Unsigned &&
      unsigned_ > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    return std::hash<std::uint64_t>()(unsigned_);
  }
  return std::hash<std::int64_t>()(int_);
}
