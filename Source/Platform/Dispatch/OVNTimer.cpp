#include "Platform/Dispatch/OVNTimer.h"

#include <algorithm>
#include <cmath>

#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Values/OVNClock.h"

struct OVNTimer::PrivateTag {};

OVNTimer::OVNTimer(PrivateTag, double interval) : interval_(interval) {}

std::shared_ptr<OVNTimer> OVNTimer::scheduledTimer(double interval, Block block) {
  if (std::isnan(interval) || interval < 0) interval = 0;
  auto timer = std::make_shared<OVNTimer>(PrivateTag{}, interval);
  // The run loop's entry owns the block; the timer holds none, so a block that keeps its
  // own timer makes no cycle.
  OVNTimer* const raw = timer.get();
  OVNRunLoop::main().addTimer(
      OVNClock::uptime() + interval, [raw, block = std::move(block)] { block(*raw); }, timer);
  return timer;
}

void OVNTimer::invalidate() {
  if (valid_.exchange(false, std::memory_order_acq_rel)) OVNRunLoop::main().removeTimer(*this);
}

OVNDate OVNTimer::fireDate() const {
  // Deadlines are kept in uptime; convert through the current offset between the clocks.
  return OVNDate(OVNClock::absoluteTime() + deadline_.load(std::memory_order_relaxed) - OVNClock::uptime());
}
