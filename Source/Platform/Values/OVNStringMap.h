#pragma once
// A hash map keyed by std::string that is looked up with a std::string_view, without
// making a string for each lookup.

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "OvrinCoreExport.h"

struct OVN_EXPORT OVNTransparentStringHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

template <class Value>
using OVNStringMap = std::unordered_map<std::string, Value, OVNTransparentStringHash, std::equal_to<>>;
