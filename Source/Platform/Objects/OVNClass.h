#pragma once
// The run-time class of OVNObject subclasses and of the platform's value classes: name,
// superclass, a factory for a default instance, and the properties the class itself
// declares, in declaration order. A registry finds classes by name.
//
// Classes are built once (on first use or when their library is loaded) and never change
// afterwards, so they may be read from any thread. Registration is thread-safe.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNProperty.h"
#include "Platform/Values/OVNStringMap.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNClass {
 public:
  using Factory = std::function<OVNObjectRef()>;

  //! Builds and registers a class. `factory` is empty for abstract classes.
  OVNClass(std::string name, const OVNClass* superclass, Factory factory, std::vector<OVNProperty> properties);
  //! A platform value class (NSString, NSNumber, ...) describing values of `kind`;
  //! `isMutableVariant` marks NSMutableArray and its kin.
  static const OVNClass& valueClass(std::string name, const OVNClass* superclass, OVNValueKind kind,
                                    bool isMutableVariant);
  OVNClass(const OVNClass&) = delete;
  OVNClass& operator=(const OVNClass&) = delete;

  const std::string& name() const { return name_; }
  const OVNClass* superclass() const { return superclass_; }
  //! Properties this class itself declares, in declaration order.
  const std::vector<OVNProperty>& properties() const { return properties_; }
  //! A property of this class only, or null.
  const OVNProperty* ownProperty(std::string_view name) const;
  //! The property reached by key-value coding: this class's own declaration, else the
  //! nearest ancestor's; null when no class in the chain declares it.
  const OVNProperty* property(std::string_view name) const;

  //! A new default instance made by the factory (its didCreate hook run), or null for
  //! abstract classes and value classes.
  OVNObjectRef createInstance() const;
  bool isAbstract() const { return !factory_; }

  //! True when this class is `other` or descends from it.
  bool isSubclassOfClass(const OVNClass& other) const;
  //! For a platform value class: the value kind it describes.
  std::optional<OVNValueKind> valueKind() const { return valueKind_; }
  bool isMutableVariant() const { return mutableVariant_; }
  //! Whether a value is an instance of this class or of a subclass.
  bool isInstance(const OVNValue& value) const;

  //! Optional hooks the class offers (names of operations, for "responds to").
  void addHook(std::string name) const;
  bool hasHook(std::string_view name) const;

  //! The registered class with that name, or null. Also finds the root under "OVNObject".
  static const OVNClass* named(std::string_view name);
  //! Every registered class name (sorted); for diagnostics.
  static std::vector<std::string> registeredNames();

 private:
  struct ValueTag {};
  OVNClass(ValueTag, std::string name, const OVNClass* superclass, OVNValueKind kind, bool mutableVariant);
  void indexProperties();

  using PropertyIndex = OVNStringMap<const OVNProperty*>;

  std::string name_;
  const OVNClass* superclass_ = nullptr;
  Factory factory_;
  std::vector<OVNProperty> properties_;
  PropertyIndex ownIndex_;
  PropertyIndex allIndex_;
  std::optional<OVNValueKind> valueKind_;
  bool mutableVariant_ = false;
};
