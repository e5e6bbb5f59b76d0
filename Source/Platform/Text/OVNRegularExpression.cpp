#include "Platform/Text/OVNRegularExpression.h"

#include <unicode/regex.h>
#include <unicode/utf16.h>

#include <utility>

#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Text/detail/OVNICUString.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNRegularExpression, pattern, options)

using ovn::detail::OVNICUString;

namespace {

// One piece of a parsed template: literal text, or a reference to a capture group.
struct TemplatePiece {
  icu::UnicodeString literal;
  std::int32_t group = -1;  // -1 for literal text
};

}  // namespace

struct OVNRegularExpression::Impl {
  std::unique_ptr<icu::RegexPattern> compiled;  // immutable; shared by every search
  std::int32_t groups = 0;                      // capture groups in the pattern

  // A text converted once for a search, with the search bounds checked.
  struct Subject {
    icu::UnicodeString text;
    std::int32_t start = 0;
    std::int32_t limit = 0;
  };

  static Subject subject(std::string_view utf8, std::optional<OVNRange> range) {
    Subject s{OVNICUString::fromUTF8(utf8)};
    const auto length = static_cast<std::size_t>(s.text.length());
    if (!range) {
      s.limit = s.text.length();
      return s;
    }
    if (range->location > length || range->length > length - range->location) {
      OVNException::raise(OVNRangeException, OVNFormat("Range {%lu, %lu} out of bounds; string length %lu",
                                                       range->location, range->length, length));
    }
    s.start = static_cast<std::int32_t>(range->location);
    s.limit = static_cast<std::int32_t>(range->end());
    return s;
  }

