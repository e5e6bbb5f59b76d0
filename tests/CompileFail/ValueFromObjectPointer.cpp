// expect-error: use of deleted function .*OVNValue::OVNValue\(T\*\) \[with T = OVNObject\]
// A raw object pointer would otherwise become the boolean number 1.
#include "Platform/Objects/OVNObject.h"

OVNValue wrap(OVNObject* object) { return object; }
