#include "Platform/Serialization/OVNJSONSerialization.h"

#include <simdjson.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "Platform/Objects/OVNError.h"
#include "Platform/Serialization/detail/OVNJSONErrorLocator.h"
#include "Platform/Serialization/detail/OVNJSONWriter.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

namespace {

using ovn::detail::OVNJSONErrorLocation;
using ovn::detail::OVNJSONErrorLocator;

// The reader keeps its buffers between calls; a parser per thread keeps calls independent.
// Documents above this size get a parser of their own, so one huge reply does not pin its
// buffers to a thread for good.
constexpr std::size_t kRetainedParserCapacity = 8 * 1024 * 1024;

void setError(std::shared_ptr<OVNError>* error, std::int64_t code, std::string_view description,
              const std::string& detail) {
  if (!error) return;
  *error =
      OVNError::errorWithDomain(OVNCocoaErrorDomain, code,
                                OVNDictionary::make({{std::string(OVNLocalizedDescriptionKey), OVNValue(description)},
                                                     {std::string(OVNDebugDescriptionErrorKey), OVNValue(detail)}}));
}

void setReadError(std::shared_ptr<OVNError>* error, const std::string& detail) {
  setError(error, OVNPropertyListReadCorruptError,
           "The data couldn\u2019t be read because it isn\u2019t in the correct format.", detail);
}

std::string describeLocation(const OVNJSONErrorLocation& location) {
  return OVNFormat("%@ around line %lu, column %lu (byte %lu).", location.reason,
                   static_cast<unsigned long>(location.line), static_cast<unsigned long>(location.column),
                   static_cast<unsigned long>(location.offset));
}

// What simdjson found, with the position our own scan finds for it.
std::string describeFailure(simdjson::error_code code, std::string_view text) {
  std::optional<OVNJSONErrorLocation> location;
  if (code == simdjson::UTF8_ERROR) {
    location = OVNJSONErrorLocator::firstInvalidUTF8(text);
  } else {
    location = OVNJSONErrorLocator::firstSyntaxError(text, OVNJSONSerialization::maximumNestingDepth);
  }
  if (location) return describeLocation(*location);
  if (code == simdjson::NUMBER_ERROR) {
    return "A number is out of range (integers must fit in 64 bits, other numbers in a double).";
  }
  return std::string(simdjson::error_message(code)) + ".";
}

// Builds the value tree from simdjson's document. Objects are the costly part: their members
// must end up sorted by key with the last of a repeated key winning. Rather than sorting the
// built (key, value) pairs, which moves strings and values around, the builder sorts light
// (key view, element) references on a scratch stack first, then builds each surviving
// member once, straight into its sorted place in a vector reserved to size.
class ValueBuilder {
 public:
  explicit ValueBuilder(bool mutableContainers) : mutable_(mutableContainers) {}

  OVNValue build(simdjson::dom::element element) {
    using Type = simdjson::dom::element_type;
    switch (element.type()) {
      case Type::ARRAY: return buildArray(element.get_array().value_unsafe());
      case Type::OBJECT: return buildDictionary(element.get_object().value_unsafe());
      case Type::INT64: return OVNValue(OVNNumber::integer(element.get_int64().value_unsafe()));
      case Type::UINT64: return OVNValue(OVNNumber::unsignedInteger(element.get_uint64().value_unsafe()));
      case Type::DOUBLE: return OVNValue(OVNNumber::floating(element.get_double().value_unsafe()));
      case Type::STRING: return OVNValue(element.get_string().value_unsafe());
      case Type::BOOL: return OVNValue(element.get_bool().value_unsafe());
      case Type::NULL_VALUE: return OVNValue::null();
    }
    return OVNValue::null();
  }

 private:
  // One member of an object being built. The key views the parser's own buffer, where
  // simdjson has already unescaped it; `prefix` is its first eight bytes as a big-endian
  // number (zero-padded), so most comparisons are one integer compare rather than a call.
  struct Field {
    std::uint64_t prefix;
    std::string_view key;
    simdjson::dom::element value;
  };

  static std::uint64_t keyPrefix(std::string_view key) {
    std::uint64_t prefix = 0;
    const std::size_t n = std::min<std::size_t>(key.size(), 8);
    for (std::size_t i = 0; i < n; ++i) prefix |= std::uint64_t(static_cast<unsigned char>(key[i])) << (56 - 8 * i);
    return prefix;
  }

  // Byte order, as std::string compares. Equal prefixes of two keys no longer than eight
  // bytes mean the shorter is the longer one's prefix (its missing bytes are zeros).
  static bool keyLess(const Field& a, const Field& b) {
    if (a.prefix != b.prefix) return a.prefix < b.prefix;
    if (a.key.size() <= 8 && b.key.size() <= 8) return a.key.size() < b.key.size();
    return a.key < b.key;
  }

  static bool sameKey(const Field& a, const Field& b) {
    return a.prefix == b.prefix && a.key.size() == b.key.size() && (a.key.size() <= 8 || a.key == b.key);
  }

