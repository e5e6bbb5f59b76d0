#include "Cache/OVNCachedContent.h"

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNCoder.h"

OVN_PROPERTIES(OVNCachedContent, (object, setObject), (expires, setExpires))

namespace {
constexpr std::string_view kObjectKey = "object";
constexpr std::string_view kExpiresKey = "expires";

std::size_t hashOf(const std::optional<OVNDate>& date) { return date ? OVNValue(*date).hash() : 0; }
}  // namespace

std::shared_ptr<OVNCachedContent> OVNCachedContent::cachedContentWithObject(OVNValue object,
                                                                            std::optional<OVNDate> expires) {
  auto content = OVNMake<OVNCachedContent>();
  content->object_ = std::move(object);
  content->expires_ = expires;
  return content;
}

bool OVNCachedContent::isEqual(const OVNObject& other) const {
  if (&other == this) return true;
  const auto* record = dynamic_cast<const OVNCachedContent*>(&other);
  if (!record) return false;
  // The receiver's own value and expiry are asked first: without them nothing is equal.
  if (object_.isMissing() || !object_.isEqual(record->object_)) return false;
  return expires_ && record->expires_ && *expires_ == *record->expires_;
}

std::size_t OVNCachedContent::hash() const { return (object_.isMissing() ? 0 : object_.hash()) ^ hashOf(expires_); }

OVNObjectRef OVNCachedContent::copy() const {
  auto record = std::dynamic_pointer_cast<OVNCachedContent>(objectClass().createInstance());
  if (!record) record = OVNMake<OVNCachedContent>();
  record->object_ = object_;
  record->expires_ = expires_;
  return record;
}

void OVNCachedContent::encodeWithCoder(OVNCoder& coder) const {
  coder.encodeObject(object_, kObjectKey);
  coder.encodeObject(expires_ ? OVNValue(*expires_) : OVNValue(), kExpiresKey);
}

bool OVNCachedContent::initWithCoder(OVNCoder& coder) {
  object_ = coder.decodeObjectForKey(kObjectKey);
  expires_ = coder.decodeObjectForKey(kExpiresKey).date();
  return true;
}
