#include "OVNApiEndpoint.h"

#include "Categories/NSString+OvrinCore.h"
#include "Networking/OVNRequest.h"
#include "OVNApiClient.h"
#include "OVNApiObject.h"
#include "OVNApiRequestOptions.h"
#include "OVNApiResponse.h"
#include "OVNPropertyMappingOperation.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"
#include "PropertyMapper/OVNPropertyMapper.h"

OVN_PROPERTIES(OVNApiEndpoint, (path, setPath), hasLoaded, isLoading)

namespace {

// The options member that names a path segment rather than a parameter.
constexpr std::string_view actionMember = "action";

}  // namespace

bool OVNIsNonEmptyString(const OVNValue& value) { return value.string() && !ovn_isEmpty(value); }

// What a reply needs once it arrives: the endpoint only weakly (for its flags), the rest
// strongly, so that an endpoint that went away still has its replies mapped and delivered.
struct OVNApiEndpoint::Exchange {
  std::weak_ptr<OVNApiEndpoint> endpoint;
  std::uint64_t generation = 0;
  const OVNClass* mappingClass = nullptr;
  OVNObjectRef sourceObject;
  Completion completion;
  std::shared_ptr<OVNOperationQueue> queue;
  OVNPropertyMapperRef mapper;

  //! The endpoint, when it still exists and has not been cancelled since the request left;
  //! `current` says whether the reply may still be delivered.
  std::shared_ptr<OVNApiEndpoint> liveEndpoint(bool& current) const {
    auto held = endpoint.lock();
    current = !held || held->generation_ == generation;
    return held;
  }
};

OVNApiEndpoint::OVNApiEndpoint() : mappingOperationQueue_(std::make_shared<OVNOperationQueue>()) {}

OVNApiEndpoint::~OVNApiEndpoint() = default;

std::shared_ptr<OVNApiClient> OVNApiEndpoint::sharedClient() const { return OVNApiClient::sharedClient(); }

void OVNApiEndpoint::cancel() {
  ++generation_;
  mappingOperationQueue_->cancelAllOperations();
  for (const auto& request : cachedOperations_) request->cancel();
  cachedOperations_.clear();
  isLoading_ = false;
}

void OVNApiEndpoint::reset() {
  cancel();
  hasLoaded_ = false;
  isLoading_ = false;
}

// ---- fetching -------------------------------------------------------------------------------

void OVNApiEndpoint::getWithOptions(const OVNValue& options, Completion completion) {
  getWithOptions(options, 0, std::move(completion));
}

void OVNApiEndpoint::getWithOptions(const OVNValue& options, double expires, Completion completion) {
  getFromResource(path_, options, expires, std::move(completion));
}

void OVNApiEndpoint::getFromResource(std::string_view resource, const OVNValue& options, Completion completion) {
  getFromResource(resource, options, 0, std::move(completion));
}

void OVNApiEndpoint::getFromResource(std::string_view resource, const OVNValue& options, double expires,
                                     Completion completion) {
  performRequestForResource(resource, OVNRequestMethodGET, options, expires, objectClass_, nullptr,
                            std::move(completion));
}

void OVNApiEndpoint::getFromResource(std::string_view resource, const OVNValue& options, const OVNClass& mappingClass,
                                     Completion completion) {
  getFromResource(resource, options, 0, mappingClass, std::move(completion));
}

void OVNApiEndpoint::getFromResource(std::string_view resource, const OVNValue& options, double expires,
                                     const OVNClass& mappingClass, Completion completion) {
  performRequestForResource(resource, OVNRequestMethodGET, options, expires, &mappingClass, nullptr,
                            std::move(completion));
}

void OVNApiEndpoint::getForId(const OVNValue& identifier, const OVNValue& options, Completion completion) {
  getFromResource(resourceForIdentifier(identifier), options, std::move(completion));
}

std::string OVNApiEndpoint::resourceForIdentifier(const OVNValue& identifier) const {
  // Numbers go as 32-bit integers: 2^32 + 1 becomes 1, as it always has.
  const std::string text =
      identifier.number() ? OVNFormat("%i", identifier.number()->intValue()) : OVNFormat("%@", identifier);
  return OVNFormat("%@/%@", path_, text);
}

