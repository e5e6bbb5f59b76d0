#include "OVNApiClient.h"

#include <map>

#include "Categories/NSString+OvrinCore.h"
#include "Logging/OVNLogger.h"
#include "Networking/OVNRequest.h"
#include "Networking/OVNResponse.h"
#include "Networking/OVNResponseResult.h"
#include "Networking/OVNURLCache.h"
#include "OVNApiRequestOptions.h"
#include "OVNApiResponse.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/OVNPropertyMapper.h"

OVN_PROPERTIES(OVNApiClient, (baseURL, setBaseURL), (mapper, setMapper))

namespace {

constexpr std::string_view clientIDMember = "id";
constexpr std::string_view clientSecretMember = "secret";
// The code the platform gives a cancelled URL request; only the number is compared.
constexpr std::int64_t cancelledRequestCode = -999;
// Where the request log line says it comes from.
constexpr const char* requestLogFile = "Source/OVNApiClient";
constexpr const char* requestLogFunction = "-[OVNApiClient request:method:expirationInterval:parameters:completion:]";
constexpr std::int32_t requestLogLine = 174;

// The class-level tables, keyed by client class name; never emptied, never destroyed (code
// running at exit may still make requests).
struct ClassTables {
  std::mutex mutex;
  std::map<std::string, OVNDictionaryRef, std::less<>> clientConfig;
  std::map<std::string, std::shared_ptr<OVNApiClient>, std::less<>> clients;
};

ClassTables& tables() {
  static ClassTables* made = new ClassTables;
  return *made;
}

}  // namespace

// The serializers see no transport error (the per-task delegates never keep one), so a task
// that failed or was cancelled is asked itself.
std::shared_ptr<OVNError> OVNApiClient::failureOf(const OVNResponse& reply,
                                                  const std::shared_ptr<OVNURLSessionTask>& task) {
  if (reply.error()) return reply.error();
  return task ? task->error() : nullptr;
}

// ---- class level --------------------------------------------------------------------------

void OVNApiClient::configureWithClientID(const OVNClass& receiver, std::string clientID, std::string secret) {
  auto entry = OVNDictionary::make(
      {{std::string(clientIDMember), std::move(clientID)}, {std::string(clientSecretMember), std::move(secret)}},
      false);
  std::lock_guard lock(tables().mutex);
  tables().clientConfig.insert_or_assign(receiver.name(), std::move(entry));
}

std::shared_ptr<OVNApiClient> OVNApiClient::sharedClient(const OVNClass& receiver,
                                                         const std::function<std::shared_ptr<OVNApiClient>()>& make) {
  {
    std::lock_guard lock(tables().mutex);
    auto found = tables().clients.find(receiver.name());
    if (found != tables().clients.end()) return found->second;
  }
  // Made outside the lock: the initialiser calls the subclass's setupMappings.
  auto client = make();
  std::lock_guard lock(tables().mutex);
  // A racing first call may have stored one already; that one is the shared instance.
  return tables().clients.emplace(receiver.name(), std::move(client)).first->second;
}

std::optional<std::string> OVNApiClient::configuredCredential(const OVNClass& receiver, bool identifier) {
  std::lock_guard lock(tables().mutex);
  auto found = tables().clientConfig.find(receiver.name());
  if (found == tables().clientConfig.end()) return std::nullopt;
  const OVNValue value = found->second->objectForKey(identifier ? clientIDMember : clientSecretMember);
  const std::string* text = value.string();
  return text ? std::optional(*text) : std::nullopt;
}

// ---- initialising -------------------------------------------------------------------------

std::shared_ptr<OVNURLSessionConfiguration> OVNApiClient::defaultIfNull(
    std::shared_ptr<OVNURLSessionConfiguration> configuration) {
  return configuration ? std::move(configuration) : OVNURLSessionConfiguration::defaultSessionConfiguration();
}

void OVNApiClient::finishInitialising(std::shared_ptr<OVNURL> baseURL) {
  setBaseURL(std::move(baseURL));
  setMapper(OVNPropertyMapper::init());
  setupMappings();
  // Every client made installs the library's cache again, as the process-wide one.
  OVNHTTPCache::setSharedURLCache(OVNURLCache::sharedCache()->cache());
  didInitialise();
}

// ---- instance -----------------------------------------------------------------------------

// Looked up at every call, under this object's own class: no fallback to a base class.
std::optional<std::string> OVNApiClient::clientID() const { return configuredCredential(objectClass(), true); }
std::optional<std::string> OVNApiClient::clientSecret() const { return configuredCredential(objectClass(), false); }

std::shared_ptr<OVNURL> OVNApiClient::baseURL() const {
  std::lock_guard lock(mutex_);
  return baseURL_;
}

