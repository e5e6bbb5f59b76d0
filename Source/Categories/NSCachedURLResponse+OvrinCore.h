#pragma once
// Cached-response helpers. Pure functions; the receiver is left unchanged.

#include <memory>

#include "OvrinCoreExport.h"

class OVNCachedURLResponse;

//! A copy whose header fields force a lifetime of `interval` seconds: "Cache-Control"
//! becomes "max-age=<interval truncated towards zero>" (any other directive it held is
//! dropped), "Expires" and "s-maxage" are removed, the version is "HTTP/1.1", the user info
//! is the new header fields, and body and storage policy are kept. A response that is not
//! an HTTP response is copied as it is.
OVN_EXPORT std::shared_ptr<OVNCachedURLResponse> ovn_responseWithExpirationInterval(
    const OVNCachedURLResponse& receiver, double interval);
