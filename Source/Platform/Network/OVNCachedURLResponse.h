#pragma once
// OVNCachedURLResponse: a response with its body as a cache keeps it (NSCachedURLResponse).
// Immutable; any thread may share it.

#include <cstdint>
#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVNURLResponse;
class OVNData;

using OVNURLCacheStoragePolicy = std::uint64_t;
inline constexpr OVNURLCacheStoragePolicy OVNURLCacheStorageAllowed = 0;
inline constexpr OVNURLCacheStoragePolicy OVNURLCacheStorageAllowedInMemoryOnly = 1;
inline constexpr OVNURLCacheStoragePolicy OVNURLCacheStorageNotAllowed = 2;

class OVN_EXPORT OVNCachedURLResponse : public OVNObject {
  OVN_CLASS_NAMED(OVNCachedURLResponse, OVNObject, "NSCachedURLResponse")

 public:
  OVNCachedURLResponse() = default;
  static std::shared_ptr<OVNCachedURLResponse> cachedResponseWithResponse(
      std::shared_ptr<OVNURLResponse> response, std::shared_ptr<const OVNData> data,
      OVNDictionaryRef userInfo = nullptr, OVNURLCacheStoragePolicy storagePolicy = OVNURLCacheStorageAllowed);

  const std::shared_ptr<OVNURLResponse>& response() const { return response_; }
  //! Never null: empty data when made without.
  const std::shared_ptr<const OVNData>& data() const { return data_; }
  const OVNDictionaryRef& userInfo() const { return userInfo_; }
  OVNURLCacheStoragePolicy storagePolicy() const { return storagePolicy_; }

 private:
  std::shared_ptr<OVNURLResponse> response_;
  std::shared_ptr<const OVNData> data_;
  OVNDictionaryRef userInfo_;
  OVNURLCacheStoragePolicy storagePolicy_ = OVNURLCacheStorageAllowed;
};
