#include "Platform/Time/detail/OVNSystemTimeZoneSource.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace ovn::detail {

namespace {
constexpr const char* localtimeLink = "/etc/localtime";
constexpr const char* timezoneFile = "/etc/timezone";
constexpr std::string_view zoneinfoFolder = "zoneinfo/";
// A line of /etc/timezone longer than any zone name is not one.
constexpr std::size_t longestZoneName = 256;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t start = text.find_first_not_of(blanks);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}
}  // namespace

std::vector<std::string> OVNSystemTimeZoneSource::candidateNames() {
  std::vector<std::string> names;
  for (auto source : {&fromTZ, &fromLocaltimeLink, &fromTimezoneFile}) {
    if (auto name = source()) names.push_back(std::move(*name));
  }
  return names;
}

std::optional<std::string> OVNSystemTimeZoneSource::zoneNameFromPath(std::string_view path) {
  const std::size_t folder = path.rfind(zoneinfoFolder);
  if (folder == std::string_view::npos) return std::nullopt;
  std::string_view name = path.substr(folder + zoneinfoFolder.size());
  for (std::string_view variant : {"posix/", "right/"}) {
    if (name.starts_with(variant)) name.remove_prefix(variant.size());
  }
  if (name.empty()) return std::nullopt;
  return std::string(name);
}

std::optional<std::string> OVNSystemTimeZoneSource::fromTZ() {
  const char* value = std::getenv("TZ");
  if (!value) return std::nullopt;
  std::string_view tz(value);
  if (tz.starts_with(':')) tz.remove_prefix(1);
  if (tz.empty()) return "UTC";  // as the C library reads an empty TZ
  if (tz.starts_with('/')) return zoneNameFromPath(tz);
  return std::string(tz);
}

std::optional<std::string> OVNSystemTimeZoneSource::fromLocaltimeLink() {
  std::error_code error;
  const auto target = std::filesystem::read_symlink(localtimeLink, error);
  if (error) return std::nullopt;
  return zoneNameFromPath(target.string());
}

std::optional<std::string> OVNSystemTimeZoneSource::fromTimezoneFile() {
  std::ifstream file(timezoneFile);
  std::string line;
  if (!file || !std::getline(file, line) || line.size() > longestZoneName) return std::nullopt;
  const std::string_view name = trimmed(line);
  if (name.empty()) return std::nullopt;
  return std::string(name);
}

}  // namespace ovn::detail
