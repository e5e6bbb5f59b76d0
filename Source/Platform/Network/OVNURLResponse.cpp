#include "Platform/Network/OVNURLResponse.h"

#include "Platform/Network/OVNURL.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNURLResponse, URL, MIMEType, expectedContentLength, textEncodingName)

std::shared_ptr<OVNURLResponse> OVNURLResponse::responseWithURL(std::shared_ptr<OVNURL> url,
                                                                std::optional<std::string> MIMEType,
                                                                std::int64_t expectedContentLength,
                                                                std::optional<std::string> textEncodingName) {
  auto response = OVNMake<OVNURLResponse>();
  response->url_ = std::move(url);
  response->mimeType_ = std::move(MIMEType);
  response->expectedLength_ = expectedContentLength;
  response->encodingName_ = std::move(textEncodingName);
  return response;
}

std::string OVNURLResponse::description() const {
  return OVNFormat("<%@: %p> { URL: %@ }", className(), static_cast<const void*>(this),
                   url_ ? OVNValue(url_->absoluteString()) : OVNValue());
}
