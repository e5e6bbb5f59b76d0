#include "Networking/OVNURLCache.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Platform/Dispatch/OVNOnce.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/System/OVNImage.h"
#include "Platform/Time/OVNDateFormatter.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDate.h"
#include "Platform/Values/OVNDictionary.h"

OVN_PROPERTIES(OVNURLCache, (cache, setCache))

namespace {

constexpr double noAge = -1.0;

// The age as the console line prints it: truncated, and held within the integer's range.
int wholeSeconds(double age) {
  constexpr double highest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(std::trunc(age), -1.0, highest));
}

// Never destroyed, so that code running at exit may still reach the cache.
struct SharedState {
  OVNOnce once;
  std::shared_ptr<OVNURLCache> cache;
};

SharedState& shared() {
  static SharedState* state = new SharedState;
  return *state;
}

}  // namespace

std::shared_ptr<OVNURLCache> OVNURLCache::sharedCache(const OVNClass& receiver) {
  if (!receiver.isSubclassOfClass(classObject())) {
    OVNException::raise(OVNInvalidArgumentException, "cache class " + receiver.name() + " is not an OVNURLCache");
  }
  SharedState& state = shared();
  state.once.run([&] {
    auto instance = std::dynamic_pointer_cast<OVNURLCache>(receiver.createInstance());
    if (!instance) {
      OVNException::raise(OVNInvalidArgumentException, "cache class " + receiver.name() + " cannot be instantiated");
    }
    state.cache = std::move(instance);
  });
  return state.cache;
}

void OVNURLCache::didCreate() { setMemoryCapacity(defaultMemoryCapacity, defaultDiskCapacity); }

std::shared_ptr<OVNHTTPCache> OVNURLCache::cache() const {
  std::lock_guard lock(mutex_);
  return cache_;
}

void OVNURLCache::setCache(std::shared_ptr<OVNHTTPCache> cache) {
  std::lock_guard lock(mutex_);
  cache_ = std::move(cache);
}

void OVNURLCache::setMemoryCapacity(std::uint64_t memoryCapacity, std::uint64_t diskCapacity) {
  setCache(OVNHTTPCache::cacheWithMemoryCapacity(memoryCapacity, diskCapacity, std::string(diskPath)));
}

OVNDateFormatter& OVNURLCache::ageFormatter() {
  // No locale or time zone is set: the device's apply, as they always have.
  static const auto* formatter = new std::shared_ptr<OVNDateFormatter>([] {
    auto made = OVNMake<OVNDateFormatter>();
    made->setDateFormat(ageDateFormat);
    return made;
  }());
  return **formatter;
}

double OVNURLCache::cachedResponseAgeForRequest(const std::shared_ptr<OVNURLRequest>& request) {
  auto platformCache = cache();
  auto cached = platformCache && request ? platformCache->cachedResponseForRequest(*request) : nullptr;
  auto response = cached ? std::dynamic_pointer_cast<OVNHTTPURLResponse>(cached->response()) : nullptr;
  if (!response) return noAge;
  // Looked up by exactly this name, as the stored fields spell it.
  const OVNValue date = response->allHeaderFields()->objectForKey("Date");
  const std::string* text = date.string();
  if (!text) return noAge;
  auto parsed = ageFormatter().dateFromString(*text);
  return parsed ? std::fabs(parsed->timeIntervalSinceNow()) : 0.0;
}

std::shared_ptr<const OVNData> OVNURLCache::cachedDataForRequest(const std::shared_ptr<OVNURLRequest>& request) {
  auto platformCache = cache();
  auto cached = platformCache && request ? platformCache->cachedResponseForRequest(*request) : nullptr;
  if (!cached) return nullptr;
  const double age = cachedResponseAgeForRequest(request);
  const std::string url = request->URL() ? request->URL()->absoluteString() : "(null)";
  OVNConsoleLog::writeFormat("Has cached response for request %@, age=%i", url, wholeSeconds(age));
  return cached->data();
}

std::shared_ptr<OVNImage> OVNURLCache::cachedImageForRequest(const std::shared_ptr<OVNURLRequest>& request) {
  return cachedImageForRequest(request, defaultImageMaximumAge);
}

std::shared_ptr<OVNImage> OVNURLCache::cachedImageForRequest(const std::shared_ptr<OVNURLRequest>& request,
                                                             double /*maxAge: accepted, not applied*/) {
  auto data = cachedDataForRequest(request);
  return data ? OVNImage::imageWithData(*data) : nullptr;
}
