#pragma once
// An application/x-www-form-urlencoded text (a request body or a query string) as its
// decoded name/value pairs, and as the JSON object it describes. Names use bracket notation
// for nesting: "loc[lat]=30.2&place[name]=austin" is {"loc": {"lat": 30.2}, "place":
// {"name": "austin"}}; "periods[0][tempC]=1" indexes an array and "periods[][tempC]=1"
// appends to one (a new element starts when the last one already has that member). Values
// that read as JSON numbers become numbers, "true" and "false" booleans, the rest strings.
//
// Threads: immutable after construction; any thread may read it.

#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class FormBody {
 public:
  explicit FormBody(std::string_view text = {});

  const std::vector<std::pair<std::string, std::string>>& pairs() const { return pairs_; }

  //! The value of the first pair named `name`, if any.
  std::optional<std::string> value(std::string_view name) const;

  //! The pairs as one JSON object, leaving out those whose top-level name is in `omitted`;
  //! null if a name indexes an array beyond what a form can sensibly carry.
  std::optional<nlohmann::ordered_json> toJSON(const std::set<std::string, std::less<>>& omitted) const;

  //! "%41+b" is "A b"; malformed escapes stay as written.
  static std::string percentDecoded(std::string_view text);

 private:
  std::vector<std::pair<std::string, std::string>> pairs_;
};
