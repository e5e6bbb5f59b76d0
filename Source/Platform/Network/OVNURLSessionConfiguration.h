#pragma once
// OVNURLSessionConfiguration: how a session behaves (NSURLSessionConfiguration). A session
// copies its configuration when it is made, so changing one afterwards changes no session.
// Not thread-safe while being changed; set it up on one thread, then hand it to a session.
//
// Defaults: no additional headers; request timeout 60 s, meaning idle time without data
// (connecting included); resource timeout 7 days for the whole task; 6 connections per
// host; TLS certificates verified against the system's store; the protocol's cache policy;
// the process-wide response cache (OVNHTTPCache::sharedURLCache(), looked up at each
// request, so that replacing it reaches existing sessions).

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Objects/OVNObject.h"

class OVNHTTPCache;

class OVN_EXPORT OVNURLSessionConfiguration : public OVNObject {
  OVN_CLASS_NAMED(OVNURLSessionConfiguration, OVNObject, "NSURLSessionConfiguration")

 public:
  static constexpr double defaultTimeoutIntervalForRequest = 60.0;
  static constexpr double defaultTimeoutIntervalForResource = 7 * 24 * 3600.0;
  static constexpr std::int64_t defaultHTTPMaximumConnectionsPerHost = 6;

  OVNURLSessionConfiguration() = default;
  //! A new configuration with the defaults, each call.
  static std::shared_ptr<OVNURLSessionConfiguration> defaultSessionConfiguration();

  //! Header fields sent with every request that does not set them itself (null: none).
  const OVNDictionaryRef& HTTPAdditionalHeaders() const { return additionalHeaders_; }
  void setHTTPAdditionalHeaders(OVNDictionaryRef headers);
  //! Seconds without any data, connecting included, after which a task fails with
  //! OVNURLErrorTimedOut. A request's own timeout, when set, applies instead.
  double timeoutIntervalForRequest() const { return requestTimeout_; }
  void setTimeoutIntervalForRequest(double seconds) { requestTimeout_ = seconds; }
  //! Seconds a whole task may take, redirects included.
  double timeoutIntervalForResource() const { return resourceTimeout_; }
  void setTimeoutIntervalForResource(double seconds) { resourceTimeout_ = seconds; }
  std::int64_t HTTPMaximumConnectionsPerHost() const { return connectionsPerHost_; }
  void setHTTPMaximumConnectionsPerHost(std::int64_t count) { connectionsPerHost_ = count; }
  //! A PEM file or a directory of hashed certificates to trust instead of the system's
  //! store (none: the system's store).
  const std::optional<std::string>& TLSTrustedCertificatesPath() const { return caPath_; }
  void setTLSTrustedCertificatesPath(std::optional<std::string> path) { caPath_ = std::move(path); }
  OVNURLRequestCachePolicy requestCachePolicy() const { return cachePolicy_; }
  void setRequestCachePolicy(OVNURLRequestCachePolicy policy) { cachePolicy_ = policy; }
  //! The response cache the session's tasks go through: the one set, else the
  //! process-wide cache of the moment. Null once set to null: no caching.
  std::shared_ptr<OVNHTTPCache> URLCache() const;
  void setURLCache(std::shared_ptr<OVNHTTPCache> cache);

  bool supportsCopying() const override { return true; }
  OVNObjectRef copy() const override;
  std::shared_ptr<OVNURLSessionConfiguration> configurationCopy() const;

 private:
  OVNDictionaryRef additionalHeaders_;
  double requestTimeout_ = defaultTimeoutIntervalForRequest;
  double resourceTimeout_ = defaultTimeoutIntervalForResource;
  std::int64_t connectionsPerHost_ = defaultHTTPMaximumConnectionsPerHost;
  std::optional<std::string> caPath_;
  OVNURLRequestCachePolicy cachePolicy_ = OVNURLRequestUseProtocolCachePolicy;
  std::shared_ptr<OVNHTTPCache> cache_;
  bool cacheSet_ = false;
};

using OVNURLSessionConfigurationRef = std::shared_ptr<OVNURLSessionConfiguration>;
