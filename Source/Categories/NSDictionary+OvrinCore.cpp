#include "Categories/NSDictionary+OvrinCore.h"
#include "Categories/NSString+OvrinCore.h"
#include "Platform/Text/OVNCharacterSet.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNArray.h"

namespace {

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  std::size_t start = 0;
  while (true) {
    const std::size_t end = text.find(separator, start);
    parts.push_back(text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start));
    if (end == std::string_view::npos) return parts;
    start = end + 1;
  }
}

void appendPiece(std::string& query, std::string_view piece) {
  if (!query.empty()) query += '&';
  query += piece;
}

}  // namespace

bool ovn_isEmpty(const OVNDictionaryRef& dictionary) { return !dictionary || dictionary->empty(); }

OVNDictionaryRef ovn_dictionaryWithQueryString(std::string_view query) {
  OVNDictionary::Storage entries;
  for (std::string_view piece : split(query, '&')) {
    const std::vector<std::string_view> parts = split(piece, '=');
    if (parts.size() != 2) continue;
    std::optional<std::string> key = ovn_URLDecodedString(parts[0]);
    std::optional<std::string> value = ovn_URLDecodedString(parts[1]);
    if (!key || !value) continue;
    entries.insert_or_assign(std::move(*key), OVNValue(std::move(*value)));
  }
  return std::make_shared<OVNDictionary>(std::move(entries), false);
}

OVNDictionaryRef ovn_dictionaryByAddingEntriesFromDictionary(const OVNDictionary& receiver,
                                                             const OVNDictionary& other) {
  OVNDictionaryRef merged = receiver.mutableCopy();
  merged->addEntries(other);
  return merged->copy();
}

std::string ovn_serializedString(const OVNDictionary& receiver) {
  std::string query;
  for (const auto& [key, value] : receiver) {
    if (OVNDictionaryRef nested = value.dictionary()) {
      for (const auto& [subKey, member] : *nested) {
        appendPiece(query, key + "[" + subKey + "]=" + ovn_escapeValueForURLParameter(member.description()));
      }
    } else if (OVNArrayRef elements = value.array()) {
      for (const OVNValue& element : *elements) {
        appendPiece(query, key + "[]=" + ovn_escapeValueForURLParameter(element.description()));
      }
    } else {
      appendPiece(query, key + "=" + ovn_escapeValueForURLParameter(value.description()));
    }
  }
  return query;
}

std::string ovn_escapeValueForURLParameter(std::string_view text) {
  static const OVNCharacterSet allowed = OVNCharacterSet::URLQueryAllowedCharacterSet();
  return OVNString::stringByAddingPercentEncoding(text, allowed);
}

std::string ovn_escapeValueForURLParameter(const OVNDictionary&, std::string_view text) {
  return ovn_escapeValueForURLParameter(text);
}