  // Calls `visit(matcher)` for each match in order until it returns false. A matcher that
  // fails (ICU's backtracking stack limit, say) ends the search: the matches found so far
  // stand.
  template <class Visit>
  void enumerate(const Subject& s, Visit&& visit) const {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(status));
    if (U_FAILURE(status) || !matcher) return;
    matcher->reset(s.text);
    matcher->region(s.start, s.limit, status);
    while (U_SUCCESS(status) && matcher->find(status) && U_SUCCESS(status)) {
      if (!visit(*matcher)) break;
    }
  }

  static OVNTextCheckingResult resultOf(const icu::RegexMatcher& matcher) {
    std::vector<OVNRange> ranges;
    const std::int32_t groups = matcher.groupCount();
    ranges.reserve(static_cast<std::size_t>(groups) + 1);
    for (std::int32_t g = 0; g <= groups; ++g) {
      UErrorCode status = U_ZERO_ERROR;
      const std::int32_t start = matcher.start(g, status);
      const std::int32_t end = matcher.end(g, status);
      if (U_FAILURE(status) || start < 0) {
        ranges.push_back(OVNRange{});
      } else {
        ranges.push_back(OVNMakeRange(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
      }
    }
    return OVNTextCheckingResult(std::move(ranges));
  }

  // Parses a template once per replacement call. Group numbers are read greedily while the
  // number stays a group of this pattern; the first digit always belongs to the reference.
  std::vector<TemplatePiece> parseTemplate(std::string_view templ) const {
    const icu::UnicodeString text = OVNICUString::fromUTF8(templ);
    std::vector<TemplatePiece> pieces;
    icu::UnicodeString literal;
    auto flush = [&] {
      if (!literal.isEmpty()) pieces.push_back(TemplatePiece{literal, -1});
      literal.remove();
    };
    auto isDigit = [](char16_t c) { return c >= u'0' && c <= u'9'; };
    for (std::int32_t i = 0; i < text.length();) {
      const char16_t c = text.charAt(i);
      if (c == u'\\' && i + 1 < text.length()) {
        const UChar32 escaped = text.char32At(i + 1);
        literal.append(escaped);
        i += 1 + U16_LENGTH(escaped);
      } else if (c == u'$' && i + 1 < text.length() && isDigit(text.charAt(i + 1))) {
        std::int32_t group = text.charAt(i + 1) - u'0';
        i += 2;
        while (i < text.length() && isDigit(text.charAt(i))) {
          const std::int64_t longer = std::int64_t{group} * 10 + (text.charAt(i) - u'0');
          if (longer > groups) break;
          group = static_cast<std::int32_t>(longer);
          ++i;
        }
        flush();
        pieces.push_back(TemplatePiece{{}, group});
      } else {
        literal.append(c);
        ++i;
      }
    }
    flush();
    return pieces;
  }

  static void expand(const std::vector<TemplatePiece>& pieces, const icu::RegexMatcher& matcher,
                     const icu::UnicodeString& text, icu::UnicodeString& out) {
    for (const TemplatePiece& piece : pieces) {
      if (piece.group < 0) {
        out.append(piece.literal);
        continue;
      }
      if (piece.group > matcher.groupCount()) continue;  // no such group: nothing
      UErrorCode status = U_ZERO_ERROR;
      const std::int32_t start = matcher.start(piece.group, status);
      const std::int32_t end = matcher.end(piece.group, status);
      if (U_SUCCESS(status) && start >= 0) out.append(text, start, end - start);
    }
  }

  // Replaces each match in [s.start, s.limit) with what `replace` appends; text outside the
  // matches is copied as it stands.
  template <class Replace>
  std::string replaceMatches(const Subject& s, Replace&& replace) const {
    icu::UnicodeString out;
    std::int32_t copied = 0;
    enumerate(s, [&](const icu::RegexMatcher& matcher) {
      UErrorCode status = U_ZERO_ERROR;
      const std::int32_t start = matcher.start(status);
      const std::int32_t end = matcher.end(status);
      if (U_FAILURE(status)) return false;
      out.append(s.text, copied, start - copied);
      replace(matcher, out);
      copied = end;
      return true;
    });
    out.append(s.text, copied, s.text.length() - copied);
    return OVNICUString::toUTF8(out);
  }
};

OVNRegularExpression::OVNRegularExpression(Key, std::string pattern, OVNRegularExpressionOptions options,
                                           std::unique_ptr<Impl> impl)
    : pattern_(std::move(pattern)), options_(options), impl_(std::move(impl)) {}

OVNRegularExpression::~OVNRegularExpression() = default;

std::shared_ptr<OVNRegularExpression> OVNRegularExpression::regularExpressionWithPattern(
    std::string_view pattern, OVNRegularExpressionOptions options, std::shared_ptr<OVNError>* error) {
  std::uint32_t flags = 0;
  if (options & OVNRegularExpressionCaseInsensitive) flags |= UREGEX_CASE_INSENSITIVE;
  if (options & OVNRegularExpressionAllowCommentsAndWhitespace) flags |= UREGEX_COMMENTS;
  if (options & OVNRegularExpressionIgnoreMetacharacters) flags |= UREGEX_LITERAL;
  if (options & OVNRegularExpressionDotMatchesLineSeparators) flags |= UREGEX_DOTALL;
  if (options & OVNRegularExpressionAnchorsMatchLines) flags |= UREGEX_MULTILINE;
  if (options & OVNRegularExpressionUseUnixLineSeparators) flags |= UREGEX_UNIX_LINES;
  if (options & OVNRegularExpressionUseUnicodeWordBoundaries) flags |= UREGEX_UWORD;

  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError{};
  std::unique_ptr<icu::RegexPattern> compiled(
      icu::RegexPattern::compile(OVNICUString::fromUTF8(pattern), flags, parseError, status));
  if (U_FAILURE(status) || !compiled) {
    if (error) {
      std::string reason = u_errorName(status);
      if (parseError.offset >= 0) reason += OVNFormat(" at offset %d", parseError.offset);
      *error = OVNError::errorWithDomain(
          OVNCocoaErrorDomain, OVNFormattingError,
          OVNDictionary::make({{std::string(OVNLocalizedDescriptionKey),
                                OVNFormat("The value \u201C%@\u201D is invalid.", std::string(pattern))},
                               {std::string(OVNInvalidValueKey), std::string(pattern)},
                               {std::string(OVNDebugDescriptionErrorKey), reason}}));
    }
    return nullptr;
  }
  auto impl = std::make_unique<Impl>();
  std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(status));  // only to count the groups
  impl->groups = U_SUCCESS(status) && matcher ? matcher->groupCount() : 0;
  impl->compiled = std::move(compiled);
  return OVNMake<OVNRegularExpression>(Key{}, std::string(pattern), options, std::move(impl));
}

std::size_t OVNRegularExpression::numberOfCaptureGroups() const { return static_cast<std::size_t>(impl_->groups); }

std::size_t OVNRegularExpression::numberOfMatchesInString(std::string_view text) const {
  std::size_t count = 0;
  impl_->enumerate(Impl::subject(text, std::nullopt), [&](const icu::RegexMatcher&) { return ++count, true; });
  return count;
}

std::size_t OVNRegularExpression::numberOfMatchesInString(std::string_view text, OVNRange range) const {
  std::size_t count = 0;
  impl_->enumerate(Impl::subject(text, range), [&](const icu::RegexMatcher&) { return ++count, true; });
  return count;
}

