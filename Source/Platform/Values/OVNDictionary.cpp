#include "Platform/Values/OVNDictionary.h"

#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNFormat.h"
#include "Platform/Values/detail/OVNDescription.h"

OVNDictionaryRef OVNDictionary::make(std::initializer_list<std::pair<std::string, OVNValue>> entries, bool isMutable) {
  Storage storage;
  for (const auto& [key, value] : entries) {
    if (value.isMissing()) continue;
    storage.insert_or_assign(key, value);
  }
  return std::make_shared<OVNDictionary>(std::move(storage), isMutable);
}

OVNValue OVNDictionary::objectForKey(std::string_view key) const {
  auto it = entries_.find(key);
  return it == entries_.end() ? OVNValue() : it->second;
}

std::vector<std::string> OVNDictionary::allKeys() const {
  std::vector<std::string> keys;
  keys.reserve(entries_.size());
  for (const auto& entry : entries_) keys.push_back(entry.first);
  return keys;
}

std::vector<OVNValue> OVNDictionary::allValues() const {
  std::vector<OVNValue> values;
  values.reserve(entries_.size());
  for (const auto& entry : entries_) values.push_back(entry.second);
  return values;
}

void OVNDictionary::requireMutable(const char* operation) const {
  if (!mutable_) {
    OVNException::raise(OVNInternalInconsistencyException,
                        OVNFormat("-[NSDictionary %s]: mutating method sent to immutable object", operation));
  }
}

void OVNDictionary::set(std::string_view key, OVNValue value) {
  requireMutable("setValue:forKey:");
  if (value.isMissing()) {
    remove(key);
    return;
  }
  auto it = entries_.find(key);
  if (it != entries_.end())
    it->second = std::move(value);
  else
    entries_.emplace(std::string(key), std::move(value));
}

void OVNDictionary::remove(std::string_view key) {
  requireMutable("removeObjectForKey:");
  auto it = entries_.find(key);
  if (it != entries_.end()) entries_.erase(it);
}

void OVNDictionary::removeAll() {
  requireMutable("removeAllObjects");
  entries_.clear();
}

void OVNDictionary::addEntries(const OVNDictionary& other) {
  requireMutable("addEntriesFromDictionary:");
  const Storage copy = other.entries_;  // `other` may be this dictionary
  for (const auto& [key, value] : copy) entries_.insert_or_assign(key, value);
}

OVNValue OVNDictionary::valueForKeyPath(std::string_view keyPath) const {
  const auto dot = keyPath.find('.');
  if (dot == std::string_view::npos) return objectForKey(keyPath);
  return objectForKey(keyPath.substr(0, dot)).valueForKeyPath(keyPath.substr(dot + 1));
}

void OVNDictionary::setValueForKeyPath(OVNValue value, std::string_view keyPath) {
  const auto dot = keyPath.find('.');
  if (dot == std::string_view::npos) {
    set(keyPath, std::move(value));
    return;
  }
  const OVNValue next = objectForKey(keyPath.substr(0, dot));
  const auto rest = keyPath.substr(dot + 1);
  if (auto nested = next.dictionary())
    nested->setValueForKeyPath(std::move(value), rest);
  else if (auto object = next.object())
    object->setValueForKeyPath(value, rest);
}

bool OVNDictionary::isEqual(const OVNDictionary& other) const { return entries_ == other.entries_; }

std::string OVNDictionary::descriptionWithIndent(int level) const {
  std::string out = "{\n";
  for (const auto& [key, value] : entries_) {
    out += ovn::detail::indentation(level + 1) + ovn::detail::quotedIfNeeded(key) + " = " +
           ovn::detail::memberDescription(value, level + 1) + ";\n";
  }
  return out + ovn::detail::indentation(level) + "}";
}