void OVNApiEndpoint::performRequestForResource(std::string_view resource, OVNRequestMethod method,
                                               const OVNValue& options, const OVNClass* mappingClass,
                                               const OVNObjectRef& sourceObject, Completion completion) {
  performRequestForResource(resource, method, options, 0, mappingClass, sourceObject, std::move(completion));
}

void OVNApiEndpoint::performRequestForResource(std::string_view resource, OVNRequestMethod method,
                                               const OVNValue& options, double expires, const OVNClass* mappingClass,
                                               const OVNObjectRef& sourceObject, Completion completion) {
  isLoading_ = true;
  auto client = sharedClient();
  auto exchange = std::make_shared<Exchange>(Exchange{std::static_pointer_cast<OVNApiEndpoint>(shared_from_this()),
                                                      generation_, mappingClass, sourceObject, std::move(completion),
                                                      mappingOperationQueue_, client->mapper()});
  std::string target(resource);
  OVNValue parameters = options;
  if (auto given = options.objectAs<OVNApiRequestOptions>()) parameters = given->optionsAsDictionary();
  if (!parameters.isPresent() || parameters.isNull()) parameters = OVNDictionary::make();
  if (auto dictionary = parameters.dictionary()) {
    parameters = parametersFor(target, parameters, method, sourceObject, *client);
  }
  auto request =
      client->request(target, method, expires, parameters,
                      [exchange](const std::shared_ptr<OVNApiResponse>& response) { handleReply(exchange, response); });
  if (request) cachedOperations_.push_back(std::move(request));
}

OVNDictionaryRef OVNApiEndpoint::parametersFor(std::string& resource, const OVNValue& options, OVNRequestMethod method,
                                               const OVNObjectRef& sourceObject, const OVNApiClient& client) {
  auto parameters = options.dictionary()->mutableCopy();
  const OVNValue action = parameters->objectForKey(actionMember);
  if (action.isPresent()) {
    resource += OVNFormat("/%@", action);
    parameters->remove(actionMember);
  }
  if (sourceObject) {
    auto encoded = client.mapper()->serializeObject(OVNValue(sourceObject)).dictionary();
    if (encoded) encoded = filterEncodedObject(encoded, sourceObject->objectClass(), method);
    if (encoded) parameters->addEntries(*encoded);
  }
  return parameters->copy();
}

OVNDictionaryRef OVNApiEndpoint::filterEncodedObject(const OVNDictionaryRef& encodedObject, const OVNClass&,
                                                     OVNRequestMethod) {
  return encodedObject;
}

// ---- replies (main queue) -------------------------------------------------------------------

void OVNApiEndpoint::handleReply(const std::shared_ptr<Exchange>& exchange,
                                 const std::shared_ptr<OVNApiResponse>& response) {
  bool current = false;
  if (auto endpoint = exchange->liveEndpoint(current)) {
    if (!current) return;
    endpoint->hasLoaded_ = true;
    endpoint->isLoading_ = false;
  }
  if (!response->isSuccessful() || !exchange->mappingClass) {
    if (exchange->completion) exchange->completion(OVNApiEndpointResult::resultWithValue(nullptr, response->error()));
    return;
  }
  auto operation =
      OVNPropertyMappingOperation::initWithApiResponse(*response, *exchange->mappingClass, exchange->mapper);
  operation->setMappingCompletionBlock(
      [exchange, response](const OVNArrayRef& objects) { handleMapped(exchange, response, objects); });
  exchange->queue->addOperation(operation);
}

void OVNApiEndpoint::handleMapped(const std::shared_ptr<Exchange>& exchange,
                                  const std::shared_ptr<OVNApiResponse>& response, const OVNArrayRef& objects) {
  bool current = false;
  exchange->liveEndpoint(current);
  if (!current) return;
  auto source = std::dynamic_pointer_cast<OVNApiObject>(exchange->sourceObject);
  // A created or updated object takes over what the service made of it (a new identifier).
  if (source && objects && objects->count() == 1) source->updateWithObject((*objects)[0]);
  if (exchange->completion) exchange->completion(OVNApiEndpointResult::resultWithValue(objects, response->error()));
}
