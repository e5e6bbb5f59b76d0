#include "Platform/Objects/OVNObject.h"

#include <cctype>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNPropertyTraits.h"
#include "Platform/Objects/detail/OVNObservationInfo.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

namespace {
// `superclass` of the root's property table: the superclass's name, as a class reads.
class SuperclassAccessor final : public OVNPropertyAccessor {
 public:
  OVNValue get(const OVNObject& object) const override {
    const OVNClass* super = object.objectClass().superclass();
    return super ? OVNValue(super->name()) : OVNValue();
  }
  SetResult set(OVNObject&, const OVNValue&) const override { return SetResult::Mismatch; }
};

std::string setterName(std::string_view property) {
  std::string name = "set" + std::string(property) + ":";
  name[3] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[3])));
  return name;
}
}  // namespace

const OVNClass& OVNObject::classObject() {
  static const OVNClass cls(
      std::string(ovnClassName), nullptr, [] { return OVNMake<OVNObject>(); },
      std::vector<OVNProperty>{
          ovn::detail::makeProperty<OVNObject>("hash", &OVNObject::hash),
          OVNProperty("superclass", "T#,R,N", std::make_shared<SuperclassAccessor>()),
          ovn::detail::makeProperty<OVNObject>("description", &OVNObject::description),
          ovn::detail::makeProperty<OVNObject>("debugDescription", &OVNObject::debugDescription),
      });
  return cls;
}

namespace {
[[maybe_unused]] const OVNClass& rootRegistration = OVNObject::classObject();
}

OVNObject::~OVNObject() { delete observationInfo_.load(std::memory_order_acquire); }

const OVNClass& OVNObject::objectClass() const { return classObject(); }
const std::string& OVNObject::className() const { return objectClass().name(); }
bool OVNObject::isKindOfClass(const OVNClass& cls) const { return objectClass().isSubclassOfClass(cls); }
bool OVNObject::isMemberOfClass(const OVNClass& cls) const { return &objectClass() == &cls; }

OVNObjectRef OVNObject::self() {
  if (auto strong = weak_from_this().lock()) return strong;
  return OVNObjectRef(OVNObjectRef(), this);  // non-owning: the object is not held by a shared_ptr
}

std::shared_ptr<const OVNObject> OVNObject::self() const {
  if (auto strong = weak_from_this().lock()) return strong;
  return std::shared_ptr<const OVNObject>(std::shared_ptr<const OVNObject>(), this);
}

std::string OVNObject::description() const {
  return OVNFormat("<%@: %p>", className(), static_cast<const void*>(this));
}

bool OVNObject::isEqual(const OVNObject& other) const { return this == &other; }
std::size_t OVNObject::hash() const { return std::hash<const void*>()(this); }

OVNObjectRef OVNObject::copy() const {
  OVNException::raise(OVNInvalidArgumentException,
                      OVNFormat("-[%@ copyWithZone:]: unrecognized selector sent to instance %p", className(),
                                static_cast<const void*>(this)));
}

OVNObjectRef OVNObject::mutableCopy() const {
  OVNException::raise(OVNInvalidArgumentException,
                      OVNFormat("-[%@ mutableCopyWithZone:]: unrecognized selector sent to instance %p", className(),
                                static_cast<const void*>(this)));
}

void OVNObject::encodeWithCoder(OVNCoder&) const {}
bool OVNObject::initWithCoder(OVNCoder&) { return true; }

bool OVNObject::respondsTo(std::string_view name) const {
  const OVNClass& cls = objectClass();
  if (cls.property(name)) return true;
  if (name.size() > 4 && name.substr(0, 3) == "set" && name.back() == ':') {
    std::string property(name.substr(3, name.size() - 4));
    property[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(property[0])));
    const OVNProperty* p = cls.property(property);
    if (p && !p->isReadOnly() && setterName(property) == name) return true;
  }
  return cls.hasHook(name);
}

// ---- key-value coding -------------------------------------------------------------------

OVNValue OVNObject::valueForKey(std::string_view key) const {
  const OVNProperty* property = objectClass().property(key);
  if (!property) return valueForUndefinedKey(key);
  return property->get(*this);
}

