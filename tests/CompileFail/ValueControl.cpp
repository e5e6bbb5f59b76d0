// expect-success
// What the failing snippets get wrong, done right: the harness compiles this.
#include "Platform/Objects/OVNObject.h"

OVNValue wrapObject(const OVNObjectRef& object) { return object; }
OVNValue wrapFlag(bool flag) { return flag; }
OVNValue wrapText(const char* text) { return text; }
OVNValue wrapBuffer(char* buffer) { return buffer; }
OVNValue wrapNothing() { return nullptr; }
