#include "Categories/NSArray+OvrinCore.h"

namespace {

// The receiver's elements in a new mutable array, for the edits below; the edit's own
// range checks then behave as the platform's mutable array does.
OVNArrayRef editable(const OVNArrayRef& receiver) { return receiver ? receiver->mutableCopy() : OVNArray::make(); }
std::size_t countOf(const OVNArrayRef& receiver) { return receiver ? receiver->count() : 0; }

}  // namespace

bool ovn_isEmpty(const OVNArrayRef& array) { return !array || array->empty(); }

OVNArrayRef ovn_reversedArray(const OVNArrayRef& receiver) {
  if (!receiver) return OVNArray::make({}, false);
  return std::make_shared<OVNArray>(std::vector<OVNValue>(receiver->members().rbegin(), receiver->members().rend()),
                                    false);
}

OVNArrayRef ovn_arrayByAddingObject(const OVNArrayRef& receiver, OVNValue object) {
  OVNArrayRef result = editable(receiver);
  result->add(std::move(object));
  return result->copy();
}

OVNArrayRef ovn_arrayByInsertingObject(const OVNArrayRef& receiver, OVNValue object, std::size_t index) {
  if (index > countOf(receiver)) return receiver;
  OVNArrayRef result = editable(receiver);
  result->insert(std::move(object), index);
  return result->copy();
}

OVNArrayRef ovn_arrayByReplacingObjectAtIndex(const OVNArrayRef& receiver, std::size_t index, OVNValue object) {
  if (object.isMissing() || index > countOf(receiver)) return receiver;
  OVNArrayRef result = editable(receiver);
  result->replace(index, std::move(object));
  return result->copy();
}

OVNArrayRef ovn_arrayByRemovingObject(const OVNArrayRef& receiver, const OVNValue& object) {
  OVNArrayRef result = editable(receiver);
  result->removeObject(object);
  return result->copy();
}

OVNArrayRef ovn_arrayByRemovingObjectAtIndex(const OVNArrayRef& receiver, std::size_t index) {
  if (index > countOf(receiver)) return receiver;
  OVNArrayRef result = editable(receiver);
  result->removeAt(index);
  return result->copy();
}

OVNArrayRef ovn_arrayByMovingObjectAtIndex(const OVNArrayRef& receiver, std::size_t from, std::size_t to) {
  if (to > countOf(receiver)) return receiver;
  OVNArrayRef result = editable(receiver);
  OVNValue moving = result->at(from);
  result->removeAt(from);
  result->insert(std::move(moving), to);
  return result->copy();
}

OVNArrayRef ovn_mapObjectsUsingBlock(const OVNArrayRef& receiver, const OVNArrayMapBlock& block) {
  std::vector<OVNValue> results;
  if (!receiver) return OVNArray::make({}, false);
  bool stop = false;
  for (std::size_t i = 0; i < receiver->count() && !stop; ++i) {
    OVNValue result = block(receiver->at(i), i, &stop);
    if (result.isPresent()) results.push_back(std::move(result));
  }
  return std::make_shared<OVNArray>(std::move(results), false);
}

OVNArrayRef ovn_filterObjectsUsingBlock(const OVNArrayRef& receiver, const OVNArrayFilterBlock& block) {
  std::vector<OVNValue> kept;
  if (!receiver) return OVNArray::make({}, false);
  bool stop = false;
  for (std::size_t i = 0; i < receiver->count() && !stop; ++i) {
    const OVNValue& element = receiver->at(i);
    if (block(element, i, &stop)) kept.push_back(element);
  }
  return std::make_shared<OVNArray>(std::move(kept), false);
}
