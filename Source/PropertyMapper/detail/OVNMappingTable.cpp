#include "PropertyMapper/detail/OVNMappingTable.h"

#include <algorithm>

#include "PropertyMapper/NSDictionary+OVNDeepCopy.h"

namespace ovn::detail {

namespace {

std::vector<std::string> splitKeyPath(std::string_view key) {
  std::vector<std::string> components;
  std::size_t start = 0;
  while (true) {
    const std::size_t dot = key.find('.', start);
    components.emplace_back(key.substr(start, dot == std::string_view::npos ? std::string_view::npos : dot - start));
    if (dot == std::string_view::npos) break;
    start = dot + 1;
  }
  return components;
}

bool isWholeSourceKey(std::string_view key) { return key == "*" || (!key.empty() && key.front() == '^'); }

}  // namespace

OVNMappingTable::OVNMappingTable(OVNDictionaryRef table) : table_(std::move(table)) {
  if (!table_) return;
  entries_.reserve(table_->count());
  for (const auto& [key, value] : *table_) {
    auto descriptor = value.objectAs<OVNPropertyDescriptor>();
    if (!descriptor) continue;
    Entry entry;
    entry.key = key;
    entry.components = splitKeyPath(key);
    entry.hints = std::make_unique<std::atomic<std::uint32_t>[]>(entry.components.size());
    entry.wholeSource = descriptor->type() == OVNPropertyDescriptor::NestedObject && isWholeSourceKey(key);
    entry.descriptor = std::move(descriptor);
    entries_.push_back(std::move(entry));
  }
}

void OVNMappingTable::bind(const OVNClass& cls, const OVNClassSlots& slots) {
  for (Entry& entry : entries_) entry.slot = slots.slot(entry.descriptor->propertyName());
  boundClass_ = &cls;
}

const OVNValue* OVNMappingTable::Entry::valueIn(const OVNDictionary& source, OVNValue& scratch) const {
  const OVNDictionary* level = &source;
  for (std::size_t i = 0; i < components.size(); ++i) {
    const OVNDictionaryStorage& storage = level->entries();
    const std::uint32_t hint = hints[i].load(std::memory_order_relaxed);
    auto found = storage.begin() + std::min<std::size_t>(hint, storage.size());
    if (found == storage.end() || found->first != components[i]) {
      found = storage.find(components[i]);
      if (found == storage.end()) return nullptr;
      hints[i].store(static_cast<std::uint32_t>(found - storage.begin()), std::memory_order_relaxed);
    }
    const OVNValue& value = found->second;
    if (i + 1 == components.size()) return &value;
    if (const OVNDictionary* nested = value.dictionaryPointer()) {
      level = nested;  // the source outlives the walk
      continue;
    }
    if (value.isArray()) {
      std::string rest;
      for (std::size_t j = i + 1; j < components.size(); ++j) {
        if (!rest.empty()) rest += '.';
        rest += components[j];
      }
      scratch = value.valueForKeyPath(rest);
      return &scratch;
    }
    return nullptr;
  }
  return nullptr;
}

OVNDictionary* OVNMappingTable::Entry::walkToWriteTarget(OVNDictionary& result) const {
  OVNDictionary* target = &result;
  for (std::size_t i = 0; i + 1 < components.size(); ++i) {
    if (target->contains(components[i])) continue;
    auto fresh = std::make_shared<OVNDictionary>();
    target->set(components[i], fresh);
    target = fresh.get();
  }
  return target;
}

OVNDictionaryRef OVNMappingTable::unmappedRemainder(const OVNDictionaryRef& source) const {
  if (!source) return nullptr;
  // Mapped top-level entries are dropped before copying, so the bulk of a payload is never
  // copied.
  OVNDictionary::Storage kept;
  for (const auto& member : *source) {
    const bool mapped =
        std::any_of(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.key == member.first; });
    if (!mapped) kept.insert_or_assign(member.first, member.second);
  }
  OVNDictionaryRef remainder = ovn_mutableDeepCopy(std::make_shared<OVNDictionary>(std::move(kept), false));
  for (const Entry& entry : entries_) {
    const auto lastDot = entry.key.rfind('.');
    if (lastDot == std::string::npos) continue;
    const OVNValue parent = remainder->valueForKeyPath(std::string_view(entry.key).substr(0, lastDot));
    if (auto parentDictionary = parent.dictionary(); parentDictionary && parentDictionary->isMutable()) {
      parentDictionary->remove(std::string_view(entry.key).substr(lastDot + 1));
    }
  }
  return remainder;
}

}  // namespace ovn::detail