void OVNApiClient::setBaseURL(std::shared_ptr<OVNURL> baseURL) {
  std::lock_guard lock(mutex_);
  baseURL_ = std::move(baseURL);
}

std::shared_ptr<OVNPropertyMapper> OVNApiClient::mapper() const {
  std::lock_guard lock(mutex_);
  return mapper_;
}

void OVNApiClient::setMapper(std::shared_ptr<OVNPropertyMapper> mapper) {
  std::lock_guard lock(mutex_);
  mapper_ = std::move(mapper);
}

const OVNClass& OVNApiClient::responseClass() const { return OVNApiResponse::classObject(); }

OVNDictionaryRef OVNApiClient::optionsForRequestWithParameters(const OVNDictionaryRef& parameters) const {
  auto options = parameters ? parameters->mutableCopy() : OVNDictionary::make();
  if (auto id = clientID()) options->set(OVNApiParamKeyClientKey, *id);
  if (auto secret = clientSecret()) options->set(OVNApiParamKeyClientSecret, *secret);
  return options;
}

// ---- requests -----------------------------------------------------------------------------

std::shared_ptr<OVNRequest> OVNApiClient::request(std::string_view path, OVNRequestMethod method,
                                                  const OVNValue& parameters, Completion completion) {
  return request(path, method, 0, parameters, std::move(completion));
}

std::shared_ptr<OVNRequest> OVNApiClient::request(std::string_view path, OVNRequestMethod method,
                                                  double expirationInterval, const OVNValue& parameters,
                                                  Completion completion) {
  // The interval is kept for later use: whatever it is, the reply takes the same way.
  (void)expirationInterval;
  OVNDictionaryRef given = parameters.dictionary();
  if (auto options = parameters.objectAs<OVNApiRequestOptions>()) given = options->optionsAsDictionary();
  const OVNDictionaryRef sent = optionsForRequestWithParameters(given);
  auto request = requestWithMethod(method, resolvedURLString(ovn_URLEncodedString(path)), sent);
  // Both outcomes hold the client and the completion until the reply has been handled.
  auto self = std::static_pointer_cast<OVNApiClient>(shared_from_this());
  // The task, not the request: the caller may let go of the request before the reply.
  auto task = request->task();
  request->responseAsJSON(nullptr, 0, [self, completion, task](std::shared_ptr<OVNResponse> reply) {
    if (auto error = failureOf(*reply, task)) {
      self->deliverFailure(task, error, completion);
      return;
    }
    self->deliverSuccess(reply->result() ? reply->result()->value() : OVNValue(), completion);
  });
  const auto& url = request->request() ? request->request()->URL() : nullptr;
  OVNLogger::logWithFile(OVNLogLevelInfo, requestLogFile, requestLogFunction, requestLogLine, "url: %@, params: %@",
                         url ? url->absoluteString() : std::string("(null)"), OVNValue(sent));
  return request;
}

std::string OVNApiClient::resolvedURLString(std::string_view path) const {
  auto base = baseURL();
  auto resolved = base ? OVNURL::URLWithString(path, base) : OVNURL::URLWithString(path);
  // A path that is no URL reference goes on as it is; the task then fails with a bad URL.
  return resolved ? resolved->absoluteURL()->absoluteString() : std::string(path);
}

void OVNApiClient::deliverSuccess(const OVNValue& json, const Completion& completion) const {
  auto envelope = json.dictionary();
  auto response = OVNApiResponse::initWithJSONDictionary(responseClass(), envelope);
  if (!envelope) {
    // A body that is no JSON (the serializer leaves no value) or JSON that is no object has
    // no envelope to read; an application should not have to guess that from defaults.
    response->setError(OVNError::errorWithDomain(
        OVNApiErrorDomain, OVNApiErrorCodeInvalidResponse,
        json.isPresent() ? "The reply is not a JSON object." : "The reply is not valid JSON."));
  }
  if (completion) completion(response);
}

void OVNApiClient::deliverFailure(const std::shared_ptr<OVNURLSessionTask>& task,
                                  const std::shared_ptr<OVNError>& error, const Completion& completion) const {
  if (error->code() == cancelledRequestCode) return;
  if (task && task->state() == OVNURLSessionTaskStateCanceling) return;
  auto response = OVNApiResponse::initWithJSONDictionary(responseClass(), nullptr);
  response->setError(error);
  const auto url = task && task->originalRequest() ? task->originalRequest()->URL() : nullptr;
  OVNConsoleLog::writeFormat("**ERROR** request: %@, error: %@", url ? url->absoluteString() : std::string("(null)"),
                             error->localizedDescription());
  if (completion) completion(response);
}
