#pragma once
// OVNNetworkActivityIndicatorManager: shows the network-activity indicator while requests
// are under way, late enough that a quick request never makes it flicker. Requests are
// counted (incrementActivityCount / decrementActivityCount, or the two notification
// handlers); once the count stays above zero for activationDelay seconds the indicator
// shows, and once it has been zero for completionDelay seconds it hides. The indicator is
// the action block when one is installed, else OVNApplication's flag.
//
// The state machine (currentState) and the entry action of each state:
//   NotActive           cancel both timers, hide the indicator
//   DelayingStart       start the activation timer
//   Active              cancel the completion timer, show the indicator
//   DelayingCompletion  start the completion timer
// Moves: activity while NotActive -> DelayingStart; the activation timer -> Active when
// activity is occurring, else NotActive; no activity while Active -> DelayingCompletion;
// activity again while DelayingCompletion -> Active; the completion timer, disabling ->
// NotActive.
//
// Concurrency: counts and flags are guarded by the object's own lock (`lock_`), so any
// thread may count requests and read the fields. State updates after count changes run
// on the main queue and timers on the main run loop, so the state machine moves on the
// main thread; call setEnabled and setCurrentState there too. The action block, key-value
// observers and OVNApplication's observers are called on the main thread (for count
// announcements: on the counting thread), never with the lock held.
//
// Make managers with OVNMake or sharedManager(): timers and queued updates hold the
// manager weakly and do nothing once it is gone, and a manager not owned by a shared_ptr
// gets no updates at all.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNNotification.h"
#include "Platform/Dispatch/OVNNotificationCenter.h"
#include "Platform/Objects/OVNObject.h"

class OVNTimer;

class OVN_EXPORT OVNNetworkActivityIndicatorManager : public OVNObject {
  OVN_CLASS(OVNNetworkActivityIndicatorManager, OVNObject)

 public:
  //! Called with the indicator's new visibility instead of setting OVNApplication's flag.
  using ActionBlock = std::function<void(bool networkActivityIndicatorVisible)>;

  //! Values of currentState.
  static constexpr std::int64_t NotActive = 0;
  static constexpr std::int64_t DelayingStart = 1;
  static constexpr std::int64_t Active = 2;
  static constexpr std::int64_t DelayingCompletion = 3;

  static constexpr double DefaultActivationDelay = 1.0;
  static constexpr double DefaultCompletionDelay = 0.17;

  OVNNetworkActivityIndicatorManager() = default;
  //! Invalidates both timers and removes the notification observers it registered.
  ~OVNNetworkActivityIndicatorManager() override;

  // ---- The shared manager -------------------------------------------------------------

  //! The process's manager. The first call (from any thread) makes it as a new `Receiver`;
  //! every later call returns that same object, whatever class it names.
  template <class Receiver = OVNNetworkActivityIndicatorManager>
  static std::shared_ptr<OVNNetworkActivityIndicatorManager> sharedManager() {
    return sharedManager(Receiver::classObject());
  }
  //! As above with a run-time class; a class that is not a concrete
  //! OVNNetworkActivityIndicatorManager (sub)class is a programming error
  //! (NSInvalidArgumentException).
  static std::shared_ptr<OVNNetworkActivityIndicatorManager> sharedManager(const OVNClass& receiver);

  // ---- Switches and delays ------------------------------------------------------------

  //! Off by default: counting alone never shows the indicator. Turning it off moves to
  //! NotActive at once, hiding an indicator that shows.
  bool isEnabled() const;
  void setEnabled(bool enabled);

  //! Seconds the count must stay above zero before the indicator shows (key "activationDelay").
  double activationDelay() const;
  void setActivationDelay(double seconds);
  //! Seconds the count must stay at zero before the indicator hides (key "completionDelay").
  double completionDelay() const;
  void setCompletionDelay(double seconds);

  //! Replaces the action block (an empty function removes it, so OVNApplication's flag is
  //! set again).
  void setNetworkingActivityActionWithBlock(ActionBlock block);
  ActionBlock networkActivityActionBlock() const;

