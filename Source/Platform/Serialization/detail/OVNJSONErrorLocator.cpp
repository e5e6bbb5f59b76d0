#include "Platform/Serialization/detail/OVNJSONErrorLocator.h"

#include <vector>

namespace ovn::detail {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHex(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

// One pass over the text with an explicit stack, so hostile nesting cannot exhaust the
// call stack. Each scan function advances `at` past what it accepted or reports an error.
class Scanner {
 public:
  Scanner(std::string_view text, std::size_t maximumDepth) : text_(text), maximumDepth_(maximumDepth) {}

  std::optional<OVNJSONErrorLocation> run() {
    enum class Expect { Value, KeyOrEnd, Key, Colon, CommaOrEnd, ValueOrEnd };
    std::vector<char> stack;
    Expect expect = Expect::Value;
    skipSpace();
    if (at_ == text_.size()) return fail("no JSON text");
    while (true) {
      skipSpace();
      if (at_ == text_.size()) {
        if (stack.empty() && expect == Expect::CommaOrEnd) return std::nullopt;
        return fail("unexpected end of text");
      }
      const char c = text_[at_];
      switch (expect) {
        case Expect::ValueOrEnd:
          if (c == ']') {
            stack.pop_back();
            ++at_;
            expect = Expect::CommaOrEnd;
            continue;
          }
          [[fallthrough]];
        case Expect::Value:
          if (c == '[' || c == '{') {
            if (stack.size() >= maximumDepth_) return fail("nesting deeper than the limit");
            stack.push_back(c);
            ++at_;
            expect = c == '[' ? Expect::ValueOrEnd : Expect::KeyOrEnd;
            continue;
          }
          if (auto error = scanScalar()) return error;
          expect = Expect::CommaOrEnd;
          continue;
        case Expect::KeyOrEnd:
          if (c == '}') {
            stack.pop_back();
            ++at_;
            expect = Expect::CommaOrEnd;
            continue;
          }
          [[fallthrough]];
        case Expect::Key:
          if (c != '"') return fail("expected a string key");
          if (auto error = scanString()) return error;
          expect = Expect::Colon;
          continue;
        case Expect::Colon:
          if (c != ':') return fail("expected ':' after a key");
          ++at_;
          expect = Expect::Value;
          continue;
        case Expect::CommaOrEnd:
          if (stack.empty()) return fail("unexpected text after the JSON value");
          if (c == ',') {
            ++at_;
            expect = stack.back() == '[' ? Expect::Value : Expect::Key;
            continue;
          }
          if ((c == ']' && stack.back() == '[') || (c == '}' && stack.back() == '{')) {
            stack.pop_back();
            ++at_;
            continue;
          }
          return fail(stack.back() == '[' ? "expected ',' or ']'" : "expected ',' or '}'");
      }
    }
  }

 private:
  std::optional<OVNJSONErrorLocation> fail(std::string reason) const {
    return OVNJSONErrorLocator::locate(text_, at_, std::move(reason));
  }
  void skipSpace() {
    while (at_ < text_.size() && isSpace(text_[at_])) ++at_;
  }
  bool consumeWord(std::string_view word) {
    if (text_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }

  std::optional<OVNJSONErrorLocation> scanScalar() {
    const char c = text_[at_];
    if (c == '"') return scanString();
    if (c == '-' || isDigit(c)) return scanNumber();
    if (consumeWord("true") || consumeWord("false") || consumeWord("null")) return std::nullopt;
    return fail("invalid value");
  }

  std::optional<OVNJSONErrorLocation> scanNumber() {
    if (text_[at_] == '-') ++at_;
    if (at_ < text_.size() && text_[at_] == '0') {
      ++at_;
    } else if (at_ < text_.size() && isDigit(text_[at_])) {
      while (at_ < text_.size() && isDigit(text_[at_])) ++at_;
    } else {
      return fail("invalid number");
    }
    if (at_ < text_.size() && text_[at_] == '.') {
      ++at_;
      if (at_ == text_.size() || !isDigit(text_[at_])) return fail("invalid number: digits must follow '.'");
      while (at_ < text_.size() && isDigit(text_[at_])) ++at_;
    }
    if (at_ < text_.size() && (text_[at_] == 'e' || text_[at_] == 'E')) {
      ++at_;
      if (at_ < text_.size() && (text_[at_] == '+' || text_[at_] == '-')) ++at_;
      if (at_ == text_.size() || !isDigit(text_[at_])) return fail("invalid number: digits must follow the exponent");
      while (at_ < text_.size() && isDigit(text_[at_])) ++at_;
    }
    if (at_ < text_.size() && (isDigit(text_[at_]) || text_[at_] == '.')) return fail("invalid number");
    return std::nullopt;
  }

  std::optional<OVNJSONErrorLocation> scanString() {
    const std::size_t start = at_;
    ++at_;  // opening quote
    while (at_ < text_.size()) {
      const auto c = static_cast<unsigned char>(text_[at_]);
      if (c == '"') {
        ++at_;
        return std::nullopt;
      }
      if (c < 0x20) return fail("unescaped control character in a string");
      if (c != '\\') {
        ++at_;
        continue;
      }
      if (at_ + 1 >= text_.size()) break;
      const char escape = text_[at_ + 1];
      if (escape != 'u') {
        if (std::string_view("\"\\/bfnrt").find(escape) == std::string_view::npos) {
          return fail("invalid escape sequence in a string");
        }
        at_ += 2;
        continue;
      }
      auto unit = hexUnit(at_);
      if (!unit) return fail("invalid \\u escape in a string");
      if (*unit >= 0xDC00 && *unit <= 0xDFFF) return fail("unpaired low surrogate in a string");
      if (*unit >= 0xD800 && *unit <= 0xDBFF) {
        auto low = hexUnit(at_ + 6);
        if (!low || *low < 0xDC00 || *low > 0xDFFF) return fail("unpaired high surrogate in a string");
        at_ += 6;
      }
      at_ += 6;
    }
    return OVNJSONErrorLocator::locate(text_, start, "unterminated string");
  }

  // The code unit of "\uXXXX" at `position`, if there is one.
  std::optional<unsigned> hexUnit(std::size_t position) const {
    if (position + 6 > text_.size() || text_[position] != '\\' || text_[position + 1] != 'u') return std::nullopt;
    unsigned unit = 0;
    for (std::size_t i = position + 2; i < position + 6; ++i) {
      if (!isHex(text_[i])) return std::nullopt;
      const char h = text_[i];
      unit = unit * 16 + (isDigit(h) ? h - '0' : (h | 0x20) - 'a' + 10);
    }
    return unit;
  }

  std::string_view text_;
  std::size_t maximumDepth_;
  std::size_t at_ = 0;
};

}  // namespace

std::optional<OVNJSONErrorLocation> OVNJSONErrorLocator::firstSyntaxError(std::string_view text,
                                                                          std::size_t maximumDepth) {
  return Scanner(text, maximumDepth).run();
}

std::optional<OVNJSONErrorLocation> OVNJSONErrorLocator::firstInvalidUTF8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    unsigned minimum = 0;
    unsigned code = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
      code = lead & 0x1F;
      minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      code = lead & 0x0F;
      minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      code = lead & 0x07;
      minimum = 0x10000;
    } else
      return locate(text, i, "invalid UTF-8 byte");
    if (i + length > text.size()) return locate(text, i, "truncated UTF-8 sequence");
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return locate(text, i, "invalid UTF-8 sequence");
      code = (code << 6) | (next & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
      return locate(text, i, "invalid UTF-8 sequence");
    }
    i += length;
  }
  return std::nullopt;
}

OVNJSONErrorLocation OVNJSONErrorLocator::locate(std::string_view text, std::size_t offset, std::string reason) {
  OVNJSONErrorLocation location;
  location.offset = offset;
  location.reason = std::move(reason);
  for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++location.line;
      location.column = 1;
    } else {
      ++location.column;
    }
  }
  return location;
}

}  // namespace ovn::detail
