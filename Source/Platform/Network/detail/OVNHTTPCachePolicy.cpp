#include "Platform/Network/detail/OVNHTTPCachePolicy.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <string>

#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNMutableURLRequest.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/detail/OVNCacheControl.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNValue.h"

namespace ovn::detail {
namespace {

// Statuses whose replies may be stored and given a heuristic lifetime without explicit
// freshness information.
constexpr std::array<std::int64_t, 11> heuristicallyCacheableStatuses = {200, 203, 204, 300, 301, 308,
                                                                         404, 405, 410, 414, 501};
// The share of the time since the last modification that a reply is taken to stay fresh.
constexpr double heuristicFraction = 0.1;
constexpr std::int64_t statusNotModified = 304;
constexpr std::int64_t statusPartialContent = 206;

// Fields a 304 reply does not replace in the stored reply: they describe the stored body
// or the connection, not the resource.
constexpr std::array<std::string_view, 7> fieldsKeptOnRefresh = {"content-length", "content-encoding",  "content-type",
                                                                 "content-range",  "transfer-encoding", "connection",
                                                                 "keep-alive"};

// Request fields that make a request the application's own conditional or partial one.
constexpr std::array<std::string_view, 6> conditionalRequestFields = {
    "If-None-Match", "If-Modified-Since", "If-Match", "If-Unmodified-Since", "If-Range", "Range"};

// Longer than any date in one of the three forms, with room for stray white space.
constexpr std::size_t longestHTTPDate = 64;

// "hh:mm:ss" somewhere in the text.
bool hasTimeOfDay(std::string_view text) {
  auto digit = [](char c) { return c >= '0' && c <= '9'; };
  for (std::size_t at = 0; at + 8 <= text.size(); ++at) {
    const std::string_view part = text.substr(at, 8);
    if (digit(part[0]) && digit(part[1]) && part[2] == ':' && digit(part[3]) && digit(part[4]) && part[5] == ':' &&
        digit(part[6]) && digit(part[7])) {
      return true;
    }
  }
  return false;
}

std::string lowercase(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return result;
}

bool isHeuristicallyCacheable(std::int64_t status) {
  return std::find(heuristicallyCacheableStatuses.begin(), heuristicallyCacheableStatuses.end(), status) !=
         heuristicallyCacheableStatuses.end();
}

OVNCacheControl requestCacheControl(const OVNURLRequest& request) {
  auto control = OVNCacheControl::parse(request.valueForHTTPHeaderField("Cache-Control"));
  // The old request field counts only where "Cache-Control" is not sent.
  if (!request.valueForHTTPHeaderField("Cache-Control")) {
    auto pragma = request.valueForHTTPHeaderField("Pragma");
    if (pragma && lowercase(*pragma).find("no-cache") != std::string::npos) control.noCache = true;
  }
  return control;
}

bool hasValidator(const OVNHTTPURLResponse& response) {
  return response.valueForHTTPHeaderField("ETag") || response.valueForHTTPHeaderField("Last-Modified");
}

}  // namespace

bool OVNHTTPCachePolicy::isCacheableRequest(const OVNURLRequest& request) {
  if (request.HTTPMethod() != "GET") return false;
  for (auto field : conditionalRequestFields) {
    if (request.valueForHTTPHeaderField(field)) return false;
  }
  return !requestCacheControl(request).noStore;
}

bool OVNHTTPCachePolicy::isStorable(const OVNURLRequest& request, const OVNHTTPURLResponse& response) {
  if (!isCacheableRequest(request)) return false;
  const std::int64_t status = response.statusCode();
  if (status < 200 || status == statusPartialContent || status == statusNotModified) return false;
  const auto control = OVNCacheControl::parse(response.valueForHTTPHeaderField("Cache-Control"));
  if (control.noStore) return false;
  auto vary = response.valueForHTTPHeaderField("Vary");
  if (vary && vary->find('*') != std::string::npos) return false;
  const bool explicitFreshness =
      control.maxAge || parseHTTPDate(response.valueForHTTPHeaderField("Expires")).has_value();
  return explicitFreshness || control.isPublic || control.isPrivate || isHeuristicallyCacheable(status);
}

double OVNHTTPCachePolicy::freshnessLifetime(const OVNHTTPURLResponse& response, OVNDate responseDate) {
  const auto control = OVNCacheControl::parse(response.valueForHTTPHeaderField("Cache-Control"));
  if (control.maxAge) return *control.maxAge;
  const OVNDate date = parseHTTPDate(response.valueForHTTPHeaderField("Date")).value_or(responseDate);
  if (auto expires = parseHTTPDate(response.valueForHTTPHeaderField("Expires"))) {
    return expires->timeIntervalSinceDate(date);
  }
  auto lastModified = parseHTTPDate(response.valueForHTTPHeaderField("Last-Modified"));
  if (lastModified && isHeuristicallyCacheable(response.statusCode())) {
    return std::max(0.0, date.timeIntervalSinceDate(*lastModified)) * heuristicFraction;
  }
  return 0;
}

double OVNHTTPCachePolicy::currentAge(const OVNHTTPCache::Entry& entry, OVNDate now) {
  auto response = std::dynamic_pointer_cast<OVNHTTPURLResponse>(entry.cachedResponse->response());
  const OVNDate received = entry.responseDate;
  double ageValue = 0;
  std::optional<OVNDate> date;
  if (response) {
    const auto ageField = OVNCacheControl::parse("max-age=" + response->valueForHTTPHeaderField("Age").value_or(""));
    ageValue = ageField.maxAge.value_or(0);
    date = parseHTTPDate(response->valueForHTTPHeaderField("Date"));
  }
  const double apparentAge = std::max(0.0, received.timeIntervalSinceDate(date.value_or(received)));
  const double responseDelay = std::max(0.0, received.timeIntervalSinceDate(entry.requestDate));
  const double correctedInitialAge = std::max(apparentAge, ageValue + responseDelay);
  return correctedInitialAge + std::max(0.0, now.timeIntervalSinceDate(received));
}

bool OVNHTTPCachePolicy::looksUp(OVNURLRequestCachePolicy policy, const OVNURLRequest& request) {
  return policy != OVNURLRequestReloadIgnoringLocalCacheData && isCacheableRequest(request);
}

OVNHTTPCachePolicy::Decision OVNHTTPCachePolicy::decide(OVNURLRequestCachePolicy policy, const OVNURLRequest& request,
                                                        const std::optional<OVNHTTPCache::Entry>& entry, OVNDate now) {
  if (!looksUp(policy, request)) return Decision::fetch;
  auto stored = entry ? std::dynamic_pointer_cast<OVNHTTPURLResponse>(entry->cachedResponse->response()) : nullptr;
  if (policy == OVNURLRequestReturnCacheDataElseLoad || policy == OVNURLRequestReturnCacheDataDontLoad) {
    if (stored) return Decision::serve;
    return policy == OVNURLRequestReturnCacheDataDontLoad ? Decision::fail : Decision::fetch;
  }
  if (!stored) return Decision::fetch;
  return decideByFreshness(request, *entry, *stored, now);
}

OVNHTTPCachePolicy::Decision OVNHTTPCachePolicy::decideByFreshness(const OVNURLRequest& request,
                                                                   const OVNHTTPCache::Entry& entry,
                                                                   const OVNHTTPURLResponse& stored, OVNDate now) {
  const auto requested = requestCacheControl(request);
  const auto control = OVNCacheControl::parse(stored.valueForHTTPHeaderField("Cache-Control"));
  const double age = currentAge(entry, now);
  const bool fresh = freshnessLifetime(stored, entry.responseDate) > age;
  const bool acceptedAge = !requested.maxAge || age <= *requested.maxAge;
  if (fresh && acceptedAge && !requested.noCache && !control.noCache) return Decision::serve;
  return hasValidator(stored) ? Decision::revalidate : Decision::fetch;
}

std::shared_ptr<OVNURLRequest> OVNHTTPCachePolicy::conditionalRequest(const OVNURLRequest& request,
                                                                      const OVNHTTPURLResponse& stored) {
  auto conditional = request.mutableRequestCopy();
  if (auto tag = stored.valueForHTTPHeaderField("ETag")) conditional->setValue(*tag, "If-None-Match");
  if (auto modified = stored.valueForHTTPHeaderField("Last-Modified")) {
    conditional->setValue(*modified, "If-Modified-Since");
  }
  return conditional->immutableCopy();
}

std::shared_ptr<OVNHTTPURLResponse> OVNHTTPCachePolicy::refreshedResponse(const OVNHTTPURLResponse& stored,
                                                                          const OVNHTTPURLResponse& notModified) {
  auto fields = OVNDictionary::make();
  auto copyFields = [&fields](const OVNHTTPURLResponse& response, bool skipKept) {
    for (const auto& [name, value] : *response.allHeaderFields()) {
      const std::string lowered = lowercase(name);
      if (skipKept &&
          std::find(fieldsKeptOnRefresh.begin(), fieldsKeptOnRefresh.end(), lowered) != fieldsKeptOnRefresh.end()) {
        continue;
      }
      fields->set(name, value);
    }
  };
  copyFields(stored, false);
  copyFields(notModified, true);
  return OVNHTTPURLResponse::responseWithURL(stored.URL(), stored.statusCode(), stored.HTTPVersion(), fields);
}

bool OVNHTTPCachePolicy::invalidatesStoredResponse(const OVNURLRequest& request, std::int64_t statusCode) {
  const std::string& method = request.HTTPMethod();
  const bool safe = method == "GET" || method == "HEAD" || method == "OPTIONS" || method == "TRACE";
  return !safe && statusCode >= 200 && statusCode < 400;
}

std::optional<OVNDate> OVNHTTPCachePolicy::parseHTTPDate(std::optional<std::string_view> text) {
  // libcurl reads every form HTTP allows, and more; a date without a time of day is not one.
  if (!text || text->size() > longestHTTPDate || !hasTimeOfDay(*text)) return std::nullopt;
  const std::string value(*text);
  const time_t seconds = curl_getdate(value.c_str(), nullptr);
  if (seconds == -1) return std::nullopt;
  return OVNDate::dateWithTimeIntervalSince1970(static_cast<double>(seconds));
}

}  // namespace ovn::detail
