#include "Categories/NSBundle+OvrinCore.h"
#include "Platform/Text/OVNLocale.h"

namespace {

OVNBundleRef findResourceBundle() {
  if (auto path = OVNBundle::mainBundle()->pathForResource("Ovrin", "bundle")) {
    if (auto bundle = OVNBundle::bundleWithPath(*path)) return bundle;
  }
  if (auto directory = OVNBundle::libraryDirectory()) {
    if (auto bundle = OVNBundle::bundleWithPath(*directory + "/Ovrin.bundle")) return bundle;
#ifdef OVRIN_DATA_DIR_FROM_LIBRARY
    // An installation moved to another prefix keeps its layout: the data directory sits
    // where it sat beside the library.
    const std::string installed = *directory + "/" + OVRIN_DATA_DIR_FROM_LIBRARY + "/Ovrin.bundle";
    if (auto bundle = OVNBundle::bundleWithPath(installed)) return bundle;
#endif
  }
#ifdef OVRIN_DATA_DIR
  return OVNBundle::bundleWithPath(std::string(OVRIN_DATA_DIR) + "/Ovrin.bundle");
#else
  return nullptr;
#endif
}

std::optional<std::string> infoString(const OVNBundle& bundle, std::string_view key) {
  const OVNValue value = bundle.objectForInfoDictionaryKey(key);
  if (const std::string* text = value.string()) return *text;
  return std::nullopt;
}

}  // namespace

OVNBundleRef ovrinBundle() {
  static const OVNBundleRef bundle = findResourceBundle();
  return bundle;
}

OVNBundleRef ovrinStringsBundle() {
  static const OVNBundleRef bundle = [] {
    OVNBundleRef resources = ovrinBundle();
    return resources ? ovn_stringsBundleForLanguages(*resources, OVNLocale::preferredLanguages()) : nullptr;
  }();
  return bundle;
}

OVNBundleRef ovn_stringsBundleForLanguages(const OVNBundle& resourceBundle, const std::vector<std::string>& languages) {
  for (const std::string& tag : languages) {
    if (auto path = resourceBundle.pathForResource(tag, "lproj")) return OVNBundle::bundleWithPath(*path);
    const std::size_t dash = tag.find('-');
    const bool twoParts = dash != std::string::npos && tag.find('-', dash + 1) == std::string::npos;
    if (twoParts) {
      if (auto path = resourceBundle.pathForResource(tag.substr(0, dash), "lproj")) {
        return OVNBundle::bundleWithPath(*path);
      }
    }
  }
  return nullptr;
}

std::optional<std::string> ovn_appVersion(const OVNBundle& bundle) {
  return infoString(bundle, "CFBundleShortVersionString");
}

std::optional<std::string> ovn_appBuild(const OVNBundle& bundle) { return infoString(bundle, "CFBundleVersion"); }

std::string OVNLocalizedString(std::string_view key) {
  if (OVNBundleRef strings = ovrinStringsBundle()) return strings->localizedStringForKey(key, "", "Localizable");
  return OVNBundle::mainBundle()->localizedStringForKey(key, "", {});
}
