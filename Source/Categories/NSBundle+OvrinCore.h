#pragma once
// The library's resource bundle ("Ovrin.bundle"), its localized-strings bundle and
// `OVNLocalizedString`. The resource bundle is looked for, in this order, beside the
// executable (the main bundle), beside the OvrinCore library, in the installed data
// directory as seen from the library (<library>/../share/OvrinCore, so that an installation
// moved to another prefix still finds it), and in the data directory of the prefix chosen
// when the library was configured (<prefix>/share/OvrinCore).
//
// Threads: any. `ovrinBundle` and `ovrinStringsBundle` are chosen once, on first call, and
// kept for the life of the process.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/System/OVNBundle.h"

//! The resource bundle, or null when none of the places holds one.
OVN_EXPORT OVNBundleRef ovrinBundle();

//! The "<language>.lproj" directory of the resource bundle for the user's preferred
//! languages (`ovn_stringsBundleForLanguages` with `OVNLocale::preferredLanguages()` at the
//! first call), or null.
OVN_EXPORT OVNBundleRef ovrinStringsBundle();

//! The choice `ovrinStringsBundle` makes, for any languages: for each tag in order, the
//! directory named after the tag, else (for a tag of exactly two parts split at "-") the
//! one named after its language; the first that exists wins. Null when none does.
OVN_EXPORT OVNBundleRef ovn_stringsBundleForLanguages(const OVNBundle& resourceBundle,
                                                      const std::vector<std::string>& languages);

//! The bundle's "CFBundleShortVersionString" and "CFBundleVersion" entries.
OVN_EXPORT std::optional<std::string> ovn_appVersion(const OVNBundle& bundle);
OVN_EXPORT std::optional<std::string> ovn_appBuild(const OVNBundle& bundle);

//! The library's text for `key`: from the "Localizable" table of the strings bundle (the
//! key itself when that table lacks it), else, without a strings bundle, from the main
//! bundle's table (again the key itself when missing).
OVN_EXPORT std::string OVNLocalizedString(std::string_view key);
