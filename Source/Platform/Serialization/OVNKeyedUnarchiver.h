#pragma once
// Reads keyed archives (NSKeyedUnarchiver) written by OVNKeyedArchiver (binary or XML).
//
// Secure decoding (the default, and what unarchivedObjectOfClass(es) use): before an object
// is made, its class (named by the archive's "$classname" and placed in the hierarchy by
// the class registry, never by the archive's own "$classes" list) or one of its
// superclasses must be among the allowed classes, and an object class must also answer
// supportsSecureCoding. The allowed classes are those of the decode call: the members of
// an allowed container are checked against the same list, and inside an object's
// initWithCoder each decodeObjectOfClass(es) brings its own list while decodeObjectForKey
// keeps the list the object itself was decoded under. Insecure decoding
// (unarchiveObjectWithData) makes any registered class. A class that is not allowed is
// never instantiated.
//
// Hostile archives (truncated bytes, wrong types, references out of range, reference
// cycles, unknown or disallowed classes, more than 256 nested levels of objects) give
// missing plus an error (OVNCoderReadCorruptError, or OVNCoderValueNotFoundError when the
// root is absent); nothing throws except the objects' own programming errors.
//
// An unarchiver is used by one thread at a time; objects' initWithCoder runs on it.

#include <memory>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Serialization/OVNCoder.h"

class OVN_EXPORT OVNKeyedUnarchiver : public OVNCoder {
  OVN_CLASS(OVNKeyedUnarchiver, OVNCoder)

 public:
  //! An unarchiver over an empty archive: every decode gives missing.
  OVNKeyedUnarchiver();
  ~OVNKeyedUnarchiver() override;

  //! An unarchiver over `data` requiring secure coding, or null plus an error
  //! (OVNCoderReadCorruptError) when the data is not a keyed archive.
  [[nodiscard]] static std::shared_ptr<OVNKeyedUnarchiver> initForReadingFromData(const OVNData& data,
                                                                                  std::shared_ptr<OVNError>* error);
  //! The root object when it is an instance of `cls` (securely decoded), else missing plus
  //! the error.
  [[nodiscard]] static OVNValue unarchivedObjectOfClass(const OVNClass& cls, const OVNData& data,
                                                        std::shared_ptr<OVNError>* error);
  //! As unarchivedObjectOfClass, for an instance of any of `classes` (null entries, as
  //! OVNClass::named gives for unknown names, allow nothing).
  [[nodiscard]] static OVNValue unarchivedObjectOfClasses(const std::vector<const OVNClass*>& classes,
                                                          const OVNData& data, std::shared_ptr<OVNError>* error);
  //! The root object, decoded without class restrictions (the legacy form); missing when
  //! the data cannot be read. Use it only for archives the application wrote itself.
  [[nodiscard]] static OVNValue unarchiveObjectWithData(const OVNData& data);

  void setRequiresSecureCoding(bool requiresSecureCoding);
  bool requiresSecureCoding() const override;
  bool allowsKeyedCoding() const override { return true; }

  bool containsValueForKey(std::string_view key) const override;
  OVNValue decodeObjectForKey(std::string_view key) override;
  OVNValue decodeObjectOfClasses(const std::vector<const OVNClass*>& classes, std::string_view key) override;
  bool decodeBoolForKey(std::string_view key) override;
  std::int64_t decodeInt64ForKey(std::string_view key) override;
  double decodeDoubleForKey(std::string_view key) override;

  //! Ends decoding; decoding afterwards is a programming error.
  void finishDecoding();

 private:
  struct Impl;
  class Decoder;
  std::unique_ptr<Impl> impl_;
};
