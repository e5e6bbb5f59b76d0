#pragma once
// The URL error domain: how the HTTP session reports transport failures. The codes are the
// platform's familiar ones, so that code written against them keeps working.
//
// Every error of this domain carries, in its user information, a localized description
// saying what happened (OVNLocalizedDescriptionKey), the failing URL as an object
// (OVNURLErrorFailingURLErrorKey) and as text (OVNURLErrorFailingURLStringErrorKey) when
// there is one, and the transport's own reason (OVNURLErrorTransportReasonKey).

#include <cstdint>
#include <string_view>

inline constexpr std::string_view OVNURLErrorDomain = "NSURLErrorDomain";

inline constexpr std::string_view OVNURLErrorFailingURLErrorKey = "NSErrorFailingURLKey";
inline constexpr std::string_view OVNURLErrorFailingURLStringErrorKey = "NSErrorFailingURLStringKey";
//! The transport library's own words for the failure (never empty).
inline constexpr std::string_view OVNURLErrorTransportReasonKey = "OVNTransportReason";

inline constexpr std::int64_t OVNURLErrorUnknown = -1;
inline constexpr std::int64_t OVNURLErrorCancelled = -999;
inline constexpr std::int64_t OVNURLErrorBadURL = -1000;
inline constexpr std::int64_t OVNURLErrorTimedOut = -1001;
inline constexpr std::int64_t OVNURLErrorUnsupportedURL = -1002;
inline constexpr std::int64_t OVNURLErrorCannotFindHost = -1003;
inline constexpr std::int64_t OVNURLErrorCannotConnectToHost = -1004;
inline constexpr std::int64_t OVNURLErrorNetworkConnectionLost = -1005;
inline constexpr std::int64_t OVNURLErrorHTTPTooManyRedirects = -1007;
inline constexpr std::int64_t OVNURLErrorResourceUnavailable = -1008;
inline constexpr std::int64_t OVNURLErrorBadServerResponse = -1011;
inline constexpr std::int64_t OVNURLErrorCannotDecodeContentData = -1016;
inline constexpr std::int64_t OVNURLErrorCannotCreateFile = -3000;
inline constexpr std::int64_t OVNURLErrorSecureConnectionFailed = -1200;
inline constexpr std::int64_t OVNURLErrorServerCertificateUntrusted = -1202;
inline constexpr std::int64_t OVNURLErrorClientCertificateRejected = -1205;
