#include "Platform/Network/OVNCachedURLResponse.h"

#include "Platform/Network/OVNURLResponse.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNData.h"

OVN_PROPERTIES(OVNCachedURLResponse, response, userInfo, storagePolicy)

std::shared_ptr<OVNCachedURLResponse> OVNCachedURLResponse::cachedResponseWithResponse(
    std::shared_ptr<OVNURLResponse> response, std::shared_ptr<const OVNData> data, OVNDictionaryRef userInfo,
    OVNURLCacheStoragePolicy storagePolicy) {
  auto cached = OVNMake<OVNCachedURLResponse>();
  cached->response_ = std::move(response);
  cached->data_ = data ? std::move(data) : OVNData::make({});
  cached->userInfo_ = std::move(userInfo);
  cached->storagePolicy_ = storagePolicy;
  return cached;
}
