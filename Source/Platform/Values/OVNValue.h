#pragma once
// OVNValue: the dynamic value that flows between decoded JSON, property lists and model
// objects. "Missing" (nil; a default-constructed value) and the null marker (NSNull) are
// different values. Strings are UTF-8. Containers (arrays, dictionaries, sets, ordered
// sets) are shared by reference, as on the platform: copying an OVNValue shares its
// container; `copy()` and `mutableCopy()` make new ones. Values are not synchronised: share
// a mutable container between threads only with outside locking.
//
// Converting into a value is implicit (`OVNValue v = 3;`); reading out never is: use the
// typed accessors, which return an optional or a null pointer when the kind differs.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNDate.h"
#include "Platform/Values/OVNNumber.h"

class OVNObject;
class OVNArray;
class OVNDictionary;
class OVNSet;
class OVNOrderedSet;
class OVNData;
class OVNBlock;
class OVNBoxedValue;

using OVNArrayRef = std::shared_ptr<OVNArray>;
using OVNDictionaryRef = std::shared_ptr<OVNDictionary>;
using OVNSetRef = std::shared_ptr<OVNSet>;
using OVNOrderedSetRef = std::shared_ptr<OVNOrderedSet>;
using OVNDataRef = std::shared_ptr<const OVNData>;
using OVNObjectRef = std::shared_ptr<OVNObject>;

enum class OVNValueKind : std::uint8_t {
  Missing,     // nil
  Null,        // the null marker, NSNull
  Number,      // NSNumber
  String,      // NSString
  Data,        // NSData
  Date,        // NSDate
  Array,       // NSArray
  Dictionary,  // NSDictionary
  Set,         // NSSet
  OrderedSet,  // NSOrderedSet
  Object,      // a library or model object
  Block,       // a callback
  Boxed,       // raw bytes with their type encoding (NSValue)
};

//! The null marker's type; `OVNNull{}` converts into the null value.
struct OVN_EXPORT OVNNull {};

class OVN_EXPORT OVNValue {
 public:
  OVNValue() = default;        // missing
  OVNValue(std::nullptr_t) {}  // missing, as a nil object pointer would be
  OVNValue(OVNNull) : storage_(OVNNull{}) {}
  OVNValue(bool v) : storage_(OVNNumber::boolean(v)) {}
  OVNValue(int v) : storage_(OVNNumber::integer(v)) {}
  OVNValue(long v) : storage_(OVNNumber::integer(v)) {}
  OVNValue(long long v) : storage_(OVNNumber::integer(v)) {}
  OVNValue(unsigned v) : storage_(OVNNumber::unsignedInteger(v)) {}
  OVNValue(unsigned long v) : storage_(OVNNumber::unsignedInteger(v)) {}
  OVNValue(unsigned long long v) : storage_(OVNNumber::unsignedInteger(v)) {}
  OVNValue(double v) : storage_(OVNNumber::floating(v)) {}
  OVNValue(float v) : storage_(OVNNumber::floating(v)) {}
  OVNValue(OVNNumber v) : storage_(v) {}
  OVNValue(const char* v);  // a null pointer gives missing
  // A writable char buffer is text too. Any other pointer would convert to bool and
  // silently become the number 0 or 1; hold objects by their shared_ptr instead.
  OVNValue(char* v) : OVNValue(static_cast<const char*>(v)) {}
  template <class T>
  OVNValue(T*) = delete;
  template <class M, class C>
  OVNValue(M C::*) = delete;
  OVNValue(std::string v) : storage_(std::move(v)) {}
  OVNValue(std::string_view v) : storage_(std::string(v)) {}
  OVNValue(OVNDate v) : storage_(v) {}
  OVNValue(OVNDataRef v);
  OVNValue(OVNArrayRef v);
  OVNValue(OVNDictionaryRef v);
  OVNValue(OVNSetRef v);
  OVNValue(OVNOrderedSetRef v);
  OVNValue(std::shared_ptr<const OVNBlock> v);
  OVNValue(std::shared_ptr<const OVNBoxedValue> v);
  OVNValue(OVNObjectRef v);
  template <class T, std::enable_if_t<std::is_base_of_v<OVNObject, T> && !std::is_same_v<T, OVNObject>, int> = 0>
  OVNValue(std::shared_ptr<T> v) : OVNValue(std::static_pointer_cast<OVNObject>(std::move(v))) {}

  static OVNValue null() { return OVNValue(OVNNull{}); }
  //! A new mutable array / dictionary holding the given members.
  static OVNValue array(std::initializer_list<OVNValue> members);
  static OVNValue dictionary(std::initializer_list<std::pair<std::string, OVNValue>> entries);

