#pragma once
// What a stored response's "Vary" asks of later requests: the header fields it names, with
// the values the storing request had (absent is a value too). A later request matches when
// its values are the same, names compared without regard to case and values after trimming
// surrounding white space. "Vary: *" matches no request. Immutable once made.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Values/OVNValue.h"

class OVNURLRequest;
class OVNURLResponse;

namespace ovn::detail {

class OVNHTTPCacheVary {
 public:
  //! Nothing to compare: a response without "Vary", or one that is not HTTP.
  OVNHTTPCacheVary() = default;
  static OVNHTTPCacheVary fromExchange(const OVNURLResponse* response, const OVNURLRequest& request);

  bool matches(const OVNURLRequest& request) const;
  //! "Vary: *": no request can match.
  bool matchesNothing() const { return matchesNothing_; }
  bool isEmpty() const { return fields_.empty(); }
  //! Bytes the fields take, for the memory layer's cost.
  std::size_t estimatedSize() const;

  //! An array of dictionaries {"name": ..., "value": ...}, the value left out when the
  //! request had none; "*" is kept as a name like the others.
  OVNValue propertyList() const;
  static std::optional<OVNHTTPCacheVary> fromPropertyList(const OVNValue& list);

 private:
  struct Field {
    std::string name;                  // lower case
    std::optional<std::string> value;  // trimmed; none when the request had no such field
  };
  std::vector<Field> fields_;
  bool matchesNothing_ = false;
};

}  // namespace ovn::detail
