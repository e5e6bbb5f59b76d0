#include <algorithm>
#include <cmath>
#include <limits>

#include "Categories/NSCachedURLResponse+OvrinCore.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

namespace {

// Truncated towards zero; beyond the range of the field's integer, its end.
int wholeSeconds(double interval) {
  if (std::isnan(interval)) return 0;
  constexpr double lowest = std::numeric_limits<int>::min();
  constexpr double highest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(std::trunc(interval), lowest, highest));
}

}  // namespace

std::shared_ptr<OVNCachedURLResponse> ovn_responseWithExpirationInterval(const OVNCachedURLResponse& receiver,
                                                                         double interval) {
  auto response = std::dynamic_pointer_cast<OVNHTTPURLResponse>(receiver.response());
  if (!response) {
    return OVNCachedURLResponse::cachedResponseWithResponse(receiver.response(), receiver.data(), receiver.userInfo(),
                                                            receiver.storagePolicy());
  }
  auto fields = response->allHeaderFields()->mutableCopy();
  fields->set("Cache-Control", OVNFormat("max-age=%i", wholeSeconds(interval)));
  fields->remove("Expires");
  fields->remove("s-maxage");  // a directive's name used as a field name; removed all the same
  auto rewritten = OVNHTTPURLResponse::responseWithURL(response->URL(), response->statusCode(), "HTTP/1.1", fields);
  return OVNCachedURLResponse::cachedResponseWithResponse(rewritten, OVNData::make(receiver.data()->bytes()), fields,
                                                          receiver.storagePolicy());
}
