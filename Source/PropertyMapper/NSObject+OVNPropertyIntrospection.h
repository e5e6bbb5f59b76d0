#pragma once
// Run-time property introspection for the property mapper and automatic archiving: the
// type string of a property, a class's own property table, and reading a property as a
// dynamic value chosen by its type encoding.
//
// Threads: any thread; classes never change once built. Reading a property is as
// thread-safe as reading the member it stands for.

#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Objects/OVNProperty.h"
#include "Platform/Values/OVNDictionary.h"

//! The type string of a property from its attribute text: the class name of T@"Name" (with
//! any protocol qualifiers, as in NSArray<Foo>), "id" for T@, "block" for T@?, the encoding
//! itself for scalars and structures (q, d, {CGPoint=dd}), "" without a T attribute.
OVN_EXPORT std::string getPropertyType(std::string_view attributes);
OVN_EXPORT std::string getPropertyType(const OVNProperty& property);

//! Name -> type string for the properties `cls` itself declares (not its ancestors');
//! an immutable dictionary.
OVN_EXPORT OVNDictionaryRef ovn_propertiesDictionaryFromClass(const OVNClass& cls);

//! The property `key` as a dynamic value chosen by its type encoding: objects as they are,
//! scalars as numbers of their own kind, structures as boxed bytes (which the setter takes
//! back), and nothing for const-qualified ("r") types. A key without a getter is a
//! programming error (NSUnknownKeyException).
OVN_EXPORT OVNValue ovn_wrappedValueForKey(const OVNObject& object, std::string_view key);
//! The same for a property already found (of the object's class or an ancestor).
OVN_EXPORT OVNValue ovn_wrappedValue(const OVNProperty& property, const OVNObject& object);
