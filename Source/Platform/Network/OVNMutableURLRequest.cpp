#include "Platform/Network/OVNMutableURLRequest.h"

#include <algorithm>

#include "Platform/Network/OVNURL.h"
#include "Platform/Network/detail/OVNHTTPHeaderName.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNDictionary.h"

OVN_PROPERTIES(OVNMutableURLRequest, (URL, setURL), (HTTPMethod, setHTTPMethod))

std::shared_ptr<OVNMutableURLRequest> OVNMutableURLRequest::requestWithURL(std::shared_ptr<OVNURL> url) {
  auto request = OVNMake<OVNMutableURLRequest>();
  request->url_ = std::move(url);
  return request;
}

void OVNMutableURLRequest::setValue(const std::optional<std::string>& value, std::string_view field) {
  auto existing = std::find_if(headers_.begin(), headers_.end(),
                               [&](const auto& entry) { return ovn::detail::headerNamesEqual(entry.first, field); });
  if (!value) {
    if (existing != headers_.end()) headers_.erase(existing);
  } else if (existing != headers_.end()) {
    existing->second = *value;
  } else {
    headers_.emplace_back(std::string(field), *value);
  }
}

void OVNMutableURLRequest::addValue(const std::string& value, std::string_view field) {
  auto current = valueForHTTPHeaderField(field);
  setValue(current ? *current + "," + value : value, field);
}

void OVNMutableURLRequest::setAllHTTPHeaderFields(const OVNDictionaryRef& fields) {
  headers_.clear();
  if (!fields) return;
  for (const auto& [name, value] : *fields) {
    if (const std::string* text = value.string()) setValue(*text, name);
  }
}

void OVNMutableURLRequest::setTimeoutInterval(double seconds) {
  timeout_ = seconds;
  timeoutSet_ = true;
}
