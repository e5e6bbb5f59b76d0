#include "Platform/System/OVNMemoryStore.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <limits>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/Dispatch/OVNNotificationCenter.h"
#include "Platform/Dispatch/OVNOnce.h"
#include "Platform/System/OVNApplication.h"

namespace {

// A power of two: enough that two or four threads rarely meet on one lock, few enough that
// an empty store stays small (each shard fills its own cache line or two).
constexpr std::size_t kShardBits = 5;
constexpr std::size_t kShardCount = std::size_t{1} << kShardBits;

// The key's hash is computed once per call and kept in the map's key, so that choosing the
// shard and finding the entry share it.
struct Key {
  std::size_t hash;
  std::string text;
};
struct KeyView {
  std::size_t hash;
  std::string_view text;
};
// noexcept and trivial: the hash is already in the key, so the map need not keep a copy of
// it in every node (which would put it on another cache line than the key it belongs to).
struct KeyHash {
  using is_transparent = void;
  std::size_t operator()(const Key& key) const noexcept { return key.hash; }
  std::size_t operator()(const KeyView& key) const noexcept { return key.hash; }
};
struct KeyEqual {
  using is_transparent = void;
  template <class A, class B>
  bool operator()(const A& a, const B& b) const {
    return a.hash == b.hash && std::string_view(a.text) == std::string_view(b.text);
  }
};

// What a lookup reads comes first, next to the key in the map's node.
struct Entry {
  OVNValue value;
  // The shard's use counter at the last use: the exact order of use within the shard.
  std::uint64_t order = 0;
  std::uint64_t cost = 0;
  // Steady-clock nanoseconds of the last use; kept only while a limit is set.
  std::uint64_t lastUse = 0;
  const Key* key = nullptr;  // the map's own key (node-based maps never move it)
  // The shard's list, oldest to newest; valid only while the shard is `listed`.
  Entry* newer = nullptr;
  Entry* older = nullptr;
};

std::uint64_t steadyNanoseconds() {
  return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

// Values that left a shard, destroyed once its lock is released.
using Released = std::vector<OVNValue>;

// Recency is kept two ways. Every use stamps the entry with the shard's use counter, which
// writes only to the entry itself. The list in use order, which eviction needs to find the
// oldest entry at once, is kept up to date only while a limit is set: relinking writes to
// the entry's neighbours and the newest entry, other threads' cache lines, on every lookup.
// Without a limit the list is left stale and rebuilt from the stamps (a sort) when an
// eviction or memory pressure needs it, which gives exactly the order relinking would have.
struct alignas(64) Shard {
  std::mutex lock;
  std::uint64_t useCounter = 0;
  bool listed = true;  // the list holds every entry, in the order of their stamps
  std::unordered_map<Key, Entry, KeyHash, KeyEqual> entries;
  Entry* newest = nullptr;
  Entry* oldest = nullptr;
  // Written under the lock, read without it to sum the store's totals.
  std::atomic<std::uint64_t> count{0};
  std::atomic<std::uint64_t> cost{0};

  void unlink(Entry& entry) {
    (entry.newer ? entry.newer->older : newest) = entry.older;
    (entry.older ? entry.older->newer : oldest) = entry.newer;
    entry.newer = entry.older = nullptr;
  }
  void pushNewest(Entry& entry) {
    entry.older = newest;
    entry.newer = nullptr;
    (newest ? newest->newer : oldest) = &entry;
    newest = &entry;
  }
  void relist() {
    std::vector<Entry*> byUse;
    byUse.reserve(entries.size());
    for (auto& [key, entry] : entries) byUse.push_back(&entry);
    std::sort(byUse.begin(), byUse.end(), [](const Entry* a, const Entry* b) { return a->order < b->order; });
    newest = oldest = nullptr;
    for (Entry* entry : byUse) pushNewest(*entry);
    listed = true;
  }
  // A new entry, or a use of one. `limited`: keep the list and the clock stamp as well.
  void markUsed(Entry& entry, bool added, bool limited) {
    entry.order = ++useCounter;
    if (!limited) {
      listed = false;
      return;
    }
    entry.lastUse = steadyNanoseconds();
    if (!listed) {
      relist();  // includes the entry, already in its place
      return;
    }
    if (newest == &entry) return;
    if (!added) unlink(entry);
    pushNewest(entry);
  }
  Entry* oldestEntry() {
    if (!listed) relist();
    return oldest;
  }
  void addCost(std::int64_t countDelta, std::int64_t costDelta) {
    count.store(count.load(std::memory_order_relaxed) + static_cast<std::uint64_t>(countDelta),
                std::memory_order_relaxed);
    cost.store(cost.load(std::memory_order_relaxed) + static_cast<std::uint64_t>(costDelta), std::memory_order_relaxed);
  }
  // Removes the entry (lock held), moving its value into `released`.
  void erase(Entry& entry, Released& released) {
    if (listed) unlink(entry);
    addCost(-1, -static_cast<std::int64_t>(entry.cost));
    released.push_back(std::move(entry.value));
    entries.erase(entries.find(KeyView{entry.key->hash, entry.key->text}));
  }
};

}  // namespace

class OVNMemoryStore::Impl {
 public:
  explicit Impl(std::string name) : name_(std::move(name)) {}

