#include "Platform/Network/detail/OVNCurlTransfer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>

#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLError.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/detail/OVNHTTPHeaderName.h"
#include "Platform/Network/detail/OVNURLErrors.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {
namespace {

constexpr std::int64_t informationalClass = 1;
constexpr std::array redirectStatuses = {301, 302, 303, 307, 308};

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' || text.back() == '\n'))
    text.remove_suffix(1);
  return text;
}

long milliseconds(double seconds) {
  constexpr double longest = 1e12;
  return static_cast<long>(std::min(std::max(seconds, 0.001), longest) * 1000.0);
}

}  // namespace

OVNCurlTransfer::OVNCurlTransfer(CURL* easy, std::shared_ptr<OVNURLRequest> request, Callbacks callbacks)
    : easy_(easy), request_(std::move(request)), callbacks_(std::move(callbacks)) {}

OVNCurlTransfer::~OVNCurlTransfer() {
  if (headerList_) curl_slist_free_all(headerList_);
}

std::shared_ptr<OVNError> OVNCurlTransfer::prepare(const OVNURLSessionConfiguration& configuration,
                                                   const Limits& limits, void* owner) {
  const auto& url = request_->URL();
  if (auto error = setHeaders(configuration)) return error;
  curl_easy_setopt(easy_, CURLOPT_URL, url->absoluteString().c_str());
  curl_easy_setopt(easy_, CURLOPT_PRIVATE, owner);
  curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  curl_easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, errorBuffer_);
  curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &OVNCurlTransfer::onHeader);
  curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &OVNCurlTransfer::onBody);
  curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(easy_, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(easy_, CURLOPT_XFERINFOFUNCTION, &OVNCurlTransfer::onProgress);
  curl_easy_setopt(easy_, CURLOPT_XFERINFODATA, this);
  curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, milliseconds(limits.idleTimeout));
  const double resourceLeft = std::chrono::duration<double>(limits.resourceDeadline - Clock::now()).count();
  curl_easy_setopt(easy_, CURLOPT_TIMEOUT_MS, milliseconds(resourceLeft));
  if (const auto& trusted = configuration.TLSTrustedCertificatesPath()) {
    std::error_code error;
    const bool directory = std::filesystem::is_directory(*trusted, error);
    curl_easy_setopt(easy_, directory ? CURLOPT_CAPATH : CURLOPT_CAINFO, trusted->c_str());
  }
  setMethodAndBody();
  return nullptr;
}

std::shared_ptr<OVNError> OVNCurlTransfer::setHeaders(const OVNURLSessionConfiguration& configuration) {
  OVNURLRequest::HeaderFields fields = request_->headerFields();
  if (const auto& extra = configuration.HTTPAdditionalHeaders()) {
    for (const auto& [name, value] : *extra) {
      const std::string* text = value.string();
      if (text && !request_->valueForHTTPHeaderField(name)) fields.emplace_back(name, *text);
    }
  }
  // libcurl adds these unless told not to; the platform sends neither.
  bool hasContentType = false;
  std::optional<std::string> acceptEncoding;
  for (const auto& [name, value] : fields) {
    if (headerValueIsUnsafe(name) || headerValueIsUnsafe(value) || name.find(':') != std::string::npos) {
      return makeURLError(OVNURLErrorBadURL, request_->URL(),
                          "The request's header field \"" + name + "\" holds a line break or a NUL; nothing was sent.");
    }
    if (headerNamesEqual(name, "Accept-Encoding")) {
      acceptEncoding = value;
      continue;
    }
    if (headerNamesEqual(name, "Content-Type")) hasContentType = true;
    const std::string line = value.empty() ? name + ";" : name + ": " + value;
    headerList_ = curl_slist_append(headerList_, line.c_str());
  }
  if (!hasContentType) headerList_ = curl_slist_append(headerList_, "Content-Type:");
  headerList_ = curl_slist_append(headerList_, "Expect:");
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headerList_);
  // Decode whatever the request accepts; with no Accept-Encoding, offer all libcurl decodes.
  curl_easy_setopt(easy_, CURLOPT_ACCEPT_ENCODING, acceptEncoding ? acceptEncoding->c_str() : "");
  return nullptr;
}

