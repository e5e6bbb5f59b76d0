#pragma once
// The binary property-list form ("bplist00"), read and written by our own code: the
// reader checks every offset, length and reference against the buffer before it reads,
// so hostile bytes never reach anything that trusts them. Used by
// OVNPropertyListSerialization; pure functions, safe on any thread.
//
// Keyed-archive references (UIDs) have no value kind of their own: they read as a
// dictionary whose only entry is "CF$UID" -> the number, which is how the XML form
// spells them, and such a dictionary is written back as a UID.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Values/OVNValue.h"

namespace ovn::detail {

//! More levels of nested containers than this are refused, when reading and when writing
//! (the outermost container is the first level).
inline constexpr int kPropertyListMaxDepth = 512;
//! Inputs larger than this are refused before any parsing.
inline constexpr std::size_t kPropertyListMaxBytes = std::size_t{1} << 28;
//! A binary property list whose shared references would expand to more values than this
//! (counting a shared container at each place it appears) is refused: everything that
//! walks a value (equality, descriptions, XML) pays the expanded size.
inline constexpr std::uint64_t kPropertyListMaxExpandedValues = std::uint64_t{1} << 24;
//! XML writes shared containers out in full; a value expanding beyond this is refused.
inline constexpr std::uint64_t kPropertyListMaxXMLValues = std::uint64_t{1} << 20;

inline constexpr std::string_view kArchiveUIDKey = "CF$UID";
//! {"CF$UID": uid}.
OVNValue archiveUID(std::uint64_t uid);
//! The reference a value stands for, when it is a {"CF$UID": n} dictionary.
std::optional<std::uint64_t> archiveUIDValue(const OVNValue& value);

//! Whether the bytes begin like a binary property list.
bool looksLikeBinaryPropertyList(std::string_view bytes);

//! The value, or missing with the reason in `failure`. Shared references in the file stay
//! shared in the result (containers too, mutable or not), so the work is bounded by the
//! file's size; a reference cycle, and sharing that expands beyond
//! kPropertyListMaxExpandedValues, are refused.
OVNValue readBinaryPropertyList(std::string_view bytes, bool mutableContainers, std::string* failure);

//! The bytes of a value that OVNPropertyListSerialization has already found valid: strings
//! well-formed UTF-8, no cycles, no deeper than kPropertyListMaxDepth (a kind a property
//! list cannot hold still gives nullopt). Equal strings, numbers, dates and references,
//! and the same container or data, are written once.
std::optional<std::vector<std::uint8_t>> writeBinaryPropertyList(const OVNValue& value);

}  // namespace ovn::detail
