#pragma once
// A locale (NSLocale): the identifier of a language and region ("en_US", "de_DE",
// "en_US_POSIX") whose conventions formatters follow. Identifiers are canonicalised by ICU
// ("de-DE" and "de_de" both give "de_DE"); ICU supplies the data. Immutable; any thread
// may share one.
//
// The current locale is the one formatting follows when no locale is given: read from the
// environment (LC_ALL, then LC_TIME, then LANG; the first that is set and non-empty
// decides, "C" and "POSIX" mean en_US_POSIX, the codeset ".UTF-8" and modifier "@euro" are
// dropped), or the one code set with setCurrentLocale.
//
// The user's language preferences are separate: language tags ("en-US", "de", "pt-BR"),
// most preferred first, read from the environment on each call: LANGUAGE (a
// colon-separated list) when it names anything usable, else the first of LC_ALL,
// LC_MESSAGES, LANG that is set and is not the "C"/"POSIX" locale; {"en"} when nothing is
// usable. Code can replace the list (applications with their own setting, tests).
// Thread-safe: any thread; the overrides are guarded. Environment changes made while other
// threads read it are the caller's concern, as for getenv.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVN_EXPORT OVNLocale : public OVNObject {
  OVN_CLASS_NAMED(OVNLocale, OVNObject, "NSLocale")

 public:
  //! The identifier POSIX programs format with: fixed English names, Gregorian calendar.
  static constexpr std::string_view posixIdentifier = "en_US_POSIX";

  OVNLocale() = default;

  //! A locale for any identifier, canonicalised. ICU accepts identifiers it has no data
  //! for (they format as the root locale), so this never fails.
  static std::shared_ptr<OVNLocale> localeWithLocaleIdentifier(std::string_view identifier);
  //! The locale formatting follows by default: the one set in code, else the environment's.
  static std::shared_ptr<OVNLocale> currentLocale();
  //! Replaces the current locale (applications with their own setting, tests); null
  //! restores reading the environment.
  static void setCurrentLocale(std::shared_ptr<OVNLocale> locale);
  //! en_US_POSIX: the neutral locale for fixed formats.
  static std::shared_ptr<OVNLocale> systemLocale();
  //! The identifier the environment names (see the top of this file), canonicalised.
  static std::string localeIdentifierFromEnvironment();

  const std::string& localeIdentifier() const { return identifier_; }

  //! "<NSLocale: 0x...> de_DE".
  std::string description() const override;
  //! Equal when the identifiers are.
  bool isEqual(const OVNObject& other) const override;
  std::size_t hash() const override;

  //! Never empty.
  static std::vector<std::string> preferredLanguages();
  //! Replaces the list; an empty list restores reading the environment.
  static void setPreferredLanguages(std::vector<std::string> languages);

  //! A POSIX locale name as a language tag: "en_US.UTF-8" -> "en-US", "de_DE@euro" ->
  //! "de-DE", "fr" -> "fr". Nullopt for "C", "POSIX" and empty names.
  static std::optional<std::string> languageTagFromLocaleName(std::string_view name);

 private:
  std::string identifier_;
};
