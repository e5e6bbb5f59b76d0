#pragma once
// The delegate protocols of an HTTP session (NSURLSessionDelegate and its refinements), as
// abstract classes whose every callback has the default the session applies when a
// delegate does not take part: a delegate overrides what it cares about.
//
//   OVNURLSessionDelegateProtocol          the session itself
//   OVNURLSessionTaskDelegateProtocol      every task: redirects, body sent, completion
//   OVNURLSessionDataDelegateProtocol      data tasks: response, body chunks
//   OVNURLSessionDownloadDelegateProtocol  download tasks: progress, the finished file
//
// The session calls them one at a time, in order, on its delegate queue (a serial queue).
// A callback that gets a completion function may call it later and from any thread; it
// must call it exactly once, and the task waits for it (the network does not). The session
// keeps its delegate alive until it has become invalid.

#include <cstdint>
#include <functional>
#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLAuthenticationChallenge.h"

class OVNURLSession;
class OVNURLCredential;
class OVNError;

class OVN_EXPORT OVNURLSessionDelegateProtocol {
 public:
  using ChallengeCompletion =
      std::function<void(OVNURLSessionAuthChallengeDisposition, std::shared_ptr<OVNURLCredential>)>;

  virtual ~OVNURLSessionDelegateProtocol();

  //! The last callback of a session: every task has completed after invalidation. `error`
  //! is null after invalidateAndCancel or finishTasksAndInvalidate.
  virtual void URLSessionDidBecomeInvalidWithError(const std::shared_ptr<OVNURLSession>& session,
                                                   const std::shared_ptr<OVNError>& error) {}
  //! Default: completion(OVNURLSessionAuthChallengePerformDefaultHandling, null).
  virtual void URLSessionDidReceiveChallenge(const std::shared_ptr<OVNURLSession>& session,
                                             const std::shared_ptr<OVNURLAuthenticationChallenge>& challenge,
                                             ChallengeCompletion completion);
  virtual void URLSessionDidFinishEventsForBackgroundURLSession(const std::shared_ptr<OVNURLSession>& session) {}
};
