#include "Platform/Text/OVNCharacterSet.h"

#include <unicode/uniset.h>

#include <string>
#include <utility>

#include "Platform/Text/detail/OVNICUString.h"

struct OVNCharacterSet::Impl {
  icu::UnicodeSet set;  // frozen before it is shared: read-only, safe for concurrent readers

  static OVNCharacterSet make(const icu::UnicodeSet& set) {
    auto impl = std::make_shared<Impl>();
    impl->set = set;
    impl->set.freeze();
    return OVNCharacterSet(std::move(impl));
  }

  static OVNCharacterSet fromPattern(const char* pattern) {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeSet set(icu::UnicodeString(pattern, -1, US_INV), status);
    if (U_FAILURE(status)) set.clear();  // not reached: the patterns are ours
    return make(set);
  }

  static icu::UnicodeSet charactersIn(std::string_view text) {
    icu::UnicodeSet set;
    set.addAll(ovn::detail::OVNICUString::fromUTF8(text));  // each code point, not the string
    return set;
  }

  // A mutable copy to derive a new set from.
  icu::UnicodeSet thawed() const {
    icu::UnicodeSet copy;
    copy.addAll(set);
    return copy;
  }
};

OVNCharacterSet::OVNCharacterSet() : OVNCharacterSet(Impl::make(icu::UnicodeSet())) {}
OVNCharacterSet::OVNCharacterSet(std::shared_ptr<const Impl> impl) : impl_(std::move(impl)) {}

OVNCharacterSet OVNCharacterSet::whitespaceCharacterSet() {
  static const OVNCharacterSet set = Impl::fromPattern("[\\p{Zs}\\u0009]");
  return set;
}

OVNCharacterSet OVNCharacterSet::newlineCharacterSet() {
  static const OVNCharacterSet set = Impl::fromPattern("[\\u000A-\\u000D\\u0085\\u2028\\u2029]");
  return set;
}

OVNCharacterSet OVNCharacterSet::whitespaceAndNewlineCharacterSet() {
  static const OVNCharacterSet set = Impl::fromPattern("[\\p{Z}\\u0009-\\u000D\\u0085]");
  return set;
}

OVNCharacterSet OVNCharacterSet::alphanumericCharacterSet() {
  static const OVNCharacterSet set = Impl::fromPattern("[\\p{L}\\p{M}\\p{N}]");
  return set;
}

OVNCharacterSet OVNCharacterSet::letterCharacterSet() {
  static const OVNCharacterSet set = Impl::fromPattern("[\\p{L}\\p{M}]");
  return set;
}

OVNCharacterSet OVNCharacterSet::decimalDigitCharacterSet() {
  static const OVNCharacterSet set = Impl::fromPattern("[\\p{Nd}]");
  return set;
}

OVNCharacterSet OVNCharacterSet::characterSetWithCharactersInString(std::string_view text) {
  return Impl::make(Impl::charactersIn(text));
}

// URL component sets in RFC 3986 terms: unreserved characters and sub-delimiters (";"
// aside) everywhere, plus each component's own delimiters.
namespace {
constexpr std::string_view kURLCommon = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,=";
std::string urlCharacters(std::string_view extra) { return std::string(kURLCommon) + std::string(extra); }
}  // namespace

OVNCharacterSet OVNCharacterSet::URLQueryAllowedCharacterSet() {
  static const OVNCharacterSet set = characterSetWithCharactersInString(urlCharacters(";:@/?"));
  return set;
}

OVNCharacterSet OVNCharacterSet::URLFragmentAllowedCharacterSet() {
  static const OVNCharacterSet set = characterSetWithCharactersInString(urlCharacters(";:@/?"));
  return set;
}

OVNCharacterSet OVNCharacterSet::URLPathAllowedCharacterSet() {
  static const OVNCharacterSet set = characterSetWithCharactersInString(urlCharacters(":@/"));
  return set;
}

OVNCharacterSet OVNCharacterSet::URLHostAllowedCharacterSet() {
  static const OVNCharacterSet set = characterSetWithCharactersInString(urlCharacters(";:[]"));
  return set;
}

OVNCharacterSet OVNCharacterSet::URLUserAllowedCharacterSet() {
  static const OVNCharacterSet set = characterSetWithCharactersInString(urlCharacters(";"));
  return set;
}

OVNCharacterSet OVNCharacterSet::URLPasswordAllowedCharacterSet() {
  static const OVNCharacterSet set = characterSetWithCharactersInString(urlCharacters(";"));
  return set;
}

OVNCharacterSet OVNCharacterSet::invertedSet() const {
  icu::UnicodeSet set = impl_->thawed();
  set.complement();
  return Impl::make(set);
}

OVNCharacterSet OVNCharacterSet::characterSetByAddingCharactersInString(std::string_view text) const {
  icu::UnicodeSet set = impl_->thawed();
  set.addAll(Impl::charactersIn(text));
  return Impl::make(set);
}

OVNCharacterSet OVNCharacterSet::characterSetByRemovingCharactersInString(std::string_view text) const {
  icu::UnicodeSet set = impl_->thawed();
  set.removeAll(Impl::charactersIn(text));
  return Impl::make(set);
}

OVNCharacterSet OVNCharacterSet::characterSetByFormingUnionWithCharacterSet(const OVNCharacterSet& other) const {
  icu::UnicodeSet set = impl_->thawed();
  set.addAll(other.impl_->set);
  return Impl::make(set);
}

OVNCharacterSet OVNCharacterSet::characterSetByFormingIntersectionWithCharacterSet(const OVNCharacterSet& other) const {
  icu::UnicodeSet set = impl_->thawed();
  set.retainAll(other.impl_->set);
  return Impl::make(set);
}

bool OVNCharacterSet::characterIsMember(char32_t c) const {
  return c <= 0x10FFFF && impl_->set.contains(static_cast<UChar32>(c));
}

bool OVNCharacterSet::isSupersetOfSet(const OVNCharacterSet& other) const {
  return impl_->set.containsAll(other.impl_->set);
}

bool OVNCharacterSet::operator==(const OVNCharacterSet& other) const {
  return impl_ == other.impl_ || impl_->set == other.impl_->set;
}
