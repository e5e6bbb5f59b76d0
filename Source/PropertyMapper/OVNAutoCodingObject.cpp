#include "PropertyMapper/OVNAutoCodingObject.h"

#include "Platform/Objects/OVNProperties.h"
#include "PropertyMapper/NSObject+OVNAutoCoding.h"

OVN_PROPERTIES(OVNAutoCodingObject)

void OVNAutoCodingObject::encodeWithCoder(OVNCoder& coder) const {
  OVNObject::encodeWithCoder(coder);
  ovn_encodeWithCoder(*this, coder);
}

bool OVNAutoCodingObject::initWithCoder(OVNCoder& coder) {
  return OVNObject::initWithCoder(coder) && ovn_setWithCoder(*this, coder);
}

OVNObjectRef OVNAutoCodingObject::copy() const { return ovn_copyWithZone(*this); }
