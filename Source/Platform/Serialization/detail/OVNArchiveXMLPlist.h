#pragma once
// The XML property-list form, read and written through libplist (the only file that
// touches it). libplist's 32-bit date accessors and its hidden signed/unsigned flag are
// worked around by passing single dates and large unsigned integers through the binary
// form, whose reader and writer are ours. Pure functions, safe on any thread.
//
// Limits: inputs above kPropertyListMaxBytes and elements nested deeper than
// kPropertyListMaxDepth (checked by a scan before libplist sees the bytes, because freeing
// a very deep tree overflows its stack) are refused. libplist accepts malformed scalar text
// (an <integer> that is not a number reads as 0, a <date> it cannot parse as the reference
// date), and XML dates carry whole seconds, as the platform writes them.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Values/OVNValue.h"

namespace ovn::detail {

//! The value, or missing with the reason in `failure`.
OVNValue readXMLPropertyList(std::string_view bytes, bool mutableContainers, std::string* failure);

//! The XML text of a value that OVNPropertyListSerialization has already found valid (UTF-8
//! strings without NUL characters, no cycles, bounded depth); nullopt when libplist fails.
std::optional<std::vector<std::uint8_t>> writeXMLPropertyList(const OVNValue& value);

}  // namespace ovn::detail
