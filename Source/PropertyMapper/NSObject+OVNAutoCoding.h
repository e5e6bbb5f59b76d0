#pragma once
// Automatic coding of model objects (category OVNAutoCoding on every object): archiving,
// restoring, copying and turning an object into a dictionary from its class's property
// table, without hand-written code. OVNAutoCodingObject wires these functions into an
// object's coding and copying hooks; any OVNObject can also call them directly.
//
// Which properties take part (the codable-property table) is decided per class from the
// attribute texts: scalars as NSNumber, objects as the class their type names (the root
// class when it names none or an unknown one); structures, callbacks and other codes are
// left out, as are properties stored under a field not named `name` or `_name` (declare
// them with `(name, stored_as, member)`), read-only and non-dynamic properties without a
// field, and the names listed with OVN_UNCODABLE_PROPERTIES.
//
// Threads: the table functions may be called from any thread (the merged table of a class
// is built once, under a once-only guard, and never changes). The coding, copying and file
// functions run on the calling thread and read or write the object as key-value coding
// does, so an object must not be changed by another thread meanwhile.
//
// Errors: a restored value of the wrong class raises OVNException named
// OVNAutocodingException (a programming error in the archive's producer); every other
// failure is a result (false, missing, or the coder's error).

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDictionary.h"

class OVNCoder;

//! Property name -> the class a restored value must be an instance of.
using OVNCodableProperties = std::map<std::string, const OVNClass*, std::less<>>;

//! The name of the exception raised when a restored value has the wrong class.
inline constexpr std::string_view OVNAutocodingException = "OVNAutocodingException";

//! The codable-property table of the properties `cls` itself declares (not its
//! ancestors'), built anew on each call. Warns on the console when the class (or an
//! ancestor) still offers one of the retired hooks "codableKeys", "uncodableKeys" or
//! "uncodableProperties"; the last is still honoured.
OVN_EXPORT OVNCodableProperties codableProperties(const OVNClass& cls);

//! The names a class declared with OVN_UNCODABLE_PROPERTIES (the nearest declaring class
//! in its chain), empty when none did.
OVN_EXPORT std::vector<std::string> uncodableProperties(const OVNClass& cls);

//! The table of the object's class merged with every ancestor's below the root (an
//! ancestor's entry replaces a same-named one of its descendant). Built once per class and
//! kept for the process; the reference stays valid.
OVN_EXPORT const OVNCodableProperties& ovn_codableProperties(const OVNObject& object);

//! Restores every codable property found in `coder` through its setter; a property the
//! coder does not hold keeps its value. A value that is not an instance of the property's
//! class raises OVNAutocodingException ("Expected 'title' to be a NSString, but was
//! actually a NSNumber"). Returns false when the coder failed: a secure coder refuses a
//! model object of a class other than the property's before making it, and a value that
//! passes the class check but does not fit the C++ member (an array of strings for a
//! list of model objects) is recorded as OVNCoderReadCorruptError on the coder.
OVN_EXPORT bool ovn_setWithCoder(OVNObject& object, OVNCoder& coder);

//! Writes every codable property that has a value under its name (scalars as numbers).
OVN_EXPORT void ovn_encodeWithCoder(const OVNObject& object, OVNCoder& coder);

//! A new mutable dictionary: name -> value of every codable property that has a value.
OVN_EXPORT OVNDictionaryRef ovn_dictionaryRepresentation(const OVNObject& object);

//! A new default instance of the object's class (made by the class's factory) with every
//! codable property set to the object's value; values are shared, not copied. A class
//! without a factory cannot be copied: OVNException (NSInvalidArgumentException).
OVN_EXPORT OVNObjectRef ovn_copyWithZone(const OVNObject& object);

//! Archives the object with OVNKeyedArchiver (binary form) and writes the bytes to `path`;
//! `atomically` writes a temporary file in the same directory and renames it over `path`,
//! so readers see either the old file or the whole new one. False when archiving or
//! writing fails.
OVN_EXPORT bool ovn_writeToFile(const OVNObject& object, const std::string& path, bool atomically);

//! What `path` holds: missing when it cannot be read or is not a property list; the
//! unarchived root value when it is a keyed archive (a dictionary with "$archiver";
//! missing when the archive cannot be decoded); otherwise the property list itself
//! (immutable). Archives are decoded securely, with any class that supports secure coding
//! allowed at the root.
OVN_EXPORT OVNValue ovn_objectWithContentsOfFile(const std::string& path);

// Declares the names of properties that automatic coding leaves out, and the
// "uncodableProperties" hook that goes with them (retired: each table build warns, but the
// names are honoured). Use once per class at namespace scope in a source file; the names
// are members of the class (data members or accessors), checked when compiling:
//
//   OVN_UNCODABLE_PROPERTIES(Observation, cachedIcon, rawPayload);
#define OVN_UNCODABLE_PROPERTIES(Name, ...)                                                                         \
  [[maybe_unused]] static const bool OVN_DETAIL_CAT(ovnUncodable_, __COUNTER__) = ::ovn_declareUncodableProperties( \
      Name::classObject(), {OVN_DETAIL_FOR_EACH(OVN_DETAIL_UNCODABLE_NAME, Name, __VA_ARGS__)})

//! What OVN_UNCODABLE_PROPERTIES calls: records the hook and the names for `cls` (names are
//! not checked here); returns true, for the static the macro initialises.
OVN_EXPORT bool ovn_declareUncodableProperties(const OVNClass& cls, std::vector<std::string> names);

// ---- implementation ---------------------------------------------------------------------

namespace ovn::detail {
//! The name, once the compiler has checked that `Member` (the member's pointer type) exists.
template <class Member>
constexpr const char* uncodableName(const char* name) {
  return name;
}
}  // namespace ovn::detail

#define OVN_DETAIL_UNCODABLE_NAME(Cls, x) ::ovn::detail::uncodableName<decltype(&Cls::x)>(#x)
