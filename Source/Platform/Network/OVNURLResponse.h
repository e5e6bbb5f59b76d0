#pragma once
// OVNURLResponse: what a server answered, before the body (NSURLResponse): the URL, the
// MIME type and text encoding named by "Content-Type", and the expected length.
// Immutable; any thread may share it.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVNURL;

//! The expected length when the reply does not say it.
inline constexpr std::int64_t OVNURLResponseUnknownLength = -1;

class OVN_EXPORT OVNURLResponse : public OVNObject {
  OVN_CLASS_NAMED(OVNURLResponse, OVNObject, "NSURLResponse")

 public:
  OVNURLResponse() = default;
  static std::shared_ptr<OVNURLResponse> responseWithURL(std::shared_ptr<OVNURL> url,
                                                         std::optional<std::string> MIMEType,
                                                         std::int64_t expectedContentLength,
                                                         std::optional<std::string> textEncodingName);

  const std::shared_ptr<OVNURL>& URL() const { return url_; }
  //! Lower case, without parameters: "application/json".
  const std::optional<std::string>& MIMEType() const { return mimeType_; }
  //! OVNURLResponseUnknownLength when unknown.
  std::int64_t expectedContentLength() const { return expectedLength_; }
  //! The "charset" parameter, lower case, without quotes: "utf-8".
  const std::optional<std::string>& textEncodingName() const { return encodingName_; }

  std::string description() const override;

 protected:
  std::shared_ptr<OVNURL> url_;
  std::optional<std::string> mimeType_;
  std::int64_t expectedLength_ = OVNURLResponseUnknownLength;
  std::optional<std::string> encodingName_;
};

using OVNURLResponseRef = std::shared_ptr<OVNURLResponse>;
