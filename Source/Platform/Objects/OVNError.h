#pragma once
// A failure reported to callers: a domain, a signed code and a user-information
// dictionary whose OVNLocalizedDescriptionKey entry holds the message (NSError).
// Immutable; safe to share between threads.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

inline constexpr std::string_view OVNLocalizedDescriptionKey = "NSLocalizedDescription";
inline constexpr std::string_view OVNUnderlyingErrorKey = "NSUnderlyingError";
inline constexpr std::string_view OVNLocalizedFailureReasonErrorKey = "NSLocalizedFailureReason";
inline constexpr std::string_view OVNLocalizedRecoverySuggestionErrorKey = "NSLocalizedRecoverySuggestion";
//! Extra detail the platform's readers put beside the description (for example a position).
inline constexpr std::string_view OVNDebugDescriptionErrorKey = "NSDebugDescription";
//! The value that was refused (for example a regular-expression pattern).
inline constexpr std::string_view OVNInvalidValueKey = "NSInvalidValue";

//! The platform's general error domain and the codes its data readers and writers use.
inline constexpr std::string_view OVNCocoaErrorDomain = "NSCocoaErrorDomain";
//! The system's errno values, as underlying errors of file operations.
inline constexpr std::string_view OVNPOSIXErrorDomain = "NSPOSIXErrorDomain";
//! The path a file error is about.
inline constexpr std::string_view OVNFilePathErrorKey = "NSFilePath";
inline constexpr std::int64_t OVNFileNoSuchFileError = 4;
inline constexpr std::int64_t OVNFileReadNoPermissionError = 257;
inline constexpr std::int64_t OVNFileReadNoSuchFileError = 260;
inline constexpr std::int64_t OVNFileWriteNoPermissionError = 513;
inline constexpr std::int64_t OVNFileWriteFileExistsError = 516;
inline constexpr std::int64_t OVNFileWriteOutOfSpaceError = 640;
inline constexpr std::int64_t OVNFileReadUnknownError = 256;
inline constexpr std::int64_t OVNFileWriteUnknownError = 512;
inline constexpr std::int64_t OVNFormattingError = 2048;  // a value in the wrong format (an invalid pattern)
inline constexpr std::int64_t OVNPropertyListReadCorruptError = 3840;   // also malformed JSON
inline constexpr std::int64_t OVNPropertyListWriteInvalidError = 3852;  // also invalid JSON values
inline constexpr std::int64_t OVNCoderReadCorruptError = 4864;
inline constexpr std::int64_t OVNCoderValueNotFoundError = 4865;
inline constexpr std::int64_t OVNCoderInvalidValueError = 4866;

class OVN_EXPORT OVNError : public OVNObject {
  OVN_CLASS(OVNError, OVNObject)

 public:
  OVNError(std::string domain, std::int64_t code, OVNDictionaryRef userInfo);

  static std::shared_ptr<OVNError> errorWithDomain(std::string_view domain, std::int64_t code,
                                                   OVNDictionaryRef userInfo = nullptr);
  //! An error whose user information holds only the localized description.
  static std::shared_ptr<OVNError> errorWithDomain(std::string_view domain, std::int64_t code,
                                                   std::string_view localizedDescription);

  const std::string& domain() const { return domain_; }
  std::int64_t code() const { return code_; }
  //! Never null: an empty immutable dictionary when none was given.
  const OVNDictionaryRef& userInfo() const { return userInfo_; }
  //! The user information's description, else "The operation couldn’t be completed.
  //! (<domain> error <code>.)" as the platform words it.
  std::string localizedDescription() const;

  //! "Error Domain=<domain> Code=<code> \"<description>\" UserInfo={...}".
  std::string description() const override;
  bool isEqual(const OVNObject& other) const override;
  std::size_t hash() const override;

 private:
  std::string domain_;
  std::int64_t code_;
  OVNDictionaryRef userInfo_;
};
