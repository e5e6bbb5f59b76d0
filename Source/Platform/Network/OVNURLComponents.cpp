#include "Platform/Network/OVNURLComponents.h"

#include <functional>

#include "Platform/Network/OVNURL.h"
#include "Platform/Network/detail/OVNURIReference.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

using ovn::detail::OVNURIReference;
using Part = OVNURIReference::Part;

OVN_PROPERTIES(OVNURLComponents, (scheme, setScheme), (user, setUser), (password, setPassword), (host, setHost),
               (port, setPort), (path, setPath), (query, setQuery), (fragment, setFragment),
               (percentEncodedUser, setPercentEncodedUser), (percentEncodedPassword, setPercentEncodedPassword),
               (percentEncodedHost, setPercentEncodedHost), (percentEncodedPath, setPercentEncodedPath),
               (percentEncodedQuery, setPercentEncodedQuery), (percentEncodedFragment, setPercentEncodedFragment), URL,
               string)

namespace {
std::optional<std::string> decoded(const std::optional<std::string>& encoded) {
  if (!encoded) return std::nullopt;
  return OVNURIReference::percentDecode(*encoded);
}

std::optional<std::string> encoded(const std::optional<std::string>& text, Part part) {
  if (!text) return std::nullopt;
  return OVNURIReference::percentEncode(*text, part);
}

// Encoded forms come from the caller as they will appear in the URL, so a bad one is a
// mistake in the calling code, as on the platform.
void requireEncoded(const std::optional<std::string>& text, Part part, const char* setter) {
  if (text && !OVNURIReference::isValidlyEncoded(*text, part)) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("-[NSURLComponents %s]: invalid characters in \"%@\"", setter, *text));
  }
}
}  // namespace

std::shared_ptr<OVNURLComponents> OVNURLComponents::componentsWithURL(const std::shared_ptr<OVNURL>& url,
                                                                      bool resolvingAgainstBaseURL) {
  if (!url) return nullptr;
  return componentsWithString(resolvingAgainstBaseURL ? url->absoluteString() : url->relativeString());
}

std::shared_ptr<OVNURLComponents> OVNURLComponents::componentsWithString(std::string_view text) {
  auto ref = OVNURIReference::parse(text);
  if (!ref) return nullptr;
  auto components = OVNMake<OVNURLComponents>();
  components->scheme_ = ref->scheme;
  components->user_ = ref->user();
  components->password_ = ref->password();
  if (ref->host) components->host_ = ref->hostIsIPLiteral ? "[" + *ref->host + "]" : *ref->host;
  if (ref->port && !ref->port->empty()) components->port_ = std::stoi(*ref->port);  // at most 65535
  components->path_ = std::move(ref->path);
  components->query_ = std::move(ref->query);
  components->fragment_ = std::move(ref->fragment);
  return components;
}

std::optional<std::string> OVNURLComponents::composedString() const {
  const bool hasAuthority = user_ || password_ || host_ || port_;
  if (hasAuthority && !path_.empty() && path_.front() != '/') return std::nullopt;
  if (!hasAuthority && path_.starts_with("//")) return std::nullopt;
  if (!scheme_ && !hasAuthority && path_.substr(0, path_.find('/')).find(':') != std::string::npos) {
    return std::nullopt;  // the first segment would read as a scheme
  }
  std::string text;
  if (scheme_) text += *scheme_ + ":";
  if (hasAuthority) {
    text += "//";
    if (user_ || password_) {
      text += user_.value_or("");
      if (password_) text += ":" + *password_;
      text += "@";
    }
    text += host_.value_or("");
    if (port_) text += ":" + std::to_string(*port_);
  }
  text += path_;
  if (query_) text += "?" + *query_;
  if (fragment_) text += "#" + *fragment_;
  // Parts that are each well formed can still combine into text that reads differently.
  if (!OVNURIReference::parse(text)) return std::nullopt;
  return text;
}

std::shared_ptr<OVNURL> OVNURLComponents::URL() const {
  auto text = composedString();
  return text ? OVNURL::URLWithString(*text) : nullptr;
}

std::optional<std::string> OVNURLComponents::string() const { return composedString(); }

void OVNURLComponents::setScheme(std::optional<std::string> scheme) {
  if (scheme && !OVNURIReference::isValidScheme(*scheme)) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("-[NSURLComponents setScheme:]: invalid characters in \"%@\"", *scheme));
  }
  scheme_ = std::move(scheme);
}

