#pragma once
// The property list of a class, in the one .cpp file that defines the class:
//
//   #include "Platform/Objects/OVNProperties.h"
//   OVN_PROPERTIES(Observation, placeName, tempC, place)
//
// Each OVN_PROPERTIES element is a data member (read-write), a const getter without
// arguments (read-only), a parenthesised pair (getter, setter) (read-write, dynamic), or
// (name, stored_as, member): the data member `member` exposed as the property `name`, its
// attribute text naming the member as the backing field (T@"NSString",C,N,VhiddenTitle_),
// which keeps the property out of automatic archives.
// Misspelt names and members of unsupported types fail to compile with a message naming
// the class and the member; a missing OVN_CLASS fails to compile too.
// OVN_PROPERTIES also registers the class by name when the program loads. Name classes
// uniquely across namespaces: the registry knows a class by its plain name.
//
// OVN_RESPONDS_TO(Observation, "codableKeys") declares optional hooks the class offers.

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Objects/OVNPropertyTraits.h"

#define OVN_PROPERTIES(Name, ...)                                                                               \
  const ::OVNClass& Name::classObject() {                                                                       \
    static_assert(std::is_base_of_v<Name::OVNSuper, Name>, "OVN_CLASS names a base it does not have");          \
    static const ::OVNClass cls(                                                                                \
        std::string(Name::ovnClassName), &Name::OVNSuper::classObject(), ::ovn::detail::defaultFactory<Name>(), \
        std::vector<::OVNProperty>{OVN_DETAIL_FOR_EACH(OVN_DETAIL_PROPERTY, Name, __VA_ARGS__)});               \
    return cls;                                                                                                 \
  }                                                                                                             \
  OVN_DETAIL_REGISTER(Name, __COUNTER__)

#define OVN_RESPONDS_TO(Name, ...)                                                 \
  [[maybe_unused]] static const bool OVN_DETAIL_CAT(ovnHooks_, __COUNTER__) = [] { \
    for (const char* hook : {__VA_ARGS__}) Name::classObject().addHook(hook);      \
    return true;                                                                   \
  }()

// ---- implementation ---------------------------------------------------------------------

namespace ovn::detail {
template <class>
inline constexpr bool dependentFalse = false;

// Stands in for the property after a failed static_assert, so that the compiler has
// nothing more to report; never defined, never called.
OVNProperty rejectedProperty();

template <class T>
OVNClass::Factory defaultFactory() {
  if constexpr (std::is_default_constructible_v<T> && !std::is_abstract_v<T>) {
    return [] { return std::static_pointer_cast<OVNObject>(OVNMake<T>()); };
  } else {
    return {};
  }
}
}  // namespace ovn::detail

#define OVN_DETAIL_CAT_I(a, b) a##b
#define OVN_DETAIL_CAT(a, b) OVN_DETAIL_CAT_I(a, b)
#define OVN_DETAIL_REGISTER(Name, counter) \
  [[maybe_unused]] static const ::OVNClass& OVN_DETAIL_CAT(ovnClass_, counter) = Name::classObject();

// Element dispatch: `name` -> makeProperty(&Cls::name); `(getter, setter)` -> accessor pair;
// `(name, stored_as, member)` -> renamed field. Any other parenthesised form, or another
// word in place of `stored_as`, names an undeclared identifier and fails to compile.
#define OVN_DETAIL_PROBE(...) ~, 1
#define OVN_DETAIL_SECOND(a, b, ...) b
#define OVN_DETAIL_SECOND_I(...) OVN_DETAIL_SECOND(__VA_ARGS__)
#define OVN_DETAIL_IS_PAREN(x) OVN_DETAIL_SECOND_I(OVN_DETAIL_PROBE x, 0, ~)
#define OVN_DETAIL_IF_0(t, f) f
#define OVN_DETAIL_IF_1(t, f) t
#define OVN_DETAIL_IF(c) OVN_DETAIL_CAT(OVN_DETAIL_IF_, c)
#define OVN_DETAIL_PROPERTY(Cls, x) \
  OVN_DETAIL_IF(OVN_DETAIL_IS_PAREN(x))(OVN_DETAIL_ACCESSOR_PROPERTY, OVN_DETAIL_MEMBER_PROPERTY)(Cls, x)
