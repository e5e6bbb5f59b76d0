#pragma once
// Errors of the URL error domain, with the user information every one carries.

#include <cstdint>
#include <memory>
#include <string_view>

class OVNError;
class OVNURL;

namespace ovn::detail {

//! An error of OVNURLErrorDomain: the platform's wording for `code`, the failing URL
//! (when there is one) and `transportReason`, the words of whatever failed.
std::shared_ptr<OVNError> makeURLError(std::int64_t code, const std::shared_ptr<OVNURL>& url,
                                       std::string_view transportReason);
//! The domain's code for a libcurl result code.
std::int64_t URLErrorCodeForCurlCode(int curlCode);

}  // namespace ovn::detail
