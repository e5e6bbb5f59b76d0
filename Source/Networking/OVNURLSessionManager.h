#pragma once
// OVNURLSessionManager: the library's HTTP front. It owns one HTTP session, whose delegate
// (an OVNURLSessionManagerDelegate) routes every callback to a per-task delegate, and turns
// a method, a URL string, parameters and headers into a request, encodes the parameters
// into the query string or the body, makes a data task, wraps it in an OVNRequest,
// registers both with the delegate and, by default, starts it and counts it in the network
// activity indicator. OVNApiClient is a subclass.
//
// Threads: requests may be made from any thread; tasks are made one at a time on the
// manager's private serial `queue`. Session callbacks run on the session's own serial
// delegate queue (see OVNURLSessionManagerDelegate); OVNRequest says where completion work
// runs. The property setters are for setting a manager up before it is shared.
//
// Lifetime: destroying a manager invalidates its session and cancels its tasks, without
// waiting for them. Nothing here reports an error: parameters that cannot be encoded are
// left out (see encodeURLRequest).

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "Networking/OVNParameterEncoding.h"
#include "Networking/OVNRequestMethod.h"
#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNValue.h"

class OVNError;
class OVNRequest;
class OVNURLRequest;
class OVNMutableURLRequest;
class OVNURLSession;
class OVNURLSessionConfiguration;
class OVNURLSessionManagerDelegate;

class OVN_EXPORT OVNURLSessionManager : public OVNObject {
  OVN_CLASS(OVNURLSessionManager, OVNObject)

 public:
  //! Unset; made by the factories below.
  OVNURLSessionManager() = default;
  ~OVNURLSessionManager() override;

  //! The process-wide manager, made on the first call: a plain OVNURLSessionManager whose
  //! session configuration sends Receiver::defaultHTTPHeaders() with every request.
  template <class Receiver = OVNURLSessionManager>
  static std::shared_ptr<OVNURLSessionManager> sharedManager() {
    return sharedManager(&Receiver::defaultHTTPHeaders);
  }
  //! "Accept-Encoding", "Accept-Language" (the user's first six languages with falling
  //! quality) and "User-Agent" (application, version, device, system, screen scale), built
  //! on the first call; an immutable dictionary, the same one ever after.
  static OVNDictionaryRef defaultHTTPHeaders();

  //! A manager of class Receiver with a new delegate.
  template <class Receiver = OVNURLSessionManager>
  static std::shared_ptr<Receiver> initWithConfiguration(std::shared_ptr<OVNURLSessionConfiguration> configuration) {
    return initWithConfiguration<Receiver>(std::move(configuration), nullptr);
  }
  //! A manager of class Receiver whose session uses `configuration` and `delegate` (null:
  //! a new OVNURLSessionManagerDelegate); mutableHTTPRequestHeaders starts as a mutable copy
  //! of Receiver::defaultHTTPHeaders().
  template <class Receiver = OVNURLSessionManager>
  static std::shared_ptr<Receiver> initWithConfiguration(std::shared_ptr<OVNURLSessionConfiguration> configuration,
                                                         std::shared_ptr<OVNURLSessionManagerDelegate> delegate) {
    auto manager = OVNMake<Receiver>();
    static_cast<OVNURLSessionManager&>(*manager).setUp(std::move(configuration), std::move(delegate),
                                                       Receiver::defaultHTTPHeaders());
    return manager;
  }

  bool startsRequestsImmediately() const { return startsRequestsImmediately_.load(std::memory_order_acquire); }
  void setStartsRequestsImmediately(bool starts) { startsRequestsImmediately_.store(starts); }
  const std::shared_ptr<OVNURLSession>& session() const { return session_; }
  void setSession(std::shared_ptr<OVNURLSession> session) { session_ = std::move(session); }
  const std::shared_ptr<OVNURLSessionManagerDelegate>& delegate() const { return delegate_; }
  void setDelegate(std::shared_ptr<OVNURLSessionManagerDelegate> delegate) { delegate_ = std::move(delegate); }
  const std::shared_ptr<OVNURLSessionConfiguration>& sessionConfiguration() const { return sessionConfiguration_; }
  void setSessionConfiguration(std::shared_ptr<OVNURLSessionConfiguration> configuration) {
    sessionConfiguration_ = std::move(configuration);
  }
  //! Storage for subclasses and callers; the manager never applies it to requests.
  const OVNDictionaryRef& mutableHTTPRequestHeaders() const { return mutableHTTPRequestHeaders_; }
  void setMutableHTTPRequestHeaders(OVNDictionaryRef headers) { mutableHTTPRequestHeaders_ = std::move(headers); }
  const OVNDispatchQueueRef& queue() const { return queue_; }
  void setQueue(OVNDispatchQueueRef queue) { queue_ = std::move(queue); }

