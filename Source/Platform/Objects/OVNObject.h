#pragma once
// OVNObject: the root of every library and model class.
//
// Objects are reference types held by std::shared_ptr and made by static factories
// (`OVNMake<T>(...)` or a class's own `create...`), which run the virtual `didCreate` hook
// after construction, when virtual calls reach the most-derived class.
//
// Each class carries an OVNClass (declare it with OVN_CLASS and OVN_PROPERTIES, see
// OVNObjectMacros.h and OVNProperties.h) that lists its properties; key-value coding reads and writes them by
// name and key path, boxing scalars into numbers, and key-value observation reports their
// changes. Key-value coding of one object is as thread-safe as its members: reading while
// another thread writes the same member is a data race, as for any C++ member.
// Observation registration is thread-safe; notifications are delivered synchronously on
// the thread that made the change, with no lock held.
//
// Memory: an object costs its members plus a 32-byte header (virtual table pointer, the
// weak self-reference of std::enable_shared_from_this, one pointer to observation state
// that stays null until something observes the object).

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/Objects/OVNKeyValueObserving.h"
#include "Platform/Values/OVNValue.h"

class OVNClass;
class OVNCoder;
namespace ovn::detail {
class ObservationInfo;
}

class OVN_EXPORT OVNObject : public std::enable_shared_from_this<OVNObject> {
 public:
  //! The root's platform class name; OVNClass::named("OVNObject") finds it too.
  static constexpr std::string_view ovnClassName = "NSObject";

  OVNObject() = default;
  //! Copies start with no observers and a fresh identity.
  OVNObject(const OVNObject&) : std::enable_shared_from_this<OVNObject>() {}
  OVNObject& operator=(const OVNObject&) { return *this; }
  virtual ~OVNObject();

  //! The class of this type (static) and of this object (dynamic).
  static const OVNClass& classObject();
  virtual const OVNClass& objectClass() const;
  const std::string& className() const;
  bool isKindOfClass(const OVNClass& cls) const;
  bool isMemberOfClass(const OVNClass& cls) const;

  //! A shared pointer to this object; non-owning (but non-null) when the object is not
  //! held by a shared_ptr.
  OVNObjectRef self();
  std::shared_ptr<const OVNObject> self() const;

  // Description, equality, hashing, copying.
  //! "<ClassName: 0x...>" unless a subclass says more.
  virtual std::string description() const;
  virtual std::string debugDescription() const { return description(); }
  //! Identity unless a subclass compares values.
  virtual bool isEqual(const OVNObject& other) const;
  virtual std::size_t hash() const;
  //! Whether copy() / mutableCopy() are supported; calling them otherwise throws.
  virtual bool supportsCopying() const { return false; }
  virtual OVNObjectRef copy() const;
  virtual bool supportsMutableCopying() const { return false; }
  virtual OVNObjectRef mutableCopy() const;

  // Keyed coding (archives, see OVNKeyedArchiver). A class takes part by answering true to
  // supportsKeyedCoding and overriding the two coding operations, calling its base's first.
  // Coding runs on the thread that archives or unarchives.
  //! Whether archivers may write this object (NSCoding); false unless a class says so.
  virtual bool supportsKeyedCoding() const { return false; }
  //! Whether a secure unarchiver may restore this class (NSSecureCoding); false by default.
  virtual bool supportsSecureCoding() const { return false; }
  //! Writes the object's fields into `coder` under their keys; the root writes none.
  virtual void encodeWithCoder(OVNCoder& coder) const;
  //! Restores the fields of a fresh instance (made by its class's factory) from `coder`;
  //! false means failure. The root has nothing to restore and succeeds.
  virtual bool initWithCoder(OVNCoder& coder);

  //! "Responds to": true for the getter of any property of the class chain, for
  //! "setName:" of writable ones, and for hooks the class declared with OVN_RESPONDS_TO.
  bool respondsTo(std::string_view name) const;

  // Key-value coding.
  //! The property's value (scalars boxed as numbers); an unknown key calls
  //! valueForUndefinedKey, which throws NSUnknownKeyException.
  OVNValue valueForKey(std::string_view key) const;
  //! Stores through the property (announcing the change to observers unless
  //! automaticallyNotifiesObserversForKey says no). Unknown or read-only keys call
  //! setValueForUndefinedKey; a missing value for a scalar calls setNilValueForKey; a value
  //! of the wrong kind throws NSInvalidArgumentException.
  void setValue(const OVNValue& value, std::string_view key);
  OVNValue valueForKeyPath(std::string_view keyPath) const;
  void setValueForKeyPath(const OVNValue& value, std::string_view keyPath);
  virtual OVNValue valueForUndefinedKey(std::string_view key) const;
  virtual void setValueForUndefinedKey(const OVNValue& value, std::string_view key);
  virtual void setNilValueForKey(std::string_view key);

  // Key-value observation.
  //! Registers `observer` for changes of `keyPath` (dotted paths follow every level).
  //! With OVNKeyValueObservingOptionInitial the observer is told once, at once. The
  //! observer is held weakly when it is owned by a shared_ptr, otherwise it must outlive
  //! the registration.
  void addObserver(OVNObject& observer, std::string_view keyPath, std::uint64_t options, void* context);
  //! Removes the most recent matching registration; removing one that does not exist is a
  //! programming error (NSRangeException), as on the platform.
  void removeObserver(OVNObject& observer, std::string_view keyPath, void* context);
  void removeObserver(OVNObject& observer, std::string_view keyPath);
  //! Announce a change made outside key-value coding; calls must pair up, per thread.
  void willChangeValueForKey(std::string_view key);
  void didChangeValueForKey(std::string_view key);
  //! Called on the observer for each change (on the changing thread).
  virtual void observeValueForKeyPath(const std::string& keyPath, const OVNObjectRef& object,
                                      const OVNDictionaryRef& change, void* context);
  virtual bool automaticallyNotifiesObserversForKey(std::string_view key) const { return true; }
  //! Whether any registration is live on this object.
  bool hasObservers() const;

 protected:
  //! Run by the factories once the object is fully constructed.
  virtual void didCreate() {}

  template <class T, class... Args>
  friend std::shared_ptr<T> OVNMake(Args&&... args);

 private:
  ovn::detail::ObservationInfo& observationInfo();
  friend class ovn::detail::ObservationInfo;

  std::atomic<ovn::detail::ObservationInfo*> observationInfo_{nullptr};
};

//! Makes an object of class T and runs its didCreate hook.
template <class T, class... Args>
std::shared_ptr<T> OVNMake(Args&&... args) {
  auto object = std::make_shared<T>(std::forward<Args>(args)...);
  static_cast<OVNObject&>(*object).didCreate();
  return object;
}

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObjectMacros.h"
