#pragma once
// The user's language preferences, as language tags ("en-US", "de", "pt-BR"), most
// preferred first. Read from the environment on each call: LANGUAGE (a colon-separated
// list) when it names anything usable, else the first of LC_ALL, LC_MESSAGES, LANG that is
// set and is not the "C"/"POSIX" locale; {"en"} when nothing is usable. Code can replace
// the list (applications with their own setting, tests).
// Thread-safe: any thread; the override is guarded. Environment changes made while other
// threads read it are the caller's concern, as for getenv.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNLocale {
 public:
  //! Never empty.
  static std::vector<std::string> preferredLanguages();
  //! Replaces the list; an empty list restores reading the environment.
  static void setPreferredLanguages(std::vector<std::string> languages);

  //! A POSIX locale name as a language tag: "en_US.UTF-8" -> "en-US", "de_DE@euro" ->
  //! "de-DE", "fr" -> "fr". Nullopt for "C", "POSIX" and empty names.
  static std::optional<std::string> languageTagFromLocaleName(std::string_view name);
};
