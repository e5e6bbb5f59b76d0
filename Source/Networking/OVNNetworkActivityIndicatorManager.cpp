#include "Networking/OVNNetworkActivityIndicatorManager.h"

#include <algorithm>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNOnce.h"
#include "Platform/Dispatch/OVNTimer.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNApplication.h"

using Manager = OVNNetworkActivityIndicatorManager;

OVN_PROPERTIES(OVNNetworkActivityIndicatorManager, (activationDelay, setActivationDelay),
               (completionDelay, setCompletionDelay), (activityCount, setActivityCount),
               (currentState, setCurrentState), (networkActivityIndicatorVisible, setNetworkActivityIndicatorVisible))

namespace {

constexpr std::string_view visibleKey = "networkActivityIndicatorVisible";
constexpr std::string_view countKey = "activityCount";
constexpr std::string_view stateKey = "currentState";

// Never destroyed, so that code running at exit may still reach the manager.
struct SharedState {
  OVNOnce once;
  std::shared_ptr<Manager> manager;
};

SharedState& shared() {
  static SharedState* state = new SharedState;
  return *state;
}

// Whether the notification's object answers "originalRequest" with a request that has a URL.
bool notificationCarriesRequestWithURL(const OVNNotification& notification) {
  const OVNObjectRef& object = notification.object();
  if (!object || !object->respondsTo("originalRequest")) return false;
  const OVNObjectRef request = object->valueForKey("originalRequest").object();
  if (!request || !request->respondsTo("URL")) return false;
  const OVNValue url = request->valueForKey("URL");
  return url.isPresent() && !url.isNull();
}

}  // namespace

// ---- The shared manager -----------------------------------------------------------------

std::shared_ptr<Manager> Manager::sharedManager(const OVNClass& receiver) {
  if (!receiver.isSubclassOfClass(classObject())) {
    OVNException::raise(OVNInvalidArgumentException,
                        "manager class " + receiver.name() + " is not an OVNNetworkActivityIndicatorManager");
  }
  SharedState& state = shared();
  // An exception leaves the guard open, so a later call can still make the manager.
  state.once.run([&] {
    auto instance = std::dynamic_pointer_cast<Manager>(receiver.createInstance());
    if (!instance) {
      OVNException::raise(OVNInvalidArgumentException, "manager class " + receiver.name() + " cannot be instantiated");
    }
    state.manager = std::move(instance);
  });
  return state.manager;
}

Manager::~OVNNetworkActivityIndicatorManager() {
  if (activationDelayTimer_) activationDelayTimer_->invalidate();
  if (completionDelayTimer_) completionDelayTimer_->invalidate();
  for (const auto& observer : notificationObservers_) OVNNotificationCenter::defaultCenter().removeObserver(observer);
}

// ---- Switches and delays ----------------------------------------------------------------

bool Manager::isEnabled() const {
  std::lock_guard guard(lock_);
  return enabled_;
}

void Manager::setEnabled(bool enabled) {
  {
    std::lock_guard guard(lock_);
    enabled_ = enabled;
  }
  if (!enabled) setCurrentState(NotActive);
}

double Manager::activationDelay() const {
  std::lock_guard guard(lock_);
  return activationDelay_;
}

void Manager::setActivationDelay(double seconds) {
  std::lock_guard guard(lock_);
  activationDelay_ = seconds;
}

double Manager::completionDelay() const {
  std::lock_guard guard(lock_);
  return completionDelay_;
}

void Manager::setCompletionDelay(double seconds) {
  std::lock_guard guard(lock_);
  completionDelay_ = seconds;
}

void Manager::setNetworkingActivityActionWithBlock(ActionBlock block) {
  std::lock_guard guard(lock_);
  networkActivityActionBlock_ = std::move(block);
}

Manager::ActionBlock Manager::networkActivityActionBlock() const {
  std::lock_guard guard(lock_);
  return networkActivityActionBlock_;
}

// ---- The indicator ----------------------------------------------------------------------

bool Manager::isNetworkActivityIndicatorVisible() const {
  std::lock_guard guard(lock_);
  return networkActivityIndicatorVisible_;
}

void Manager::setNetworkActivityIndicatorVisible(bool visible) {
  if (isNetworkActivityIndicatorVisible() == visible) return;
  willChangeValueForKey(visibleKey);
  {
    std::lock_guard guard(lock_);
    networkActivityIndicatorVisible_ = visible;
  }
  didChangeValueForKey(visibleKey);
  // A copy, called after the lock is released: the block is the application's code.
  if (const ActionBlock action = networkActivityActionBlock()) {
    action(visible);
  } else {
    OVNApplication::sharedApplication()->setNetworkActivityIndicatorVisible(visible);
  }
}

// ---- Counting requests ------------------------------------------------------------------

std::int64_t Manager::activityCount() const {
  std::lock_guard guard(lock_);
  return activityCount_;
}

void Manager::setActivityCount(std::int64_t count) {
  {
    std::lock_guard guard(lock_);
    activityCount_ = count;
  }
  queueStateUpdate();
}

void Manager::incrementActivityCount() {
  willChangeValueForKey(countKey);
  {
    std::lock_guard guard(lock_);
    ++activityCount_;
  }
  didChangeValueForKey(countKey);
  queueStateUpdate();
}

void Manager::decrementActivityCount() {
  willChangeValueForKey(countKey);
  {
    std::lock_guard guard(lock_);
    activityCount_ = std::max<std::int64_t>(activityCount_ - 1, 0);
  }
  didChangeValueForKey(countKey);
  queueStateUpdate();
}

