#include "Platform/Values/OVNOrderedSet.h"

#include <algorithm>

#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNFormat.h"
#include "Platform/Values/detail/OVNDescription.h"

OVNOrderedSetRef OVNOrderedSet::make(std::initializer_list<OVNValue> members, bool isMutable) {
  auto set = std::make_shared<OVNOrderedSet>(true);
  for (const auto& m : members) set->add(m);
  set->mutable_ = isMutable;
  return set;
}

const OVNValue& OVNOrderedSet::at(std::size_t index) const {
  if (index >= members_.size()) {
    OVNException::raise(OVNRangeException,
                        OVNFormat("index %lu beyond bounds [0 .. %ld]", index, static_cast<long>(members_.size()) - 1));
  }
  return members_[index];
}

std::size_t OVNOrderedSet::indexOfObject(const OVNValue& value) const {
  if (!contains(value)) return static_cast<std::size_t>(-1);
  return static_cast<std::size_t>(std::find(members_.begin(), members_.end(), value) - members_.begin());
}

void OVNOrderedSet::requireMutable(const char* operation) const {
  if (!mutable_) {
    OVNException::raise(OVNInternalInconsistencyException,
                        OVNFormat("-[NSOrderedSet %s]: mutating method sent to immutable object", operation));
  }
}

void OVNOrderedSet::add(OVNValue value) {
  requireMutable("addObject:");
  if (value.isMissing())
    OVNException::raise(OVNInvalidArgumentException, "-[NSMutableOrderedSet addObject:]: object cannot be nil");
  if (index_.insert(value).second) members_.push_back(std::move(value));
}

void OVNOrderedSet::remove(const OVNValue& value) {
  requireMutable("removeObject:");
  if (index_.erase(value) != 0) members_.erase(std::find(members_.begin(), members_.end(), value));
}

void OVNOrderedSet::removeAll() {
  requireMutable("removeAllObjects");
  members_.clear();
  index_.clear();
}

OVNOrderedSetRef OVNOrderedSet::copy() const {
  auto result = std::make_shared<OVNOrderedSet>(*this);
  result->mutable_ = false;
  return result;
}

OVNOrderedSetRef OVNOrderedSet::mutableCopy() const {
  auto result = std::make_shared<OVNOrderedSet>(*this);
  result->mutable_ = true;
  return result;
}

bool OVNOrderedSet::isEqual(const OVNOrderedSet& other) const { return members_ == other.members_; }

std::string OVNOrderedSet::descriptionWithIndent(int level) const {
  std::string out = "{(\n";
  for (std::size_t i = 0; i < members_.size(); ++i) {
    out += ovn::detail::indentation(level + 1) + ovn::detail::memberDescription(members_[i], level + 1);
    out += i + 1 < members_.size() ? ",\n" : "\n";
  }
  return out + ovn::detail::indentation(level) + ")}";
}
