#pragma once
// OVNHTTPURLResponse: an HTTP reply's status line and header fields (NSHTTPURLResponse).
//
// Header names reach the application in canonical capitalisation ("Content-Type", "Date",
// "ETag") whatever the protocol sent, so a lookup in allHeaderFields() by exactly that
// name works for HTTP/1.1 and HTTP/2 alike; fields repeated in the reply are joined with
// ", ". valueForHTTPHeaderField() ignores case. Immutable; any thread may share it.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLResponse.h"

class OVN_EXPORT OVNHTTPURLResponse : public OVNURLResponse {
  OVN_CLASS_NAMED(OVNHTTPURLResponse, OVNURLResponse, "NSHTTPURLResponse")

 public:
  OVNHTTPURLResponse() = default;
  //! MIME type, text encoding and expected length are read from the fields. Field names
  //! are canonicalised; null fields mean none.
  static std::shared_ptr<OVNHTTPURLResponse> responseWithURL(std::shared_ptr<OVNURL> url, std::int64_t statusCode,
                                                             std::optional<std::string> HTTPVersion,
                                                             const OVNDictionaryRef& headerFields);

  std::int64_t statusCode() const { return statusCode_; }
  //! "HTTP/1.1", "HTTP/2", or none when not known.
  const std::optional<std::string>& HTTPVersion() const { return version_; }
  //! Never null.
  const OVNDictionaryRef& allHeaderFields() const { return headers_; }
  std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;

  //! A short English phrase for a status code ("not found"), "server error" style for
  //! codes without one of their own.
  static std::string localizedStringForStatusCode(std::int64_t statusCode);

  //! "<NSHTTPURLResponse: 0x...> { URL: ... } { Status Code: 200, Headers {...} }".
  std::string description() const override;

 private:
  std::int64_t statusCode_ = 0;
  std::optional<std::string> version_;
  OVNDictionaryRef headers_;
};

using OVNHTTPURLResponseRef = std::shared_ptr<OVNHTTPURLResponse>;
