#pragma once
// The service's only source of variety: FNV-1a over a key such as "KAUS|493055|temp", so
// that the same station and hour give the same values in every run and on every machine.

#include <cstdint>
#include <string_view>

inline std::uint64_t stableHash(std::string_view key) {
  constexpr std::uint64_t kOffsetBasis = 14695981039346656037ull;
  constexpr std::uint64_t kPrime = 1099511628211ull;
  std::uint64_t hash = kOffsetBasis;
  for (const char c : key) {
    hash ^= static_cast<unsigned char>(c);
    hash *= kPrime;
  }
  return hash;
}

//! A value in [0, 1) taken from the key's hash.
inline double stableUnit(std::string_view key) {
  constexpr int kMantissaBits = 53;
  constexpr double kScale = 1.0 / static_cast<double>(std::uint64_t{1} << kMantissaBits);
  return static_cast<double>(stableHash(key) >> (64 - kMantissaBits)) * kScale;
}
