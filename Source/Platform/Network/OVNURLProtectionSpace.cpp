#include "Platform/Network/OVNURLProtectionSpace.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNURLProtectionSpace, host, port, protocol, realm, authenticationMethod)

std::shared_ptr<OVNURLProtectionSpace> OVNURLProtectionSpace::protectionSpaceWithHost(
    std::string host, std::int64_t port, std::string protocol, std::optional<std::string> realm,
    std::string authenticationMethod) {
  auto space = OVNMake<OVNURLProtectionSpace>();
  space->host_ = std::move(host);
  space->port_ = port;
  space->protocol_ = std::move(protocol);
  space->realm_ = std::move(realm);
  space->method_ = std::move(authenticationMethod);
  return space;
}
