#include "OVNWritableApiEndpoint.h"

#include "OVNApiObject.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNWritableApiEndpoint)

void OVNWritableApiEndpoint::postObject(const OVNObjectRef& object, const OVNValue& options, Completion completion) {
  postObject(object, path(), options, std::move(completion));
}

void OVNWritableApiEndpoint::postObject(const OVNObjectRef& object, std::string_view resource, const OVNValue& options,
                                        Completion completion) {
  // Creating sends PUT, the same as updating.
  performRequestForResource(resource, OVNRequestMethodPUT, options, mappingClassFor(object), object,
                            std::move(completion));
}

void OVNWritableApiEndpoint::putObject(const OVNObjectRef& object, const OVNValue& options, Completion completion) {
  putObject(object, resourceFor(object), options, std::move(completion));
}

void OVNWritableApiEndpoint::putObject(const OVNObjectRef& object, std::string_view resource, const OVNValue& options,
                                       Completion completion) {
  performRequestForResource(resource, OVNRequestMethodPUT, options, mappingClassFor(object), object,
                            std::move(completion));
}

void OVNWritableApiEndpoint::deleteObject(const OVNObjectRef& object, const OVNValue& options, Completion completion) {
  performRequestForResource(resourceFor(object), OVNRequestMethodDELETE, options, endpointObjectClass(), object,
                            std::move(completion));
}

void OVNWritableApiEndpoint::deleteObjectWithIdentifer(const OVNValue& identifier, const OVNValue& options,
                                                       Completion completion) {
  performRequestForResource(resourceForIdentifier(identifier), OVNRequestMethodDELETE, options, endpointObjectClass(),
                            nullptr, std::move(completion));
}

const OVNClass* OVNWritableApiEndpoint::mappingClassFor(const OVNObjectRef& object) const {
  return std::dynamic_pointer_cast<OVNApiObject>(object) ? &object->objectClass() : endpointObjectClass();
}

std::string OVNWritableApiEndpoint::resourceFor(const OVNObjectRef& object) const {
  auto apiObject = std::dynamic_pointer_cast<OVNApiObject>(object);
  const OVNValue identifier = apiObject ? apiObject->identifier() : OVNValue();
  if (!identifier.isPresent() || identifier.isNull()) return path();
  return resourceForIdentifier(identifier);
}
