#pragma once
// Header names: compared without regard to case, and written in the canonical
// capitalisation ("Content-Type", "ETag") whatever the wire used (HTTP/2 sends lower case).

#include <string>
#include <string_view>

namespace ovn::detail {

bool headerNamesEqual(std::string_view a, std::string_view b);
//! "content-type" -> "Content-Type"; the few irregular names ("ETag", "WWW-Authenticate")
//! come from a table.
std::string canonicalHeaderName(std::string_view name);
//! Whether a header value would break the message: a CR, LF or NUL byte.
bool headerValueIsUnsafe(std::string_view value);

}  // namespace ovn::detail
