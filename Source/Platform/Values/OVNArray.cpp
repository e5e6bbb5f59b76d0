#include "Platform/Values/OVNArray.h"

#include <algorithm>

#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNFormat.h"
#include "Platform/Values/detail/OVNDescription.h"

OVNArrayRef OVNArray::make(std::initializer_list<OVNValue> members, bool isMutable) {
  return make(std::vector<OVNValue>(members), isMutable);
}

OVNArrayRef OVNArray::make(std::vector<OVNValue> members, bool isMutable) {
  for (const auto& m : members) {
    if (m.isMissing()) OVNException::raise(OVNInvalidArgumentException, "array members cannot be nil");
  }
  return std::make_shared<OVNArray>(std::move(members), isMutable);
}

const OVNValue& OVNArray::at(std::size_t index) const {
  if (index >= members_.size()) {
    OVNException::raise(OVNRangeException,
                        OVNFormat("index %lu beyond bounds [0 .. %ld]", index, static_cast<long>(members_.size()) - 1));
  }
  return members_[index];
}

OVNValue OVNArray::firstObject() const { return members_.empty() ? OVNValue() : members_.front(); }
OVNValue OVNArray::lastObject() const { return members_.empty() ? OVNValue() : members_.back(); }

bool OVNArray::containsObject(const OVNValue& value) const { return indexOfObject(value) != npos; }

std::size_t OVNArray::indexOfObject(const OVNValue& value) const {
  auto it = std::find(members_.begin(), members_.end(), value);
  return it == members_.end() ? npos : static_cast<std::size_t>(it - members_.begin());
}

void OVNArray::requireMutable(const char* operation) const {
  if (!mutable_) {
    OVNException::raise(OVNInternalInconsistencyException,
                        OVNFormat("-[NSArray %s]: mutating method sent to immutable object", operation));
  }
}

void OVNArray::requireValue(const OVNValue& value, const char* operation) const {
  if (value.isMissing()) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("-[NSMutableArray %s]: object cannot be nil", operation));
  }
}

void OVNArray::add(OVNValue value) {
  requireMutable("addObject:");
  requireValue(value, "addObject:");
  members_.push_back(std::move(value));
}

void OVNArray::insert(OVNValue value, std::size_t index) {
  requireMutable("insertObject:atIndex:");
  requireValue(value, "insertObject:atIndex:");
  if (index > members_.size()) at(index);  // raises the range error
  members_.insert(members_.begin() + static_cast<std::ptrdiff_t>(index), std::move(value));
}

void OVNArray::replace(std::size_t index, OVNValue value) {
  requireMutable("replaceObjectAtIndex:withObject:");
  requireValue(value, "replaceObjectAtIndex:withObject:");
  at(index);
  members_[index] = std::move(value);
}

void OVNArray::removeAt(std::size_t index) {
  requireMutable("removeObjectAtIndex:");
  at(index);
  members_.erase(members_.begin() + static_cast<std::ptrdiff_t>(index));
}

void OVNArray::removeObject(const OVNValue& value) {
  requireMutable("removeObject:");
  members_.erase(std::remove(members_.begin(), members_.end(), value), members_.end());
}

void OVNArray::removeAll() {
  requireMutable("removeAllObjects");
  members_.clear();
}

void OVNArray::addAll(const OVNArray& other) {
  requireMutable("addObjectsFromArray:");
  const std::vector<OVNValue> copy = other.members_;  // `other` may be this array
  members_.insert(members_.end(), copy.begin(), copy.end());
}

bool OVNArray::isEqual(const OVNArray& other) const { return members_ == other.members_; }

std::string OVNArray::descriptionWithIndent(int level) const {
  std::string out = "(\n";
  for (std::size_t i = 0; i < members_.size(); ++i) {
    out += ovn::detail::indentation(level + 1) + ovn::detail::memberDescription(members_[i], level + 1);
    out += i + 1 < members_.size() ? ",\n" : "\n";
  }
  return out + ovn::detail::indentation(level) + ")";
}
