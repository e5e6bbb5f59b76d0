#include "Platform/Network/OVNHTTPURLResponse.h"

#include <charconv>
#include <map>

#include "Platform/Network/OVNURL.h"
#include "Platform/Network/detail/OVNHTTPHeaderName.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNHTTPURLResponse, statusCode, allHeaderFields)

namespace {

std::string trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t");
  return std::string(text.substr(first, last - first + 1));
}

// "text/html; charset="UTF-8"" -> ("text/html", "utf-8").
std::pair<std::optional<std::string>, std::optional<std::string>> parseContentType(std::string_view value) {
  const auto semicolon = value.find(';');
  std::string type = OVNString::lowercaseString(trimmed(value.substr(0, semicolon)));
  std::optional<std::string> charset;
  for (std::string_view rest = semicolon == std::string_view::npos ? "" : value.substr(semicolon + 1); !rest.empty();) {
    const auto next = rest.find(';');
    const std::string parameter = trimmed(rest.substr(0, next));
    rest = next == std::string_view::npos ? "" : rest.substr(next + 1);
    const auto equals = parameter.find('=');
    if (equals == std::string::npos || OVNString::lowercaseString(trimmed(parameter.substr(0, equals))) != "charset")
      continue;
    std::string name = trimmed(parameter.substr(equals + 1));
    if (name.size() >= 2 && name.front() == '"' && name.back() == '"') name = name.substr(1, name.size() - 2);
    if (!name.empty()) charset = OVNString::lowercaseString(name);
  }
  return {type.empty() ? std::nullopt : std::optional(type), charset};
}

std::int64_t parseLength(const std::optional<std::string>& value) {
  if (!value) return OVNURLResponseUnknownLength;
  std::int64_t length = 0;
  const std::string text = trimmed(*value);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
  if (error != std::errc() || end != text.data() + text.size() || length < 0) return OVNURLResponseUnknownLength;
  return length;
}

}  // namespace

std::shared_ptr<OVNHTTPURLResponse> OVNHTTPURLResponse::responseWithURL(std::shared_ptr<OVNURL> url,
                                                                        std::int64_t statusCode,
                                                                        std::optional<std::string> HTTPVersion,
                                                                        const OVNDictionaryRef& headerFields) {
  auto response = OVNMake<OVNHTTPURLResponse>();
  auto headers = OVNDictionary::make();
  if (headerFields) {
    for (const auto& [name, value] : *headerFields) headers->set(ovn::detail::canonicalHeaderName(name), value);
  }
  response->url_ = std::move(url);
  response->statusCode_ = statusCode;
  response->version_ = std::move(HTTPVersion);
  response->headers_ = headers->copy();
  if (auto contentType = response->valueForHTTPHeaderField("Content-Type")) {
    std::tie(response->mimeType_, response->encodingName_) = parseContentType(*contentType);
  }
  response->expectedLength_ = parseLength(response->valueForHTTPHeaderField("Content-Length"));
  return response;
}

std::optional<std::string> OVNHTTPURLResponse::valueForHTTPHeaderField(std::string_view field) const {
  for (const auto& [name, value] : *headers_) {
    if (!ovn::detail::headerNamesEqual(name, field)) continue;
    if (const std::string* text = value.string()) return *text;
    return value.description();
  }
  return std::nullopt;
}

std::string OVNHTTPURLResponse::localizedStringForStatusCode(std::int64_t statusCode) {
  static const std::map<std::int64_t, std::string_view> phrases = {
      {100, "continue"},
      {101, "switching protocols"},
      {200, "no error"},
      {201, "created"},
      {202, "accepted"},
      {204, "no content"},
      {206, "partial content"},
      {301, "moved permanently"},
      {302, "found"},
      {303, "see other"},
      {304, "unmodified"},
      {307, "temporarily redirected"},
      {308, "permanent redirect"},
      {400, "bad request"},
      {401, "unauthorized"},
      {403, "forbidden"},
      {404, "not found"},
      {405, "method not allowed"},
      {408, "request timed out"},
      {409, "conflict"},
      {410, "no longer exists"},
      {429, "too many requests"},
      {500, "internal server error"},
      {501, "unimplemented"},
      {502, "bad gateway"},
      {503, "service unavailable"},
      {504, "gateway timed out"},
  };
  if (auto found = phrases.find(statusCode); found != phrases.end()) return std::string(found->second);
  if (statusCode >= 100 && statusCode < 200) return "informational";
  if (statusCode >= 200 && statusCode < 300) return "success";
  if (statusCode >= 300 && statusCode < 400) return "redirected";
  if (statusCode >= 400 && statusCode < 500) return "client error";
  return "server error";
}

std::string OVNHTTPURLResponse::description() const {
  return OVNFormat("<%@: %p> { URL: %@ } { Status Code: %lld, Headers %@ }", className(),
                   static_cast<const void*>(this), url_ ? OVNValue(url_->absoluteString()) : OVNValue(),
                   static_cast<long long>(statusCode_), OVNValue(headers_));
}
