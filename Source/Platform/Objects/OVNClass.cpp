#include "Platform/Objects/OVNClass.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <shared_mutex>

#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"

namespace {
struct Registry {
  std::shared_mutex lock;
  std::unordered_map<std::string, const OVNClass*> byName;
  std::mutex hookLock;
  std::unordered_map<const OVNClass*, std::set<std::string, std::less<>>> hooks;
};

Registry& registry() {
  static Registry* instance = new Registry();  // never destroyed: classes outlive static teardown
  return *instance;
}

void registerClass(const OVNClass& cls) {
  auto& r = registry();
  std::unique_lock guard(r.lock);
  r.byName.emplace(cls.name(), &cls);
}

// The platform's value classes, built once, indexed by value kind.
struct ValueClasses {
  const OVNClass* byKind[13] = {};
  const OVNClass* mutableByKind[13] = {};
};

const ValueClasses& valueClasses() {
  static const ValueClasses classes = [] {
    ValueClasses c;
    const OVNClass* root = &OVNObject::classObject();
    auto add = [&](const char* name, const OVNClass* super, OVNValueKind kind, bool isMutable) {
      const OVNClass& cls = OVNClass::valueClass(name, super, kind, isMutable);
      (isMutable ? c.mutableByKind : c.byKind)[static_cast<int>(kind)] = &cls;
      return &cls;
    };
    add("NSNull", root, OVNValueKind::Null, false);
    const OVNClass* value = add("NSValue", root, OVNValueKind::Boxed, false);
    add("NSNumber", value, OVNValueKind::Number, false);
    add("NSString", root, OVNValueKind::String, false);
    add("NSData", root, OVNValueKind::Data, false);
    add("NSDate", root, OVNValueKind::Date, false);
    add("NSMutableArray", add("NSArray", root, OVNValueKind::Array, false), OVNValueKind::Array, true);
    add("NSMutableDictionary", add("NSDictionary", root, OVNValueKind::Dictionary, false), OVNValueKind::Dictionary,
        true);
    add("NSMutableSet", add("NSSet", root, OVNValueKind::Set, false), OVNValueKind::Set, true);
    add("NSMutableOrderedSet", add("NSOrderedSet", root, OVNValueKind::OrderedSet, false), OVNValueKind::OrderedSet,
        true);
    add("NSBlock", root, OVNValueKind::Block, false);
    return c;
  }();
  return classes;
}

bool isMutableContainer(const OVNValue& v) {
  switch (v.kind()) {
    case OVNValueKind::Array: return v.array()->isMutable();
    case OVNValueKind::Dictionary: return v.dictionary()->isMutable();
    case OVNValueKind::Set: return v.set()->isMutable();
    case OVNValueKind::OrderedSet: return v.orderedSet()->isMutable();
    default: return false;
  }
}

// The class a value is an instance of.
const OVNClass* classOfValue(const OVNValue& v) {
  if (v.isMissing()) return nullptr;
  if (auto object = v.object()) return &object->objectClass();
  const auto& classes = valueClasses();
  const int kind = static_cast<int>(v.kind());
  if (isMutableContainer(v)) return classes.mutableByKind[kind];
  return classes.byKind[kind];
}
}  // namespace

OVNClass::OVNClass(std::string name, const OVNClass* superclass, Factory factory, std::vector<OVNProperty> properties)
    : name_(std::move(name)),
      superclass_(superclass),
      factory_(std::move(factory)),
      properties_(std::move(properties)) {
  indexProperties();
  registerClass(*this);
}

OVNClass::OVNClass(ValueTag, std::string name, const OVNClass* superclass, OVNValueKind kind, bool mutableVariant)
    : name_(std::move(name)), superclass_(superclass), valueKind_(kind), mutableVariant_(mutableVariant) {
  registerClass(*this);
}

const OVNClass& OVNClass::valueClass(std::string name, const OVNClass* superclass, OVNValueKind kind,
                                     bool isMutableVariant) {
  static auto* storage = new std::vector<std::unique_ptr<OVNClass>>();  // lives for the process
  storage->push_back(
      std::unique_ptr<OVNClass>(new OVNClass(ValueTag{}, std::move(name), superclass, kind, isMutableVariant)));
  return *storage->back();
}

void OVNClass::indexProperties() {
  for (const auto& p : properties_) ownIndex_.emplace(p.name(), &p);
  if (superclass_) allIndex_ = superclass_->allIndex_;
  for (const auto& p : properties_) allIndex_.insert_or_assign(p.name(), &p);
}

const OVNProperty* OVNClass::ownProperty(std::string_view name) const {
  auto it = ownIndex_.find(name);
  return it == ownIndex_.end() ? nullptr : it->second;
}

const OVNProperty* OVNClass::property(std::string_view name) const {
  auto it = allIndex_.find(name);
  return it == allIndex_.end() ? nullptr : it->second;
}

OVNObjectRef OVNClass::createInstance() const { return factory_ ? factory_() : nullptr; }

bool OVNClass::isSubclassOfClass(const OVNClass& other) const {
  for (const OVNClass* c = this; c; c = c->superclass_) {
    if (c == &other) return true;
  }
  return false;
}

bool OVNClass::isInstance(const OVNValue& value) const {
  const OVNClass* cls = classOfValue(value);
  return cls && cls->isSubclassOfClass(*this);
}

void OVNClass::addHook(std::string name) const {
  auto& r = registry();
  std::lock_guard guard(r.hookLock);
  r.hooks[this].insert(std::move(name));
}

bool OVNClass::hasHook(std::string_view name) const {
  auto& r = registry();
  std::lock_guard guard(r.hookLock);
  for (const OVNClass* c = this; c; c = c->superclass_) {
    auto it = r.hooks.find(c);
    if (it != r.hooks.end() && it->second.count(name)) return true;
  }
  return false;
}

const OVNClass* OVNClass::named(std::string_view name) {
  valueClasses();  // the value classes register on first use of the registry
  if (name == "OVNObject") return &OVNObject::classObject();
  auto& r = registry();
  std::shared_lock guard(r.lock);
  auto it = r.byName.find(std::string(name));
  return it == r.byName.end() ? nullptr : it->second;
}

std::vector<std::string> OVNClass::registeredNames() {
  valueClasses();
  auto& r = registry();
  std::shared_lock guard(r.lock);
  std::vector<std::string> names;
  for (const auto& entry : r.byName) names.push_back(entry.first);
  std::sort(names.begin(), names.end());
  return names;
}