  // ---- The indicator ------------------------------------------------------------------

  bool isNetworkActivityIndicatorVisible() const;
  //! The key-value coding accessor of "networkActivityIndicatorVisible".
  bool networkActivityIndicatorVisible() const { return isNetworkActivityIndicatorVisible(); }
  //! Nothing when the value is already stored. Otherwise announces the change of
  //! "networkActivityIndicatorVisible", stores it, then hands it to the action block when
  //! one is installed, else to OVNApplication::sharedApplication().
  void setNetworkActivityIndicatorVisible(bool visible);

  // ---- Counting requests --------------------------------------------------------------

  //! Requests under way (key "activityCount", observable).
  std::int64_t activityCount() const;
  //! Stores the count as given, without announcing it (key-value coding announces its own
  //! sets), and queues a state update on the main queue.
  void setActivityCount(std::int64_t count);
  //! Any thread. Announce the change of "activityCount" on the calling thread, then queue
  //! a state update on the main queue. The decrement stops at zero.
  void incrementActivityCount();
  void decrementActivityCount();
  //! activityCount() > 0.
  bool isNetworkActivityOccurring() const;

  //! Notification handlers: count the notification's request when its object answers
  //! "originalRequest" (a URL session task, say) and that request has a "URL"; anything
  //! else is ignored. Both are read through key-value coding, so any class with those
  //! properties qualifies.
  void networkRequestDidStart(const OVNNotification& notification);
  void networkRequestDidFinish(const OVNNotification& notification);
  //! Registers the two handlers on OVNNotificationCenter::defaultCenter() for the named
  //! notifications (called on the posting thread); the manager removes them when it goes
  //! away. The library posts no such notifications and registers nothing by itself.
  void startObservingNetworkRequestNotifications(std::string didStartName, std::string didFinishName);

  // ---- The state machine --------------------------------------------------------------

  //! NotActive, DelayingStart, Active or DelayingCompletion (key "currentState", observable).
  std::int64_t currentState() const;
  //! Nothing when `state` is the current one. Otherwise announces the change of
  //! "currentState", stores it, runs the state's entry action and ends the announcement.
  void setCurrentState(std::int64_t state);
  //! Moves the state after the count changed; nothing while disabled. Queued on the main
  //! queue by every count change.
  void updateCurrentStateForNetworkActivityChange();

  //! The last timers started (still stored after they fired or were cancelled), or null.
  std::shared_ptr<OVNTimer> activationDelayTimer() const;
  std::shared_ptr<OVNTimer> completionDelayTimer() const;

  //! currentState and networkActivityIndicatorVisible announce their changes themselves.
  bool automaticallyNotifiesObserversForKey(std::string_view key) const override;

 private:
  std::weak_ptr<OVNNetworkActivityIndicatorManager> weakSelf();
  void queueStateUpdate();
  void runEntryAction(std::int64_t state);

  void startActivationDelayTimer();
  void activationDelayTimerFired();
  void cancelActivationDelayTimer();
  void startCompletionDelayTimer();
  void completionDelayTimerFired();
  void cancelCompletionDelayTimer();

  // lock: the object's own lock, guarding every field below. Recursive, as the platform's
  // per-object lock is, so that a getter called while it is held cannot deadlock; it is
  // never held while calling out (see setCurrentState).
  mutable std::recursive_mutex lock_;
  bool enabled_ = false;
  bool networkActivityIndicatorVisible_ = false;
  double activationDelay_ = DefaultActivationDelay;
  double completionDelay_ = DefaultCompletionDelay;
  std::int64_t activityCount_ = 0;
  std::int64_t currentState_ = NotActive;
  std::shared_ptr<OVNTimer> activationDelayTimer_;
  std::shared_ptr<OVNTimer> completionDelayTimer_;
  ActionBlock networkActivityActionBlock_;
  std::vector<OVNNotificationCenter::ObserverToken> notificationObservers_;
};
