#include "Cache/OVNMemoryCache.h"

#include "Cache/detail/OVNCacheMemoryLayer.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNMemoryCache)

namespace {

// The kept second unwrapping of a memory hit: the value found is asked for its `object`.
OVNValue objectOf(const OVNValue& found) {
  const OVNObject* object = found.objectPointer();
  if (object && object->isKindOfClass(OVNCachedContent::classObject())) {
    return static_cast<const OVNCachedContent*>(object)->object();
  }
  if (object && object->respondsTo("object")) return object->valueForKey("object");
  OVNException::raise(OVNInvalidArgumentException,
                      OVNFormat("-[%@ object]: unrecognized selector sent to instance %p", found.className(),
                                object ? static_cast<const void*>(object) : static_cast<const void*>(&found)));
}

}  // namespace

OVNMemoryCache::OVNMemoryCache() : memory_(std::make_unique<ovn::detail::OVNCacheMemoryLayer>()) {}

OVNMemoryCache::~OVNMemoryCache() = default;

std::shared_ptr<OVNMemoryCache> OVNMemoryCache::sharedCache(const OVNClass& receiver) {
  return sharedInstance<OVNMemoryCache>(receiver);
}

void OVNMemoryCache::setUpWithName(std::string name) {
  OVNCache::setUpWithName(std::move(name));
  memory_->setName(this->name());
}

OVNMemoryStore& OVNMemoryCache::internalCache() const { return memory_->store(); }

bool OVNMemoryCache::objectExistsForKey(std::string_view key) { return memory_->holdsUnexpired(key).value_or(false); }

OVNValue OVNMemoryCache::objectForKey(std::string_view key, std::optional<OVNDate> expires,
                                      const ContentBlock& content) {
  const OVNValue found = objectInMemoryForKey(key);
  if (found.isPresent()) return objectOf(found);
  if (!content) return {};
  OVNValue made = content();
  if (made.isMissing()) return {};
  return memory_->put(key, std::move(made), expires)->object();
}

OVNValue OVNMemoryCache::objectInMemoryForKey(std::string_view key) { return memory_->unexpiredObject(key); }

void OVNMemoryCache::setObject(OVNValue object, std::string_view key, std::optional<OVNDate> expires) {
  memory_->put(key, std::move(object), expires);
}

void OVNMemoryCache::removeObjectForKey(std::string_view key) { memory_->remove(key); }

void OVNMemoryCache::removeAllObjects() { memory_->removeAll(); }
