#include "Platform/Values/OVNClock.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>

namespace {
// The override is swapped rarely (tests) and read often, so readers take a snapshot of a
// shared pointer under a short lock.
std::mutex overrideLock;
std::shared_ptr<const std::function<double()>> overrideSource;
std::atomic<bool> overridden{false};

std::shared_ptr<const std::function<double()>> currentOverride() {
  if (!overridden.load(std::memory_order_acquire)) return nullptr;
  std::lock_guard guard(overrideLock);
  return overrideSource;
}
}  // namespace

double OVNClock::absoluteTime() {
  if (auto source = currentOverride()) return (*source)();
  using namespace std::chrono;
  const double since1970 = duration<double>(system_clock::now().time_since_epoch()).count();
  return since1970 - referenceDateOffsetFrom1970;
}

double OVNClock::uptime() {
  if (auto source = currentOverride()) return (*source)();
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

void OVNClock::setOverride(std::function<double()> source) {
  std::lock_guard guard(overrideLock);
  if (source) {
    overrideSource = std::make_shared<const std::function<double()>>(std::move(source));
    overridden.store(true, std::memory_order_release);
  } else {
    overrideSource.reset();
    overridden.store(false, std::memory_order_release);
  }
}

bool OVNClock::isOverridden() { return overridden.load(std::memory_order_acquire); }
