#pragma once
// OVNURLProtectionSpace: the server, protocol and scheme a credential is for
// (NSURLProtectionSpace). Immutable; any thread may share it.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

inline constexpr std::string_view OVNURLAuthenticationMethodDefault = "NSURLAuthenticationMethodDefault";
inline constexpr std::string_view OVNURLAuthenticationMethodHTTPBasic = "NSURLAuthenticationMethodHTTPBasic";
inline constexpr std::string_view OVNURLAuthenticationMethodServerTrust = "NSURLAuthenticationMethodServerTrust";

class OVN_EXPORT OVNURLProtectionSpace : public OVNObject {
  OVN_CLASS_NAMED(OVNURLProtectionSpace, OVNObject, "NSURLProtectionSpace")

 public:
  OVNURLProtectionSpace() = default;
  static std::shared_ptr<OVNURLProtectionSpace> protectionSpaceWithHost(std::string host, std::int64_t port,
                                                                        std::string protocol,
                                                                        std::optional<std::string> realm,
                                                                        std::string authenticationMethod);

  const std::string& host() const { return host_; }
  std::int64_t port() const { return port_; }
  //! "http" or "https".
  const std::string& protocol() const { return protocol_; }
  const std::optional<std::string>& realm() const { return realm_; }
  const std::string& authenticationMethod() const { return method_; }

 private:
  std::string host_;
  std::int64_t port_ = 0;
  std::string protocol_;
  std::optional<std::string> realm_;
  std::string method_;
};
