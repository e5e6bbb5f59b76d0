#pragma once
// Writes an `OVNValue` as JSON text into one growing buffer. Used by OVNJSONSerialization.

#include <cstddef>
#include <string>

#include "Platform/Values/OVNValue.h"

namespace ovn::detail {

class OVNJSONWriter {
 public:
  OVNJSONWriter(bool prettyPrinted, bool escapeSlashes, std::size_t maximumDepth)
      : pretty_(prettyPrinted), escapeSlashes_(escapeSlashes), maximumDepth_(maximumDepth) {}

  //! Appends the JSON text of `value`; false (with `failure()` set) when the value holds
  //! something JSON cannot. The text is then incomplete and must be discarded.
  bool write(const OVNValue& value);
  const std::string& text() const { return out_; }
  std::string takeText() { return std::move(out_); }
  const std::string& failure() const { return failure_; }

 private:
  bool writeValue(const OVNValue& value, std::size_t depth);
  bool writeNumber(const OVNNumber& number);
  bool writeString(const std::string& text);
  bool writeArray(const OVNArray& array, std::size_t depth);
  bool writeDictionary(const OVNDictionary& dictionary, std::size_t depth);
  void newline(std::size_t depth);
  bool fail(std::string reason);

  std::string out_;
  std::string failure_;
  bool pretty_;
  bool escapeSlashes_;
  std::size_t maximumDepth_;
};

}  // namespace ovn::detail
