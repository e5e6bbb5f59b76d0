#include "Cache/detail/OVNCacheMemoryLayer.h"

namespace ovn::detail {

OVNCachedContentRef OVNCacheMemoryLayer::record(std::string_view key) {
  // A class test rather than dynamic_pointer_cast: this is every lookup's path.
  OVNObjectRef stored = store_.objectForKey(key).object();
  if (!stored || !stored->isKindOfClass(OVNCachedContent::classObject())) return nullptr;
  return std::static_pointer_cast<OVNCachedContent>(std::move(stored));
}

OVNValue OVNCacheMemoryLayer::unexpiredObject(std::string_view key) {
  OVNCachedContentRef found = record(key);
  if (!found) return {};
  if (OVNExpirable::isExpired(found->expires())) {
    store_.removeObjectForKey(key);
    return {};
  }
  return found->object();
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
