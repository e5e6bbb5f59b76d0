#pragma once
// The delegate side of one task: its callbacks, queued by the I/O thread and run one at a
// time, in order, on the session's delegate queue. An event that asks the delegate a
// question (the response, a redirect) holds back the events behind it until the answer
// comes, without ever holding back the network. Body bytes that arrive while a delivery
// is queued join it, so a fast transfer does not flood the queue.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "Platform/Dispatch/OVNDispatchQueue.h"

namespace ovn::detail {

class OVNTaskEvents : public std::enable_shared_from_this<OVNTaskEvents> {
 public:
  //! Runs on the delegate queue; false when it waits for an answer (see ask()).
  using Event = std::function<bool()>;

  explicit OVNTaskEvents(OVNDispatchQueueRef queue) : queue_(std::move(queue)) {}

  void push(Event event);
  //! Adds body bytes; true when no delivery is queued, so the caller pushes one.
  bool appendData(const char* bytes, std::size_t length);
  //! The bytes gathered since the last call.
  std::vector<std::uint8_t> takeData();

  //! Inside an event: asks the delegate through `question`, handing it a function that
  //! answers once (later answers are ignored). An answer given before `question` returns
  //! is applied at once and ask() gives true; otherwise ask() gives false (return it from
  //! the event) and the answer, when it comes, is applied on the delegate queue, after
  //! which the following events run.
  template <class Answer, class Question, class Apply>
  bool ask(Question&& question, Apply apply);

 private:
  void scheduleLocked();
  void drain();
  void resumeWith(std::function<void()> apply);

  OVNDispatchQueueRef queue_;
  std::mutex mutex_;
  std::deque<Event> events_;
  bool scheduled_ = false;
  bool waiting_ = false;
  std::vector<std::uint8_t> data_;
  bool dataQueued_ = false;
};

template <class Answer, class Question, class Apply>
bool OVNTaskEvents::ask(Question&& question, Apply apply) {
  struct Exchange {
    std::mutex mutex;
    bool answered = false;
    bool questionReturned = false;
    std::optional<Answer> answer;
  };
  auto exchange = std::make_shared<Exchange>();
  std::weak_ptr<OVNTaskEvents> weakSelf = weak_from_this();
  question([exchange, weakSelf, apply](Answer answer) {
    std::unique_lock lock(exchange->mutex);
    if (exchange->answered) return;
    exchange->answered = true;
    if (!exchange->questionReturned) {
      exchange->answer = std::move(answer);
      return;
    }
    lock.unlock();
    if (auto self = weakSelf.lock()) self->resumeWith([apply, answer = std::move(answer)]() mutable { apply(answer); });
  });
  std::unique_lock lock(exchange->mutex);
  exchange->questionReturned = true;
  if (!exchange->answered) return false;
  lock.unlock();
  apply(*exchange->answer);
  return true;
}

}  // namespace ovn::detail
