#pragma once
// The HTTP methods a session manager sends, by number; OVNURLSessionManager turns them into
// their texts ("GET", "HEAD", ...) and back. Plain constants: usable from any thread.

#include <cstdint>

using OVNRequestMethod = std::uint64_t;

inline constexpr OVNRequestMethod OVNRequestMethodGET = 0;
inline constexpr OVNRequestMethod OVNRequestMethodHEAD = 1;
inline constexpr OVNRequestMethod OVNRequestMethodPOST = 2;
inline constexpr OVNRequestMethod OVNRequestMethodPUT = 3;
inline constexpr OVNRequestMethod OVNRequestMethodPATCH = 4;
inline constexpr OVNRequestMethod OVNRequestMethodDELETE = 5;