void OVNObject::setValue(const OVNValue& value, std::string_view key) {
  const OVNProperty* property = objectClass().property(key);
  if (!property || property->isReadOnly()) {
    setValueForUndefinedKey(value, key);
    return;
  }
  const bool announce = hasObservers() && automaticallyNotifiesObserversForKey(key);
  if (announce) willChangeValueForKey(key);
  OVNPropertyAccessor::SetResult result;
  try {
    result = property->set(*this, value);
    if (result == OVNPropertyAccessor::SetResult::Nil) setNilValueForKey(key);
  } catch (...) {
    if (announce) observationInfo().discardPending(key);
    throw;
  }
  if (result == OVNPropertyAccessor::SetResult::Mismatch) {
    if (announce) observationInfo().discardPending(key);
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("-[%@ setValue:forKey:]: a value of class %@ does not fit the property '%@' (%@)",
                                  className(), value.className(), key, property->attributes()));
  }
  if (announce) didChangeValueForKey(key);
}

OVNValue OVNObject::valueForKeyPath(std::string_view keyPath) const {
  const auto dot = keyPath.find('.');
  if (dot == std::string_view::npos) return valueForKey(keyPath);
  return valueForKey(keyPath.substr(0, dot)).valueForKeyPath(keyPath.substr(dot + 1));
}

void OVNObject::setValueForKeyPath(const OVNValue& value, std::string_view keyPath) {
  const auto dot = keyPath.find('.');
  if (dot == std::string_view::npos) {
    setValue(value, keyPath);
    return;
  }
  const OVNValue next = valueForKey(keyPath.substr(0, dot));
  const auto rest = keyPath.substr(dot + 1);
  if (auto object = next.object())
    object->setValueForKeyPath(value, rest);
  else if (auto dictionary = next.dictionary())
    dictionary->setValueForKeyPath(value, rest);
}

OVNValue OVNObject::valueForUndefinedKey(std::string_view key) const {
  OVNException::raise(OVNUndefinedKeyException,
                      OVNFormat("[<%@ %p> valueForUndefinedKey:]: this class is not key value coding-compliant for "
                                "the key %@.",
                                className(), static_cast<const void*>(this), key));
}

void OVNObject::setValueForUndefinedKey(const OVNValue&, std::string_view key) {
  OVNException::raise(OVNUndefinedKeyException,
                      OVNFormat("[<%@ %p> setValue:forUndefinedKey:]: this class is not key value coding-compliant "
                                "for the key %@.",
                                className(), static_cast<const void*>(this), key));
}

void OVNObject::setNilValueForKey(std::string_view key) {
  OVNException::raise(OVNInvalidArgumentException,
                      OVNFormat("[<%@ %p> setNilValueForKey]: could not set nil as the value for the key %@.",
                                className(), static_cast<const void*>(this), key));
}

// ---- key-value observation --------------------------------------------------------------

ovn::detail::ObservationInfo& OVNObject::observationInfo() {
  auto* info = observationInfo_.load(std::memory_order_acquire);
  if (info) return *info;
  auto* fresh = new ovn::detail::ObservationInfo(*this);
  if (observationInfo_.compare_exchange_strong(info, fresh, std::memory_order_acq_rel)) return *fresh;
  delete fresh;  // another thread won
  return *info;
}

bool OVNObject::hasObservers() const {
  auto* info = observationInfo_.load(std::memory_order_acquire);
  return info && !info->empty();
}

void OVNObject::addObserver(OVNObject& observer, std::string_view keyPath, std::uint64_t options, void* context) {
  observationInfo().add(observer, keyPath, options, context);
}

void OVNObject::removeObserver(OVNObject& observer, std::string_view keyPath, void* context) {
  observationInfo().remove(observer, keyPath, context, true);
}

void OVNObject::removeObserver(OVNObject& observer, std::string_view keyPath) {
  observationInfo().remove(observer, keyPath, nullptr, false);
}

void OVNObject::willChangeValueForKey(std::string_view key) {
  if (auto* info = observationInfo_.load(std::memory_order_acquire)) info->willChange(key);
}

void OVNObject::didChangeValueForKey(std::string_view key) {
  if (auto* info = observationInfo_.load(std::memory_order_acquire)) info->didChange(key);
}

void OVNObject::observeValueForKeyPath(const std::string& keyPath, const OVNObjectRef& object,
                                       const OVNDictionaryRef& change, void* context) {
  // The platform raises here for an observer that did not override; an observer that
  // registered without a handler simply ignores the change.
}