void OVNCurlTransfer::setMethodAndBody() {
  const std::string& method = request_->HTTPMethod();
  body_ = request_->HTTPBody();
  if (method == "GET" && !body_) {
    curl_easy_setopt(easy_, CURLOPT_HTTPGET, 1L);
    return;
  }
  if (method == "HEAD") {
    curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
    return;
  }
  const bool sendsBody = body_ || method == "POST" || method == "PUT" || method == "PATCH";
  if (sendsBody) {
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_ ? body_->length() : 0));
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, body_ ? body_->bytes().data() : reinterpret_cast<const uint8_t*>(""));
  }
  if (method != "POST" || !sendsBody) curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, method.c_str());
}

std::size_t OVNCurlTransfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<OVNCurlTransfer*>(self);
  transfer.lastActivity_ = Clock::now();
  transfer.headerLine(std::string_view(data, size * count));
  return size * count;
}

void OVNCurlTransfer::headerLine(std::string_view line) {
  if (line.starts_with("HTTP/")) {
    const auto space = line.find(' ');
    version_ = std::string(line.substr(0, space));
    const std::string_view rest = space == std::string_view::npos ? "" : trimmed(line.substr(space + 1));
    status_ = 0;
    std::from_chars(rest.data(), rest.data() + rest.size(), status_);
    fields_.clear();
    return;
  }
  const std::string_view content = trimmed(line);
  if (content.empty()) {
    headersComplete();
    return;
  }
  if ((line.front() == ' ' || line.front() == '\t') && !fields_.empty()) {  // a folded continuation
    fields_.back().second += " " + std::string(content);
    return;
  }
  const auto colon = content.find(':');
  if (colon == std::string_view::npos) return;
  std::string name = canonicalHeaderName(trimmed(content.substr(0, colon)));
  std::string value(trimmed(content.substr(colon + 1)));
  for (auto& field : fields_) {
    if (field.first == name) {
      field.second += ", " + value;
      return;
    }
  }
  fields_.emplace_back(std::move(name), std::move(value));
}

void OVNCurlTransfer::headersComplete() {
  if (status_ / 100 == informationalClass || status_ == 0) return;  // "100 Continue" and the like
  auto headers = OVNDictionary::make();
  std::optional<std::string> location;
  for (const auto& [name, value] : fields_) {
    headers->set(name, OVNValue(value));
    if (name == "Location") location = value;
  }
  response_ = OVNHTTPURLResponse::responseWithURL(request_->URL(), status_, version_, headers);
  const bool redirectStatus =
      std::find(redirectStatuses.begin(), redirectStatuses.end(), status_) != redirectStatuses.end();
  if (redirectStatus && location && !location->empty()) {
    redirect_ = location;
    return;
  }
  if (callbacks_.response) callbacks_.response(response_);
}

std::size_t OVNCurlTransfer::onBody(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<OVNCurlTransfer*>(self);
  const std::size_t length = size * count;
  transfer.lastActivity_ = Clock::now();
  if (transfer.redirect_) {
    transfer.redirectBody_.insert(transfer.redirectBody_.end(), data, data + length);
  } else if (transfer.callbacks_.body) {
    transfer.callbacks_.body(data, length);
  }
  return length;
}

int OVNCurlTransfer::onProgress(void* self, curl_off_t, curl_off_t downloaded, curl_off_t totalUpload,
                                curl_off_t uploaded) {
  auto& transfer = *static_cast<OVNCurlTransfer*>(self);
  if (downloaded != transfer.lastDownloaded_ || uploaded != transfer.lastUploaded_) {
    transfer.lastActivity_ = Clock::now();
    transfer.lastDownloaded_ = downloaded;
  }
  if (uploaded > transfer.lastUploaded_) {
    transfer.lastUploaded_ = uploaded;
    if (transfer.callbacks_.sent) transfer.callbacks_.sent(uploaded, totalUpload);
  }
  return 0;
}

std::shared_ptr<OVNError> OVNCurlTransfer::errorForResult(CURLcode result) const {
  std::string reason = errorBuffer_[0] ? std::string(errorBuffer_) : std::string(curl_easy_strerror(result));
  return makeURLError(URLErrorCodeForCurlCode(result), request_->URL(), reason);
}

bool OVNCurlTransfer::isIdleLongerThan(double seconds, Clock::time_point now) const {
  return !paused_ && std::chrono::duration<double>(now - lastActivity_).count() > seconds;
}

void OVNCurlTransfer::setPaused(bool paused) {
  if (paused == paused_ || !easy_) return;
  paused_ = paused;
  curl_easy_pause(easy_, paused ? CURLPAUSE_ALL : CURLPAUSE_CONT);
  lastActivity_ = Clock::now();
}

}  // namespace ovn::detail
