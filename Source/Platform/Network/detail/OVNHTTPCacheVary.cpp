#include "Platform/Network/detail/OVNHTTPCacheVary.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {

namespace {

constexpr std::string_view kWildcard = "*";
constexpr const char* kNameKey = "name";
constexpr const char* kValueKey = "value";

std::string_view trimmed(std::string_view text) {
  auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::string lowercased(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

std::optional<std::string> trimmedValue(const std::optional<std::string>& value) {
  if (!value) return std::nullopt;
  return std::string(trimmed(*value));
}

}  // namespace

OVNHTTPCacheVary OVNHTTPCacheVary::fromExchange(const OVNURLResponse* response, const OVNURLRequest& request) {
  OVNHTTPCacheVary vary;
  auto* http = dynamic_cast<const OVNHTTPURLResponse*>(response);
  std::optional<std::string> names = http ? http->valueForHTTPHeaderField("Vary") : std::nullopt;
  if (!names) return vary;
  std::string_view rest = *names;
  while (!rest.empty()) {
    std::size_t comma = rest.find(',');
    std::string_view name = trimmed(rest.substr(0, comma));
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    if (name.empty()) continue;
    if (name == kWildcard) vary.matchesNothing_ = true;
    vary.fields_.push_back({lowercased(name), trimmedValue(request.valueForHTTPHeaderField(name))});
  }
  return vary;
}

bool OVNHTTPCacheVary::matches(const OVNURLRequest& request) const {
  if (matchesNothing_) return false;
  return std::all_of(fields_.begin(), fields_.end(), [&](const Field& field) {
    return trimmedValue(request.valueForHTTPHeaderField(field.name)) == field.value;
  });
}

std::size_t OVNHTTPCacheVary::estimatedSize() const {
  std::size_t size = 0;
  for (const Field& field : fields_) size += field.name.size() + (field.value ? field.value->size() : 0);
  return size;
}

OVNValue OVNHTTPCacheVary::propertyList() const {
  auto list = OVNArray::make();
  for (const Field& field : fields_) {
    auto entry = OVNDictionary::make({{kNameKey, field.name}});
    if (field.value) entry->set(kValueKey, *field.value);
    list->add(entry);
  }
  return list;
}

std::optional<OVNHTTPCacheVary> OVNHTTPCacheVary::fromPropertyList(const OVNValue& list) {
  OVNArrayRef entries = list.array();
  if (!entries) return std::nullopt;
  OVNHTTPCacheVary vary;
  for (const OVNValue& member : *entries) {
    OVNDictionaryRef entry = member.dictionary();
    if (!entry) return std::nullopt;
    const OVNValue nameValue = entry->objectForKey(kNameKey);  // kept: the text lives inside it
    const std::string* name = nameValue.string();
    if (!name) return std::nullopt;
    OVNValue value = entry->objectForKey(kValueKey);
    if (value.isPresent() && !value.string()) return std::nullopt;
    if (*name == kWildcard) vary.matchesNothing_ = true;
    vary.fields_.push_back({*name, value.string() ? std::optional(*value.string()) : std::nullopt});
  }
  return vary;
}

}  // namespace ovn::detail