  //! requestWithMethod with OVNParameterEncodingURL and no headers.
  virtual std::shared_ptr<OVNRequest> requestWithMethod(OVNRequestMethod method, std::string_view URLString,
                                                        const OVNDictionaryRef& parameters);
  //! A request for the URL parsed from `URLString` (none when it does not parse), with the
  //! method's text, each of `headers` set as a header field, and the parameters encoded.
  virtual std::shared_ptr<OVNRequest> requestWithMethod(OVNRequestMethod method, std::string_view URLString,
                                                        const OVNDictionaryRef& parameters,
                                                        OVNParameterEncoding encoding, const OVNDictionaryRef& headers);
  virtual std::shared_ptr<OVNRequest> requestWithURLRequest(const std::shared_ptr<OVNURLRequest>& URLRequest,
                                                            const OVNDictionaryRef& parameters);
  //! Encodes the parameters (when given) into the request, makes a data task on `queue`,
  //! wraps and registers it, and starts it when startsRequestsImmediately.
  virtual std::shared_ptr<OVNRequest> requestWithURLRequest(const std::shared_ptr<OVNURLRequest>& URLRequest,
                                                            const OVNDictionaryRef& parameters,
                                                            OVNParameterEncoding encoding);

  //! "GET", "HEAD", "POST", "PUT", "PATCH", "DELETE"; "GET" for any other value.
  std::string stringForRequestMethod(OVNRequestMethod method) const;
  //! The method whose text equals `text` exactly; OVNRequestMethodGET for any other text.
  OVNRequestMethod requestMethodForString(std::string_view text) const;

  //! A mutable copy of `request` with the parameters put where `encodingType` says (see
  //! OVNParameterEncoding.h); without parameters, the plain copy. An existing
  //! "Content-Type" is never replaced. `error` is never written.
  //! Parameters are meant to be flat: strings and numbers. Other values are dropped, and a
  //! dictionary or array value fails (OVNException NSRangeException when it holds one
  //! entry), as callers of this interface have always seen.
  std::shared_ptr<OVNMutableURLRequest> encodeURLRequest(const std::shared_ptr<OVNURLRequest>& request,
                                                         OVNParameterEncoding encodingType,
                                                         const OVNDictionaryRef& parameters,
                                                         std::shared_ptr<OVNError>* error) const;
  //! "key=value" pairs joined with "&", keys and string values escaped as
  //! ovn_URLEncodedString does, in the dictionary's order; no leading "?".
  std::string queryStringFromParameters(const OVNDictionaryRef& parameters) const;
  //! The components of one parameter: [[escaped key, value]] for a string or a number, one
  //! list of components per entry of a dictionary ("key[inner]") or element of an array
  //! ("key[]"), nothing for any other value.
  OVNArrayRef queryComponentsWithKey(std::string_view key, const OVNValue& value) const;

 private:
  static std::shared_ptr<OVNURLSessionManager> sharedManager(OVNDictionaryRef (*defaultHeaders)());
  void setUp(std::shared_ptr<OVNURLSessionConfiguration> configuration,
             std::shared_ptr<OVNURLSessionManagerDelegate> delegate, const OVNDictionaryRef& defaultHeaders);
  //! Encodings URL and URLEncodedInURL into `request`.
  void encodeForm(OVNMutableURLRequest& request, OVNParameterEncoding encodingType,
                  const OVNDictionaryRef& parameters) const;

  std::atomic<bool> startsRequestsImmediately_{false};
  std::shared_ptr<OVNURLSession> session_;
  std::shared_ptr<OVNURLSessionManagerDelegate> delegate_;
  std::shared_ptr<OVNURLSessionConfiguration> sessionConfiguration_;
  OVNDictionaryRef mutableHTTPRequestHeaders_;
  OVNDispatchQueueRef queue_;
};
