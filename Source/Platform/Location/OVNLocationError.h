#pragma once
// The location service's error domain and codes (kCLErrorDomain), with the platform's
// numbers. Providers describe the cause in the error's localized description.

#include <cstdint>
#include <string_view>

inline constexpr std::string_view OVNLocationErrorDomain = "kCLErrorDomain";
//! No fix can be had now (the receiver or its daemon cannot be reached, or says nothing).
inline constexpr std::int64_t OVNLocationErrorLocationUnknown = 0;
//! The user (or the application, through the authorization status) denied location services.
inline constexpr std::int64_t OVNLocationErrorDenied = 1;
inline constexpr std::int64_t OVNLocationErrorNetwork = 2;
inline constexpr std::int64_t OVNLocationErrorHeadingFailure = 3;
inline constexpr std::int64_t OVNLocationErrorRegionMonitoringDenied = 4;
inline constexpr std::int64_t OVNLocationErrorRegionMonitoringFailure = 5;
