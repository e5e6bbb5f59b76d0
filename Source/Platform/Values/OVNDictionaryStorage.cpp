#include "Platform/Values/OVNDictionaryStorage.h"

#include <algorithm>

namespace {

bool keyLess(const OVNDictionaryStorage::value_type& entry, std::string_view key) { return entry.first < key; }

}  // namespace

OVNDictionaryStorage OVNDictionaryStorage::fromUnsorted(std::vector<value_type> entries) {
  const auto byKey = [](const value_type& a, const value_type& b) { return a.first < b.first; };
  if (entries.size() <= 32) {
    // Insertion sort: stable, in place and quickest for the few keys of a typical object.
    for (std::size_t i = 1; i < entries.size(); ++i) {
      if (!byKey(entries[i], entries[i - 1])) continue;
      value_type moving = std::move(entries[i]);
      std::size_t j = i;
      for (; j > 0 && byKey(moving, entries[j - 1]); --j) entries[j] = std::move(entries[j - 1]);
      entries[j] = std::move(moving);
    }
  } else if (!std::is_sorted(entries.begin(), entries.end(), byKey)) {
    std::stable_sort(entries.begin(), entries.end(), byKey);
  }
  // Within a run of equal keys the stable sort kept input order: keep the run's last entry.
  auto out = entries.begin();
  for (auto in = entries.begin(); in != entries.end(); ++in) {
    const auto next = in + 1;
    if (next != entries.end() && next->first == in->first) continue;
    if (out != in) *out = std::move(*in);
    ++out;
  }
  entries.erase(out, entries.end());
  OVNDictionaryStorage storage;
  storage.entries_ = std::move(entries);
  return storage;
}

OVNDictionaryStorage::iterator OVNDictionaryStorage::find(std::string_view key) {
  auto it = std::lower_bound(entries_.begin(), entries_.end(), key, keyLess);
  return it != entries_.end() && it->first == key ? it : entries_.end();
}

OVNDictionaryStorage::const_iterator OVNDictionaryStorage::find(std::string_view key) const {
  auto it = std::lower_bound(entries_.begin(), entries_.end(), key, keyLess);
  return it != entries_.end() && it->first == key ? it : entries_.end();
}

bool OVNDictionaryStorage::insert_or_assign(std::string key, OVNValue value) {
  auto it = std::lower_bound(entries_.begin(), entries_.end(), key, keyLess);
  if (it != entries_.end() && it->first == key) {
    it->second = std::move(value);
    return false;
  }
  entries_.emplace(it, std::move(key), std::move(value));
  return true;
}
