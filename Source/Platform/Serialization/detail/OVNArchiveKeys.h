#pragma once
// The names of the keyed-archive layout (docs/ARCHIVES.md), shared by the archiver and the
// unarchiver.

#include <cstdint>
#include <string>
#include <string_view>

namespace ovn::detail {

inline constexpr std::string_view kArchiverKey = "$archiver";
inline constexpr std::string_view kArchiverName = "NSKeyedArchiver";
inline constexpr std::string_view kVersionKey = "$version";
inline constexpr std::int64_t kArchiveVersion = 100000;
inline constexpr std::string_view kTopKey = "$top";
inline constexpr std::string_view kObjectsKey = "$objects";
inline constexpr std::string_view kNullObject = "$null";
inline constexpr std::string_view kClassKey = "$class";
inline constexpr std::string_view kClassNameKey = "$classname";
inline constexpr std::string_view kClassesKey = "$classes";

inline constexpr std::string_view kMembersKey = "NS.objects";
inline constexpr std::string_view kKeysKey = "NS.keys";
inline constexpr std::string_view kTimeKey = "NS.time";
inline constexpr std::string_view kUnsignedKey = "NS.uintval";
inline constexpr std::string_view kTypeEncodingKey = "NS.objctype";
inline constexpr std::string_view kBytesKey = "NS.bytes";

//! Objects nested deeper than this (through references) are refused when unarchiving.
inline constexpr int kArchiveMaxDepth = 256;
//! A decoded value whose shared references would expand to more values than this
//! (counting a shared container at each place it appears) is refused: equality, hashing
//! into sets and descriptions all walk the expanded value.
inline constexpr std::uint64_t kArchiveMaxExpandedValues = std::uint64_t{1} << 20;

//! A caller's key as stored: keys beginning with "$" get one more "$", so that they never
//! collide with the archive's own entries such as "$class".
inline std::string archiveKey(std::string_view key) {
  return key.starts_with('$') ? "$" + std::string(key) : std::string(key);
}

}  // namespace ovn::detail