  std::string name() const {
    std::lock_guard guard(nameLock_);
    return name_;
  }
  void setName(std::string name) {
    std::lock_guard guard(nameLock_);
    name_ = std::move(name);
  }

  OVNValue get(std::string_view text) {
    OVNValue value;
    visit(text, [&value](const OVNValue& stored) { value = stored; });
    return value;
  }

  template <class Visit>
  bool visit(std::string_view text, const Visit& visitor) {
    const KeyView key{std::hash<std::string_view>()(text), text};
    Shard& shard = shardFor(key.hash);
    std::lock_guard guard(shard.lock);
    auto found = shard.entries.find(key);
    if (found == shard.entries.end()) return false;
    shard.markUsed(found->second, false, limited());
    visitor(found->second.value);
    return true;
  }

  // Takes the caller's value by reference: each move of a value is a visit of its variant.
  void set(OVNValue&& value, std::string_view text, std::uint64_t cost) {
    const KeyView key{std::hash<std::string_view>()(text), text};
    Shard& shard = shardFor(key.hash);
    OVNValue previous;  // destroyed after the lock is released
    {
      std::lock_guard guard(shard.lock);
      auto found = shard.entries.find(key);
      const bool added = found == shard.entries.end();
      if (added) {
        found = shard.entries.try_emplace(Key{key.hash, std::string(text)}).first;
        found->second.key = &found->first;
      }
      Entry& entry = found->second;
      shard.markUsed(entry, added, limited());
      previous = std::move(entry.value);
      entry.value = std::move(value);
      // The totals share a cache line that other threads read: a replacement at the same
      // cost leaves it alone.
      if (added || cost != entry.cost) {
        shard.addCost(added ? 1 : 0, static_cast<std::int64_t>(cost) - static_cast<std::int64_t>(entry.cost));
      }
      entry.cost = cost;
    }
    if (limited()) evictOverLimits();
  }

  void remove(std::string_view text) {
    const KeyView key{std::hash<std::string_view>()(text), text};
    Shard& shard = shardFor(key.hash);
    Released released;
    std::lock_guard guard(shard.lock);
    auto found = shard.entries.find(key);
    if (found != shard.entries.end()) shard.erase(found->second, released);
    // `released` is declared before the guard, so it is destroyed after the unlock.
  }

  void removeAll() {
    for (Shard& shard : shards_) {
      std::unordered_map<Key, Entry, KeyHash, KeyEqual> dropped;
      {
        std::lock_guard guard(shard.lock);
        dropped.swap(shard.entries);
        shard.newest = shard.oldest = nullptr;
        shard.listed = true;
        shard.count.store(0, std::memory_order_relaxed);
        shard.cost.store(0, std::memory_order_relaxed);
      }
    }
  }

  // Drops the older half of every shard (rounded up, so a lone entry goes too).
  void dropLeastRecentlyUsedHalf() {
    for (Shard& shard : shards_) {
      Released released;
      std::lock_guard guard(shard.lock);
      for (std::uint64_t n = (shard.entries.size() + 1) / 2; n > 0 && shard.oldestEntry(); --n) {
        shard.erase(*shard.oldest, released);
      }
    }
  }

  std::uint64_t countLimit() const { return countLimit_.load(std::memory_order_relaxed); }
  std::uint64_t costLimit() const { return costLimit_.load(std::memory_order_relaxed); }
  void setCountLimit(std::uint64_t limit) {
    countLimit_.store(limit, std::memory_order_relaxed);
    evictOverLimits();
  }
  void setCostLimit(std::uint64_t limit) {
    costLimit_.store(limit, std::memory_order_relaxed);
    evictOverLimits();
  }

  std::uint64_t count() const { return sum(&Shard::count); }
  std::uint64_t totalCost() const { return sum(&Shard::cost); }

 private:
  Shard& shardFor(std::size_t hash) { return shards_[hash >> (std::numeric_limits<std::size_t>::digits - kShardBits)]; }

  bool limited() const { return countLimit() != 0 || costLimit() != 0; }

  bool overLimits() const {
    const std::uint64_t maxCount = countLimit();
    const std::uint64_t maxCost = costLimit();
    return (maxCount != 0 && count() > maxCount) || (maxCost != 0 && totalCost() > maxCost);
  }

