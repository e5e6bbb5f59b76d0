#pragma once
// The disk layer's record of a cached response without its body: a binary property list
// holding the response (URL, status, HTTP version, header fields, or for a response that
// is not HTTP its MIME type, expected length and text encoding), the user info and the
// storage policy. User info that a property list cannot hold is left out. Pure functions.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

class OVNCachedURLResponse;
class OVNData;

namespace ovn::detail {

class OVNHTTPCacheMetadata {
 public:
  //! None when the response itself cannot be written (it has no URL).
  static std::optional<std::string> encode(const OVNCachedURLResponse& cachedResponse);
  //! Null when the bytes are not a record this class wrote.
  static std::shared_ptr<OVNCachedURLResponse> decode(std::string_view bytes, std::shared_ptr<const OVNData> body);
  //! Bytes the response's URL and header fields take, for the memory layer's cost.
  static std::size_t estimatedHeaderSize(const OVNCachedURLResponse& cachedResponse);
};

}  // namespace ovn::detail
