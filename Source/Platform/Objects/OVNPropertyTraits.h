#pragma once
// How a C++ member type becomes a property: its type encoding and ownership attribute,
// how its value is boxed into an OVNValue and unboxed from one. Used by OVN_PROPERTIES;
// a member of an unsupported type fails to compile here.
//
//   bool B | char c | int8 c | uint8 C | int16 s | uint16 S | int32 i | uint32 I
//   int64/long q | uint64 Q | float f | double d | enums as their underlying type
//   std::string, std::optional<std::string>            @"NSString",C
//   std::optional<arithmetic>                          @"NSNumber",&
//   OVNDate, std::optional<OVNDate>                    @"NSDate",&
//   OVNDataRef @"NSData" | OVNArrayRef, std::vector<T> @"NSArray" | OVNDictionaryRef
//   @"NSDictionary" | OVNSetRef @"NSSet" | OVNOrderedSetRef @"NSOrderedSet"   (all &)
//   std::shared_ptr<Model> @"Model",&   std::weak_ptr<Model> @"Model",W   OVNValue @,&
//   std::function<...> @?,C   structures declared with OVN_STRUCT_ENCODING {Name=..}
//
// Setting: a missing value (or the null marker) clears optionals, pointers, callbacks,
// strings and vectors; for scalars it asks the object's setNilValueForKey. Numbers and
// numeric strings convert to scalars as the platform converts them.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "Platform/Objects/OVNProperty.h"
#include "Platform/Objects/OVNStructEncoding.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNBlock.h"
#include "Platform/Values/OVNBoxedValue.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"
#include "Platform/Values/OVNValue.h"

class OVNObject;

