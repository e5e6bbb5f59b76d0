#pragma once
// OVNResponseSerializer: turns a finished reply (the request sent, the HTTP reply, the body
// and the transfer's error, each possibly null) into an OVNResponseResult. OVNRequest offers
// the built-in ones (data, text, JSON, image). A serializer runs on the queue its caller
// chose; its closure is stored by copy and never changed, so one serializer may serve any
// number of requests on any threads at once.

#include <functional>
#include <memory>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNData.h"

class OVNURLRequest;
class OVNHTTPURLResponse;
class OVNError;
class OVNResponseResult;

//! The domain of the errors the networking layer makes itself (network errors of the
//! transfer keep the URL error domain).
inline constexpr std::string_view OVNNetworkErrorDomain = "com.ovrinweather.network";

class OVN_EXPORT OVNResponseSerializer : public OVNObject {
  OVN_CLASS(OVNResponseSerializer, OVNObject)

 public:
  using SerializeResponseBlock = std::function<std::shared_ptr<OVNResponseResult>(
      std::shared_ptr<OVNURLRequest>, std::shared_ptr<OVNHTTPURLResponse>, OVNDataRef, std::shared_ptr<OVNError>)>;

  OVNResponseSerializer() = default;
  static std::shared_ptr<OVNResponseSerializer> initWithSerializeResponseBlock(SerializeResponseBlock block);

  const SerializeResponseBlock& serializeResponse() const { return serializeResponse_; }

 private:
  SerializeResponseBlock serializeResponse_;
};
