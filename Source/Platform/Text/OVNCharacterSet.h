#pragma once
// An immutable set of Unicode code points (NSCharacterSet), for trimming, searching and
// percent-encoding. A value type: copies share one frozen set, so copying is cheap and a
// set may be read from any number of threads at once. Derived sets are new values.

#include <memory>
#include <string_view>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNCharacterSet {
 public:
  //! The empty set.
  OVNCharacterSet();

  //! Unicode general category Zs and CHARACTER TABULATION (U+0009).
  static OVNCharacterSet whitespaceCharacterSet();
  //! U+000A to U+000D, U+0085, U+2028 and U+2029.
  static OVNCharacterSet newlineCharacterSet();
  //! Categories Z*, U+0009 to U+000D and U+0085: white space and line breaks together.
  static OVNCharacterSet whitespaceAndNewlineCharacterSet();
  //! Categories L*, M* and N*.
  static OVNCharacterSet alphanumericCharacterSet();
  //! Categories L* and M*.
  static OVNCharacterSet letterCharacterSet();
  //! Category Nd (every script's decimal digits, not only 0 to 9).
  static OVNCharacterSet decimalDigitCharacterSet();
  //! The characters of a UTF-8 text (a malformed byte stands for U+FFFD).
  static OVNCharacterSet characterSetWithCharactersInString(std::string_view text);

  // The characters that may stand unescaped in each URL component (ASCII only). All six
  // hold the letters, the digits and - . _ ~ ! $ & ' ( ) * + , = and besides those:
  //! ; : @ / ?
  static OVNCharacterSet URLQueryAllowedCharacterSet();
  //! ; : @ / ? (as the query).
  static OVNCharacterSet URLFragmentAllowedCharacterSet();
  //! : @ / (not ";", a parameter delimiter in older path grammars, nor "?").
  static OVNCharacterSet URLPathAllowedCharacterSet();
  //! ; : [ ] (port and IPv6 literals).
  static OVNCharacterSet URLHostAllowedCharacterSet();
  //! ; only: ":" separates user from password and "@" ends the user information.
  static OVNCharacterSet URLUserAllowedCharacterSet();
  //! ; only (as the user).
  static OVNCharacterSet URLPasswordAllowedCharacterSet();

  //! Every code point (U+0000 to U+10FFFF) that is not in this set.
  OVNCharacterSet invertedSet() const;
  OVNCharacterSet characterSetByAddingCharactersInString(std::string_view text) const;
  OVNCharacterSet characterSetByRemovingCharactersInString(std::string_view text) const;
  OVNCharacterSet characterSetByFormingUnionWithCharacterSet(const OVNCharacterSet& other) const;
  OVNCharacterSet characterSetByFormingIntersectionWithCharacterSet(const OVNCharacterSet& other) const;

  bool characterIsMember(char32_t c) const;
  bool isSupersetOfSet(const OVNCharacterSet& other) const;
  bool operator==(const OVNCharacterSet& other) const;

 private:
  struct Impl;
  explicit OVNCharacterSet(std::shared_ptr<const Impl> impl);
  std::shared_ptr<const Impl> impl_;
};
