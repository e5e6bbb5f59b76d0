#pragma once
// JSON reading and writing (NSJSONSerialization). Reading turns JSON text into `OVNValue`:
// objects into string-keyed dictionaries (a repeated key keeps its last value), arrays
// into arrays, integers into integer numbers (unsigned beyond the signed 64-bit range,
// floating beyond that), other numbers into floating numbers, true/false into boolean
// numbers, null into the null marker. Writing is the reverse, for values that JSON can
// hold. Thread-safe: every call is independent (each thread keeps its own reader).
//
// Failures never throw: the result is missing (or null data) and `error`, when given,
// receives an error in `OVNCocoaErrorDomain` with code `OVNPropertyListReadCorruptError`
// (reading) or `OVNPropertyListWriteInvalidError` (writing) whose debug description
// (`OVNDebugDescriptionErrorKey`) says what and where.

#include <cstddef>
#include <memory>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVNError;

//! Reading options, with the platform's values; combine with `|`.
enum OVNJSONReadingOptions : unsigned {
  OVNJSONReadingMutableContainers = 1,  // arrays and dictionaries come back mutable
  OVNJSONReadingMutableLeaves = 2,      // accepted; strings are values here already
  OVNJSONReadingFragmentsAllowed = 4,   // a top-level value need not be an array or object
};

//! Writing options, with the platform's values; combine with `|`.
enum OVNJSONWritingOptions : unsigned {
  OVNJSONWritingPrettyPrinted = 1,           // two-space indentation, "key" : value
  OVNJSONWritingSortedKeys = 2,              // accepted; keys are always written sorted
  OVNJSONWritingFragmentsAllowed = 4,        // allow a top-level value that is not a container
  OVNJSONWritingWithoutEscapingSlashes = 8,  // write "/" rather than "\/"
};

class OVN_EXPORT OVNJSONSerialization {
 public:
  //! Deepest nesting of arrays and objects that reading and writing accept.
  static constexpr std::size_t maximumNestingDepth = 512;

  //! The value the JSON text holds, or missing with `error` set. A UTF-8 byte-order mark
  //! is skipped; other encodings are refused.
  [[nodiscard]] static OVNValue JSONObjectWithData(std::string_view data, unsigned options = 0,
                                                   std::shared_ptr<OVNError>* error = nullptr);
  [[nodiscard]] static OVNValue JSONObjectWithData(const OVNData& data, unsigned options = 0,
                                                   std::shared_ptr<OVNError>* error = nullptr);

  //! The JSON text of `value` as UTF-8 bytes, or null with `error` set when the value holds
  //! something JSON cannot (dates, data, sets, objects, non-finite numbers, invalid UTF-8,
  //! nesting beyond the limit) or is not a container and fragments are not allowed.
  [[nodiscard]] static OVNDataRef dataWithJSONObject(const OVNValue& value, unsigned options = 0,
                                                     std::shared_ptr<OVNError>* error = nullptr);

  //! Whether `dataWithJSONObject` with no options would succeed.
  [[nodiscard]] static bool isValidJSONObject(const OVNValue& value);
};
