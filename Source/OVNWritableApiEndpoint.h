#pragma once
// OVNWritableApiEndpoint: an endpoint that also sends model objects to the service. The
// object is serialized with the shared client's mapper into the request's parameters
// (through filterEncodedObject); a reply that maps to exactly one object updates the sent
// object in place (a new identifier, say).
//
// Creating and updating both send PUT, as they always have; deleting sends DELETE. The
// spelling of deleteObjectWithIdentifer is kept. Parameters go as a flat form body or query
// string: members that are nested objects or lists cannot be sent that way (see
// OVNURLSessionManager::encodeURLRequest), so send flat objects, or flatten them in
// filterEncodedObject.
//
// Threads and lifetime: as OVNApiEndpoint.

#include <memory>
#include <string_view>

#include "OVNApiEndpoint.h"
#include "OvrinCoreExport.h"

class OVN_EXPORT OVNWritableApiEndpoint : public OVNApiEndpoint {
  OVN_CLASS(OVNWritableApiEndpoint, OVNApiEndpoint)

 public:
  OVNWritableApiEndpoint() = default;

  //! PUT to `path`.
  void postObject(const OVNObjectRef& object, const OVNValue& options, Completion completion);
  void postObject(const OVNObjectRef& object, std::string_view resource, const OVNValue& options,
                  Completion completion);
  //! PUT to `path`/<identifier> for an OVNApiObject with an identifier, else to `path`.
  void putObject(const OVNObjectRef& object, const OVNValue& options, Completion completion);
  void putObject(const OVNObjectRef& object, std::string_view resource, const OVNValue& options, Completion completion);
  //! DELETE of the resource putObject would use; mapped into the endpoint's class.
  void deleteObject(const OVNObjectRef& object, const OVNValue& options, Completion completion);
  //! DELETE of `path`/<identifier>.
  void deleteObjectWithIdentifer(const OVNValue& identifier, const OVNValue& options, Completion completion);

 private:
  //! The object's own class for an OVNApiObject, else the endpoint's.
  const OVNClass* mappingClassFor(const OVNObjectRef& object) const;
  std::string resourceFor(const OVNObjectRef& object) const;
};

using OVNWritableApiEndpointRef = std::shared_ptr<OVNWritableApiEndpoint>;
