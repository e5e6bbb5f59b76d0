#include "Platform/Network/detail/OVNCacheControl.h"

#include <cctype>
#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

namespace ovn::detail {
namespace {

// Delta-seconds beyond this are taken as this, as the caching rules ask (2^31).
constexpr double largestDeltaSeconds = 2147483648.0;

bool isTokenCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) ||
         std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

std::string lowercase(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return result;
}

std::optional<double> deltaSeconds(std::optional<std::string_view> argument) {
  if (!argument || argument->empty()) return std::nullopt;
  for (char c : *argument) {
    if (c < '0' || c > '9') return std::nullopt;
  }
  std::uint64_t value = 0;
  auto [end, error] = std::from_chars(argument->data(), argument->data() + argument->size(), value);
  if (error == std::errc::result_out_of_range) return largestDeltaSeconds;
  if (error != std::errc() || end != argument->data() + argument->size()) return std::nullopt;
  return std::min(static_cast<double>(value), largestDeltaSeconds);
}

struct Directive {
  std::string_view name;
  std::optional<std::string_view> argument;
};

// Splits "a, b=1, c=\"x, y\"" into directives; none when the text is not well formed.
std::optional<std::vector<Directive>> directives(std::string_view text) {
  std::vector<Directive> result;
  std::size_t at = 0;
  while (at <= text.size()) {
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t' || text[at] == ',')) ++at;
    if (at == text.size()) break;
    const std::size_t nameStart = at;
    while (at < text.size() && isTokenCharacter(text[at])) ++at;
    Directive directive{text.substr(nameStart, at - nameStart), std::nullopt};
    if (directive.name.empty()) return std::nullopt;
    if (at < text.size() && text[at] == '=') {
      ++at;
      const std::size_t valueStart = at;
      if (at < text.size() && text[at] == '"') {
        const std::size_t close = text.find('"', at + 1);
        if (close == std::string_view::npos) return std::nullopt;
        directive.argument = text.substr(at + 1, close - at - 1);
        at = close + 1;
      } else {
        while (at < text.size() && isTokenCharacter(text[at])) ++at;
        directive.argument = text.substr(valueStart, at - valueStart);
      }
    }
    const std::string_view rest = trimmed(text.substr(at, text.find(',', at) - at));
    if (!rest.empty()) return std::nullopt;
    at = text.find(',', at);
    result.push_back(directive);
    if (at == std::string_view::npos) break;
  }
  return result;
}

}  // namespace

OVNCacheControl OVNCacheControl::parse(std::optional<std::string_view> fieldValue) {
  OVNCacheControl control;
  if (!fieldValue) return control;
  auto parsed = directives(*fieldValue);
  if (!parsed) return control;
  for (const auto& directive : *parsed) control.apply(directive.name, directive.argument);
  return control;
}

void OVNCacheControl::apply(std::string_view name, std::optional<std::string_view> argument) {
  const std::string directive = lowercase(name);
  if (directive == "max-age") {
    if (!maxAge) maxAge = deltaSeconds(argument);
  } else if (directive == "no-cache") {
    noCache = true;
  } else if (directive == "no-store") {
    noStore = true;
  } else if (directive == "must-revalidate") {
    mustRevalidate = true;
  } else if (directive == "public") {
    isPublic = true;
  } else if (directive == "private") {
    isPrivate = true;
  }
}

}  // namespace ovn::detail
