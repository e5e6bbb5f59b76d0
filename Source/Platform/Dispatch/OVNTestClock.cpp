#include "Platform/Dispatch/OVNTestClock.h"

#include <cmath>
#include <string>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNClock.h"

OVNTestClock::OVNTestClock() : OVNTestClock(OVNClock::absoluteTime()) {}

OVNTestClock::OVNTestClock(double absoluteTime) : now_(std::make_shared<std::atomic<double>>(absoluteTime)) {
  if (OVNClock::isOverridden()) {
    OVNException::raise(OVNInternalInconsistencyException, "a test clock or clock override is already installed");
  }
  const double uptimeBefore = OVNClock::uptime();
  OVNClock::setOverride([now = now_] { return now->load(std::memory_order_acquire); });
  OVNRunLoop::main().shiftTimers(absoluteTime - uptimeBefore);
}

OVNTestClock::~OVNTestClock() {
  OVNClock::setOverride({});
  OVNRunLoop::main().discardTimers();
}

void OVNTestClock::advance(double seconds) {
  if (!(seconds >= 0) || std::isinf(seconds)) {
    OVNException::raise(OVNInvalidArgumentException, "a test clock advances by a finite, non-negative time");
  }
  if (OVNRunLoop::main().isDrivenByAnotherThread()) {
    OVNDispatchQueue::main()->sync([&] { step(seconds); });
  } else {
    step(seconds);
  }
}

void OVNTestClock::step(double seconds) {
  OVNRunLoop& loop = OVNRunLoop::main();
  const double target = now() + seconds;
  // Timers a firing timer schedules before `target` are picked up on the next turn.
  while (auto deadline = loop.earliestDeadline()) {
    if (*deadline > target) break;
    if (*deadline > now()) now_->store(*deadline, std::memory_order_release);
    loop.drain();
  }
  now_->store(target, std::memory_order_release);
  loop.drain();
}