namespace ovn::detail {

using SetResult = OVNPropertyAccessor::SetResult;

template <class T, class = void>
struct PropertyTraits;  // no specialisation: the member type is not supported

template <class T, class = void>
struct HasStructEncoding : std::false_type {};
template <class T>
struct HasStructEncoding<T, std::void_t<decltype(OVNStructEncoding<T>::value)>> : std::true_type {};

inline bool isNilValue(const OVNValue& v) { return v.isMissing() || v.isNull(); }

template <>
struct PropertyTraits<bool> {
  static std::string encoding() { return "B"; }
  static constexpr const char* ownership = "";
  static OVNValue box(bool v) { return v; }
  static SetResult unbox(const OVNValue& v, bool& out) {
    if (isNilValue(v)) return SetResult::Nil;
    auto b = v.boolValue();
    if (!b) return SetResult::Mismatch;
    out = *b;
    return SetResult::Stored;
  }
};

template <class T>
struct PropertyTraits<T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>>> {
  static std::string encoding() {
    if constexpr (std::is_same_v<T, char>)
      return "c";
    else if constexpr (sizeof(T) == 1)
      return std::is_signed_v<T> ? "c" : "C";
    else if constexpr (sizeof(T) == 2)
      return std::is_signed_v<T> ? "s" : "S";
    else if constexpr (sizeof(T) == 4)
      return std::is_signed_v<T> ? "i" : "I";
    else
      return std::is_signed_v<T> ? "q" : "Q";
  }
  static constexpr const char* ownership = "";
  static OVNValue box(T v) {
    if constexpr (std::is_signed_v<T>)
      return OVNNumber::integer(static_cast<std::int64_t>(v));
    else
      return OVNNumber::unsignedInteger(static_cast<std::uint64_t>(v));
  }
  static SetResult unbox(const OVNValue& v, T& out) {
    if (isNilValue(v)) return SetResult::Nil;
    if (const OVNNumber* n = v.number()) {
      out = std::is_signed_v<T> ? static_cast<T>(n->longLongValue()) : static_cast<T>(n->unsignedLongLongValue());
      return SetResult::Stored;
    }
    auto parsed = v.longLongValue();
    if (!parsed) return SetResult::Mismatch;
    out = static_cast<T>(*parsed);
    return SetResult::Stored;
  }
};

template <class T>
struct PropertyTraits<T, std::enable_if_t<std::is_floating_point_v<T>>> {
  static std::string encoding() { return std::is_same_v<T, float> ? "f" : "d"; }
  static constexpr const char* ownership = "";
  static OVNValue box(T v) { return OVNNumber::floating(static_cast<double>(v)); }
  static SetResult unbox(const OVNValue& v, T& out) {
    if (isNilValue(v)) return SetResult::Nil;
    auto d = v.doubleValue();
    if (!d) return SetResult::Mismatch;
    out = static_cast<T>(*d);
    return SetResult::Stored;
  }
};

template <class T>
struct PropertyTraits<T, std::enable_if_t<std::is_enum_v<T>>> {
  using Underlying = std::underlying_type_t<T>;
  static std::string encoding() { return PropertyTraits<Underlying>::encoding(); }
  static constexpr const char* ownership = "";
  static OVNValue box(T v) { return PropertyTraits<Underlying>::box(static_cast<Underlying>(v)); }
  static SetResult unbox(const OVNValue& v, T& out) {
    Underlying raw{};
    auto result = PropertyTraits<Underlying>::unbox(v, raw);
    if (result == SetResult::Stored) out = static_cast<T>(raw);
    return result;
  }
};

template <>
struct PropertyTraits<std::string> {
  static std::string encoding() { return "@\"NSString\""; }
  static constexpr const char* ownership = "C";
  static OVNValue box(const std::string& v) { return v; }
  static SetResult unbox(const OVNValue& v, std::string& out) {
    if (isNilValue(v)) {
      out.clear();
      return SetResult::Stored;
    }
    const std::string* s = v.string();
    if (!s) return SetResult::Mismatch;
    out = *s;
    return SetResult::Stored;
  }
};

template <>
struct PropertyTraits<OVNDate> {
  static std::string encoding() { return "@\"NSDate\""; }
  static constexpr const char* ownership = "&";
  static OVNValue box(const OVNDate& v) { return v; }
  static SetResult unbox(const OVNValue& v, OVNDate& out) {
    if (isNilValue(v)) {
      out = OVNDate();
      return SetResult::Stored;
    }
    auto d = v.date();
    if (!d) return SetResult::Mismatch;
    out = *d;
    return SetResult::Stored;
  }
};

template <>
struct PropertyTraits<OVNValue> {
  static std::string encoding() { return "@"; }
  static constexpr const char* ownership = "&";
  static OVNValue box(const OVNValue& v) { return v; }
  static SetResult unbox(const OVNValue& v, OVNValue& out) {
    out = v;
    return SetResult::Stored;
  }
};

// std::optional<T>: strings, dates and numbers that may be absent.
template <class T>
struct PropertyTraits<std::optional<T>> {
  static std::string encoding() {
    if constexpr (std::is_arithmetic_v<T>)
      return "@\"NSNumber\"";
    else
      return PropertyTraits<T>::encoding();
  }
  static constexpr const char* ownership = std::is_same_v<T, std::string> ? "C" : "&";
  static OVNValue box(const std::optional<T>& v) { return v ? PropertyTraits<T>::box(*v) : OVNValue(); }
  static SetResult unbox(const OVNValue& v, std::optional<T>& out) {
    if (isNilValue(v)) {
      out.reset();
      return SetResult::Stored;
    }
    T inner{};
    auto result = PropertyTraits<T>::unbox(v, inner);
    if (result == SetResult::Stored) out = std::move(inner);
    return result;
  }
};

// Shared containers and data, kept by reference.
template <class Ref>
struct ReferenceTraits {
  static constexpr const char* ownership = "&";
  static OVNValue box(const Ref& v) { return v ? OVNValue(v) : OVNValue(); }
};
template <>
struct PropertyTraits<OVNArrayRef> : ReferenceTraits<OVNArrayRef> {
  static std::string encoding() { return "@\"NSArray\""; }
  static SetResult unbox(const OVNValue& v, OVNArrayRef& out) {
    if (isNilValue(v)) {
      out.reset();
      return SetResult::Stored;
    }
    if (!v.isArray()) return SetResult::Mismatch;
    out = v.array();
    return SetResult::Stored;
  }
};
template <>
struct PropertyTraits<OVNDictionaryRef> : ReferenceTraits<OVNDictionaryRef> {
  static std::string encoding() { return "@\"NSDictionary\""; }
  static SetResult unbox(const OVNValue& v, OVNDictionaryRef& out) {
    if (isNilValue(v)) {
      out.reset();
      return SetResult::Stored;
    }
    if (!v.isDictionary()) return SetResult::Mismatch;
    out = v.dictionary();
    return SetResult::Stored;
  }
};
template <>
struct PropertyTraits<OVNSetRef> : ReferenceTraits<OVNSetRef> {
  static std::string encoding() { return "@\"NSSet\""; }
  static SetResult unbox(const OVNValue& v, OVNSetRef& out) {
    if (isNilValue(v)) {
      out.reset();
      return SetResult::Stored;
    }
    if (!v.set()) return SetResult::Mismatch;
    out = v.set();
    return SetResult::Stored;
  }
};
template <>
struct PropertyTraits<OVNOrderedSetRef> : ReferenceTraits<OVNOrderedSetRef> {
  static std::string encoding() { return "@\"NSOrderedSet\""; }
  static SetResult unbox(const OVNValue& v, OVNOrderedSetRef& out) {
    if (isNilValue(v)) {
      out.reset();
      return SetResult::Stored;
    }
    if (!v.orderedSet()) return SetResult::Mismatch;
    out = v.orderedSet();
    return SetResult::Stored;
  }
};
template <>
struct PropertyTraits<OVNDataRef> : ReferenceTraits<OVNDataRef> {
  static std::string encoding() { return "@\"NSData\""; }
  static SetResult unbox(const OVNValue& v, OVNDataRef& out) {
    if (isNilValue(v)) {
      out.reset();
      return SetResult::Stored;
    }
    if (!v.data()) return SetResult::Mismatch;
    out = v.data();
    return SetResult::Stored;
  }
};

// Model objects, strong and weak.
template <class T>
struct PropertyTraits<std::shared_ptr<T>, std::enable_if_t<std::is_base_of_v<OVNObject, T>>> {
  static std::string encoding() { return "@\"" + std::string(T::ovnClassName) + "\""; }
  static constexpr const char* ownership = "&";
  static OVNValue box(const std::shared_ptr<T>& v) { return v ? OVNValue(v) : OVNValue(); }
  static SetResult unbox(const OVNValue& v, std::shared_ptr<T>& out) {
    if (isNilValue(v)) {
      out.reset();
      return SetResult::Stored;
    }
    auto typed = v.objectAs<T>();
    if (!typed) return SetResult::Mismatch;
    out = std::move(typed);
    return SetResult::Stored;
  }
};
template <class T>
struct PropertyTraits<std::weak_ptr<T>, std::enable_if_t<std::is_base_of_v<OVNObject, T>>> {
  static std::string encoding() { return PropertyTraits<std::shared_ptr<T>>::encoding(); }
  static constexpr const char* ownership = "W";
  static OVNValue box(const std::weak_ptr<T>& v) { return PropertyTraits<std::shared_ptr<T>>::box(v.lock()); }
  static SetResult unbox(const OVNValue& v, std::weak_ptr<T>& out) {
    std::shared_ptr<T> strong;
    auto result = PropertyTraits<std::shared_ptr<T>>::unbox(v, strong);
    if (result == SetResult::Stored) out = strong;
    return result;
  }
};

// Typed lists: read as a new array, written member by member.
template <class T>
struct PropertyTraits<std::vector<T>, std::enable_if_t<!std::is_same_v<T, std::uint8_t>>> {
  static std::string encoding() { return "@\"NSArray\""; }
  static constexpr const char* ownership = "&";
  static OVNValue box(const std::vector<T>& v) {
    std::vector<OVNValue> members;
    members.reserve(v.size());
    for (const auto& member : v) members.push_back(PropertyTraits<T>::box(member));
    return OVNArray::make(std::move(members), false);
  }
  static SetResult unbox(const OVNValue& v, std::vector<T>& out) {
    if (isNilValue(v)) {
      out.clear();
      return SetResult::Stored;
    }
    auto array = v.array();
    if (!array) return SetResult::Mismatch;
    std::vector<T> result;
    result.reserve(array->count());
    for (const auto& member : *array) {
      T item{};
      if (PropertyTraits<T>::unbox(member, item) != SetResult::Stored) return SetResult::Mismatch;
      result.push_back(std::move(item));
    }
    out = std::move(result);
    return SetResult::Stored;
  }
};

template <class Signature>
struct PropertyTraits<std::function<Signature>> {
  using F = std::function<Signature>;
  static std::string encoding() { return "@?"; }
  static constexpr const char* ownership = "C";
  static OVNValue box(const F& v) { return v ? OVNValue(OVNBlock::make(v)) : OVNValue(); }
  static SetResult unbox(const OVNValue& v, F& out) {
    if (isNilValue(v)) {
      out = nullptr;
      return SetResult::Stored;
    }
    auto block = v.block();
    const F* function = block ? block->template as<F>() : nullptr;
    if (!function) return SetResult::Mismatch;
    out = *function;
    return SetResult::Stored;
  }
};

template <class T>
struct PropertyTraits<T, std::enable_if_t<HasStructEncoding<T>::value>> {
  static std::string encoding() { return OVNStructEncoding<T>::value; }
  static constexpr const char* ownership = "";
  static OVNValue box(const T& v) { return OVNBoxedValue::make(v, encoding()); }
  static SetResult unbox(const OVNValue& v, T& out) {
    if (isNilValue(v)) return SetResult::Nil;
    auto boxed = v.boxed();
    if (!boxed || !boxed->get(out, encoding())) return SetResult::Mismatch;
    return SetResult::Stored;
  }
};

//! Whether members of type T can be properties: the table above has an entry for it.
template <class T>
concept SupportedPropertyType = requires {
  PropertyTraits<T>::encoding();
};

//! The value type of a property, from a pointer to its data member or to its const getter.
template <class Pointer>
struct PropertyValueTypeOf;
template <class M, class Owner>
struct PropertyValueTypeOf<M Owner::*> {
  using type = M;
};
template <class R, class Owner>
struct PropertyValueTypeOf<R (Owner::*)() const> {
  using type = std::remove_cvref_t<R>;
};
template <class Pointer>
using PropertyValueType = typename PropertyValueTypeOf<Pointer>::type;

//! The attribute text: T<encoding>[,R][,C|&|W],N[,D][,V<field>]; `field` is the backing
//! field's full name ("_title" for a member declared as `title`), empty for none. Inline:
//! it runs in the program that declares the class.
inline std::string makeAttributes(const std::string& encoding, const char* ownership, bool readOnly, bool dynamic,
                                  const std::string& field) {
  std::string text = "T" + encoding;
  if (readOnly) text += ",R";
  if (ownership && *ownership) {
    text += ',';
    text += ownership;
  }
  text += ",N";
  if (dynamic) text += ",D";
  if (!field.empty()) text += ",V" + field;
  return text;
}

template <class Cls, class M>
class MemberAccessor final : public OVNPropertyAccessor {
 public:
  explicit MemberAccessor(M Cls::*member) : member_(member) {}
  OVNValue get(const OVNObject& object) const override {
    return PropertyTraits<M>::box(static_cast<const Cls&>(object).*member_);
  }
  SetResult set(OVNObject& object, const OVNValue& value) const override {
    return PropertyTraits<M>::unbox(value, static_cast<Cls&>(object).*member_);
  }

