#include "Networking/OVNResponse.h"

#include "Networking/OVNRequestMetrics.h"
#include "Networking/OVNResponseResult.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNResponse, (request, setRequest), (response, setResponse), (data, setData), (result, setResult),
               (error, setError), (metrics, setMetrics))

std::shared_ptr<OVNResponse> OVNResponse::initWithRequest(std::shared_ptr<OVNURLRequest> request,
                                                          std::shared_ptr<OVNHTTPURLResponse> response, OVNDataRef data,
                                                          std::shared_ptr<OVNResponseResult> result,
                                                          std::shared_ptr<OVNError> error,
                                                          std::shared_ptr<OVNRequestMetrics> metrics) {
  auto made = OVNMake<OVNResponse>();
  made->request_ = std::move(request);
  made->response_ = std::move(response);
  made->data_ = std::move(data);
  made->result_ = std::move(result);
  made->error_ = std::move(error);
  made->metrics_ = std::move(metrics);
  return made;
}
