#pragma once
// A compiled regular expression (NSRegularExpression). The syntax is ICU's, and so are the
// replacement templates: "$0" is the whole match, "$1" to "$n" the capture groups, and a
// backslash makes the next character literal.
//
// Immutable: the pattern is compiled once, when the expression is made, and every search
// runs a fresh matcher over it, so one expression may be used from any number of threads
// at once. Texts are UTF-8; ranges (of results and of the part of a text to search) count
// UTF-16 code units as `OVNString::length` does. Malformed UTF-8 bytes read as U+FFFD, one
// per byte. The forms taking a range search only inside it (its edges act as the text's
// edges for anchors and word boundaries); a range past the end of the text is a
// programming error (OVNException, NSRangeException).

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Text/OVNTextCheckingResult.h"
#include "Platform/Values/OVNRange.h"

using OVNRegularExpressionOptions = std::uint64_t;
inline constexpr OVNRegularExpressionOptions OVNRegularExpressionCaseInsensitive = 1 << 0;
inline constexpr OVNRegularExpressionOptions OVNRegularExpressionAllowCommentsAndWhitespace = 1 << 1;
inline constexpr OVNRegularExpressionOptions OVNRegularExpressionIgnoreMetacharacters = 1 << 2;
inline constexpr OVNRegularExpressionOptions OVNRegularExpressionDotMatchesLineSeparators = 1 << 3;
inline constexpr OVNRegularExpressionOptions OVNRegularExpressionAnchorsMatchLines = 1 << 4;
inline constexpr OVNRegularExpressionOptions OVNRegularExpressionUseUnixLineSeparators = 1 << 5;
inline constexpr OVNRegularExpressionOptions OVNRegularExpressionUseUnicodeWordBoundaries = 1 << 6;

//! Gives the replacement text of one match: the match's result and its text.
using OVNRegularExpressionReplacement =
    std::function<std::string(const OVNTextCheckingResult& result, std::string_view matchedText)>;

class OVN_EXPORT OVNRegularExpression : public OVNObject {
  OVN_CLASS(OVNRegularExpression, OVNObject)
  struct Impl;
  class Key {  // lets only the factory construct
    explicit Key() = default;
    friend class OVNRegularExpression;
  };

 public:
  //! Null, with `*error` set (OVNCocoaErrorDomain, OVNFormattingError; the pattern under
  //! OVNInvalidValueKey, ICU's reason under OVNDebugDescriptionErrorKey), when the pattern
  //! is not a valid expression. `error` may be null. Unknown option bits are ignored.
  static std::shared_ptr<OVNRegularExpression> regularExpressionWithPattern(std::string_view pattern,
                                                                            OVNRegularExpressionOptions options,
                                                                            std::shared_ptr<OVNError>* error);
  OVNRegularExpression(Key, std::string pattern, OVNRegularExpressionOptions options, std::unique_ptr<Impl> impl);
  ~OVNRegularExpression() override;

  const std::string& pattern() const { return pattern_; }
  OVNRegularExpressionOptions options() const { return options_; }
  //! The number of capture groups in the pattern.
  std::size_t numberOfCaptureGroups() const;

  std::size_t numberOfMatchesInString(std::string_view text) const;
  std::size_t numberOfMatchesInString(std::string_view text, OVNRange range) const;
  std::optional<OVNTextCheckingResult> firstMatchInString(std::string_view text) const;
  std::optional<OVNTextCheckingResult> firstMatchInString(std::string_view text, OVNRange range) const;
  //! Every match in order; after an empty match the search goes on one character further.
  std::vector<OVNTextCheckingResult> matchesInString(std::string_view text) const;
  std::vector<OVNTextCheckingResult> matchesInString(std::string_view text, OVNRange range) const;
  //! `{OVNNotFound, 0}` when nothing matches.
  OVNRange rangeOfFirstMatchInString(std::string_view text) const;
  OVNRange rangeOfFirstMatchInString(std::string_view text, OVNRange range) const;

  //! The text with every match replaced by the expanded template. A reference to a group
  //! that took no part in the match, or to a group the pattern does not have, expands to
  //! nothing; "$" not followed by a digit is literal. The form with a range replaces only
  //! the matches inside it and keeps the rest of the text.
  std::string stringByReplacingMatchesInString(std::string_view text, std::string_view templ) const;
  std::string stringByReplacingMatchesInString(std::string_view text, OVNRange range, std::string_view templ) const;
  //! The text with every match replaced by what `replacement` gives for it (the way a
  //! subclass of the platform's class overrides the replacement of each result). The
  //! callback runs synchronously on the calling thread, once per match, in order.
  std::string stringByReplacingMatchesInString(std::string_view text,
                                               const OVNRegularExpressionReplacement& replacement) const;

  //! The text with a backslash before each character that is special in a pattern
  //! (\ * ? + [ ] ( ) { } ^ $ | . /), so that the result matches the text literally.
  static std::string escapedPatternForString(std::string_view text);
  //! The text with a backslash before each "\" and "$", so that as a template it gives the
  //! text literally.
  static std::string escapedTemplateForString(std::string_view text);

  //! Equal when pattern and options are equal.
  bool isEqual(const OVNObject& other) const override;
  std::size_t hash() const override;
  //! "<OVNRegularExpression: 0x...> pattern 0x<options>".
  std::string description() const override;

 private:
  std::string pattern_;
  OVNRegularExpressionOptions options_;
  std::unique_ptr<const Impl> impl_;
};
