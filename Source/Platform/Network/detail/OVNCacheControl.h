#pragma once
// The directives of one "Cache-Control" field value, as a private cache reads them.
// A directive whose argument is malformed ("max-age=soon", "max-age=-1") counts as absent,
// as does a whole value that does not parse; unknown directives are ignored.

#include <optional>
#include <string_view>

namespace ovn::detail {

class OVNCacheControl {
 public:
  static OVNCacheControl parse(std::optional<std::string_view> fieldValue);

  std::optional<double> maxAge;  // seconds
  bool noCache = false;
  bool noStore = false;
  bool mustRevalidate = false;
  bool isPublic = false;
  bool isPrivate = false;

 private:
  void apply(std::string_view name, std::optional<std::string_view> argument);
};

}  // namespace ovn::detail
