#pragma once
// Where OVNURLSessionManager puts a request's parameters, and the content type it sets when
// the request has none. Plain constants: usable from any thread.
//
//   URL               query string for GET, HEAD and DELETE; form body otherwise
//                     ("application/x-www-form-urlencoded; charset=utf-8")
//   URLEncodedInURL   query string, whatever the method; no content type
//   JSON              body as compact JSON ("application/json")
//   PropertyList      "application/x-plist"; the body stays empty (the old text format
//                     asked for cannot be written), a result callers rely on

#include <cstdint>

using OVNParameterEncoding = std::uint64_t;

inline constexpr OVNParameterEncoding OVNParameterEncodingURL = 0;
inline constexpr OVNParameterEncoding OVNParameterEncodingURLEncodedInURL = 1;
inline constexpr OVNParameterEncoding OVNParameterEncodingJSON = 2;
inline constexpr OVNParameterEncoding OVNParameterEncodingPropertyList = 3;
