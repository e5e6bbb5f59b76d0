#include "Platform/Text/OVNLocale.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace {
std::mutex overrideLock;
std::vector<std::string> languagesOverride;

std::string_view environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::string_view(value) : std::string_view();
}

void appendUnique(std::vector<std::string>& list, std::string tag) {
  if (std::find(list.begin(), list.end(), tag) == list.end()) list.push_back(std::move(tag));
}
}  // namespace

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
