#pragma once
// OVNApiEndpoint: one resource family of the service: a path, relative to the client's base
// URL, and the model class its replies are mapped into. It sends requests through the
// shared OVNApiClient, maps a successful envelope's payload on its own operation queue, and
// hands an OVNApiEndpointResult to the caller on the main queue.
//
// Options are a dictionary, an OVNApiRequestOptions, or missing. An "action" member is a
// path segment: it is appended to the resource ("/<action>") and never sent as a parameter.
//
// Threads: call everything on the main thread; completions run on the main queue, mapping
// on `mappingOperationQueue`. `isLoading` turns false with the first reply even while other
// requests still run, as it always has. After cancel() nothing more is delivered for the
// requests and mappings under way. An endpoint that goes away while requests run is safe:
// their replies still map and reach their completions.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Networking/OVNRequestMethod.h"
#include "OVNApiEndpointResult.h"
#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNValue.h"

class OVNApiClient;
class OVNApiResponse;
class OVNOperationQueue;
class OVNRequest;

//! True only for a string that is not empty (ovn_isEmpty); false for missing values and for
//! anything that is not a string.
OVN_EXPORT bool OVNIsNonEmptyString(const OVNValue& value);

class OVN_EXPORT OVNApiEndpoint : public OVNObject {
  OVN_CLASS(OVNApiEndpoint, OVNObject)

 public:
  using Completion = std::function<void(const OVNApiEndpointResultRef& result)>;

  OVNApiEndpoint();
  ~OVNApiEndpoint() override;
  //! An endpoint of class `Receiver` for the path and model class.
  template <class Receiver = OVNApiEndpoint>
  static std::shared_ptr<Receiver> initWithPath(std::string path, const OVNClass& objectClass) {
    auto endpoint = OVNMake<Receiver>();
    endpoint->setPath(std::move(path));
    endpoint->setObjectClass(&objectClass);
    return endpoint;
  }

  const std::string& path() const { return path_; }
  void setPath(std::string path) { path_ = std::move(path); }
  //! The default class of the mapped objects (the `objectClass` property: objectClass()
  //! is already every object's own run-time class).
  const OVNClass* endpointObjectClass() const { return objectClass_; }
  void setObjectClass(const OVNClass* objectClass) { objectClass_ = objectClass; }
  const std::shared_ptr<OVNOperationQueue>& mappingOperationQueue() const { return mappingOperationQueue_; }
  //! Every request started since the last cancel().
  const std::vector<std::shared_ptr<OVNRequest>>& cachedOperations() const { return cachedOperations_; }
  bool hasLoaded() const { return hasLoaded_; }
  bool isLoading() const { return isLoading_; }
  //! The client requests go through: the shared OVNApiClient. Subclasses may name another.
  virtual std::shared_ptr<OVNApiClient> sharedClient() const;

  //! Cancels the mapping operations and the requests started since the last cancel; their
  //! completions are not called. `isLoading` turns false, `hasLoaded` stays.
  void cancel();
  //! cancel(), and both flags false.
  void reset();
  //! A hook for subclasses; does nothing here.
  virtual void validate() {}

  // ---- Fetching ---------------------------------------------------------------------------

  void getWithOptions(const OVNValue& options, Completion completion);
  void getWithOptions(const OVNValue& options, double expires, Completion completion);
  void getFromResource(std::string_view resource, const OVNValue& options, Completion completion);
  void getFromResource(std::string_view resource, const OVNValue& options, double expires, Completion completion);
  void getFromResource(std::string_view resource, const OVNValue& options, const OVNClass& mappingClass,
                       Completion completion);
  void getFromResource(std::string_view resource, const OVNValue& options, double expires, const OVNClass& mappingClass,
                       Completion completion);
  //! GET of `path`/<identifier>: a number as a 32-bit integer ("%i"; larger ones are cut to
  //! 32 bits, as they always have been), anything else as its description.
  void getForId(const OVNValue& identifier, const OVNValue& options, Completion completion);

  void performRequestForResource(std::string_view resource, OVNRequestMethod method, const OVNValue& options,
                                 const OVNClass* mappingClass, const OVNObjectRef& sourceObject, Completion completion);
  //! Everything ends here: marks the endpoint loading, turns the options into parameters
  //! (the action into a path segment, the source object serialized into them), sends the
  //! request through sharedClient() and keeps it in cachedOperations. A successful envelope
  //! is mapped into `mappingClass`; a failed one reaches the completion with its error.
  void performRequestForResource(std::string_view resource, OVNRequestMethod method, const OVNValue& options,
                                 double expires, const OVNClass* mappingClass, const OVNObjectRef& sourceObject,
                                 Completion completion);

  //! A hook through which subclasses change or drop the serialized members of an object
  //! before they are sent; returns them unchanged here.
  virtual OVNDictionaryRef filterEncodedObject(const OVNDictionaryRef& encodedObject, const OVNClass& objectClass,
                                               OVNRequestMethod method);

 protected:
  //! `path`/<identifier text> (see getForId).
  std::string resourceForIdentifier(const OVNValue& identifier) const;

 private:
  struct Exchange;  // what one request's reply needs
  OVNDictionaryRef parametersFor(std::string& resource, const OVNValue& options, OVNRequestMethod method,
                                 const OVNObjectRef& sourceObject, const OVNApiClient& client);
  static void handleReply(const std::shared_ptr<Exchange>& exchange, const std::shared_ptr<OVNApiResponse>& response);
  static void handleMapped(const std::shared_ptr<Exchange>& exchange, const std::shared_ptr<OVNApiResponse>& response,
                           const OVNArrayRef& objects);

  std::string path_;
  const OVNClass* objectClass_ = nullptr;
  std::shared_ptr<OVNOperationQueue> mappingOperationQueue_;
  std::vector<std::shared_ptr<OVNRequest>> cachedOperations_;
  bool hasLoaded_ = false;
  bool isLoading_ = false;
  // Counts cancel() calls: a reply to a request sent before the latest one is dropped, even
  // if it was already on its way to the main queue.
  std::uint64_t generation_ = 0;
};

using OVNApiEndpointRef = std::shared_ptr<OVNApiEndpoint>;
