#include "Platform/Network/detail/OVNURIReference.h"

#include <uriparser/Uri.h>

#include "Platform/Text/OVNString.h"

namespace ovn::detail {

namespace {

// Stands in for the missing scheme of a relative base, so that the library (which only
// resolves against absolute bases) can still merge paths and remove dot segments. The
// result's scheme is dropped again afterwards.
constexpr std::string_view kStandInScheme = "x-ovn-relative-base:";

// One parse, freed when it goes out of scope. Its ranges point into the parsed text, which
// must outlive it.
class ParsedURI {
 public:
  explicit ParsedURI(std::string_view text) {
    const char* first = text.empty() ? "" : text.data();
    ok_ = uriParseSingleUriExA(&uri_, first, first + text.size(), nullptr) == URI_SUCCESS;
  }
  ~ParsedURI() {
    if (ok_) uriFreeUriMembersA(&uri_);
  }
  ParsedURI(const ParsedURI&) = delete;
  ParsedURI& operator=(const ParsedURI&) = delete;

  bool ok() const { return ok_; }
  const UriUriA& uri() const { return uri_; }

 private:
  UriUriA uri_{};
  bool ok_ = false;
};

std::optional<std::string> rangeText(const UriTextRangeA& range) {
  if (!range.first) return std::nullopt;
  return std::string(range.first, static_cast<std::size_t>(range.afterLast - range.first));
}

// Ports are kept as written, but one that no socket could use makes the text invalid.
bool isUsablePort(const std::optional<std::string>& port) {
  if (!port) return true;
  long value = 0;
  for (char c : *port) {
    value = value * 10 + (c - '0');
    if (value > 65535) return false;
  }
  return true;
}

// The library keeps a path as a list of segments plus a flag for a leading "/" (which it
// only sets without a host: with one, every segment follows a "/").
std::optional<OVNURIReference> fromURI(const UriUriA& uri) {
  OVNURIReference ref;
  ref.scheme = rangeText(uri.scheme);
  ref.host = rangeText(uri.hostText);
  if (ref.host) {
    ref.hostIsIPLiteral = uri.hostData.ip6 != nullptr || uri.hostData.ipFuture.first != nullptr;
    ref.userInfo = rangeText(uri.userInfo);
    ref.port = rangeText(uri.portText);
    if (!isUsablePort(ref.port)) return std::nullopt;
    for (const UriPathSegmentA* s = uri.pathHead; s; s = s->next) {
      ref.path += '/';
      ref.path += rangeText(s->text).value_or("");
    }
  } else {
    if (uri.absolutePath) ref.path = "/";
    for (const UriPathSegmentA* s = uri.pathHead; s; s = s->next) {
      if (s != uri.pathHead) ref.path += '/';
      ref.path += rangeText(s->text).value_or("");
    }
  }
  ref.query = rangeText(uri.query);
  ref.fragment = rangeText(uri.fragment);
  return ref;
}

constexpr bool isAlpha(unsigned char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
constexpr bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }
constexpr bool isHexDigit(unsigned char c) { return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }
constexpr bool isUnreserved(unsigned char c) {
  return isAlpha(c) || isDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}
constexpr bool isSubDelim(unsigned char c) {
  return c == '!' || c == '$' || c == '&' || c == '\'' || c == '(' || c == ')' || c == '*' || c == '+' || c == ',' ||
         c == ';' || c == '=';
}

// What the platform's URL character sets leave unencoded when a decoded part is set.
// The path set leaves out ";" (the platform keeps it for the old parameter syntax).
bool platformAllows(unsigned char c, OVNURIReference::Part part) {
  using Part = OVNURIReference::Part;
  const bool base = isUnreserved(c) || isSubDelim(c);
  switch (part) {
    case Part::User:
    case Part::Password: return base;
    case Part::Host: return base || c == ':' || c == '[' || c == ']';
    case Part::Path: return (base && c != ';') || c == ':' || c == '@' || c == '/';
    case Part::Query:
    case Part::Fragment: return base || c == ':' || c == '@' || c == '/' || c == '?';
  }
  return false;
}

// What the grammar allows unencoded in a part (hosts are checked by parsing).
bool grammarAllows(unsigned char c, OVNURIReference::Part part) {
  using Part = OVNURIReference::Part;
  const bool base = isUnreserved(c) || isSubDelim(c);
  switch (part) {
    case Part::User: return base;
    case Part::Password: return base || c == ':';
    case Part::Host: return base;
    case Part::Path: return base || c == ':' || c == '@' || c == '/';
    case Part::Query:
    case Part::Fragment: return base || c == ':' || c == '@' || c == '/' || c == '?';
  }
  return false;
}

int hexValue(unsigned char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return c - 'a' + 10;
}

}  // namespace

std::optional<OVNURIReference> OVNURIReference::parse(std::string_view text) {
  ParsedURI parsed(text);
  if (!parsed.ok()) return std::nullopt;
  return fromURI(parsed.uri());
}

std::optional<OVNURIReference> OVNURIReference::resolve(std::string_view reference, std::string_view base) {
  ParsedURI ref(reference);
  ParsedURI plainBase(base);
  if (!ref.ok() || !plainBase.ok()) return std::nullopt;
  const bool baseIsRelative = plainBase.uri().scheme.first == nullptr;
  std::string standInText;  // the parse points into it
  std::optional<ParsedURI> standInBase;
  if (baseIsRelative) {
    standInText = std::string(kStandInScheme) + std::string(base);
    standInBase.emplace(standInText);
    if (!standInBase->ok()) return std::nullopt;
  }
  const UriUriA& absoluteBase = baseIsRelative ? standInBase->uri() : plainBase.uri();

  UriUriA target{};
  if (uriAddBaseUriExA(&target, &ref.uri(), &absoluteBase, URI_RESOLVE_STRICTLY) != URI_SUCCESS) return std::nullopt;
  // The target points into the inputs' text: copy it out before anything is freed.
  std::optional<OVNURIReference> result = fromURI(target);
  uriFreeUriMembersA(&target);
  if (result && baseIsRelative && ref.uri().scheme.first == nullptr) result->scheme.reset();
  return result;
}

std::string OVNURIReference::string() const {
  std::string text;
  if (scheme) text += *scheme + ":";
  if (host) {
    text += "//";
    if (userInfo) text += *userInfo + "@";
    text += hostIsIPLiteral ? "[" + *host + "]" : *host;
    if (port) text += ":" + *port;
  } else if (path.starts_with("//")) {
    text += "/.";  // "//" would start an authority
  } else if (!scheme && path.substr(0, path.find('/')).find(':') != std::string::npos) {
    text += "./";  // "a:b" would read as a scheme
  }
  text += path;
  if (query) text += "?" + *query;
  if (fragment) text += "#" + *fragment;
  return text;
}

std::optional<std::string> OVNURIReference::user() const {
  if (!userInfo) return std::nullopt;
  return userInfo->substr(0, userInfo->find(':'));
}

std::optional<std::string> OVNURIReference::password() const {
  if (!userInfo) return std::nullopt;
  const std::size_t colon = userInfo->find(':');
  if (colon == std::string::npos) return std::nullopt;
  return userInfo->substr(colon + 1);
}

std::string OVNURIReference::percentEncode(std::string_view text, Part part) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (platformAllows(c, part)) {
      out += ch;
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 0x0F];
    }
  }
  return out;
}

