#pragma once
// Shared pieces of the platform's property-list description forms.

#include <string>
#include <string_view>

class OVNValue;

namespace ovn::detail {
//! Four blanks per level.
std::string indentation(int level);
//! A string as containers print it: bare when it is a plain word, else quoted and escaped.
std::string quotedIfNeeded(std::string_view text);
//! A member's description inside a container at `level`.
std::string memberDescription(const OVNValue& value, int level);
}  // namespace ovn::detail
