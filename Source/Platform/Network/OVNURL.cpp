#include "Platform/Network/OVNURL.h"

#include <filesystem>
#include <functional>
#include <system_error>

#include "Platform/Network/detail/OVNURIReference.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"

using ovn::detail::OVNURIReference;

OVN_PROPERTIES(OVNURL, absoluteString, relativeString, baseURL, absoluteURL, scheme, host, port, user, password, path,
               query, fragment, pathComponents, lastPathComponent)

OVNURL::OVNURL(Key, std::string relativeString, std::shared_ptr<OVNURL> baseURL, OVNURIReference absolute,
               std::string absoluteString)
    : relativeString_(std::move(relativeString)),
      baseURL_(std::move(baseURL)),
      absolute_(std::make_unique<const OVNURIReference>(std::move(absolute))),
      absoluteString_(std::move(absoluteString)) {}

OVNURL::~OVNURL() = default;

std::shared_ptr<OVNURL> OVNURL::make(std::string relativeString, std::shared_ptr<OVNURL> baseURL,
                                     OVNURIReference absolute, std::string absoluteString) {
  return OVNMake<OVNURL>(Key(), std::move(relativeString), std::move(baseURL), std::move(absolute),
                         std::move(absoluteString));
}

std::shared_ptr<OVNURL> OVNURL::URLWithString(std::string_view text) {
  auto parts = OVNURIReference::parse(text);
  if (!parts) return nullptr;
  return make(std::string(text), nullptr, std::move(*parts), std::string(text));
}

std::shared_ptr<OVNURL> OVNURL::URLWithString(std::string_view text, const std::shared_ptr<OVNURL>& relativeToURL) {
  if (!relativeToURL) return URLWithString(text);
  auto resolved = OVNURIReference::resolve(text, relativeToURL->absoluteString());
  if (!resolved) return nullptr;
  // The components are read from the text, which may guard the path ("/.//g").
  std::string absoluteString = resolved->string();
  auto parts = OVNURIReference::parse(absoluteString);
  if (!parts) return nullptr;
  return make(std::string(text), relativeToURL, std::move(*parts), std::move(absoluteString));
}

std::shared_ptr<OVNURL> OVNURL::fileURLWithPath(std::string_view path) {
  if (path.empty()) OVNException::raise(OVNInvalidArgumentException, "fileURLWithPath: empty path");
  std::string filePath(path);
  std::error_code error;
  if (filePath.back() != '/' && std::filesystem::is_directory(filePath, error)) filePath += '/';
  std::string encoded = OVNURIReference::percentEncode(filePath, OVNURIReference::Part::Path);
  if (filePath.front() == '/') return URLWithString("file://" + encoded);

  // A relative path: a ":" in its first segment would read as a scheme.
  std::string escaped;
  const std::size_t firstSlash = encoded.find('/');
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    escaped += (encoded[i] == ':' && i < firstSlash) ? std::string("%3A") : std::string(1, encoded[i]);
  }
  std::string directory = std::filesystem::current_path(error).string();
  if (error || directory.empty() || directory.front() != '/') directory = "/";
  return URLWithString(escaped, fileURLWithPath(directory));
}

std::shared_ptr<OVNURL> OVNURL::absoluteURL() const {
  if (!baseURL_) return std::static_pointer_cast<OVNURL>(std::const_pointer_cast<OVNObject>(self()));
  return make(absoluteString_, nullptr, *absolute_, absoluteString_);
}

bool OVNURL::isFileURL() const {
  const auto& scheme = absolute_->scheme;
  if (!scheme || scheme->size() != 4) return false;
  static constexpr std::string_view kFile = "file";
  for (std::size_t i = 0; i < 4; ++i) {
    if (((*scheme)[i] | 0x20) != kFile[i]) return false;
  }
  return true;
}

std::optional<std::string> OVNURL::scheme() const { return absolute_->scheme; }

std::optional<std::string> OVNURL::host() const {
  if (!absolute_->host) return std::nullopt;
  return OVNURIReference::percentDecode(*absolute_->host);
}

std::optional<int> OVNURL::port() const {
  const auto& port = absolute_->port;
  if (!port || port->empty()) return std::nullopt;
  return std::stoi(*port);  // at most 65535: parsing refuses more
}

std::optional<std::string> OVNURL::user() const {
  auto user = absolute_->user();
  if (!user) return std::nullopt;
  return OVNURIReference::percentDecode(*user);
}

std::optional<std::string> OVNURL::password() const { return absolute_->password(); }

std::optional<std::string> OVNURL::path() const {
  auto decoded = OVNURIReference::percentDecode(absolute_->path);
  if (decoded && decoded->size() > 1 && decoded->back() == '/') decoded->pop_back();
  return decoded;
}

std::string OVNURL::percentEncodedPath() const { return absolute_->path; }

std::optional<std::string> OVNURL::query() const { return absolute_->query; }

std::optional<std::string> OVNURL::fragment() const { return absolute_->fragment; }

std::vector<std::string> OVNURL::pathComponents() const {
  std::vector<std::string> components;
  const auto decoded = OVNURIReference::percentDecode(absolute_->path);
  if (!decoded) return components;
  if (decoded->starts_with('/')) components.emplace_back("/");
  std::size_t start = 0;
  while (start <= decoded->size()) {
    std::size_t end = decoded->find('/', start);
    if (end == std::string::npos) end = decoded->size();
    if (end > start) components.push_back(decoded->substr(start, end - start));
    start = end + 1;
  }
  return components;
}

std::string OVNURL::lastPathComponent() const {
  auto components = pathComponents();
  return components.empty() ? std::string() : components.back();
}

std::shared_ptr<OVNURL> OVNURL::URLByAppendingPathComponent(std::string_view component) const {
  std::optional<OVNURIReference> own = baseURL_ ? OVNURIReference::parse(relativeString_) : *absolute_;
  const bool extendAbsolute = !own || own->path.empty();
  OVNURIReference ref = (baseURL_ && extendAbsolute) ? *absolute_ : *own;
  const std::string encoded = OVNURIReference::percentEncode(component, OVNURIReference::Part::Path);
  if (ref.path.empty()) {
    ref.path = ref.host ? "/" + encoded : encoded;
  } else {
    if (ref.path.back() != '/') ref.path += '/';
    ref.path += encoded;
  }
  if (baseURL_ && !extendAbsolute) return URLWithString(ref.string(), baseURL_);
  return URLWithString(ref.string());
}

std::string OVNURL::description() const { return absoluteString_; }

bool OVNURL::isEqual(const OVNObject& other) const {
  const auto* url = dynamic_cast<const OVNURL*>(&other);
  if (!url || url->relativeString_ != relativeString_) return false;
  if (!baseURL_ || !url->baseURL_) return !baseURL_ && !url->baseURL_;
  return baseURL_->isEqual(*url->baseURL_);
}

std::size_t OVNURL::hash() const {
  const std::size_t own = std::hash<std::string>()(relativeString_);
  return baseURL_ ? own ^ (baseURL_->hash() * 31) : own;
}

OVNObjectRef OVNURL::copy() const { return std::const_pointer_cast<OVNObject>(self()); }
