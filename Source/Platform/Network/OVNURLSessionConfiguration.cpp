#include "Platform/Network/OVNURLSessionConfiguration.h"

#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNDictionary.h"

OVN_PROPERTIES(OVNURLSessionConfiguration, (HTTPAdditionalHeaders, setHTTPAdditionalHeaders),
               (timeoutIntervalForRequest, setTimeoutIntervalForRequest),
               (timeoutIntervalForResource, setTimeoutIntervalForResource),
               (HTTPMaximumConnectionsPerHost, setHTTPMaximumConnectionsPerHost))

std::shared_ptr<OVNURLSessionConfiguration> OVNURLSessionConfiguration::defaultSessionConfiguration() {
  return OVNMake<OVNURLSessionConfiguration>();
}

void OVNURLSessionConfiguration::setHTTPAdditionalHeaders(OVNDictionaryRef headers) {
  additionalHeaders_ = headers ? headers->copy() : nullptr;
}

OVNObjectRef OVNURLSessionConfiguration::copy() const { return configurationCopy(); }

std::shared_ptr<OVNURLSessionConfiguration> OVNURLSessionConfiguration::configurationCopy() const {
  auto configuration = OVNMake<OVNURLSessionConfiguration>();
  static_cast<OVNURLSessionConfiguration&>(*configuration) = *this;
  return configuration;
}

std::shared_ptr<OVNHTTPCache> OVNURLSessionConfiguration::URLCache() const {
  return cacheSet_ ? cache_ : OVNHTTPCache::sharedURLCache();
}

void OVNURLSessionConfiguration::setURLCache(std::shared_ptr<OVNHTTPCache> cache) {
  cache_ = std::move(cache);
  cacheSet_ = true;
}