std::optional<OVNTextCheckingResult> OVNRegularExpression::firstMatchInString(std::string_view text) const {
  std::optional<OVNTextCheckingResult> first;
  impl_->enumerate(Impl::subject(text, std::nullopt), [&](const icu::RegexMatcher& m) {
    first = Impl::resultOf(m);
    return false;
  });
  return first;
}

std::optional<OVNTextCheckingResult> OVNRegularExpression::firstMatchInString(std::string_view text,
                                                                              OVNRange range) const {
  std::optional<OVNTextCheckingResult> first;
  impl_->enumerate(Impl::subject(text, range), [&](const icu::RegexMatcher& m) {
    first = Impl::resultOf(m);
    return false;
  });
  return first;
}

std::vector<OVNTextCheckingResult> OVNRegularExpression::matchesInString(std::string_view text) const {
  std::vector<OVNTextCheckingResult> results;
  impl_->enumerate(Impl::subject(text, std::nullopt), [&](const icu::RegexMatcher& m) {
    results.push_back(Impl::resultOf(m));
    return true;
  });
  return results;
}

std::vector<OVNTextCheckingResult> OVNRegularExpression::matchesInString(std::string_view text, OVNRange range) const {
  std::vector<OVNTextCheckingResult> results;
  impl_->enumerate(Impl::subject(text, range), [&](const icu::RegexMatcher& m) {
    results.push_back(Impl::resultOf(m));
    return true;
  });
  return results;
}

OVNRange OVNRegularExpression::rangeOfFirstMatchInString(std::string_view text) const {
  const auto first = firstMatchInString(text);
  return first ? first->range() : OVNRange{};
}

OVNRange OVNRegularExpression::rangeOfFirstMatchInString(std::string_view text, OVNRange range) const {
  const auto first = firstMatchInString(text, range);
  return first ? first->range() : OVNRange{};
}

std::string OVNRegularExpression::stringByReplacingMatchesInString(std::string_view text,
                                                                   std::string_view templ) const {
  const auto pieces = impl_->parseTemplate(templ);
  const Impl::Subject s = Impl::subject(text, std::nullopt);
  return impl_->replaceMatches(
      s, [&](const icu::RegexMatcher& m, icu::UnicodeString& out) { Impl::expand(pieces, m, s.text, out); });
}

std::string OVNRegularExpression::stringByReplacingMatchesInString(std::string_view text, OVNRange range,
                                                                   std::string_view templ) const {
  const auto pieces = impl_->parseTemplate(templ);
  const Impl::Subject s = Impl::subject(text, range);
  return impl_->replaceMatches(
      s, [&](const icu::RegexMatcher& m, icu::UnicodeString& out) { Impl::expand(pieces, m, s.text, out); });
}

std::string OVNRegularExpression::stringByReplacingMatchesInString(
    std::string_view text, const OVNRegularExpressionReplacement& replacement) const {
  const Impl::Subject s = Impl::subject(text, std::nullopt);
  return impl_->replaceMatches(s, [&](const icu::RegexMatcher& m, icu::UnicodeString& out) {
    const OVNTextCheckingResult result = Impl::resultOf(m);
    const OVNRange range = result.range();
    const std::string matched = OVNICUString::toUTF8(s.text, static_cast<std::int32_t>(range.location),
                                                     static_cast<std::int32_t>(range.length));
    out.append(OVNICUString::fromUTF8(replacement ? replacement(result, matched) : matched));
  });
}

std::string OVNRegularExpression::escapedPatternForString(std::string_view text) {
  static constexpr std::string_view kSpecial = "\\*?+[](){}^$|./";
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (kSpecial.find(c) != std::string_view::npos) out.push_back('\\');
    out.push_back(c);
  }
  return out;
}

std::string OVNRegularExpression::escapedTemplateForString(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (c == '\\' || c == '$') out.push_back('\\');
    out.push_back(c);
  }
  return out;
}

bool OVNRegularExpression::isEqual(const OVNObject& other) const {
  const auto* expression = dynamic_cast<const OVNRegularExpression*>(&other);
  return expression && expression->pattern_ == pattern_ && expression->options_ == options_;
}

std::size_t OVNRegularExpression::hash() const { return std::hash<std::string>()(pattern_) ^ options_; }

std::string OVNRegularExpression::description() const {
  return OVNFormat("<%@: %p> %@ 0x%llx", className(), static_cast<const void*>(this), pattern_,
                   static_cast<unsigned long long>(options_));
}
