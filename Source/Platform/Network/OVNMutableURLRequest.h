#pragma once
// OVNMutableURLRequest: a URL request that can be changed (NSMutableURLRequest).
// Not thread-safe: one thread changes it, then hands it on (tasks take a copy).

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLRequest.h"

class OVN_EXPORT OVNMutableURLRequest : public OVNURLRequest {
  OVN_CLASS_NAMED(OVNMutableURLRequest, OVNURLRequest, "NSMutableURLRequest")

 public:
  OVNMutableURLRequest() = default;
  static std::shared_ptr<OVNMutableURLRequest> requestWithURL(std::shared_ptr<OVNURL> url);

  void setURL(std::shared_ptr<OVNURL> url) { url_ = std::move(url); }
  void setHTTPMethod(std::string method) { method_ = std::move(method); }
  //! Replaces the field of that name (in any case); std::nullopt removes it.
  void setValue(const std::optional<std::string>& value, std::string_view field);
  //! Appends to the field of that name, separated by ",", or sets it.
  void addValue(const std::string& value, std::string_view field);
  //! Replaces every field with the text entries of `fields` (null: none).
  void setAllHTTPHeaderFields(const OVNDictionaryRef& fields);
  void setHTTPBody(std::shared_ptr<const OVNData> body) { body_ = std::move(body); }
  void setTimeoutInterval(double seconds);
  void setCachePolicy(OVNURLRequestCachePolicy policy) { cachePolicy_ = policy; }
};

using OVNMutableURLRequestRef = std::shared_ptr<OVNMutableURLRequest>;
