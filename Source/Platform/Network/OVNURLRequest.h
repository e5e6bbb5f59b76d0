#pragma once
// OVNURLRequest: what an HTTP task sends (NSURLRequest): URL, method, header fields, body,
// timeout and cache policy. OVNMutableURLRequest adds the setters.
//
// An OVNURLRequest made by the factories here is never changed afterwards, so any thread
// may share it; a mutable request belongs to one thread at a time. Header names are
// matched without regard to case; the first spelling given is kept. A request without a
// URL is allowed (a URL text that did not parse): a task made from it fails with
// OVNURLErrorBadURL.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVNURL;
class OVNData;
class OVNMutableURLRequest;

using OVNURLRequestCachePolicy = std::uint64_t;
inline constexpr OVNURLRequestCachePolicy OVNURLRequestUseProtocolCachePolicy = 0;
inline constexpr OVNURLRequestCachePolicy OVNURLRequestReloadIgnoringLocalCacheData = 1;
inline constexpr OVNURLRequestCachePolicy OVNURLRequestReturnCacheDataElseLoad = 2;
inline constexpr OVNURLRequestCachePolicy OVNURLRequestReturnCacheDataDontLoad = 3;

class OVN_EXPORT OVNURLRequest : public OVNObject {
  OVN_CLASS_NAMED(OVNURLRequest, OVNObject, "NSURLRequest")

 public:
  using HeaderFields = std::vector<std::pair<std::string, std::string>>;
  //! The timeout of a request made without one: idle seconds without data.
  static constexpr double defaultTimeoutInterval = 60.0;

  OVNURLRequest() = default;
  static std::shared_ptr<OVNURLRequest> requestWithURL(std::shared_ptr<OVNURL> url);
  static std::shared_ptr<OVNURLRequest> requestWithURL(std::shared_ptr<OVNURL> url,
                                                       OVNURLRequestCachePolicy cachePolicy, double timeoutInterval);

  const std::shared_ptr<OVNURL>& URL() const { return url_; }
  //! "GET" unless set.
  const std::string& HTTPMethod() const { return method_; }
  //! Every field as a dictionary of texts (empty when there is none).
  OVNDictionaryRef allHTTPHeaderFields() const;
  //! The fields in the order they were first set.
  const HeaderFields& headerFields() const { return headers_; }
  std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;
  //! Null when there is no body.
  const std::shared_ptr<const OVNData>& HTTPBody() const { return body_; }
  double timeoutInterval() const { return timeout_; }
  //! Whether the timeout was set rather than left at the default.
  bool hasExplicitTimeoutInterval() const { return timeoutSet_; }
  OVNURLRequestCachePolicy cachePolicy() const { return cachePolicy_; }

  //! "<NSURLRequest: 0x...> { URL: <absolute string> }".
  std::string description() const override;
  bool isEqual(const OVNObject& other) const override;
  std::size_t hash() const override;
  bool supportsCopying() const override { return true; }
  //! An immutable request with the same contents.
  OVNObjectRef copy() const override;
  bool supportsMutableCopying() const override { return true; }
  OVNObjectRef mutableCopy() const override;
  std::shared_ptr<OVNURLRequest> immutableCopy() const;
  std::shared_ptr<OVNMutableURLRequest> mutableRequestCopy() const;

 protected:
  std::shared_ptr<OVNURL> url_;
  std::string method_ = "GET";
  HeaderFields headers_;
  std::shared_ptr<const OVNData> body_;
  double timeout_ = defaultTimeoutInterval;
  bool timeoutSet_ = false;
  OVNURLRequestCachePolicy cachePolicy_ = OVNURLRequestUseProtocolCachePolicy;
};

using OVNURLRequestRef = std::shared_ptr<OVNURLRequest>;