#define OVN_DETAIL_MEMBER_PROPERTY(Cls, x) \
  OVN_DETAIL_CHECKED_PROPERTY(Cls, x, x, ::ovn::detail::makeProperty<C>(#x, &C::x))
#define OVN_DETAIL_UNPAREN(...) __VA_ARGS__
#define OVN_DETAIL_ACCESSOR_PROPERTY(Cls, x) OVN_DETAIL_ACCESSOR_PROPERTY_I(Cls, OVN_DETAIL_UNPAREN x)
#define OVN_DETAIL_ACCESSOR_PROPERTY_I(Cls, ...) \
  OVN_DETAIL_CAT(OVN_DETAIL_PAREN_PROPERTY_, OVN_DETAIL_COUNT(__VA_ARGS__))(Cls, __VA_ARGS__)
#define OVN_DETAIL_COUNT(...) OVN_DETAIL_COUNT_I(__VA_ARGS__, 3, 2, 1, ~)
#define OVN_DETAIL_COUNT_I(a, b, c, n, ...) n
#define OVN_DETAIL_PAREN_PROPERTY_2(Cls, getter, setter) \
  OVN_DETAIL_CHECKED_PROPERTY(Cls, getter, setter,       \
                              ::ovn::detail::makeAccessorProperty<C>(#getter, &C::getter, &C::setter))
#define OVN_DETAIL_PAREN_PROPERTY_3(Cls, name, keyword, member) \
  OVN_DETAIL_CAT(OVN_DETAIL_FIELD_KEYWORD_, keyword)            \
  OVN_DETAIL_CHECKED_PROPERTY(Cls, member, member, ::ovn::detail::makeFieldProperty<C>(#name, #member, &C::member))
#define OVN_DETAIL_FIELD_KEYWORD_stored_as

// A misspelt name or an unsupported type would otherwise surface as pages of template
// errors. The element is built inside a generic lambda so that the name is looked up only
// where a failed lookup is a false condition (a requires-expression), not an error; the
// first error is then the static_assert naming the class and the member. `readName` is
// the member or getter, `writeName` the setter (the same name when there is none).
// Left unformatted: the formatter would split the lambda's call from its body.
// clang-format off
#define OVN_DETAIL_HAS_MEMBER(C, x) requires { &C::x; }
#define OVN_DETAIL_CHECKED_PROPERTY(Cls, readName, writeName, make)                                    \
  []<class C = Cls>() -> ::OVNProperty {                                                               \
    if constexpr (!OVN_DETAIL_HAS_MEMBER(C, readName)) {                                               \
      static_assert(::ovn::detail::dependentFalse<C>,                                                  \
                    "OVN_PROPERTIES: " #Cls " has no member or getter named '" #readName "'");         \
      return ::ovn::detail::rejectedProperty();                                                        \
    } else if constexpr (!OVN_DETAIL_HAS_MEMBER(C, writeName)) {                                       \
      static_assert(::ovn::detail::dependentFalse<C>,                                                  \
                    "OVN_PROPERTIES: " #Cls " has no setter named '" #writeName "'");                  \
      return ::ovn::detail::rejectedProperty();                                                        \
    } else if constexpr (!::ovn::detail::SupportedPropertyType<                                        \
                             ::ovn::detail::PropertyValueType<decltype(&C::readName)>>) {              \
      static_assert(::ovn::detail::dependentFalse<C>,                                                  \
                    "OVN_PROPERTIES: the type of " #Cls "::" #readName                                 \
                    " is not a supported property type (see OVNPropertyTraits.h)");                    \
      return ::ovn::detail::rejectedProperty();                                                        \
    } else {                                                                                           \
      return make;                                                                                     \
    }                                                                                                  \
  }()
// clang-format on

// A comma-separated map over up to 256 elements.
#define OVN_DETAIL_PARENS ()
#define OVN_DETAIL_EXPAND(...) \
  OVN_DETAIL_EXPAND4(OVN_DETAIL_EXPAND4(OVN_DETAIL_EXPAND4(OVN_DETAIL_EXPAND4(__VA_ARGS__))))
#define OVN_DETAIL_EXPAND4(...) \
  OVN_DETAIL_EXPAND3(OVN_DETAIL_EXPAND3(OVN_DETAIL_EXPAND3(OVN_DETAIL_EXPAND3(__VA_ARGS__))))
#define OVN_DETAIL_EXPAND3(...) \
  OVN_DETAIL_EXPAND2(OVN_DETAIL_EXPAND2(OVN_DETAIL_EXPAND2(OVN_DETAIL_EXPAND2(__VA_ARGS__))))
#define OVN_DETAIL_EXPAND2(...) \
  OVN_DETAIL_EXPAND1(OVN_DETAIL_EXPAND1(OVN_DETAIL_EXPAND1(OVN_DETAIL_EXPAND1(__VA_ARGS__))))
#define OVN_DETAIL_EXPAND1(...) __VA_ARGS__
#define OVN_DETAIL_FOR_EACH(macro, Cls, ...) \
  __VA_OPT__(OVN_DETAIL_EXPAND(OVN_DETAIL_FOR_EACH_HELPER(macro, Cls, __VA_ARGS__)))
#define OVN_DETAIL_FOR_EACH_HELPER(macro, Cls, a1, ...) \
  macro(Cls, a1) __VA_OPT__(, OVN_DETAIL_FOR_EACH_AGAIN OVN_DETAIL_PARENS(macro, Cls, __VA_ARGS__))
#define OVN_DETAIL_FOR_EACH_AGAIN() OVN_DETAIL_FOR_EACH_HELPER
