#include "Platform/Text/OVNLocale.h"

#include <unicode/locid.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <mutex>

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNLocale, localeIdentifier)

namespace {
std::mutex overrideLock;  // guards both overrides and the kept environment locale below
std::vector<std::string> languagesOverride;
std::shared_ptr<OVNLocale> currentLocaleOverride;
// The environment's locale with the name it was made from: formatters ask for the current
// locale on every use, and canonicalising through ICU each time would cost more than the
// formatting.
std::string environmentLocaleName;
std::shared_ptr<OVNLocale> environmentLocale;

std::string_view environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::string_view(value) : std::string_view();
}

void appendUnique(std::vector<std::string>& list, std::string tag) {
  if (std::find(list.begin(), list.end(), tag) == list.end()) list.push_back(std::move(tag));
}

std::string canonicalIdentifier(std::string_view identifier) {
  const std::string text(identifier);
  const icu::Locale locale = icu::Locale::createCanonical(text.c_str());
  // A bogus locale (an identifier ICU cannot even tokenise) keeps its text: it formats
  // as the root locale either way.
  return locale.isBogus() ? text : std::string(locale.getName());
}
}  // namespace

std::shared_ptr<OVNLocale> OVNLocale::localeWithLocaleIdentifier(std::string_view identifier) {
  auto locale = OVNMake<OVNLocale>();
  locale->identifier_ = canonicalIdentifier(identifier);
  return locale;
}

namespace {
// The locale name the environment gives, without codeset and modifier; the POSIX identifier
// for "C", "POSIX" or nothing.
std::string_view environmentLocaleNameNow() {
  // POSIX precedence: the first variable that is set and non-empty decides, even "C".
  for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    std::string_view name = environmentValue(variable);
    if (name.empty()) continue;
    name = name.substr(0, name.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") break;
    return name;
  }
  return OVNLocale::posixIdentifier;
}
}  // namespace

std::string OVNLocale::localeIdentifierFromEnvironment() { return canonicalIdentifier(environmentLocaleNameNow()); }

std::shared_ptr<OVNLocale> OVNLocale::currentLocale() {
  const std::string_view name = environmentLocaleNameNow();
  std::lock_guard guard(overrideLock);
  if (currentLocaleOverride) return currentLocaleOverride;
  if (!environmentLocale || environmentLocaleName != name) {
    environmentLocaleName = name;
    environmentLocale = localeWithLocaleIdentifier(name);
  }
  return environmentLocale;
}

void OVNLocale::setCurrentLocale(std::shared_ptr<OVNLocale> locale) {
  std::lock_guard guard(overrideLock);
  currentLocaleOverride = std::move(locale);
}

std::shared_ptr<OVNLocale> OVNLocale::systemLocale() { return localeWithLocaleIdentifier(posixIdentifier); }

std::string OVNLocale::description() const { return OVNObject::description() + " " + identifier_; }

bool OVNLocale::isEqual(const OVNObject& other) const {
  const auto* locale = dynamic_cast<const OVNLocale*>(&other);
  return locale && locale->identifier_ == identifier_;
}

std::size_t OVNLocale::hash() const { return std::hash<std::string>{}(identifier_); }

std::optional<std::string> OVNLocale::languageTagFromLocaleName(std::string_view name) {
  // Drop the codeset (".UTF-8") and modifier ("@euro").
  name = name.substr(0, name.find_first_of(".@"));
  if (name.empty() || name == "C" || name == "POSIX") return std::nullopt;
  std::string tag(name);
  std::replace(tag.begin(), tag.end(), '_', '-');
  return tag;
}

std::vector<std::string> OVNLocale::preferredLanguages() {
  {
    std::lock_guard guard(overrideLock);
    if (!languagesOverride.empty()) return languagesOverride;
  }
  std::vector<std::string> languages;
  std::string_view list = environmentValue("LANGUAGE");
  while (!list.empty()) {
    const std::size_t colon = list.find(':');
    if (auto tag = languageTagFromLocaleName(list.substr(0, colon))) appendUnique(languages, std::move(*tag));
    list = colon == std::string_view::npos ? std::string_view() : list.substr(colon + 1);
  }
  if (!languages.empty()) return languages;
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (auto tag = languageTagFromLocaleName(environmentValue(variable))) return {std::move(*tag)};
  }
  return {"en"};
}

void OVNLocale::setPreferredLanguages(std::vector<std::string> languages) {
  std::lock_guard guard(overrideLock);
  languagesOverride = std::move(languages);
}
