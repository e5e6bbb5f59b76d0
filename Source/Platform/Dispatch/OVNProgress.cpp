#include "Platform/Dispatch/OVNProgress.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNProgress, (totalUnitCount, setTotalUnitCount), (completedUnitCount, setCompletedUnitCount),
               fractionCompleted)

namespace {
constexpr std::string_view fractionKey = "fractionCompleted";
}

std::shared_ptr<OVNProgress> OVNProgress::progressWithTotalUnitCount(std::int64_t totalUnitCount) {
  auto progress = OVNMake<OVNProgress>();
  progress->total_.store(totalUnitCount, std::memory_order_release);
  return progress;
}

void OVNProgress::storeCount(std::atomic<std::int64_t>& field, std::string_view key, std::int64_t count) {
  willChangeValueForKey(key);
  willChangeValueForKey(fractionKey);
  field.store(count, std::memory_order_release);
  didChangeValueForKey(fractionKey);
  didChangeValueForKey(key);
}

void OVNProgress::setTotalUnitCount(std::int64_t count) { storeCount(total_, "totalUnitCount", count); }

void OVNProgress::setCompletedUnitCount(std::int64_t count) { storeCount(completed_, "completedUnitCount", count); }

double OVNProgress::fractionCompleted() const {
  const std::int64_t total = totalUnitCount();
  if (total <= 0) return 0.0;
  return static_cast<double>(completedUnitCount()) / static_cast<double>(total);
}

bool OVNProgress::isFinished() const {
  const std::int64_t total = totalUnitCount();
  return total > 0 && completedUnitCount() >= total;
}

bool OVNProgress::automaticallyNotifiesObserversForKey(std::string_view key) const {
  if (key == "totalUnitCount" || key == "completedUnitCount" || key == fractionKey) return false;
  return OVNObject::automaticallyNotifiesObserversForKey(key);
}
