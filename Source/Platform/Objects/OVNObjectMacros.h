#pragma once
// Declaring a class with properties takes two lines:
//
//   class Observation : public OVNApiObject {
//     OVN_CLASS(Observation, OVNApiObject)
//    public:
//     std::optional<std::string> placeName;   // T@"NSString",C,N,V_placeName
//     double tempC = 0;                        // Td,N,V_tempC
//     std::shared_ptr<Place> place;            // T@"Place",&,N,V_place
//     OVNValue identifier() const override;    // T@,R,N (read-only, from the getter)
//   };
//   OVN_PROPERTIES(Observation, placeName, tempC, place)          // in one .cpp file
//
// OVN_CLASS is here, reached through OVNObject.h, because every class body needs it; it
// costs a forward declaration. OVN_PROPERTIES, OVN_RESPONDS_TO and the type table live in
// "Platform/Objects/OVNProperties.h", which only the one .cpp with the list includes.

#include <string_view>

class OVNClass;

#define OVN_CLASS(Name, Base) OVN_CLASS_NAMED(Name, Base, #Name)

// As OVN_CLASS, for a class known by another name at run time (the platform classes the
// library re-creates keep the platform's names: OVNURL is "NSURL").
#define OVN_CLASS_NAMED(Name, Base, RuntimeName)                           \
 public:                                                                   \
  using OVNSuper = Base;                                                   \
  static constexpr std::string_view ovnClassName = RuntimeName;            \
  static const ::OVNClass& classObject();                                  \
  const ::OVNClass& objectClass() const override { return classObject(); } \
                                                                           \
 private:
