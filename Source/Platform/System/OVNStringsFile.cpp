#include "Platform/System/OVNStringsFile.h"

#include <cstdint>

#include "Platform/System/OVNFileManager.h"
#include "Platform/Text/OVNString.h"

namespace {

bool isHighSurrogate(char32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool isLowSurrogate(char32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }
char32_t combineSurrogates(char32_t high, char32_t low) { return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00); }

// Strict UTF-8: no overlong forms, no encoded surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view s) {
  std::size_t i = 0;
  while (i < s.size()) {
    const auto lead = static_cast<unsigned char>(s[i]);
    if (lead < 0x80) {
      ++i;
      continue;
    }
    std::size_t length;
    char32_t cp;
    if ((lead & 0xE0) == 0xC0) {
      length = 2;
      cp = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3;
      cp = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4;
      cp = lead & 0x07;
    } else {
      return false;
    }
    if (s.size() - i < length) return false;
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(s[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (next & 0x3F);
    }
    static constexpr char32_t minimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < minimum[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

std::optional<std::string> utf16ToUtf8(std::string_view bytes, bool bigEndian) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  auto unitAt = [&](std::size_t index) -> char32_t {
    const auto a = static_cast<unsigned char>(bytes[index]);
    const auto b = static_cast<unsigned char>(bytes[index + 1]);
    return bigEndian ? static_cast<char32_t>((a << 8) | b) : static_cast<char32_t>((b << 8) | a);
  };
  std::string out;
  out.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t unit = unitAt(i);
    if (isHighSurrogate(unit)) {
      if (i + 3 >= bytes.size()) return std::nullopt;
      const char32_t low = unitAt(i + 2);
      if (!isLowSurrogate(low)) return std::nullopt;
      unit = combineSurrogates(unit, low);
      i += 2;
    } else if (isLowSurrogate(unit)) {
      return std::nullopt;
    }
    OVNString::appendCodePoint(out, unit);
  }
  return out;
}

std::optional<std::string> decodeToUtf8(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF"))
    bytes.remove_prefix(3);
  else if (bytes.starts_with("\xFF\xFE"))
    return utf16ToUtf8(bytes.substr(2), false);
  else if (bytes.starts_with("\xFE\xFF"))
    return utf16ToUtf8(bytes.substr(2), true);
  if (!isValidUtf8(bytes)) return std::nullopt;
  return std::string(bytes);
}

bool isUnquotedChar(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '.' ||
         c == '$' || c == ':' || c == '/' || c == '-';
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// A single forward pass over decoded UTF-8 text; every read is bounds-checked so truncated
// or hostile input ends in nullopt, never past the end.
class Parser {
 public:
  explicit Parser(std::string_view text) : s_(text) {}

  std::optional<OVNStringsFile::Table> parseTable() {
    OVNStringsFile::Table table;
    while (true) {
      if (!skipTrivia()) return std::nullopt;
      if (atEnd()) return table;
      auto key = readToken();
      if (!key || !skipTrivia()) return std::nullopt;
      std::optional<std::string> value;
      if (!atEnd() && s_[i_] == '=') {
        ++i_;
        if (!skipTrivia()) return std::nullopt;
        value = readToken();
        if (!value || !skipTrivia()) return std::nullopt;
      } else {
        value = *key;
      }
      if (atEnd() || s_[i_] != ';') return std::nullopt;
      ++i_;
      table.insert_or_assign(std::move(*key), std::move(*value));
    }
  }

 private:
  bool atEnd() const { return i_ >= s_.size(); }

  // Whitespace and comments; false for an unterminated block comment.
  bool skipTrivia() {
    while (!atEnd()) {
      const char c = s_[i_];
      if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v') {
        ++i_;
      } else if (s_.substr(i_).starts_with("/*")) {
        const std::size_t close = s_.find("*/", i_ + 2);
        if (close == std::string_view::npos) return false;
        i_ = close + 2;
      } else if (s_.substr(i_).starts_with("//")) {
        const std::size_t newline = s_.find('\n', i_ + 2);
        i_ = newline == std::string_view::npos ? s_.size() : newline + 1;
      } else {
        return true;
      }
    }
    return true;
  }

  std::optional<std::string> readToken() {
    if (atEnd()) return std::nullopt;
    if (s_[i_] == '"') return readQuoted();
    const std::size_t start = i_;
    while (!atEnd() && isUnquotedChar(s_[i_])) ++i_;
    if (i_ == start) return std::nullopt;
    return std::string(s_.substr(start, i_ - start));
  }

  std::optional<std::string> readQuoted() {
    ++i_;  // opening quote
    std::string out;
    while (!atEnd()) {
      const char c = s_[i_++];
      if (c == '"') return out;
      if (c != '\\') {
        out.push_back(c);
        continue;
      }
      if (atEnd()) return std::nullopt;
      const char e = s_[i_++];
      switch (e) {
        case 'n': out.push_back('\n'); break;
        case 't': out.push_back('\t'); break;
        case 'r': out.push_back('\r'); break;
        case 'U':
        case 'u': {
          auto unit = readHexUnit();
          if (!unit || isLowSurrogate(*unit)) return std::nullopt;
          char32_t cp = *unit;
          if (isHighSurrogate(cp)) {
            // The low half must follow as its own escape.
            if (s_.size() - i_ < 2 || s_[i_] != '\\' || (s_[i_ + 1] != 'U' && s_[i_ + 1] != 'u')) return std::nullopt;
            i_ += 2;
            auto low = readHexUnit();
            if (!low || !isLowSurrogate(*low)) return std::nullopt;
            cp = combineSurrogates(cp, *low);
          }
          OVNString::appendCodePoint(out, cp);
          break;
        }
        default: out.push_back(e); break;  // \" \\ and any other character stand for themselves
      }
    }
    return std::nullopt;  // unterminated
  }

  std::optional<char32_t> readHexUnit() {
    if (s_.size() - i_ < 4) return std::nullopt;
    char32_t unit = 0;
    for (int k = 0; k < 4; ++k) {
      const int digit = hexDigit(s_[i_ + k]);
      if (digit < 0) return std::nullopt;
      unit = (unit << 4) | static_cast<char32_t>(digit);
    }
    i_ += 4;
    return unit;
  }

  std::string_view s_;
  std::size_t i_ = 0;
};

}  // namespace

std::optional<OVNStringsFile::Table> OVNStringsFile::parse(std::string_view bytes) {
  auto text = decodeToUtf8(bytes);
  if (!text) return std::nullopt;
  return Parser(*text).parseTable();
}

std::optional<OVNStringsFile::Table> OVNStringsFile::readFile(const std::string& path) {
  auto contents = OVNFileManager::contentsAtPath(path);
  if (!contents) return std::nullopt;
  return parse(*contents);
}
