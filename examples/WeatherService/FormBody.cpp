#include "FormBody.h"

#include <charconv>
#include <regex>

namespace {

using Json = nlohmann::ordered_json;

// An index larger than this is taken for a mistake rather than a sparse array to fill.
constexpr std::size_t kMaxArrayIndex = 1000;
constexpr int kHexBase = 16;

// One step of a bracketed name: a member, an index, or "[]" (append).
struct PathStep {
  enum class Kind { member, index, append };
  Kind kind = Kind::member;
  std::string member;
  std::size_t index = 0;
};

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// "a[b][0][]" is a, b, 0, append; a name whose brackets do not close is one plain member.
std::vector<PathStep> pathOf(const std::string& name) {
  const auto open = name.find('[');
  if (open == std::string::npos || open == 0 || name.back() != ']') return {{PathStep::Kind::member, name, 0}};
  std::vector<PathStep> steps{{PathStep::Kind::member, name.substr(0, open), 0}};
  std::size_t position = open;
  while (position < name.size()) {
    const auto close = name.find(']', position);
    if (name[position] != '[' || close == std::string::npos) return {{PathStep::Kind::member, name, 0}};
    const std::string inner = name.substr(position + 1, close - position - 1);
    std::size_t index = 0;
    const auto [end, error] = std::from_chars(inner.data(), inner.data() + inner.size(), index);
    if (inner.empty()) {
      steps.push_back({PathStep::Kind::append, {}, 0});
    } else if (error == std::errc() && end == inner.data() + inner.size()) {
      steps.push_back({PathStep::Kind::index, {}, index});
    } else {
      steps.push_back({PathStep::Kind::member, inner, 0});
    }
    position = close + 1;
  }
  return steps;
}

Json typedValue(const std::string& text) {
  static const std::regex kInteger("-?(0|[1-9][0-9]*)");
  static const std::regex kNumber("-?(0|[1-9][0-9]*)(\\.[0-9]+)?([eE][+-]?[0-9]+)?");
  if (text == "true") return true;
  if (text == "false") return false;
  if (std::regex_match(text, kInteger)) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size()) return value;
  }
  if (std::regex_match(text, kNumber)) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size()) return value;
  }
  return text;
}

// Whether `node` already holds the member path `rest` leads to, so "[]" must start a new
// element rather than fill the last one.
bool holdsPath(const Json& node, std::vector<PathStep>::const_iterator rest,
               std::vector<PathStep>::const_iterator end) {
  const Json* current = &node;
  for (auto step = rest; step != end; ++step) {
    if (step->kind != PathStep::Kind::member) return true;
    if (!current->is_object() || !current->contains(step->member)) return false;
    current = &(*current)[step->member];
  }
  return true;
}

// Walks (and makes) the nodes along `steps` and stores `value` at the end; a node of the
// wrong kind is replaced, as a later pair wins over an earlier one.
bool place(Json& root, const std::vector<PathStep>& steps, Json value) {
  Json* node = &root;
  for (auto step = steps.begin(); step != steps.end(); ++step) {
    if (step->kind == PathStep::Kind::member) {
      if (!node->is_object()) *node = Json::object();
      node = &(*node)[step->member];
      continue;
    }
    if (!node->is_array()) *node = Json::array();
    if (step->kind == PathStep::Kind::index) {
      if (step->index > kMaxArrayIndex) return false;
      while (node->size() <= step->index) node->push_back(nullptr);
      node = &(*node)[step->index];
    } else {
      if (node->empty() || std::next(step) == steps.end() || holdsPath(node->back(), std::next(step), steps.end())) {
        node->push_back(nullptr);
      }
      node = &node->back();
    }
  }
  *node = std::move(value);
  return true;
}

}  // namespace

FormBody::FormBody(std::string_view text) {
  while (!text.empty()) {
    const auto ampersand = text.find('&');
    const std::string_view pair = text.substr(0, ampersand);
    text = ampersand == std::string_view::npos ? std::string_view{} : text.substr(ampersand + 1);
    if (pair.empty()) continue;
    const auto equals = pair.find('=');
    pairs_.emplace_back(percentDecoded(pair.substr(0, equals)),
                        equals == std::string_view::npos ? std::string() : percentDecoded(pair.substr(equals + 1)));
  }
}

std::optional<std::string> FormBody::value(std::string_view name) const {
  for (const auto& [key, value] : pairs_) {
    if (key == name) return value;
  }
  return std::nullopt;
}

std::optional<Json> FormBody::toJSON(const std::set<std::string, std::less<>>& omitted) const {
  Json root = Json::object();
  for (const auto& [name, text] : pairs_) {
    const std::vector<PathStep> steps = pathOf(name);
    if (omitted.contains(steps.front().member)) continue;
    if (!place(root, steps, typedValue(text))) return std::nullopt;
  }
  return root;
}

std::string FormBody::percentDecoded(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '+') {
      result += ' ';
    } else if (c == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 && hexDigit(text[i + 2]) >= 0) {
      result += static_cast<char>(hexDigit(text[i + 1]) * kHexBase + hexDigit(text[i + 2]));
      i += 2;
    } else {
      result += c;
    }
  }
  return result;
}
