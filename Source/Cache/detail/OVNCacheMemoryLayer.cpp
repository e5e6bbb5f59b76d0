#include "Cache/detail/OVNCacheMemoryLayer.h"

#include "Platform/Objects/OVNClass.h"

namespace ovn::detail {

namespace {

// The record a stored value holds, without taking a reference (every lookup's path: a class
// test instead of a dynamic cast, no reference-count traffic); valid while `stored` lives.
const OVNCachedContent* recordIn(const OVNValue& stored) {
  OVNObject* object = stored.objectPointer();
  if (!object) return nullptr;
  const OVNClass& recordClass = OVNCachedContent::classObject();
  if (&object->objectClass() != &recordClass && !object->isKindOfClass(recordClass)) return nullptr;
  return static_cast<const OVNCachedContent*>(object);
}

}  // namespace

OVNCachedContentRef OVNCacheMemoryLayer::record(std::string_view key) {
  const OVNValue stored = store_.objectForKey(key);
  return recordIn(stored) ? std::static_pointer_cast<OVNCachedContent>(stored.object()) : nullptr;
}

// Read in place: a copy of the record would write its reference count, a cache line the
// other threads reading the same record then have to fetch back.
OVNValue OVNCacheMemoryLayer::unexpiredObject(std::string_view key) {
  OVNValue object;
  bool expired = false;
  store_.visitObjectForKey(key, [&](const OVNValue& stored) {
    const OVNCachedContent* found = recordIn(stored);
    if (!found) return;
    expired = OVNExpirable::isExpired(found->expires());
    if (!expired) object = found->object();
  });
  if (expired) store_.removeObjectForKey(key);
  return object;
}

std::optional<bool> OVNCacheMemoryLayer::holdsUnexpired(std::string_view key) {
  const OVNValue stored = store_.objectForKey(key);
  if (stored.isMissing()) return std::nullopt;
  const auto* expirable = dynamic_cast<const OVNExpirable*>(stored.object().get());
  if (!expirable) return true;
  return OVNExpirable::expiryDistanceFromNow(expirable->expires()) >= 0;
}

OVNCachedContentRef OVNCacheMemoryLayer::put(std::string_view key, OVNValue object, std::optional<OVNDate> expires) {
  auto content = OVNCachedContent::cachedContentWithObject(std::move(object), expires);
  store_.setObject(content, key);
  return content;
}

}  // namespace ovn::detail
