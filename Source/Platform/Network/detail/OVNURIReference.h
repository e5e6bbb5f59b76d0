#pragma once
// The parts of one URI reference (RFC 3986): parsed from text, resolved against a base,
// written back as text, plus the percent-encoding rules of each part. OVNURL and
// OVNURLComponents stand on it; it is the only code that talks to liburiparser.
// A plain value; its static functions are pure and may be called from any thread.

#include <optional>
#include <string>
#include <string_view>

namespace ovn::detail {

class OVNURIReference {
 public:
  //! The parts a percent-encoding rule applies to.
  enum class Part { User, Password, Host, Path, Query, Fragment };

  std::optional<std::string> scheme;
  //! Percent-encoded, without the "@"; only with a host.
  std::optional<std::string> userInfo;
  //! Present exactly when the reference has an authority ("//"); may be empty.
  //! Percent-encoded; IP literals without their brackets.
  std::optional<std::string> host;
  bool hostIsIPLiteral = false;
  //! The digits as written (possibly none); only with a host.
  std::optional<std::string> port;
  //! Percent-encoded; empty when the reference has no path.
  std::string path;
  //! Without "?" / "#"; an empty text is a present, empty part.
  std::optional<std::string> query;
  std::optional<std::string> fragment;

  //! The parts of `text`, or none when it is not a URI reference (or names a port above
  //! 65535).
  static std::optional<OVNURIReference> parse(std::string_view text);
  //! The target of `reference` resolved against `base` (both URI references; a base
  //! without a scheme is resolved as if it had one, and the result then has none
  //! either). None when either text does not parse.
  static std::optional<OVNURIReference> resolve(std::string_view reference, std::string_view base);

  //! The reference as text. A path that would read as something else is guarded: "/."
  //! before a path starting with "//" without authority, "./" before a first segment
  //! holding ":" without scheme.
  std::string string() const;

  //! The user information split at its first ":".
  std::optional<std::string> user() const;
  std::optional<std::string> password() const;

  //! Every byte the platform's character set for `part` does not allow written as "%XX"
  //! (upper-case hex).
  static std::string percentEncode(std::string_view text, Part part);
  //! Whether `text` is a well-formed percent-encoded `part`: only characters the part's
  //! grammar allows, and every "%" followed by two hex digits. A host may be an IP literal
  //! in brackets.
  static bool isValidlyEncoded(std::string_view text, Part part);
  //! The bytes of `text` with each "%XX" decoded; none when they are not UTF-8.
  static std::optional<std::string> percentDecode(std::string_view text);
  //! Whether `text` is a scheme: a letter, then letters, digits, "+", "-" or ".".
  static bool isValidScheme(std::string_view text);
};

}  // namespace ovn::detail
