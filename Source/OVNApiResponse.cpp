#include "OVNApiResponse.h"

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNApiResponse, (isSuccessful, setIsSuccessful), (response, setResponse), (error, setError))

namespace {

// The envelope's boolean reading: numbers are true when non-zero; text is true when, after
// leading blanks, it begins with Y, y, T, t or a digit 1 to 9.
bool readSuccess(const OVNValue& value) {
  if (const OVNNumber* number = value.number()) return number->doubleValue() != 0.0;
  if (const std::string* text = value.string()) {
    const std::size_t first = text->find_first_not_of(" \t\n\r\v\f");
    if (first == std::string::npos) return false;
    const char c = (*text)[first];
    return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
  }
  return false;
}

std::int64_t codeForErrorString(const OVNValue& code) {
  if (!code.isPresent() || code.isNull()) return 0;
  const std::string text = code.description();
  if (text == "object_not_exists") return OVNApiErrorCodeObjectNotExists;
  if (text == "insufficient_scope") return OVNApiErrorCodeInsufficientScope;
  if (text == "invalid_client") return OVNApiErrorCodeInvalidClient;
  if (text == "unauthorized_namespace") return OVNApiErrorCodeUnauthorizedNamespace;
  return 0;  // an error the library does not classify
}

}  // namespace

std::shared_ptr<OVNApiResponse> OVNApiResponse::initWithJSONDictionary(const OVNClass& responseClass,
                                                                       const OVNDictionaryRef& dictionary) {
  if (!responseClass.isSubclassOfClass(classObject())) {
    OVNException::raise("NSInvalidArgumentException",
                        OVNFormat("%@ is not a kind of OVNApiResponse", responseClass.name()));
  }
  auto response = std::dynamic_pointer_cast<OVNApiResponse>(responseClass.createInstance());
  if (!response) {
    OVNException::raise("NSInvalidArgumentException", OVNFormat("%@ cannot be instantiated", responseClass.name()));
  }
  if (dictionary) response->readJSONDictionary(*dictionary);
  return response;
}

void OVNApiResponse::readJSONDictionary(const OVNDictionary& dictionary) {
  isSuccessful_ = readSuccess(dictionary.objectForKey(OVNApiResponseKeySuccess));
  const OVNValue error = dictionary.objectForKey(OVNApiResponseKeyError);
  if (error.isPresent() && !error.isNull()) {
    // A failed envelope never carries a payload, even when the service sent one.
    error_ = errorForFailedResponseErrorDictionary(error);
    return;
  }
  const OVNValue payload = dictionary.objectForKey(OVNApiResponseKeyResponse);
  response_ = payload.isPresent() ? payload.copy() : OVNValue();
}

std::shared_ptr<OVNError> OVNApiResponse::errorForFailedResponseErrorDictionary(const OVNValue& errorObject) {
  if (!errorObject.isPresent() || errorObject.isNull()) return nullptr;
  OVNValue code;
  OVNValue description;
  if (OVNDictionaryRef object = errorObject.dictionary()) {
    code = object->objectForKey(OVNApiResponseKeyErrorCode);
    description = object->objectForKey(OVNApiResponseKeyErrorDescription);
  } else if (errorObject.isString()) {
    // Not an error object: the text is the best description there is.
    description = errorObject;
  }
  if (!description.isPresent() || description.isNull()) description = OVNValue("unknown error");
  auto userInfo = OVNDictionary::make({{std::string(OVNLocalizedDescriptionKey), description}});
  return OVNError::errorWithDomain(OVNApiErrorDomain, codeForErrorString(code), userInfo);
}
