#pragma once
// The service's reply envelope: {"success": bool, "error": {"code", "description"} or null,
// "response": payload}. An OVNApiResponse reads it into a success flag, the payload and a
// library error with a fixed code. The request pipeline makes one per finished request and
// may set `error` afterwards for a transport failure.
//
// Threads: a response is built on one thread and then handed over (completions deliver it
// on the main queue); it is not synchronised.
//
// Subclasses: the pipeline instantiates its client's response class through
// `initWithJSONDictionary(responseClass, dictionary)`. A subclass reads more of the envelope
// by overriding `readJSONDictionary` and calling the base first.

#include <cstdint>
#include <memory>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNValue.h"

inline constexpr std::string_view OVNApiErrorDomain = "com.ovrinapi.errors";

inline constexpr std::int64_t OVNApiErrorCodeInvalidResponse = 100;
inline constexpr std::int64_t OVNApiErrorCodeInvalidClient = 101;
inline constexpr std::int64_t OVNApiErrorCodeInsufficientScope = 102;
inline constexpr std::int64_t OVNApiErrorCodeUnauthorizedNamespace = 103;
inline constexpr std::int64_t OVNApiErrorCodeInvalidPlace = 200;
inline constexpr std::int64_t OVNApiErrorCodeInvalidCoordinateBounds = 201;
inline constexpr std::int64_t OVNApiErrorCodeInvalidPolygon = 202;
inline constexpr std::int64_t OVNApiErrorCodeObjectNotExists = 300;

inline constexpr std::string_view OVNApiResponseKeySuccess = "success";
inline constexpr std::string_view OVNApiResponseKeyError = "error";
inline constexpr std::string_view OVNApiResponseKeyErrorCode = "code";
inline constexpr std::string_view OVNApiResponseKeyErrorDescription = "description";
inline constexpr std::string_view OVNApiResponseKeyResponse = "response";
inline constexpr std::string_view OVNApiResponseKeyRequest = "request";
inline constexpr std::string_view OVNApiResponseKeyBatchResponse = "responses";
inline constexpr std::string_view OVNResourceMethodKey = "method";
inline constexpr std::string_view OVNResourcePathKey = "path";
inline constexpr std::string_view OVNApiParamKeyClientKey = "client_id";
inline constexpr std::string_view OVNApiParamKeyClientSecret = "client_secret";

class OVN_EXPORT OVNApiResponse : public OVNObject {
  OVN_CLASS(OVNApiResponse, OVNObject)

 public:
  //! A response of class `Receiver` read from the envelope; a null dictionary gives all
  //! three fields at their defaults.
  template <class Receiver = OVNApiResponse>
  static std::shared_ptr<Receiver> initWithJSONDictionary(const OVNDictionaryRef& dictionary) {
    return std::static_pointer_cast<Receiver>(initWithJSONDictionary(Receiver::classObject(), dictionary));
  }
  //! As above for a class known at run time; a class that is not an OVNApiResponse (or a
  //! subclass) is a programming error (NSInvalidArgumentException).
  static std::shared_ptr<OVNApiResponse> initWithJSONDictionary(const OVNClass& responseClass,
                                                                const OVNDictionaryRef& dictionary);

  //! The library error for the envelope's error object: domain OVNApiErrorDomain, the code
  //! for the known code strings (0 for any other), the description or "unknown error".
  //! A null object gives null.
  static std::shared_ptr<OVNError> errorForFailedResponseErrorDictionary(const OVNValue& errorObject);

  bool isSuccessful() const { return isSuccessful_; }
  void setIsSuccessful(bool successful) { isSuccessful_ = successful; }
  //! The payload, a copy of the envelope's "response"; missing when absent or when the
  //! envelope carried an error.
  const OVNValue& response() const { return response_; }
  void setResponse(OVNValue response) { response_ = std::move(response); }
  const std::shared_ptr<OVNError>& error() const { return error_; }
  void setError(std::shared_ptr<OVNError> error) { error_ = std::move(error); }

 protected:
  //! Reads the envelope into this (default-initialised) response.
  virtual void readJSONDictionary(const OVNDictionary& dictionary);

 private:
  bool isSuccessful_ = false;
  OVNValue response_;
  std::shared_ptr<OVNError> error_;
};
