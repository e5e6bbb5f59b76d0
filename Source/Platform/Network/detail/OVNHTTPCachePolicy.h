#pragma once
// The HTTP caching rules a private cache follows for one request: whether a reply may be
// stored, how long a stored reply stays fresh, how old it is, and what to do with it —
// serve it, ask the server whether it is still good, or fetch anew. Pure functions over
// requests, responses and dates; the session applies them.

#include <memory>
#include <optional>
#include <string_view>

#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Values/OVNDate.h"

class OVNHTTPURLResponse;

namespace ovn::detail {

class OVNHTTPCachePolicy {
 public:
  enum class Decision {
    fetch,       // go to the network as if nothing were stored
    serve,       // deliver the stored reply
    revalidate,  // ask the server with the stored reply's validators
    fail,        // nothing stored, and the request may not be sent
  };

  //! Whether the request may use stored replies and have its reply stored at all: a GET
  //! without its own conditional or range fields and without "no-store".
  static bool isCacheableRequest(const OVNURLRequest& request);
  //! Whether a complete reply to a cacheable request may be stored.
  static bool isStorable(const OVNURLRequest& request, const OVNHTTPURLResponse& response);
  //! Whether the cache is consulted at all for the request under `policy`.
  static bool looksUp(OVNURLRequestCachePolicy policy, const OVNURLRequest& request);
  //! What to do for the request under `policy`, given what is stored for it, at `now`.
  static Decision decide(OVNURLRequestCachePolicy policy, const OVNURLRequest& request,
                         const std::optional<OVNHTTPCache::Entry>& entry, OVNDate now);

  static double freshnessLifetime(const OVNHTTPURLResponse& response, OVNDate responseDate);
  static double currentAge(const OVNHTTPCache::Entry& entry, OVNDate now);

  //! The request with "If-None-Match" and "If-Modified-Since" from the stored reply.
  static std::shared_ptr<OVNURLRequest> conditionalRequest(const OVNURLRequest& request,
                                                           const OVNHTTPURLResponse& stored);
  //! The stored reply with the header fields of a 304 reply laid over it.
  static std::shared_ptr<OVNHTTPURLResponse> refreshedResponse(const OVNHTTPURLResponse& stored,
                                                               const OVNHTTPURLResponse& notModified);
  //! Whether a reply to an unsafe method makes the stored reply for its URL invalid.
  static bool invalidatesStoredResponse(const OVNURLRequest& request, std::int64_t statusCode);

  //! An HTTP date (IMF-fixdate, RFC 850 or asctime form); none when malformed.
  static std::optional<OVNDate> parseHTTPDate(std::optional<std::string_view> text);

 private:
  //! The protocol's own rules, for a stored HTTP reply.
  static Decision decideByFreshness(const OVNURLRequest& request, const OVNHTTPCache::Entry& entry,
                                    const OVNHTTPURLResponse& stored, OVNDate now);
};

}  // namespace ovn::detail