  OVNValueKind kind() const { return static_cast<OVNValueKind>(storage_.index()); }
  bool isMissing() const { return kind() == OVNValueKind::Missing; }
  bool isNull() const { return kind() == OVNValueKind::Null; }
  //! True for anything but missing (the null marker is present).
  bool isPresent() const { return !isMissing(); }
  explicit operator bool() const { return isPresent(); }
  bool isNumber() const { return kind() == OVNValueKind::Number; }
  bool isString() const { return kind() == OVNValueKind::String; }
  bool isDate() const { return kind() == OVNValueKind::Date; }
  bool isArray() const { return kind() == OVNValueKind::Array; }
  bool isDictionary() const { return kind() == OVNValueKind::Dictionary; }
  bool isObject() const { return kind() == OVNValueKind::Object; }

  // Typed reads: an empty result when the value is of another kind.
  const OVNNumber* number() const { return std::get_if<OVNNumber>(&storage_); }
  const std::string* string() const { return std::get_if<std::string>(&storage_); }
  std::optional<OVNDate> date() const;
  OVNDataRef data() const;
  OVNArrayRef array() const;
  OVNDictionaryRef dictionary() const;
  //! The container without taking a reference (no reference-count traffic on hot paths);
  //! valid while this value holds it. Null for other kinds.
  OVNArray* arrayPointer() const {
    const OVNArrayRef* held = std::get_if<OVNArrayRef>(&storage_);
    return held ? held->get() : nullptr;
  }
  OVNDictionary* dictionaryPointer() const {
    const OVNDictionaryRef* held = std::get_if<OVNDictionaryRef>(&storage_);
    return held ? held->get() : nullptr;
  }
  OVNObject* objectPointer() const {
    const OVNObjectRef* held = std::get_if<OVNObjectRef>(&storage_);
    return held ? held->get() : nullptr;
  }
  OVNSetRef set() const;
  OVNOrderedSetRef orderedSet() const;
  OVNObjectRef object() const;
  template <class T>
  std::shared_ptr<T> objectAs() const {
    return std::dynamic_pointer_cast<T>(object());
  }
  std::shared_ptr<const OVNBlock> block() const;
  std::shared_ptr<const OVNBoxedValue> boxed() const;

  // Numeric reads as the platform gives them: numbers convert, strings are parsed as the
  // platform's `intValue` / `doubleValue` do (leading number, else 0); other kinds give none.
  std::optional<std::int64_t> longLongValue() const;
  std::optional<double> doubleValue() const;
  std::optional<bool> boolValue() const;

  //! The platform class name of the value: "NSString", "NSNumber", "NSNull", "NSDate",
  //! "NSData", "NSArray", "NSDictionary", "NSSet", "NSOrderedSet", "NSValue", "NSBlock",
  //! an object's own class name, or "nil" for missing.
  std::string className() const;
  //! True when the value is an instance of the named platform class or a subclass of it
  //! ("NSObject" matches every present value; "NSMutableArray" matches mutable arrays).
  bool isKindOfClassNamed(std::string_view className) const;

  //! The platform's description: "(null)" for missing, "<null>" for the null marker,
  //! numbers as "1" or "2.5", strings as they are, containers in the property-list forms.
  std::string description() const;
  //! The description at an indentation level, as containers print their members.
  std::string descriptionWithIndent(int level) const;

  //! Platform equality: numbers numerically, strings by text, containers by members,
  //! objects by their isEqual. Missing equals only missing.
  bool isEqual(const OVNValue& other) const;
  bool operator==(const OVNValue& other) const { return isEqual(other); }
  std::size_t hash() const;

  //! A new immutable container for containers; the same value otherwise (strings,
  //! numbers and dates are values already; objects are asked for their copy when they
  //! support copying).
  OVNValue copy() const;
  //! A new mutable container (members shared) for containers; otherwise as copy().
  OVNValue mutableCopy() const;

  //! Key-value coding through the value: dictionaries by key, objects by property, arrays
  //! member by member (an array of the members' values). Dotted key paths walk levels.
  OVNValue valueForKey(std::string_view key) const;
  OVNValue valueForKeyPath(std::string_view keyPath) const;

 private:
  using Storage = std::variant<std::monostate, OVNNull, OVNNumber, std::string, OVNDataRef, OVNDate, OVNArrayRef,
                               OVNDictionaryRef, OVNSetRef, OVNOrderedSetRef, OVNObjectRef,
                               std::shared_ptr<const OVNBlock>, std::shared_ptr<const OVNBoxedValue>>;
  Storage storage_;
};

template <>
struct std::hash<OVNValue> {
  std::size_t operator()(const OVNValue& v) const { return v.hash(); }
};
