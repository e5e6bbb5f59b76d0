#include "Platform/Values/OVNSet.h"

#include <algorithm>

#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNFormat.h"
#include "Platform/Values/detail/OVNDescription.h"

OVNSetRef OVNSet::make(std::initializer_list<OVNValue> members, bool isMutable) {
  Storage storage;
  for (const auto& m : members) {
    if (m.isMissing()) OVNException::raise(OVNInvalidArgumentException, "set members cannot be nil");
    storage.insert(m);
  }
  return std::make_shared<OVNSet>(std::move(storage), isMutable);
}

void OVNSet::requireMutable(const char* operation) const {
  if (!mutable_) {
    OVNException::raise(OVNInternalInconsistencyException,
                        OVNFormat("-[NSSet %s]: mutating method sent to immutable object", operation));
  }
}

void OVNSet::add(OVNValue value) {
  requireMutable("addObject:");
  if (value.isMissing())
    OVNException::raise(OVNInvalidArgumentException, "-[NSMutableSet addObject:]: object cannot be nil");
  members_.insert(std::move(value));
}

void OVNSet::remove(const OVNValue& value) {
  requireMutable("removeObject:");
  members_.erase(value);
}

void OVNSet::removeAll() {
  requireMutable("removeAllObjects");
  members_.clear();
}

std::string OVNSet::descriptionWithIndent(int level) const {
  std::vector<std::string> texts;
  texts.reserve(members_.size());
  for (const auto& m : members_) texts.push_back(ovn::detail::memberDescription(m, level + 1));
  std::sort(texts.begin(), texts.end());  // hash order would make the text unstable
  std::string out = "{(\n";
  for (std::size_t i = 0; i < texts.size(); ++i) {
    out += ovn::detail::indentation(level + 1) + texts[i] + (i + 1 < texts.size() ? ",\n" : "\n");
  }
  return out + ovn::detail::indentation(level) + ")}";
}
