#include "Platform/Network/detail/OVNURLErrors.h"

#include <curl/curl.h>

#include <string>

#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLError.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {
namespace {

std::string_view descriptionForCode(std::int64_t code) {
  switch (code) {
    case OVNURLErrorCancelled: return "cancelled";
    case OVNURLErrorBadURL: return "bad URL";
    case OVNURLErrorTimedOut: return "The request timed out.";
    case OVNURLErrorUnsupportedURL: return "unsupported URL";
    case OVNURLErrorCannotFindHost: return "A server with the specified hostname could not be found.";
    case OVNURLErrorCannotConnectToHost: return "Could not connect to the server.";
    case OVNURLErrorNetworkConnectionLost: return "The network connection was lost.";
    case OVNURLErrorHTTPTooManyRedirects: return "too many HTTP redirects";
    case OVNURLErrorResourceUnavailable: return "resource unavailable";
    case OVNURLErrorBadServerResponse: return "The server returned a reply that could not be read.";
    case OVNURLErrorCannotDecodeContentData: return "The reply's content encoding could not be decoded.";
    case OVNURLErrorCannotCreateFile: return "The downloaded file could not be written.";
    case OVNURLErrorSecureConnectionFailed:
      return "A TLS error has occurred and a secure connection to the server cannot be made.";
    case OVNURLErrorServerCertificateUntrusted:
      return "The certificate for this server is invalid: it is not signed by an authority this session trusts.";
    case OVNURLErrorClientCertificateRejected: return "The server did not accept the client certificate.";
    default: return "An unknown error occurred.";
  }
}

}  // namespace

std::shared_ptr<OVNError> makeURLError(std::int64_t code, const std::shared_ptr<OVNURL>& url,
                                       std::string_view transportReason) {
  auto userInfo = OVNDictionary::make();
  userInfo->set(OVNLocalizedDescriptionKey, OVNValue(descriptionForCode(code)));
  userInfo->set(OVNURLErrorTransportReasonKey,
                OVNValue(transportReason.empty() ? descriptionForCode(code) : transportReason));
  if (url) {
    userInfo->set(OVNURLErrorFailingURLErrorKey, OVNValue(url));
    userInfo->set(OVNURLErrorFailingURLStringErrorKey, OVNValue(url->absoluteString()));
  }
  return OVNError::errorWithDomain(OVNURLErrorDomain, code, userInfo->copy());
}

std::int64_t URLErrorCodeForCurlCode(int curlCode) {
  switch (static_cast<CURLcode>(curlCode)) {
    case CURLE_UNSUPPORTED_PROTOCOL: return OVNURLErrorUnsupportedURL;
    case CURLE_URL_MALFORMAT: return OVNURLErrorBadURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY: return OVNURLErrorCannotFindHost;
    case CURLE_COULDNT_CONNECT: return OVNURLErrorCannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT: return OVNURLErrorTimedOut;
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM: return OVNURLErrorNetworkConnectionLost;
    case CURLE_WEIRD_SERVER_REPLY: return OVNURLErrorBadServerResponse;
    case CURLE_BAD_CONTENT_ENCODING: return OVNURLErrorCannotDecodeContentData;
    case CURLE_TOO_MANY_REDIRECTS: return OVNURLErrorHTTPTooManyRedirects;
    case CURLE_PEER_FAILED_VERIFICATION: return OVNURLErrorServerCertificateUntrusted;
    case CURLE_SSL_CERTPROBLEM: return OVNURLErrorClientCertificateRejected;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CIPHER:
    case CURLE_USE_SSL_FAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS: return OVNURLErrorSecureConnectionFailed;
    default: return OVNURLErrorUnknown;
  }
}

}  // namespace ovn::detail
