#include <array>
#include <atomic>
#include <memory>
#include <string_view>

#include "Categories/NSObject+OvrinCore.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNFormat.h"

OVNCancelableBlock ovn_performBlock(std::function<void()> block, double delay) {
  // Atomic rather than a plain flag: the cancelling thread and the main queue share it.
  auto cancelled = std::make_shared<std::atomic<bool>>(false);
  OVNCancelableBlock handle = [cancelled, block = std::move(block)](bool cancel) {
    if (cancel) {
      cancelled->store(true);
    } else if (!cancelled->load() && block) {
      block();
    }
  };
  OVNDispatchQueue::main()->after(delay, [handle] { handle(false); });
  return handle;
}

void ovn_cancelBlock(const OVNCancelableBlock& handle) {
  if (handle) handle(true);
}

void ovn_performBlockOnMainThread(const std::function<void()>& block) { OVNDispatchQueue::main()->sync(block); }

void ovn_performBlockInBackground(std::function<void()> block) {
  OVNDispatchQueue::global(OVNQualityOfService::Background)->async(std::move(block));
}

namespace {
// The root's own properties, which say nothing about a model; fixed when the library loads.
constexpr std::array<std::string_view, 4> kUndescribedProperties = {"superclass", "hash", "debugDescription",
                                                                    "description"};

bool isDescribed(std::string_view name) {
  for (std::string_view excluded : kUndescribedProperties) {
    if (name == excluded) return false;
  }
  return true;
}
}  // namespace

std::string ovn_autoDescription(const OVNObject& object) {
  return OVNFormat("<%@: %@>", object.className(), ovn_autoDescriptionForClassType(object, object.objectClass()));
}

std::string ovn_autoDescriptionForClassType(const OVNObject& object, const OVNClass& cls) {
  std::string text;
  for (const std::string& entry : ovn_autoPropertiesDescriptionInArrayFormForClassType(object, cls)) {
    if (!text.empty()) text += ", ";
    text += entry;
  }
  return text;
}

std::vector<std::string> ovn_autoPropertiesDescriptionInArrayFormForClassType(const OVNObject& object,
                                                                              const OVNClass& cls) {
  // The class's accessors read the object as that class: anything else would read the
  // wrong memory.
  if (!object.isKindOfClass(cls)) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("ovn_autoPropertiesDescriptionInArrayFormForClassType: a %@ is not a %@",
                                  object.className(), cls.name()));
  }
  std::vector<std::string> entries;
  const OVNClass* super = cls.superclass();
  if (super && super != &OVNObject::classObject()) {
    entries = ovn_autoPropertiesDescriptionInArrayFormForClassType(object, *super);
  }
  for (const OVNProperty& property : cls.properties()) {
    if (!isDescribed(property.name())) continue;
    entries.push_back(OVNFormat("%@=%@", property.name(), property.get(object)));
  }
  return entries;
}
