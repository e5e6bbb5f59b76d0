#pragma once
// A range of text or of a collection in the platform's sense: for text, locations and
// lengths count UTF-16 code units (see `OVNString::length`). A location of `OVNNotFound`
// means "no such range".

#include <cstddef>
#include <cstdint>

#include "OvrinCoreExport.h"

//! The platform's "not found" location (the largest signed 64-bit integer).
inline constexpr std::size_t OVNNotFound = static_cast<std::size_t>(INT64_MAX);

struct OVN_EXPORT OVNRange {
  std::size_t location = OVNNotFound;
  std::size_t length = 0;

  bool found() const { return location != OVNNotFound; }
  std::size_t end() const { return location + length; }
  friend bool operator==(const OVNRange&, const OVNRange&) = default;
};

inline constexpr OVNRange OVNMakeRange(std::size_t location, std::size_t length) { return OVNRange{location, length}; }
