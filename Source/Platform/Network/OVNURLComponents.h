#pragma once
// OVNURLComponents: the parts of a URL, to read and change one by one and put back
// together (NSURLComponents).
//
// Not synchronised: use one object from one thread at a time (or lock around it).
//
// Each part has a decoded form (`host()`, `setHost(...)`) and a percent-encoded form
// (`percentEncodedHost()`, ...); scheme and port have one form. Setting a decoded part
// percent-encodes, as "%XX" of its UTF-8 bytes with upper-case hex, every character that
// part does not allow (user and password: letters, digits and -._~!$&'()*+,;= ; host the
// same plus ":[]"; path the same without ";" plus ":@/"; query and fragment the same
// plus ":@/?"). Setting an encoded form that is not validly encoded, a scheme that is not
// a scheme, or a negative port is a programming error (OVNException
// NSInvalidArgumentException). An absent part is std::nullopt; a present but empty query
// ("?") is "". Decoded getters give std::nullopt too when the bytes are not UTF-8.
// IP-literal hosts read without brackets in the decoded form and with them encoded.

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVNURL;

class OVN_EXPORT OVNURLComponents : public OVNObject {
  OVN_CLASS_NAMED(OVNURLComponents, OVNObject, "NSURLComponents")

 public:
  //! Empty components (every part absent, empty path).
  OVNURLComponents() = default;

  //! The parts of `url`: of its absolute string when `resolvingAgainstBaseURL`, else of
  //! its relative string. Null for a null URL.
  static std::shared_ptr<OVNURLComponents> componentsWithURL(const std::shared_ptr<OVNURL>& url,
                                                             bool resolvingAgainstBaseURL);
  //! The parts of `text`, or null when it is not a URI reference.
  static std::shared_ptr<OVNURLComponents> componentsWithString(std::string_view text);

  //! The URL the parts make, or null when they make none: a path that does not start with
  //! "/" while an authority (user, password, host or port) is present, a path starting
  //! with "//" without one, or parts that do not parse back (a bad IP literal, a port
  //! above 65535, a first path segment holding ":" without a scheme).
  std::shared_ptr<OVNURL> URL() const;
  //! The URL's text, or none when URL() is null.
  std::optional<std::string> string() const;

  const std::optional<std::string>& scheme() const { return scheme_; }
  void setScheme(std::optional<std::string> scheme);

  std::optional<std::string> user() const;
  void setUser(std::optional<std::string> user);
  std::optional<std::string> password() const;
  void setPassword(std::optional<std::string> password);
  std::optional<std::string> host() const;
  void setHost(std::optional<std::string> host);
  const std::optional<int>& port() const { return port_; }
  void setPort(std::optional<int> port);
  //! Decoded; "" when there is no path.
  std::optional<std::string> path() const;
  //! std::nullopt clears the path.
  void setPath(std::optional<std::string> path);
  std::optional<std::string> query() const;
  void setQuery(std::optional<std::string> query);
  std::optional<std::string> fragment() const;
  void setFragment(std::optional<std::string> fragment);

  const std::optional<std::string>& percentEncodedUser() const { return user_; }
  void setPercentEncodedUser(std::optional<std::string> user);
  const std::optional<std::string>& percentEncodedPassword() const { return password_; }
  void setPercentEncodedPassword(std::optional<std::string> password);
  const std::optional<std::string>& percentEncodedHost() const { return host_; }
  void setPercentEncodedHost(std::optional<std::string> host);
  const std::string& percentEncodedPath() const { return path_; }
  void setPercentEncodedPath(std::string path);
  const std::optional<std::string>& percentEncodedQuery() const { return query_; }
  void setPercentEncodedQuery(std::optional<std::string> query);
  const std::optional<std::string>& percentEncodedFragment() const { return fragment_; }
  void setPercentEncodedFragment(std::optional<std::string> fragment);

  //! "<NSURLComponents: 0x...> {scheme = http, user = (null), ...}" with decoded parts.
  std::string description() const override;
  //! Equal when every part is equal.
  bool isEqual(const OVNObject& other) const override;
  std::size_t hash() const override;
  bool supportsCopying() const override { return true; }
  //! Independent components with the same parts.
  OVNObjectRef copy() const override;

 private:
  //! The text of the parts, or none when they cannot be written as a URL.
  std::optional<std::string> composedString() const;

  // Stored percent-encoded; an IP-literal host with its brackets.
  std::optional<std::string> scheme_;
  std::optional<std::string> user_;
  std::optional<std::string> password_;
  std::optional<std::string> host_;
  std::optional<int> port_;
  std::string path_;
  std::optional<std::string> query_;
  std::optional<std::string> fragment_;
};