std::optional<std::string> OVNURLComponents::user() const { return decoded(user_); }
void OVNURLComponents::setUser(std::optional<std::string> user) { user_ = encoded(user, Part::User); }

std::optional<std::string> OVNURLComponents::password() const { return decoded(password_); }
void OVNURLComponents::setPassword(std::optional<std::string> password) {
  password_ = encoded(password, Part::Password);
}

std::optional<std::string> OVNURLComponents::host() const {
  if (!host_) return std::nullopt;
  std::string_view text = *host_;
  if (text.size() >= 2 && text.front() == '[' && text.back() == ']') text = text.substr(1, text.size() - 2);
  return OVNURIReference::percentDecode(text);
}

void OVNURLComponents::setHost(std::optional<std::string> host) {
  host_ = encoded(host, Part::Host);
  // An IPv6 address is written in brackets.
  if (host_ && host_->find(':') != std::string::npos && !host_->starts_with('[')) host_ = "[" + *host_ + "]";
}

void OVNURLComponents::setPort(std::optional<int> port) {
  if (port && *port < 0) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("-[NSURLComponents setPort:]: port number must be non-negative (%d)", *port));
  }
  port_ = port;
}

std::optional<std::string> OVNURLComponents::path() const { return OVNURIReference::percentDecode(path_); }
void OVNURLComponents::setPath(std::optional<std::string> path) {
  path_ = path ? OVNURIReference::percentEncode(*path, Part::Path) : std::string();
}

std::optional<std::string> OVNURLComponents::query() const { return decoded(query_); }
void OVNURLComponents::setQuery(std::optional<std::string> query) { query_ = encoded(query, Part::Query); }

std::optional<std::string> OVNURLComponents::fragment() const { return decoded(fragment_); }
void OVNURLComponents::setFragment(std::optional<std::string> fragment) {
  fragment_ = encoded(fragment, Part::Fragment);
}

void OVNURLComponents::setPercentEncodedUser(std::optional<std::string> user) {
  requireEncoded(user, Part::User, "setPercentEncodedUser:");
  user_ = std::move(user);
}

void OVNURLComponents::setPercentEncodedPassword(std::optional<std::string> password) {
  requireEncoded(password, Part::Password, "setPercentEncodedPassword:");
  password_ = std::move(password);
}

void OVNURLComponents::setPercentEncodedHost(std::optional<std::string> host) {
  requireEncoded(host, Part::Host, "setPercentEncodedHost:");
  host_ = std::move(host);
}

void OVNURLComponents::setPercentEncodedPath(std::string path) {
  requireEncoded(path, Part::Path, "setPercentEncodedPath:");
  path_ = std::move(path);
}

void OVNURLComponents::setPercentEncodedQuery(std::optional<std::string> query) {
  requireEncoded(query, Part::Query, "setPercentEncodedQuery:");
  query_ = std::move(query);
}

void OVNURLComponents::setPercentEncodedFragment(std::optional<std::string> fragment) {
  requireEncoded(fragment, Part::Fragment, "setPercentEncodedFragment:");
  fragment_ = std::move(fragment);
}

std::string OVNURLComponents::description() const {
  auto text = [](const std::optional<std::string>& part) { return part ? *part : std::string("(null)"); };
  return OVNFormat(
      "%@ {scheme = %@, user = %@, password = %@, host = %@, port = %@, path = %@, query = %@, "
      "fragment = %@}",
      OVNObject::description(), text(scheme_), text(user()), text(password()), text(host()),
      port_ ? std::to_string(*port_) : std::string("(null)"), text(path()), text(query()), text(fragment()));
}

bool OVNURLComponents::isEqual(const OVNObject& other) const {
  const auto* components = dynamic_cast<const OVNURLComponents*>(&other);
  return components && components->scheme_ == scheme_ && components->user_ == user_ &&
         components->password_ == password_ && components->host_ == host_ && components->port_ == port_ &&
         components->path_ == path_ && components->query_ == query_ && components->fragment_ == fragment_;
}

std::size_t OVNURLComponents::hash() const {
  const std::hash<std::string> h;
  return h(host_.value_or("")) ^ (h(path_) * 31) ^ (h(query_.value_or("")) * 131);
}

OVNObjectRef OVNURLComponents::copy() const { return OVNMake<OVNURLComponents>(*this); }
