#pragma once
// Programming errors (unknown keys, mutating an immutable container, an index out of
// range, an abstract operation not overridden) are thrown as OVNException. Nothing else
// crosses the public interface as an exception: failures travel as OVNError values.
// Thrown on the thread that made the mistake; immutable once made.

#include <exception>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"

inline constexpr std::string_view OVNInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr std::string_view OVNRangeException = "NSRangeException";
inline constexpr std::string_view OVNInternalInconsistencyException = "NSInternalInconsistencyException";
inline constexpr std::string_view OVNUndefinedKeyException = "NSUnknownKeyException";
inline constexpr std::string_view OVNGenericException = "NSGenericException";

class OVN_EXPORT OVNException : public std::exception {
 public:
  OVNException(std::string_view name, std::string reason);

  const std::string& name() const noexcept { return name_; }
  const std::string& reason() const noexcept { return reason_; }
  //! "name: reason".
  const char* what() const noexcept override { return what_.c_str(); }

  //! Throws an exception with that name and reason.
  [[noreturn]] static void raise(std::string_view name, std::string reason);

 private:
  std::string name_;
  std::string reason_;
  std::string what_;
};
