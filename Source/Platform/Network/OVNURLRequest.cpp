#include "Platform/Network/OVNURLRequest.h"

#include <algorithm>

#include "Platform/Network/OVNMutableURLRequest.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/detail/OVNHTTPHeaderName.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNURLRequest, URL, HTTPMethod, allHTTPHeaderFields, timeoutInterval, cachePolicy)

std::shared_ptr<OVNURLRequest> OVNURLRequest::requestWithURL(std::shared_ptr<OVNURL> url) {
  auto request = OVNMake<OVNURLRequest>();
  request->url_ = std::move(url);
  return request;
}

std::shared_ptr<OVNURLRequest> OVNURLRequest::requestWithURL(std::shared_ptr<OVNURL> url,
                                                             OVNURLRequestCachePolicy cachePolicy,
                                                             double timeoutInterval) {
  auto request = requestWithURL(std::move(url));
  request->cachePolicy_ = cachePolicy;
  request->timeout_ = timeoutInterval;
  request->timeoutSet_ = true;
  return request;
}

OVNDictionaryRef OVNURLRequest::allHTTPHeaderFields() const {
  auto fields = OVNDictionary::make();
  for (const auto& [name, value] : headers_) fields->set(name, OVNValue(value));
  return fields->copy();
}

std::optional<std::string> OVNURLRequest::valueForHTTPHeaderField(std::string_view field) const {
  for (const auto& [name, value] : headers_) {
    if (ovn::detail::headerNamesEqual(name, field)) return value;
  }
  return std::nullopt;
}

std::string OVNURLRequest::description() const {
  return OVNFormat("<%@: %p> { URL: %@ }", className(), static_cast<const void*>(this),
                   url_ ? OVNValue(url_->absoluteString()) : OVNValue());
}

bool OVNURLRequest::isEqual(const OVNObject& other) const {
  const auto* request = dynamic_cast<const OVNURLRequest*>(&other);
  if (!request) return false;
  const bool sameURL = (url_ && request->url_) ? url_->isEqual(*request->url_) : url_ == request->url_;
  const bool sameBody = (body_ && request->body_) ? *body_ == *request->body_ : body_ == request->body_;
  return sameURL && sameBody && method_ == request->method_ && headers_ == request->headers_ &&
         cachePolicy_ == request->cachePolicy_ && timeout_ == request->timeout_;
}

std::size_t OVNURLRequest::hash() const { return url_ ? url_->hash() : 0; }

OVNObjectRef OVNURLRequest::copy() const { return immutableCopy(); }

OVNObjectRef OVNURLRequest::mutableCopy() const { return mutableRequestCopy(); }

std::shared_ptr<OVNURLRequest> OVNURLRequest::immutableCopy() const {
  auto request = OVNMake<OVNURLRequest>();
  static_cast<OVNURLRequest&>(*request) = *this;
  return request;
}

std::shared_ptr<OVNMutableURLRequest> OVNURLRequest::mutableRequestCopy() const {
  auto request = OVNMake<OVNMutableURLRequest>();
  static_cast<OVNURLRequest&>(*request) = *this;
  return request;
}