  OVNValue buildArray(simdjson::dom::array array) {
    std::vector<OVNValue> members;
    members.reserve(array.size());
    for (simdjson::dom::element member : array) members.push_back(build(member));
    return OVNValue(std::make_shared<OVNArray>(std::move(members), mutable_));
  }

  OVNValue buildDictionary(simdjson::dom::object object) {
    // Nested objects push above `base` while this one builds, and may grow the stack, so
    // this range is addressed by index, never by iterator.
    const std::size_t base = fields_.size();
    for (simdjson::dom::key_value_pair field : object)
      fields_.push_back({keyPrefix(field.key), field.key, field.value});
    const auto first = fields_.begin() + static_cast<std::ptrdiff_t>(base);
    const std::size_t count = fields_.size() - base;
    if (count < 2) {
      // nothing to order
    } else if (count <= 16) {
      // Insertion sort: stable, and quickest for the few keys of a typical object.
      for (auto i = first + 1; i < fields_.end(); ++i) {
        if (!keyLess(*i, *(i - 1))) continue;
        const Field moving = *i;
        auto j = i;
        for (; j > first && keyLess(moving, *(j - 1)); --j) *j = *(j - 1);
        *j = moving;
      }
    } else if (!std::is_sorted(first, fields_.end(), keyLess)) {
      std::stable_sort(first, fields_.end(), keyLess);
    }
    std::vector<OVNDictionary::Storage::value_type> entries;
    entries.reserve(count);
    for (std::size_t i = base; i < base + count; ++i) {
      // The stable sort kept input order among equal keys: the last of a run wins.
      if (i + 1 < base + count && sameKey(fields_[i + 1], fields_[i])) continue;
      const Field field = fields_[i];
      entries.emplace_back(std::string(field.key), build(field.value));
    }
    fields_.resize(base);
    return OVNValue(
        std::make_shared<OVNDictionary>(OVNDictionary::Storage::fromSortedUnique(std::move(entries)), mutable_));
  }

  bool mutable_;
  std::vector<Field> fields_;  // members of every object still being built, innermost last
};

simdjson::dom::parser& threadParser() {
  thread_local simdjson::dom::parser parser(kRetainedParserCapacity);
  return parser;
}

}  // namespace

OVNValue OVNJSONSerialization::JSONObjectWithData(const OVNData& data, unsigned options,
                                                  std::shared_ptr<OVNError>* error) {
  return JSONObjectWithData(data.view(), options, error);
}

OVNValue OVNJSONSerialization::JSONObjectWithData(std::string_view text, unsigned options,
                                                  std::shared_ptr<OVNError>* error) {
  if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  if (text.empty()) {
    setReadError(error, "Unable to parse empty data.");
    return {};
  }
  std::optional<simdjson::dom::parser> ownParser;
  simdjson::dom::parser* parser = &threadParser();
  if (text.size() > kRetainedParserCapacity) parser = &ownParser.emplace(text.size());
  if (parser->max_depth() != maximumNestingDepth) {
    if (parser->allocate(std::max<std::size_t>(parser->capacity(), text.size()), maximumNestingDepth)) {
      setReadError(error, "Not enough memory to read the JSON text.");
      return {};
    }
  }
  simdjson::dom::element root;
  if (const auto code = parser->parse(text.data(), text.size()).get(root)) {
    setReadError(error, describeFailure(code, text));
    return {};
  }
  const bool container = root.is_array() || root.is_object();
  if (!container && !(options & OVNJSONReadingFragmentsAllowed)) {
    setReadError(error, "JSON text did not start with array or object and option to allow fragments not set.");
    return {};
  }
  return ValueBuilder(options & OVNJSONReadingMutableContainers).build(root);
}

OVNDataRef OVNJSONSerialization::dataWithJSONObject(const OVNValue& value, unsigned options,
                                                    std::shared_ptr<OVNError>* error) {
  const bool container = value.isArray() || value.isDictionary();
  if (!container && !(options & OVNJSONWritingFragmentsAllowed)) {
    setError(error, OVNPropertyListWriteInvalidError,
             "The data couldn\u2019t be written because it isn\u2019t in the correct format.",
             "Invalid top-level type in JSON write (" + value.className() + ").");
    return nullptr;
  }
  ovn::detail::OVNJSONWriter writer(options & OVNJSONWritingPrettyPrinted,
                                    !(options & OVNJSONWritingWithoutEscapingSlashes), maximumNestingDepth);
  if (!writer.write(value)) {
    setError(error, OVNPropertyListWriteInvalidError,
             "The data couldn\u2019t be written because it isn\u2019t in the correct format.", writer.failure());
    return nullptr;
  }
  const std::string& text = writer.text();
  return OVNData::make(std::vector<std::uint8_t>(text.begin(), text.end()));
}

bool OVNJSONSerialization::isValidJSONObject(const OVNValue& value) {
  if (!value.isArray() && !value.isDictionary()) return false;
  ovn::detail::OVNJSONWriter writer(false, true, maximumNestingDepth);
  return writer.write(value);
}
