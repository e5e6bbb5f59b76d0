#include "Platform/Objects/detail/OVNObservationInfo.h"

#include <algorithm>
#include <map>

#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

namespace ovn::detail {

// Follows the levels of a dotted key path: observes the rest of the path on the current
// value of the first key and forwards each change as a change of the whole path. When the
// first key's value changes, the owning ObservationInfo moves the relay to the new value.
class KeyPathRelay : public OVNObject {
 public:
  KeyPathRelay(ObservationInfo& root, std::weak_ptr<Observation> outer, std::string restPath, std::uint64_t options)
      : root_(root), outer_(std::move(outer)), restPath_(std::move(restPath)), options_(options) {}

  void retarget(const OVNValue& intermediate) {
    detach();
    if (auto object = intermediate.object()) {
      object->addObserver(*this, restPath_, options_ & ~OVNKeyValueObservingOptionInitial, nullptr);
      std::lock_guard guard(lock_);
      observed_ = object;
    }
  }

  void detach() {
    OVNObjectRef previous;
    {
      std::lock_guard guard(lock_);
      previous = observed_.lock();
      observed_.reset();
    }
    if (previous) previous->removeObserver(*this, restPath_, nullptr);
  }

  void observeValueForKeyPath(const std::string&, const OVNObjectRef&, const OVNDictionaryRef& change, void*) override {
    // The leaf's old and new values are the whole path's old and new values.
    if (auto outer = outer_.lock(); outer && outer->active.load()) root_.deliver(*outer, change);
  }