bool Manager::isNetworkActivityOccurring() const {
  std::lock_guard guard(lock_);
  return activityCount_ > 0;
}

void Manager::networkRequestDidStart(const OVNNotification& notification) {
  if (notificationCarriesRequestWithURL(notification)) incrementActivityCount();
}

void Manager::networkRequestDidFinish(const OVNNotification& notification) {
  if (notificationCarriesRequestWithURL(notification)) decrementActivityCount();
}

void Manager::startObservingNetworkRequestNotifications(std::string didStartName, std::string didFinishName) {
  auto& center = OVNNotificationCenter::defaultCenter();
  auto didStart = center.addObserver(std::move(didStartName), nullptr, nullptr,
                                     [weak = weakSelf()](const OVNNotification& notification) {
                                       if (auto self = weak.lock()) self->networkRequestDidStart(notification);
                                     });
  auto didFinish = center.addObserver(std::move(didFinishName), nullptr, nullptr,
                                      [weak = weakSelf()](const OVNNotification& notification) {
                                        if (auto self = weak.lock()) self->networkRequestDidFinish(notification);
                                      });
  std::lock_guard guard(lock_);
  notificationObservers_.push_back(std::move(didStart));
  notificationObservers_.push_back(std::move(didFinish));
}

std::weak_ptr<Manager> Manager::weakSelf() { return std::static_pointer_cast<Manager>(weak_from_this().lock()); }

void Manager::queueStateUpdate() {
  OVNDispatchQueue::main()->async([weak = weakSelf()] {
    if (auto self = weak.lock()) self->updateCurrentStateForNetworkActivityChange();
  });
}

// ---- The state machine ------------------------------------------------------------------

std::int64_t Manager::currentState() const {
  std::lock_guard guard(lock_);
  return currentState_;
}

void Manager::setCurrentState(std::int64_t state) {
  // The lock guards the comparison and the store only. Announcing the change calls
  // key-value observers, and the entry action calls the action block (or OVNApplication's
  // observers) and schedules timers (which may call the run loop's wake-up handler): all
  // of that is the application's code, which must never run under our lock. Releasing the
  // lock between comparison and store is safe because transitions happen on the main
  // thread only, one at a time.
  {
    std::lock_guard guard(lock_);
    if (currentState_ == state) return;
  }
  willChangeValueForKey(stateKey);
  {
    std::lock_guard guard(lock_);
    currentState_ = state;
  }
  runEntryAction(state);
  didChangeValueForKey(stateKey);
}

void Manager::runEntryAction(std::int64_t state) {
  switch (state) {
    case NotActive:
      cancelActivationDelayTimer();
      cancelCompletionDelayTimer();
      setNetworkActivityIndicatorVisible(false);
      break;
    case DelayingStart: startActivationDelayTimer(); break;
    case Active:
      cancelCompletionDelayTimer();
      setNetworkActivityIndicatorVisible(true);
      break;
    case DelayingCompletion: startCompletionDelayTimer(); break;
    default: break;  // a state of the application's own: no entry action
  }
}

void Manager::updateCurrentStateForNetworkActivityChange() {
  if (!isEnabled()) return;
  const bool occurring = isNetworkActivityOccurring();
  switch (currentState()) {
    case NotActive:
      if (occurring) setCurrentState(DelayingStart);
      break;
    case DelayingStart: break;  // the activation timer decides
    case Active:
      if (!occurring) setCurrentState(DelayingCompletion);
      break;
    case DelayingCompletion:
      if (occurring) setCurrentState(Active);
      break;
    default: break;
  }
}

std::shared_ptr<OVNTimer> Manager::activationDelayTimer() const {
  std::lock_guard guard(lock_);
  return activationDelayTimer_;
}

std::shared_ptr<OVNTimer> Manager::completionDelayTimer() const {
  std::lock_guard guard(lock_);
  return completionDelayTimer_;
}

bool Manager::automaticallyNotifiesObserversForKey(std::string_view key) const {
  if (key == stateKey || key == visibleKey) return false;
  return OVNObject::automaticallyNotifiesObserversForKey(key);
}

// ---- Timers -----------------------------------------------------------------------------

// An activation timer still pending is left as it is; only NotActive cancels it.
void Manager::startActivationDelayTimer() {
  auto timer = OVNTimer::scheduledTimer(activationDelay(), [weak = weakSelf()](OVNTimer&) {
    if (auto self = weak.lock()) self->activationDelayTimerFired();
  });
  std::lock_guard guard(lock_);
  activationDelayTimer_ = std::move(timer);
}

void Manager::activationDelayTimerFired() { setCurrentState(isNetworkActivityOccurring() ? Active : NotActive); }

void Manager::cancelActivationDelayTimer() {
  if (auto timer = activationDelayTimer()) timer->invalidate();
}

void Manager::startCompletionDelayTimer() {
  cancelCompletionDelayTimer();
  auto timer = OVNTimer::scheduledTimer(completionDelay(), [weak = weakSelf()](OVNTimer&) {
    if (auto self = weak.lock()) self->completionDelayTimerFired();
  });
  std::lock_guard guard(lock_);
  completionDelayTimer_ = std::move(timer);
}

void Manager::completionDelayTimerFired() { setCurrentState(NotActive); }

void Manager::cancelCompletionDelayTimer() {
  if (auto timer = completionDelayTimer()) timer->invalidate();
}