  std::uint64_t sum(std::atomic<std::uint64_t> Shard::*field) const {
    std::uint64_t total = 0;
    for (const Shard& shard : shards_) total += (shard.*field).load(std::memory_order_relaxed);
    return total;
  }

  // One evicting thread at a time; it takes one shard's lock at a time, never two. The
  // evicted values are destroyed after both locks are let go.
  void evictOverLimits() {
    Released released;
    std::lock_guard evicting(evictionLock_);
    while (overLimits()) {
      Shard* victim = shardWithOldestEntry();
      if (!victim) break;
      std::lock_guard guard(victim->lock);
      if (victim->oldestEntry()) victim->erase(*victim->oldest, released);
    }
  }

  Shard* shardWithOldestEntry() {
    Shard* victim = nullptr;
    std::uint64_t oldestUse = std::numeric_limits<std::uint64_t>::max();
    for (Shard& shard : shards_) {
      std::lock_guard guard(shard.lock);
      const Entry* oldest = shard.oldestEntry();
      if (oldest && (!victim || oldest->lastUse < oldestUse)) {
        victim = &shard;
        oldestUse = oldest->lastUse;
      }
    }
    return victim;
  }

  std::array<Shard, kShardCount> shards_;
  std::atomic<std::uint64_t> countLimit_{0};
  std::atomic<std::uint64_t> costLimit_{0};
  std::mutex evictionLock_;
  mutable std::mutex nameLock_;
  std::string name_;
};

namespace {

// Every live store, held weakly, for the memory-pressure notification.
struct PressureRegistry {
  std::mutex lock;
  std::vector<std::weak_ptr<OVNMemoryStore::Impl>> stores;

  void add(const std::shared_ptr<OVNMemoryStore::Impl>& store) {
    std::lock_guard guard(lock);
    std::erase_if(stores, [](const auto& weak) { return weak.expired(); });
    stores.push_back(store);
  }
  // Each store is trimmed with no registry lock held, so a value's destructor may make or
  // drop stores.
  void relievePressure() {
    std::vector<std::shared_ptr<OVNMemoryStore::Impl>> live;
    {
      std::lock_guard guard(lock);
      for (const auto& weak : stores) {
        if (auto store = weak.lock()) live.push_back(std::move(store));
      }
    }
    for (const auto& store : live) store->dropLeastRecentlyUsedHalf();
  }
};

PressureRegistry& pressureRegistry() {
  // Never destroyed: the notification observer may run while the process exits.
  static auto* registry = new PressureRegistry;
  static OVNOnce observing;
  observing.run([] {
    OVNNotificationCenter::defaultCenter().addObserver(std::string(OVNApplicationDidReceiveMemoryWarningNotification),
                                                       nullptr, nullptr,
                                                       [](const OVNNotification&) { registry->relievePressure(); });
  });
  return *registry;
}

}  // namespace

OVNMemoryStore::OVNMemoryStore(std::string name) : impl_(std::make_shared<Impl>(std::move(name))) {
  pressureRegistry().add(impl_);
}

OVNMemoryStore::~OVNMemoryStore() = default;

std::string OVNMemoryStore::name() const { return impl_->name(); }
void OVNMemoryStore::setName(std::string name) { impl_->setName(std::move(name)); }

OVNValue OVNMemoryStore::objectForKey(std::string_view key) { return impl_->get(key); }

bool OVNMemoryStore::visitObjectForKey(std::string_view key, void (*visit)(const void* context, const OVNValue& value),
                                       const void* context) {
  return impl_->visit(key, [visit, context](const OVNValue& value) { visit(context, value); });
}

namespace {
void store(OVNMemoryStore::Impl& impl, OVNValue&& object, std::string_view key, std::uint64_t cost) {
  if (object.isMissing()) {
    impl.remove(key);
    return;
  }
  impl.set(std::move(object), key, cost);
}
}  // namespace

void OVNMemoryStore::setObject(OVNValue object, std::string_view key) { store(*impl_, std::move(object), key, 0); }

void OVNMemoryStore::setObject(OVNValue object, std::string_view key, std::uint64_t cost) {
  store(*impl_, std::move(object), key, cost);
}

void OVNMemoryStore::removeObjectForKey(std::string_view key) { impl_->remove(key); }
void OVNMemoryStore::removeAllObjects() { impl_->removeAll(); }

std::uint64_t OVNMemoryStore::countLimit() const { return impl_->countLimit(); }
void OVNMemoryStore::setCountLimit(std::uint64_t limit) { impl_->setCountLimit(limit); }
std::uint64_t OVNMemoryStore::totalCostLimit() const { return impl_->costLimit(); }
void OVNMemoryStore::setTotalCostLimit(std::uint64_t limit) { impl_->setCostLimit(limit); }

std::uint64_t OVNMemoryStore::count() const { return impl_->count(); }
std::uint64_t OVNMemoryStore::totalCost() const { return impl_->totalCost(); }
