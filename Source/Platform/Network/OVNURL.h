#pragma once
// OVNURL: a URL or relative reference (NSURL), optionally relative to a base URL.
//
// Immutable: any thread may use a URL, and share it, at any time.
//
// A URL remembers the text it was made from (`relativeString`) and its base (`baseURL`).
// `absoluteString` is that text resolved against the base's absolute string as RFC 3986
// resolves references (dot segments removed); without a base it is the text as given.
// The components below are those of the absolute URL; an absent part is std::nullopt,
// and an empty part that is present (a "?" with nothing after it) is an empty string.
// Decoded components are std::nullopt as well when their bytes are not UTF-8. URLs
// without an authority are split by the same grammar: the path of "mailto:a@b" is "a@b".
// Programming errors throw OVNException; nothing else is thrown.

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

namespace ovn::detail {
class OVNURIReference;
}

class OVN_EXPORT OVNURL : public OVNObject {
  OVN_CLASS_NAMED(OVNURL, OVNObject, "NSURL")

 private:
  struct Key {
    explicit Key() = default;
  };

 public:
  //! Made by the factories below.
  OVNURL(Key, std::string relativeString, std::shared_ptr<OVNURL> baseURL, ovn::detail::OVNURIReference absolute,
         std::string absoluteString);
  ~OVNURL() override;

  //! A URL for `text`, or null when the text is not a URI reference (spaces, control
  //! characters, bytes outside ASCII, a "%" without two hex digits, misplaced brackets,
  //! a port above 65535). The empty text is a valid (empty) reference.
  static std::shared_ptr<OVNURL> URLWithString(std::string_view text);
  //! As above, relative to `relativeToURL` (null: no base). A reference that has a scheme
  //! keeps the base too.
  static std::shared_ptr<OVNURL> URLWithString(std::string_view text, const std::shared_ptr<OVNURL>& relativeToURL);
  //! A "file" URL for a local path, percent-encoded. A relative path is relative to a
  //! base URL for the current directory. A path that ends in "/" or names an existing
  //! directory gets a trailing "/". An empty path is a programming error
  //! (NSInvalidArgumentException).
  static std::shared_ptr<OVNURL> fileURLWithPath(std::string_view path);

  const std::string& absoluteString() const { return absoluteString_; }
  const std::string& relativeString() const { return relativeString_; }
  const std::shared_ptr<OVNURL>& baseURL() const { return baseURL_; }
  //! This URL without its base (itself when it has none).
  std::shared_ptr<OVNURL> absoluteURL() const;
  //! Whether the scheme is "file" (in any case).
  bool isFileURL() const;

  // Components of the absolute URL.
  std::optional<std::string> scheme() const;
  //! Percent-decoded; IPv6 and other IP literals without their brackets.
  std::optional<std::string> host() const;
  //! None when absent or written without digits ("http://a:/").
  std::optional<int> port() const;
  //! Percent-decoded.
  std::optional<std::string> user() const;
  //! Percent-encoded, as given.
  std::optional<std::string> password() const;
  //! Percent-decoded, without a trailing "/" (except the root "/"); "" for no path.
  std::optional<std::string> path() const;
  //! As written, trailing "/" kept.
  std::string percentEncodedPath() const;
  //! Percent-encoded, as given.
  std::optional<std::string> query() const;
  std::optional<std::string> fragment() const;

  //! "/" for an absolute path, then each non-empty segment of the decoded path.
  std::vector<std::string> pathComponents() const;
  //! The last of pathComponents, or "" when there is none.
  std::string lastPathComponent() const;
  //! This URL with "/" and `component` (percent-encoded as a path, "/" kept) added to its
  //! path; query and fragment stay. The base stays, unless this URL's own path is empty,
  //! in which case the absolute URL is extended.
  std::shared_ptr<OVNURL> URLByAppendingPathComponent(std::string_view component) const;

  //! The absolute string.
  std::string description() const override;
  //! Equal when the relative strings are equal and the bases are equal (or both absent).
  bool isEqual(const OVNObject& other) const override;
  std::size_t hash() const override;
  //! Immutable: a copy is the same object.
  bool supportsCopying() const override { return true; }
  OVNObjectRef copy() const override;

 private:
  static std::shared_ptr<OVNURL> make(std::string relativeString, std::shared_ptr<OVNURL> baseURL,
                                      ovn::detail::OVNURIReference absolute, std::string absoluteString);

  std::string relativeString_;
  std::shared_ptr<OVNURL> baseURL_;
  std::unique_ptr<const ovn::detail::OVNURIReference> absolute_;  // parts of absoluteString_
  std::string absoluteString_;
};
