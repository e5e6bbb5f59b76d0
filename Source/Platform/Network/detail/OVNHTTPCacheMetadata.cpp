#include "Platform/Network/detail/OVNHTTPCacheMetadata.h"

#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {

namespace {

// Keys of the record. "kind" tells an HTTP response from a plain one.
constexpr const char* kKindKey = "kind";
constexpr const char* kHTTPKind = "HTTP";
constexpr const char* kPlainKind = "URL";
constexpr const char* kURLKey = "URL";
constexpr const char* kStatusCodeKey = "statusCode";
constexpr const char* kHTTPVersionKey = "HTTPVersion";
constexpr const char* kHeaderFieldsKey = "headerFields";
constexpr const char* kMIMETypeKey = "MIMEType";
constexpr const char* kExpectedLengthKey = "expectedContentLength";
constexpr const char* kTextEncodingKey = "textEncodingName";
constexpr const char* kUserInfoKey = "userInfo";
constexpr const char* kStoragePolicyKey = "storagePolicy";

void setIfPresent(OVNDictionary& record, const char* key, const std::optional<std::string>& value) {
  if (value) record.set(key, *value);
}

std::optional<std::string> optionalString(const OVNDictionary& record, const char* key) {
  const OVNValue value = record.objectForKey(key);
  return value.string() ? std::optional(*value.string()) : std::nullopt;
}

OVNDictionaryRef responseRecord(const OVNURLResponse& response) {
  auto record = OVNDictionary::make();
  if (response.URL()) record->set(kURLKey, response.URL()->absoluteString());
  if (auto* http = dynamic_cast<const OVNHTTPURLResponse*>(&response)) {
    record->set(kKindKey, kHTTPKind);
    record->set(kStatusCodeKey, http->statusCode());
    setIfPresent(*record, kHTTPVersionKey, http->HTTPVersion());
    record->set(kHeaderFieldsKey, http->allHeaderFields());
    return record;
  }
  record->set(kKindKey, kPlainKind);
  setIfPresent(*record, kMIMETypeKey, response.MIMEType());
  record->set(kExpectedLengthKey, response.expectedContentLength());
  setIfPresent(*record, kTextEncodingKey, response.textEncodingName());
  return record;
}

std::shared_ptr<OVNURLResponse> responseFromRecord(const OVNDictionary& record) {
  std::optional<std::string> kind = optionalString(record, kKindKey);
  std::optional<std::string> urlText = optionalString(record, kURLKey);
  std::shared_ptr<OVNURL> url = urlText ? OVNURL::URLWithString(*urlText) : nullptr;
  if (urlText && !url) return nullptr;
  if (kind == kHTTPKind) {
    auto status = record.objectForKey(kStatusCodeKey).longLongValue();
    OVNDictionaryRef fields = record.objectForKey(kHeaderFieldsKey).dictionary();
    if (!status || !fields) return nullptr;
    return OVNHTTPURLResponse::responseWithURL(url, *status, optionalString(record, kHTTPVersionKey), fields);
  }
  if (kind != kPlainKind) return nullptr;
  auto length = record.objectForKey(kExpectedLengthKey).longLongValue();
  return OVNURLResponse::responseWithURL(url, optionalString(record, kMIMETypeKey),
                                         length.value_or(OVNURLResponseUnknownLength),
                                         optionalString(record, kTextEncodingKey));
}

}  // namespace

std::optional<std::string> OVNHTTPCacheMetadata::encode(const OVNCachedURLResponse& cachedResponse) {
  if (!cachedResponse.response()) return std::nullopt;
  OVNDictionaryRef record = responseRecord(*cachedResponse.response());
  record->set(kStoragePolicyKey, cachedResponse.storagePolicy());
  const OVNDictionaryRef& userInfo = cachedResponse.userInfo();
  // User info a property list cannot hold (objects, blocks, ...) is not kept on disk.
  if (userInfo && OVNPropertyListSerialization::propertyList(userInfo, OVNPropertyListBinaryFormat_v1_0)) {
    record->set(kUserInfoKey, userInfo);
  }
  OVNDataRef bytes =
      OVNPropertyListSerialization::dataWithPropertyList(record, OVNPropertyListBinaryFormat_v1_0, 0, nullptr);
  if (!bytes) return std::nullopt;
  return std::string(bytes->view());
}

std::shared_ptr<OVNCachedURLResponse> OVNHTTPCacheMetadata::decode(std::string_view bytes,
                                                                   std::shared_ptr<const OVNData> body) {
  OVNData data(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
  OVNValue plist = OVNPropertyListSerialization::propertyListWithData(data, OVNPropertyListImmutable, nullptr, nullptr);
  OVNDictionaryRef record = plist.dictionary();
  if (!record) return nullptr;
  std::shared_ptr<OVNURLResponse> response = responseFromRecord(*record);
  auto policy = record->objectForKey(kStoragePolicyKey).longLongValue();
  if (!response || !policy) return nullptr;
  return OVNCachedURLResponse::cachedResponseWithResponse(std::move(response), std::move(body),
                                                          record->objectForKey(kUserInfoKey).dictionary(),
                                                          static_cast<OVNURLCacheStoragePolicy>(*policy));
}

std::size_t OVNHTTPCacheMetadata::estimatedHeaderSize(const OVNCachedURLResponse& cachedResponse) {
  const auto& response = cachedResponse.response();
  if (!response) return 0;
  std::size_t size = response->URL() ? response->URL()->absoluteString().size() : 0;
  if (auto* http = dynamic_cast<const OVNHTTPURLResponse*>(response.get())) {
    for (const auto& [name, value] : *http->allHeaderFields()) {
      size += name.size() + (value.string() ? value.string()->size() : 0);
    }
  }
  return size;
}

}  // namespace ovn::detail