 private:
  M Cls::*member_;
};

template <class Cls, class R>
class GetterAccessor final : public OVNPropertyAccessor {
 public:
  using Value = std::remove_cvref_t<R>;
  explicit GetterAccessor(R (Cls::*getter)() const) : getter_(getter) {}
  OVNValue get(const OVNObject& object) const override {
    return PropertyTraits<Value>::box((static_cast<const Cls&>(object).*getter_)());
  }
  SetResult set(OVNObject&, const OVNValue&) const override { return SetResult::Mismatch; }

 private:
  R (Cls::*getter_)() const;
};

template <class Cls, class R, class P>
class GetterSetterAccessor final : public OVNPropertyAccessor {
 public:
  using Value = std::remove_cvref_t<R>;
  GetterSetterAccessor(R (Cls::*getter)() const, void (Cls::*setter)(P)) : getter_(getter), setter_(setter) {}
  OVNValue get(const OVNObject& object) const override {
    return PropertyTraits<Value>::box((static_cast<const Cls&>(object).*getter_)());
  }
  SetResult set(OVNObject& object, const OVNValue& value) const override {
    Value converted{};
    auto result = PropertyTraits<Value>::unbox(value, converted);
    if (result == SetResult::Stored) (static_cast<Cls&>(object).*setter_)(std::move(converted));
    return result;
  }

