#pragma once
// Where Linux keeps the local time zone, as zone names in the order they are tried: TZ
// (":Area/City", "Area/City", a path into a zoneinfo folder, "" for UTC), the target of
// the /etc/localtime link, the first line of /etc/timezone. Names are not checked here:
// the caller takes the first that names a zone. Reads the environment and the files on
// each call; any thread (environment changes made meanwhile are the caller's concern).

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovn::detail {

class OVNSystemTimeZoneSource {
 public:
  static std::vector<std::string> candidateNames();
  //! The zone name in a path into a zoneinfo folder: "/usr/share/zoneinfo/Europe/Berlin"
  //! -> "Europe/Berlin" (the "posix/" and "right/" variants too); nullopt without one.
  static std::optional<std::string> zoneNameFromPath(std::string_view path);

 private:
  static std::optional<std::string> fromTZ();
  static std::optional<std::string> fromLocaltimeLink();
  static std::optional<std::string> fromTimezoneFile();
};

}  // namespace ovn::detail