bool OVNURIReference::isValidlyEncoded(std::string_view text, Part part) {
  if (part == Part::Host) {
    // Parsing "//host" checks IP literals too; anything else must come out as the host.
    const auto parsed = parse("//" + std::string(text));
    if (!parsed || !parsed->host || parsed->userInfo || parsed->port || !parsed->path.empty() || parsed->query ||
        parsed->fragment) {
      return false;
    }
    return parsed->hostIsIPLiteral == text.starts_with('[');
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '%') {
      if (i + 2 >= text.size()) return false;
      if (!isHexDigit(static_cast<unsigned char>(text[i + 1])) ||
          !isHexDigit(static_cast<unsigned char>(text[i + 2]))) {
        return false;
      }
      i += 2;
    } else if (!grammarAllows(c, part)) {
      return false;
    }
  }
  return true;
}

std::optional<std::string> OVNURIReference::percentDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '%' && i + 2 < text.size() && isHexDigit(static_cast<unsigned char>(text[i + 1])) &&
        isHexDigit(static_cast<unsigned char>(text[i + 2]))) {
      out += static_cast<char>(hexValue(static_cast<unsigned char>(text[i + 1])) * 16 +
                               hexValue(static_cast<unsigned char>(text[i + 2])));
      i += 2;
    } else {
      out += static_cast<char>(c);
    }
  }
  if (!OVNString::isValidUTF8(out)) return std::nullopt;
  return out;
}

bool OVNURIReference::isValidScheme(std::string_view text) {
  if (text.empty() || !isAlpha(static_cast<unsigned char>(text[0]))) return false;
  for (char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
}

}  // namespace ovn::detail
