#include "Platform/Serialization/detail/OVNJSONWriter.h"

#include <charconv>
#include <cmath>

#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {

bool OVNJSONWriter::write(const OVNValue& value) { return writeValue(value, 0); }

bool OVNJSONWriter::fail(std::string reason) {
  failure_ = std::move(reason);
  return false;
}

bool OVNJSONWriter::writeValue(const OVNValue& value, std::size_t depth) {
  switch (value.kind()) {
    case OVNValueKind::Null: out_ += "null"; return true;
    case OVNValueKind::Number: return writeNumber(*value.number());
    case OVNValueKind::String: return writeString(*value.string());
    case OVNValueKind::Array:
      if (depth >= maximumDepth_) return fail("Nesting deeper than the limit.");
      return writeArray(*value.array(), depth + 1);
    case OVNValueKind::Dictionary:
      if (depth >= maximumDepth_) return fail("Nesting deeper than the limit.");
      return writeDictionary(*value.dictionary(), depth + 1);
    default: return fail("Invalid type in JSON write (" + value.className() + ").");
  }
}

bool OVNJSONWriter::writeNumber(const OVNNumber& number) {
  char buffer[32];
  std::to_chars_result result{};
  switch (number.kind()) {
    case OVNNumberKind::Boolean: out_ += number.boolValue() ? "true" : "false"; return true;
    case OVNNumberKind::Integer: result = std::to_chars(buffer, buffer + sizeof buffer, number.longLongValue()); break;
    case OVNNumberKind::Unsigned:
      result = std::to_chars(buffer, buffer + sizeof buffer, number.unsignedLongLongValue());
      break;
    case OVNNumberKind::Floating: {
      const double d = number.doubleValue();
      if (!std::isfinite(d)) return fail("Invalid number value (infinite or NaN) in JSON write.");
      // Shortest text that reads back as the same double, in plain digits where printf's
      // %g would use them (1795000000 and 0.0001, not the shorter 1.795e+09 and 1e-04),
      // except where bare digits would read back as an integer beyond 64 bits.
      const double magnitude = std::fabs(d);
      const auto format = magnitude >= 1e18                     ? std::chars_format::scientific
                          : magnitude >= 1e-4 || magnitude == 0 ? std::chars_format::fixed
                                                                : std::chars_format{};
      result = format == std::chars_format{} ? std::to_chars(buffer, buffer + sizeof buffer, d)
                                             : std::to_chars(buffer, buffer + sizeof buffer, d, format);
      break;
    }
  }
  out_.append(buffer, result.ptr);
  return true;
}

bool OVNJSONWriter::writeString(const std::string& text) {
  if (!OVNString::isValidUTF8(text)) return fail("Invalid UTF-8 in a string in JSON write.");
  static constexpr char hex[] = "0123456789abcdef";
  out_ += '"';
  std::size_t plainStart = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const char* escape = nullptr;
    char unicode[7];
    switch (c) {
      case '"': escape = "\\\""; break;
      case '\\': escape = "\\\\"; break;
      case '\n': escape = "\\n"; break;
      case '\r': escape = "\\r"; break;
      case '\t': escape = "\\t"; break;
      case '\b': escape = "\\b"; break;
      case '\f': escape = "\\f"; break;
      case '/':
        if (escapeSlashes_) escape = "\\/";
        break;
      default:
        if (c < 0x20) {
          unicode[0] = '\\';
          unicode[1] = 'u';
          unicode[2] = '0';
          unicode[3] = '0';
          unicode[4] = hex[c >> 4];
          unicode[5] = hex[c & 15];
          unicode[6] = 0;
          escape = unicode;
        }
    }
    if (!escape) continue;
    out_.append(text, plainStart, i - plainStart);
    out_ += escape;
    plainStart = i + 1;
  }
  out_.append(text, plainStart, std::string::npos);
  out_ += '"';
  return true;
}

void OVNJSONWriter::newline(std::size_t depth) {
  out_ += '\n';
  out_.append(depth * 2, ' ');
}

bool OVNJSONWriter::writeArray(const OVNArray& array, std::size_t depth) {
  out_ += '[';
  bool first = true;
  for (const OVNValue& member : array) {
    if (!first) out_ += ',';
    first = false;
    if (pretty_) newline(depth);
    if (!writeValue(member, depth)) return false;
  }
  if (pretty_ && !first) newline(depth - 1);
  out_ += ']';
  return true;
}

bool OVNJSONWriter::writeDictionary(const OVNDictionary& dictionary, std::size_t depth) {
  out_ += '{';
  bool first = true;
  for (const auto& [key, member] : dictionary) {
    if (!first) out_ += ',';
    first = false;
    if (pretty_) newline(depth);
    if (!writeString(key)) return false;
    out_ += pretty_ ? " : " : ":";
    if (!writeValue(member, depth)) return false;
  }
  if (pretty_ && !first) newline(depth - 1);
  out_ += '}';
  return true;
}

}  // namespace ovn::detail
