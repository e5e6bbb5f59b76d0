#include "Platform/Network/detail/OVNTaskEvents.h"

#include <utility>

namespace ovn::detail {

void OVNTaskEvents::push(Event event) {
  std::lock_guard lock(mutex_);
  events_.push_back(std::move(event));
  scheduleLocked();
}

bool OVNTaskEvents::appendData(const char* bytes, std::size_t length) {
  std::lock_guard lock(mutex_);
  data_.insert(data_.end(), bytes, bytes + length);
  if (dataQueued_) return false;
  dataQueued_ = true;
  return true;
}

std::vector<std::uint8_t> OVNTaskEvents::takeData() {
  std::lock_guard lock(mutex_);
  dataQueued_ = false;
  return std::exchange(data_, {});
}

void OVNTaskEvents::scheduleLocked() {
  if (scheduled_ || waiting_ || events_.empty()) return;
  scheduled_ = true;
  queue_->async([self = shared_from_this()] { self->drain(); });
}

void OVNTaskEvents::drain() {
  for (;;) {
    Event event;
    {
      std::lock_guard lock(mutex_);
      if (events_.empty()) {
        scheduled_ = false;
        return;
      }
      event = std::move(events_.front());
      events_.pop_front();
    }
    if (!event()) {
      std::lock_guard lock(mutex_);
      waiting_ = true;
      scheduled_ = false;
      return;
    }
  }
}

void OVNTaskEvents::resumeWith(std::function<void()> apply) {
  queue_->async([self = shared_from_this(), apply = std::move(apply)] {
    apply();
    std::lock_guard lock(self->mutex_);
    self->waiting_ = false;
    self->scheduleLocked();
  });
}

}  // namespace ovn::detail
