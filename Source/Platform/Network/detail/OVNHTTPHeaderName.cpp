#include "Platform/Network/detail/OVNHTTPHeaderName.h"

#include <algorithm>
#include <array>

namespace ovn::detail {
namespace {

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }
char upper(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

// Names whose usual spelling is not "each word capitalised".
constexpr std::array irregularNames = {
    std::string_view("ETag"),
    std::string_view("WWW-Authenticate"),
    std::string_view("Content-MD5"),
    std::string_view("Content-ID"),
    std::string_view("DNT"),
    std::string_view("TE"),
    std::string_view("X-XSS-Protection"),
    std::string_view("X-UA-Compatible"),
    std::string_view("WebSocket-Origin"),
};

}  // namespace

bool headerNamesEqual(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return lower(x) == lower(y); });
}

std::string canonicalHeaderName(std::string_view name) {
  for (std::string_view irregular : irregularNames) {
    if (headerNamesEqual(irregular, name)) return std::string(irregular);
  }
  std::string result(name);
  bool wordStart = true;
  for (char& c : result) {
    c = wordStart ? upper(c) : lower(c);
    wordStart = (c == '-');
  }
  return result;
}

bool headerValueIsUnsafe(std::string_view value) {
  return value.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

}  // namespace ovn::detail
