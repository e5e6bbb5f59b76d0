#include "Networking/OVNURLSessionManager.h"

#include <vector>

#include "Categories/NSString+OvrinCore.h"
#include "Networking/OVNNetworkActivityIndicatorManager.h"
#include "Networking/OVNRequest.h"
#include "Networking/OVNURLSessionManagerDelegate.h"
#include "Platform/Network/OVNMutableURLRequest.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLComponents.h"
#include "Platform/Network/OVNURLSession.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/System/OVNDevice.h"
#include "Platform/Text/OVNLocale.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNURLSessionManager, (startsRequestsImmediately, setStartsRequestsImmediately), (session, setSession),
               (delegate, setDelegate), (sessionConfiguration, setSessionConfiguration),
               (mutableHTTPRequestHeaders, setMutableHTTPRequestHeaders))

namespace {

constexpr std::string_view kContentType = "Content-Type";
constexpr std::string_view kFormContentType = "application/x-www-form-urlencoded; charset=utf-8";
constexpr std::string_view kJSONContentType = "application/json";
constexpr std::string_view kPropertyListContentType = "application/x-plist";
// Folds any script to ASCII, then drops what is still not ASCII.
constexpr std::string_view kASCIITransform = "Any-Latin; Latin-ASCII; [:^ASCII:] Remove";

constexpr const char* kMethodTexts[] = {"GET", "HEAD", "POST", "PUT", "PATCH", "DELETE"};

std::string join(const std::vector<std::string>& parts, std::string_view separator) {
  std::string joined;
  for (const std::string& part : parts) {
    if (!joined.empty()) joined += separator;
    joined += part;
  }
  return joined;
}

// Each language with a quality falling by 0.1 from 1, in single precision as the header
// has always been written, down to 0.5: at most six languages.
std::string acceptLanguage() {
  std::vector<std::string> entries;
  const std::vector<std::string> languages = OVNLocale::preferredLanguages();
  for (std::size_t index = 0; index < languages.size(); ++index) {
    const float quality = 1.0f + static_cast<float>(index) * -0.1f;
    entries.push_back(OVNFormat("%@;q=%0.1g", languages[index], static_cast<double>(quality)));
    if (0.5 >= static_cast<double>(quality)) break;
  }
  return join(entries, ", ");
}

OVNValue infoValue(std::string_view key, std::string_view fallbackKey) {
  const OVNBundleRef bundle = OVNBundle::mainBundle();
  OVNValue value = bundle->objectForInfoDictionaryKey(key);
  return value.isPresent() ? value : bundle->objectForInfoDictionaryKey(fallbackKey);
}

bool isASCII(std::string_view text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

std::string userAgent() {
  const OVNDevice& device = OVNDevice::currentDevice();
  std::string text = OVNFormat("%@/%@ (%@; %@ %@; Scale/%0.2f)", infoValue("CFBundleExecutable", "CFBundleIdentifier"),
                               infoValue("CFBundleShortVersionString", "CFBundleVersion"), device.model(), "iOS",
                               device.systemVersion(), device.screenScale());
  if (isASCII(text)) return text;
  // Header values must be ASCII; when the transform is unavailable the text goes as it is.
  auto folded = OVNString::stringByApplyingTransform(text, kASCIITransform, false);
  return folded ? *folded : text;
}

bool isQueryMethod(OVNRequestMethod method) {
  return method == OVNRequestMethodGET || method == OVNRequestMethodHEAD || method == OVNRequestMethodDELETE;
}

void setContentTypeIfMissing(OVNMutableURLRequest& request, std::string_view contentType) {
  if (!request.valueForHTTPHeaderField(kContentType)) request.setValue(std::string(contentType), kContentType);
}

}  // namespace

OVNURLSessionManager::~OVNURLSessionManager() {
  if (session_) session_->invalidateAndCancel();
}

std::shared_ptr<OVNURLSessionManager> OVNURLSessionManager::sharedManager(OVNDictionaryRef (*defaultHeaders)()) {
  // Never destroyed: the shared manager serves until the process ends.
  static const auto* const shared = new std::shared_ptr<OVNURLSessionManager>([defaultHeaders] {
    auto configuration = OVNURLSessionConfiguration::defaultSessionConfiguration();
    configuration->setHTTPAdditionalHeaders(defaultHeaders());
    auto manager = initWithConfiguration<OVNURLSessionManager>(configuration);
    manager->setStartsRequestsImmediately(true);
    return manager;
  }());
  return *shared;
}

OVNDictionaryRef OVNURLSessionManager::defaultHTTPHeaders() {
  static const OVNDictionaryRef headers = OVNDictionary::make(
      {
          {"Accept-Encoding", "gzip;q=1.0, compress;q=0.5"},
          {"Accept-Language", acceptLanguage()},
          {"User-Agent", userAgent()},
      },
      false);
  return headers;
}

void OVNURLSessionManager::setUp(std::shared_ptr<OVNURLSessionConfiguration> configuration,
                                 std::shared_ptr<OVNURLSessionManagerDelegate> delegate,
                                 const OVNDictionaryRef& defaultHeaders) {
  sessionConfiguration_ = std::move(configuration);
  delegate_ = delegate ? std::move(delegate) : OVNURLSessionManagerDelegate::init();
  queue_ = OVNDispatchQueue::createSerial("");
  session_ = OVNURLSession::sessionWithConfiguration(
      sessionConfiguration_ ? sessionConfiguration_ : OVNURLSessionConfiguration::defaultSessionConfiguration(),
      delegate_, nullptr);
  mutableHTTPRequestHeaders_ = defaultHeaders ? defaultHeaders->mutableCopy() : OVNDictionary::make();
  setStartsRequestsImmediately(true);
}

// ---- requests ------------------------------------------------------------------------

std::shared_ptr<OVNRequest> OVNURLSessionManager::requestWithMethod(OVNRequestMethod method, std::string_view URLString,
                                                                    const OVNDictionaryRef& parameters) {
  return requestWithMethod(method, URLString, parameters, OVNParameterEncodingURL, nullptr);
}

std::shared_ptr<OVNRequest> OVNURLSessionManager::requestWithMethod(OVNRequestMethod method, std::string_view URLString,
                                                                    const OVNDictionaryRef& parameters,
                                                                    OVNParameterEncoding encoding,
                                                                    const OVNDictionaryRef& headers) {
  auto request = OVNMutableURLRequest::requestWithURL(OVNURL::URLWithString(URLString));
  request->setHTTPMethod(stringForRequestMethod(method));
  if (headers) {
    for (const std::string& field : headers->allKeys()) {
      const OVNValue value = headers->objectForKey(field);
      request->setValue(value.string() ? *value.string() : value.description(), field);
    }
  }
  return requestWithURLRequest(request, parameters, encoding);
}

std::shared_ptr<OVNRequest> OVNURLSessionManager::requestWithURLRequest(
    const std::shared_ptr<OVNURLRequest>& URLRequest, const OVNDictionaryRef& parameters) {
  return requestWithURLRequest(URLRequest, parameters, OVNParameterEncodingURL);
}

std::shared_ptr<OVNRequest> OVNURLSessionManager::requestWithURLRequest(
    const std::shared_ptr<OVNURLRequest>& URLRequest, const OVNDictionaryRef& parameters,
    OVNParameterEncoding encoding) {
  std::shared_ptr<OVNURLRequest> request = URLRequest;
  if (parameters) request = encodeURLRequest(URLRequest, encoding, parameters, nullptr);
  std::shared_ptr<OVNURLSessionDataTask> task;
  queue_->sync([&] { task = session_->dataTaskWithRequest(request); });
  auto made = OVNRequest::initWithSession(session_, task);
  if (const auto& taskDelegate = made->delegate()) delegate_->setDelegate(taskDelegate, taskDelegate->task());
  delegate_->setRequest(made, task);
  if (startsRequestsImmediately()) {
    // Counted before it starts, so that its completion never lowers the count first.
    OVNNetworkActivityIndicatorManager::sharedManager()->incrementActivityCount();
    made->resume();
  }
  return made;
}

std::string OVNURLSessionManager::stringForRequestMethod(OVNRequestMethod method) const {
  return method <= OVNRequestMethodDELETE ? kMethodTexts[method] : kMethodTexts[OVNRequestMethodGET];
}

OVNRequestMethod OVNURLSessionManager::requestMethodForString(std::string_view text) const {
  for (OVNRequestMethod method = OVNRequestMethodGET; method <= OVNRequestMethodDELETE; ++method) {
    if (text == kMethodTexts[method]) return method;
  }
  return OVNRequestMethodGET;
}

// ---- parameter encoding --------------------------------------------------------------

std::shared_ptr<OVNMutableURLRequest> OVNURLSessionManager::encodeURLRequest(
    const std::shared_ptr<OVNURLRequest>& request, OVNParameterEncoding encodingType,
    const OVNDictionaryRef& parameters, std::shared_ptr<OVNError>*) const {
  auto copy = request ? request->mutableRequestCopy() : std::make_shared<OVNMutableURLRequest>();
  if (!parameters) return copy;
  switch (encodingType) {
    case OVNParameterEncodingURL:
    case OVNParameterEncodingURLEncodedInURL: encodeForm(*copy, encodingType, parameters); break;
    case OVNParameterEncodingJSON: {
      // The platform's writer raises for values JSON cannot hold; the raise ends the
      // encoding, leaving the copy without body and content type.
      if (!OVNJSONSerialization::isValidJSONObject(parameters)) return copy;
      auto body = OVNJSONSerialization::dataWithJSONObject(parameters, 0, nullptr);
      setContentTypeIfMissing(*copy, kJSONContentType);
      copy->setHTTPBody(std::move(body));
      break;
    }
    case OVNParameterEncodingPropertyList: {
      // The old text format cannot be written: the body stays empty, as callers expect.
      auto body =
          OVNPropertyListSerialization::dataWithPropertyList(parameters, OVNPropertyListOpenStepFormat, 0, nullptr);
      setContentTypeIfMissing(*copy, kPropertyListContentType);
      copy->setHTTPBody(std::move(body));
      break;
    }
    default: break;
  }
  return copy;
}

void OVNURLSessionManager::encodeForm(OVNMutableURLRequest& request, OVNParameterEncoding encodingType,
                                      const OVNDictionaryRef& parameters) const {
  const OVNRequestMethod method = requestMethodForString(request.HTTPMethod());
  if (encodingType == OVNParameterEncodingURLEncodedInURL || isQueryMethod(method)) {
    auto components = OVNURLComponents::componentsWithURL(request.URL(), false);
    if (!components) return;
    // Appended without "&": a URL that has a query already gets the pairs glued onto its
    // last value. Kept as it always was; callers pass URLs without a query.
    components->setPercentEncodedQuery(components->percentEncodedQuery().value_or("") +
                                       queryStringFromParameters(parameters));
    request.setURL(components->URL());
    return;
  }
  setContentTypeIfMissing(request, kFormContentType);
  request.setHTTPBody(OVNData::fromString(queryStringFromParameters(parameters)));
}

std::string OVNURLSessionManager::queryStringFromParameters(const OVNDictionaryRef& parameters) const {
  if (!parameters) return {};
  std::vector<std::string> pairs;
  for (const std::string& key : parameters->allKeys()) {
    const OVNArrayRef components = queryComponentsWithKey(key, parameters->objectForKey(key));
    for (const OVNValue& component : *components) {
      // A container's component is a list of pairs, not a pair: its second member is then
      // a pair's description, or missing (NSRangeException) when the list has one pair.
      const OVNArrayRef pair = component.array();
      pairs.push_back(OVNFormat("%@=%@", pair->at(0), pair->at(1)));
    }
  }
  return join(pairs, "&");
}

OVNArrayRef OVNURLSessionManager::queryComponentsWithKey(std::string_view key, const OVNValue& value) const {
  auto components = OVNArray::make();
  if (const OVNDictionaryRef dictionary = value.dictionary()) {
    for (const std::string& innerKey : dictionary->allKeys()) {
      components->add(queryComponentsWithKey(OVNFormat("%@[%@]", key, innerKey), dictionary->objectForKey(innerKey)));
    }
  } else if (const OVNArrayRef array = value.array()) {
    for (const OVNValue& element : *array) components->add(queryComponentsWithKey(OVNFormat("%@[]", key), element));
  } else if (const std::string* text = value.string()) {
    components->add(OVNValue::array({ovn_URLEncodedString(key), ovn_URLEncodedString(*text)}));
  } else if (value.number()) {
    components->add(OVNValue::array({ovn_URLEncodedString(key), value}));
  }
  return components;
}
