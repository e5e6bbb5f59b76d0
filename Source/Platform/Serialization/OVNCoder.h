#pragma once
// The abstract coder (NSCoder): the keyed interface through which objects write their
// fields into an archive (OVNKeyedArchiver) and read them back (OVNKeyedUnarchiver).
//
// A coder is used by one thread at a time, the one archiving or unarchiving; objects'
// encodeWithCoder / initWithCoder run on it. Failures do not throw: the first one is kept
// (error()), and after a decoding failure every decode gives missing, false or 0, as the
// platform's coder does when it sets the error and returns. Sending a decode to an
// archiver, or an encode to an unarchiver, is a programming error (OVNException).

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVNError;

class OVN_EXPORT OVNCoder : public OVNObject {
  OVN_CLASS(OVNCoder, OVNObject)

 public:
  ~OVNCoder() override;

  // Encoding. A missing value writes nothing; keys are any strings (those beginning with
  // "$" are escaped in the archive so they cannot collide with its own entries).
  virtual void encodeObject(const OVNValue& value, std::string_view key);
  virtual void encodeBool(bool value, std::string_view key);
  virtual void encodeInt64(std::int64_t value, std::string_view key);
  virtual void encodeDouble(double value, std::string_view key);

  // Decoding.
  virtual bool containsValueForKey(std::string_view key) const;
  //! The value under `key`, or missing when there is none. A secure coder applies the
  //! classes allowed for the object being decoded (see OVNKeyedUnarchiver).
  virtual OVNValue decodeObjectForKey(std::string_view key);
  //! The value under `key` when it is an instance of `cls` (or a subclass); a value of
  //! another class records an error and gives missing.
  OVNValue decodeObjectOfClass(const OVNClass& cls, std::string_view key);
  //! As decodeObjectOfClass, for an instance of any of `classes`.
  virtual OVNValue decodeObjectOfClasses(const std::vector<const OVNClass*>& classes, std::string_view key);
  //! Scalars: false / 0 when the key is absent; a value that is not a number is an error.
  virtual bool decodeBoolForKey(std::string_view key);
  virtual std::int64_t decodeInt64ForKey(std::string_view key);
  virtual double decodeDoubleForKey(std::string_view key);

  virtual bool requiresSecureCoding() const { return false; }
  virtual bool allowsKeyedCoding() const { return false; }

  //! The first failure, or null.
  std::shared_ptr<OVNError> error() const { return error_; }
  //! Records `error` unless a failure is already recorded; decoding stops producing values.
  virtual void failWithError(std::shared_ptr<OVNError> error);

 protected:
  OVNCoder() = default;
  //! Throws NSInvalidArgumentException for an operation this kind of coder does not offer.
  [[noreturn]] void unsupported(std::string_view selector) const;

  std::shared_ptr<OVNError> error_;
};
