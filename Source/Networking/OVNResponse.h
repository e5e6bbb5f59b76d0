#pragma once
// OVNResponse: one serialized completion of an OVNRequest: the request sent, the HTTP reply,
// the body, the serializer's result (with its error repeated in `error`) and the timings.
// Made on the serializing queue and handed to the caller's closure on the main queue;
// not changed afterwards, so any thread may read it. Every field may be null.

#include <memory>
#include <utility>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNData.h"

class OVNURLRequest;
class OVNHTTPURLResponse;
class OVNError;
class OVNResponseResult;
class OVNRequestMetrics;

class OVN_EXPORT OVNResponse : public OVNObject {
  OVN_CLASS(OVNResponse, OVNObject)

 public:
  OVNResponse() = default;
  static std::shared_ptr<OVNResponse> initWithRequest(std::shared_ptr<OVNURLRequest> request,
                                                      std::shared_ptr<OVNHTTPURLResponse> response, OVNDataRef data,
                                                      std::shared_ptr<OVNResponseResult> result,
                                                      std::shared_ptr<OVNError> error,
                                                      std::shared_ptr<OVNRequestMetrics> metrics);

  const std::shared_ptr<OVNURLRequest>& request() const { return request_; }
  void setRequest(std::shared_ptr<OVNURLRequest> request) { request_ = std::move(request); }
  const std::shared_ptr<OVNHTTPURLResponse>& response() const { return response_; }
  void setResponse(std::shared_ptr<OVNHTTPURLResponse> response) { response_ = std::move(response); }
  const OVNDataRef& data() const { return data_; }
  void setData(OVNDataRef data) { data_ = std::move(data); }
  const std::shared_ptr<OVNResponseResult>& result() const { return result_; }
  void setResult(std::shared_ptr<OVNResponseResult> result) { result_ = std::move(result); }
  const std::shared_ptr<OVNError>& error() const { return error_; }
  void setError(std::shared_ptr<OVNError> error) { error_ = std::move(error); }
  const std::shared_ptr<OVNRequestMetrics>& metrics() const { return metrics_; }
  void setMetrics(std::shared_ptr<OVNRequestMetrics> metrics) { metrics_ = std::move(metrics); }

 private:
  std::shared_ptr<OVNURLRequest> request_;
  std::shared_ptr<OVNHTTPURLResponse> response_;
  OVNDataRef data_;
  std::shared_ptr<OVNResponseResult> result_;
  std::shared_ptr<OVNError> error_;
  std::shared_ptr<OVNRequestMetrics> metrics_;
};
