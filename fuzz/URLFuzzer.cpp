// Parses the input as a URL, resolves it against a fixed base and the base against it,
// reads every component, takes URL components apart and puts them back together, and
// checks that the pieces agree with each other.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLComponents.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Text/OVNString.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

std::size_t readEverything(const std::shared_ptr<OVNURL>& url) {
  std::size_t n = url->absoluteString().size() + url->relativeString().size() + url->description().size();
  n += url->scheme().value_or("").size() + url->host().value_or("").size() + url->port().value_or(0);
  n += url->user().value_or("").size() + url->password().value_or("").size();
  n += url->path().value_or("").size() + url->percentEncodedPath().size();
  n += url->query().value_or("").size() + url->fragment().value_or("").size();
  n += url->pathComponents().size() + url->lastPathComponent().size() + url->isFileURL() + url->hash();
  require(url->absoluteURL()->absoluteString() == url->absoluteString());
  return n;
}

// Taking the parts of a URL apart and putting them back gives the same parts.
void rebuild(const std::shared_ptr<OVNURL>& url) {
  auto components = OVNURLComponents::componentsWithURL(url, true);
  require(components != nullptr);
  auto rebuilt = components->URL();
  require(rebuilt != nullptr);
  auto again = OVNURLComponents::componentsWithURL(rebuilt, false);
  require(again && again->isEqual(*components));
  require(rebuilt->query() == url->query() && rebuilt->fragment() == url->fragment());
  require(rebuilt->percentEncodedPath() == url->percentEncodedPath());

  // Decoded parts set back through the decoding setters read back the same.
  OVNURLComponents copy;
  copy.setUser(components->user());
  copy.setPassword(components->password());
  copy.setPath(components->path());
  copy.setQuery(components->query());
  copy.setFragment(components->fragment());
  require(copy.user() == components->user() && copy.password() == components->password());
  require(copy.query() == components->query() && copy.fragment() == components->fragment());
  require(copy.path() == components->path().value_or(""));
  (void)copy.string();
  (void)components->description();
}

// Arbitrary text through the setters: decoded forms encode into valid encoded forms;
// encoded forms are taken or refused with NSInvalidArgumentException.
void setParts(std::string_view text) {
  OVNURLComponents c;
  if (OVNString::isValidUTF8(text)) {
    const std::string decoded(text);
    c.setQuery(decoded);
    c.setPath(decoded);
    c.setUser(decoded);
    c.setFragment(decoded);
    c.setHost(decoded);
    require(c.query() == decoded && c.path() == decoded && c.user() == decoded && c.fragment() == decoded);
    c.setPercentEncodedQuery(c.percentEncodedQuery());  // must not throw
    c.setPercentEncodedPath(c.percentEncodedPath());
    c.setPercentEncodedUser(c.percentEncodedUser());
    c.setPercentEncodedFragment(c.percentEncodedFragment());
    (void)c.URL();
  }
  const std::string raw(text);
  try {
    c.setPercentEncodedQuery(raw);
    c.setQuery(std::nullopt);
    c.setPercentEncodedHost(raw);
    c.setPercentEncodedPath(raw);
  } catch (const OVNException& e) {
    require(e.name() == OVNInvalidArgumentException);
  }
  if (auto url = c.URL()) readEverything(url);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  static const auto base = OVNURL::URLWithString("http://user:pw@a:8080/b/c/d;p?q#f");

  const auto url = OVNURL::URLWithString(text);
  const auto resolved = OVNURL::URLWithString(text, base);
  require((url == nullptr) == (resolved == nullptr));  // validity never depends on the base
  require((OVNURLComponents::componentsWithString(text) == nullptr) == (url == nullptr));
  setParts(text);
  if (!url) return 0;

  require(url->absoluteString() == text);
  readEverything(url);
  readEverything(resolved);
  // Every absolute string parses again.
  require(OVNURL::URLWithString(resolved->absoluteString()) != nullptr);

  const auto reversed = OVNURL::URLWithString(base->absoluteString(), url);
  require(reversed != nullptr);
  readEverything(reversed);
  const auto dotted = OVNURL::URLWithString("../x/./y?z", url);
  require(dotted != nullptr && OVNURL::URLWithString(dotted->absoluteString()) != nullptr);
  readEverything(dotted);

  rebuild(url);
  rebuild(resolved);
  rebuild(dotted);

  const auto appended = url->URLByAppendingPathComponent(text);
  require(appended != nullptr);
  readEverything(appended);
  return 0;
}