 private:
  R (Cls::*getter_)() const;
  void (Cls::*setter_)(P);
};

// A data member: read-write, backed by the field of the same name (spelt `_name`, as the
// platform synthesizes it).
template <class Cls, class Owner, class M>
OVNProperty makeProperty(const char* name, M Owner::*member) {
  static_assert(std::is_base_of_v<Owner, Cls>, "the member must belong to the class");
  using Traits = PropertyTraits<M>;
  return OVNProperty(name, makeAttributes(Traits::encoding(), Traits::ownership, false, false, "_" + std::string(name)),
                     std::make_shared<MemberAccessor<Cls, M>>(member));
}

// A data member exposed under another property name: read-write, and the attribute text
// names the member itself as the backing field (`VhiddenTitle_`), which is what keeps such
// a property out of automatic archives.
template <class Cls, class Owner, class M>
OVNProperty makeFieldProperty(const char* name, const char* field, M Owner::*member) {
  static_assert(std::is_base_of_v<Owner, Cls>, "the member must belong to the class");
  using Traits = PropertyTraits<M>;
  return OVNProperty(name, makeAttributes(Traits::encoding(), Traits::ownership, false, false, field),
                     std::make_shared<MemberAccessor<Cls, M>>(member));
}

// A const member function without arguments: a read-only property without a field. A
// virtual getter dispatches to the object's override.
template <class Cls, class Owner, class R>
OVNProperty makeProperty(const char* name, R (Owner::*getter)() const) {
  static_assert(std::is_base_of_v<Owner, Cls>, "the getter must belong to the class");
  using Traits = PropertyTraits<std::remove_cvref_t<R>>;
  return OVNProperty(name, makeAttributes(Traits::encoding(), Traits::ownership, true, false, ""),
                     std::make_shared<GetterAccessor<Cls, R>>(getter));
}

// A getter and a setter: a read-write dynamic property without a field.
template <class Cls, class Owner, class R, class SetterOwner, class P>
OVNProperty makeAccessorProperty(const char* name, R (Owner::*getter)() const, void (SetterOwner::*setter)(P)) {
  static_assert(std::is_base_of_v<Owner, Cls> && std::is_base_of_v<SetterOwner, Cls>,
                "the accessors must belong to the class");
  using Traits = PropertyTraits<std::remove_cvref_t<R>>;
  return OVNProperty(name, makeAttributes(Traits::encoding(), Traits::ownership, false, true, ""),
                     std::make_shared<GetterSetterAccessor<Cls, R, P>>(getter, setter));
}

}  // namespace ovn::detail