 private:
  ObservationInfo& root_;
  std::weak_ptr<Observation> outer_;
  std::string restPath_;
  std::uint64_t options_;
  std::mutex lock_;
  std::weak_ptr<OVNObject> observed_;
};

namespace {
// Changes announced with willChange and not yet completed by didChange, per thread.
struct PendingChange {
  const ObservationInfo* info;
  std::string key;
  std::vector<std::pair<ObservationRef, OVNValue>> registrations;  // with old values
};
thread_local std::vector<PendingChange> pendingChanges;

OVNValue orNull(const OVNValue& v) { return v.isMissing() ? OVNValue::null() : v; }

OVNDictionaryRef makeChange(bool prior, bool withOld, const OVNValue& oldValue, bool withNew,
                            const OVNValue& newValue) {
  auto change = OVNDictionary::make({{std::string(OVNKeyValueChangeKindKey), OVNValue(OVNKeyValueChangeSetting)}});
  if (prior) change->set(OVNKeyValueChangeNotificationIsPriorKey, true);
  if (withOld) change->set(OVNKeyValueChangeOldKey, orNull(oldValue));
  if (withNew) change->set(OVNKeyValueChangeNewKey, orNull(newValue));
  return change;
}
}  // namespace

ObservationInfo::~ObservationInfo() {
  for (auto& observation : observations_) {
    observation->active = false;
    if (observation->relay) observation->relay->detach();
  }
}

void ObservationInfo::add(OVNObject& observer, std::string_view keyPath, std::uint64_t options, void* context) {
  auto observation = std::make_shared<Observation>();
  observation->observer = &observer;
  observation->weakObserver = observer.weak_from_this();
  observation->observerIsShared = !observation->weakObserver.expired();
  observation->keyPath = std::string(keyPath);
  observation->firstKey = std::string(keyPath.substr(0, keyPath.find('.')));
  observation->options = options;
  observation->context = context;
  if (observation->firstKey.size() < keyPath.size()) {
    observation->relay = OVNMake<KeyPathRelay>(*this, observation,
                                               std::string(keyPath.substr(observation->firstKey.size() + 1)), options);
    observation->relay->retarget(owner_.valueForKey(observation->firstKey));
  }
  {
    std::lock_guard guard(lock_);
    observations_.push_back(observation);
    count_.store(observations_.size(), std::memory_order_release);
  }
  if (options & OVNKeyValueObservingOptionInitial) {
    const bool withNew = options & OVNKeyValueObservingOptionNew;
    deliver(*observation,
            makeChange(false, false, {}, withNew, withNew ? owner_.valueForKeyPath(keyPath) : OVNValue()));
  }
}

void ObservationInfo::remove(OVNObject& observer, std::string_view keyPath, void* context, bool matchContext) {
  ObservationRef removed;
  {
    std::lock_guard guard(lock_);
    for (auto it = observations_.rbegin(); it != observations_.rend(); ++it) {
      const Observation& o = **it;
      if (o.observer == &observer && o.keyPath == keyPath && (!matchContext || o.context == context)) {
        removed = *it;
        observations_.erase(std::next(it).base());
        break;
      }
    }
    count_.store(observations_.size(), std::memory_order_release);
  }
  if (!removed) {
    OVNException::raise(OVNRangeException,
                        OVNFormat("Cannot remove an observer <%@ %p> for the key path \"%@\" from <%@ %p> because "
                                  "it is not registered as an observer.",
                                  observer.className(), static_cast<const void*>(&observer), keyPath,
                                  owner_.className(), static_cast<const void*>(&owner_)));
  }
  removed->active = false;
  if (removed->relay) removed->relay->detach();
}

std::vector<ObservationRef> ObservationInfo::matching(std::string_view firstKey) {
  std::vector<ObservationRef> result;
  std::lock_guard guard(lock_);
  for (const auto& o : observations_) {
    if (o->firstKey == firstKey) result.push_back(o);
  }
  return result;
}

void ObservationInfo::willChange(std::string_view key) {
  PendingChange pending{this, std::string(key), {}};
  std::map<std::string, OVNValue, std::less<>> oldValues;  // one read per key path
  for (auto& observation : matching(key)) {
    OVNValue old;
    if (observation->options & (OVNKeyValueObservingOptionOld | OVNKeyValueObservingOptionPrior)) {
      auto it = oldValues.find(observation->keyPath);
      if (it == oldValues.end())
        it = oldValues.emplace(observation->keyPath, owner_.valueForKeyPath(observation->keyPath)).first;
      old = it->second;
    }
    pending.registrations.emplace_back(std::move(observation), std::move(old));
  }
  if (pending.registrations.empty()) {
    pendingChanges.push_back(std::move(pending));
    return;
  }
  // Copy what the prior notifications need before handing the entry to the stack.
  std::vector<std::pair<ObservationRef, OVNValue>> priors;
  for (const auto& [observation, old] : pending.registrations) {
    if (observation->options & OVNKeyValueObservingOptionPrior) priors.emplace_back(observation, old);
  }
  pendingChanges.push_back(std::move(pending));
  for (const auto& [observation, old] : priors) {
    if (!observation->active.load()) continue;
    deliver(*observation, makeChange(true, observation->options & OVNKeyValueObservingOptionOld, old, false, {}));
  }
}

void ObservationInfo::didChange(std::string_view key) {
  auto it = std::find_if(pendingChanges.rbegin(), pendingChanges.rend(),
                         [&](const PendingChange& p) { return p.info == this && p.key == key; });
  if (it == pendingChanges.rend()) return;  // no matching willChange on this thread
  PendingChange pending = std::move(*it);
  pendingChanges.erase(std::next(it).base());

  std::map<std::string, OVNValue, std::less<>> newValues;
  for (const auto& [observation, old] : pending.registrations) {
    if (!observation->active.load()) continue;
    if (observation->relay) observation->relay->retarget(owner_.valueForKey(observation->firstKey));
    const bool withNew = observation->options & OVNKeyValueObservingOptionNew;
    OVNValue newValue;
    if (withNew) {
      auto found = newValues.find(observation->keyPath);
      if (found == newValues.end()) {
        found = newValues.emplace(observation->keyPath, owner_.valueForKeyPath(observation->keyPath)).first;
      }
      newValue = found->second;
    }
    deliver(*observation,
            makeChange(false, observation->options & OVNKeyValueObservingOptionOld, old, withNew, newValue));
  }
}

void ObservationInfo::discardPending(std::string_view key) {
  auto it = std::find_if(pendingChanges.rbegin(), pendingChanges.rend(),
                         [&](const PendingChange& p) { return p.info == this && p.key == key; });
  if (it != pendingChanges.rend()) pendingChanges.erase(std::next(it).base());
}

void ObservationInfo::deliver(const Observation& observation, const OVNDictionaryRef& change) {
  OVNObjectRef keepAlive;
  OVNObject* observer = observation.observer;
  if (observation.observerIsShared) {
    keepAlive = observation.weakObserver.lock();
    if (!keepAlive) return;  // the observer has gone away
    observer = keepAlive.get();
  }
  observer->observeValueForKeyPath(observation.keyPath, owner_.self(), change, observation.context);
}

}  // namespace ovn::detail
