#pragma once
// Writes values and objects into a keyed archive (NSKeyedArchiver): a binary (or XML)
// property list in the platform's keyed-archive layout, described in docs/ARCHIVES.md.
//
// Every value kind can be archived except blocks (a failure); a missing value writes
// nothing. Objects take part through OVNObject's supportsKeyedCoding / encodeWithCoder and
// are archived under their class name with their superclass chain. A value reached twice
// (the same container, data or object) is archived once and comes back shared; a
// container or object that contains itself cannot be archived (a failure), since the
// unarchiver refuses cycles.
//
// An archiver is used by one thread at a time; objects' encodeWithCoder runs on it.

#include <memory>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Serialization/OVNCoder.h"

//! The key under which archivedDataWithRootObject stores the root.
inline constexpr std::string_view OVNKeyedArchiveRootObjectKey = "root";

class OVN_EXPORT OVNKeyedArchiver : public OVNCoder {
  OVN_CLASS(OVNKeyedArchiver, OVNCoder)

 public:
  //! An archiver writing the binary form, not requiring secure coding.
  OVNKeyedArchiver();
  ~OVNKeyedArchiver() override;

  //! An archiver that, when `requiresSecureCoding`, refuses objects whose class does not
  //! support secure coding.
  static std::shared_ptr<OVNKeyedArchiver> initRequiringSecureCoding(bool requiresSecureCoding);
  //! The archive of `root` under OVNKeyedArchiveRootObjectKey, or null plus the error.
  [[nodiscard]] static OVNDataRef archivedDataWithRootObject(const OVNValue& root, bool requiringSecureCoding,
                                                             std::shared_ptr<OVNError>* error);

  //! OVNPropertyListBinaryFormat_v1_0 (the default) or OVNPropertyListXMLFormat_v1_0; any
  //! other format is a programming error.
  int outputFormat() const;
  void setOutputFormat(int format);

  void encodeObject(const OVNValue& value, std::string_view key) override;
  void encodeBool(bool value, std::string_view key) override;
  void encodeInt64(std::int64_t value, std::string_view key) override;
  void encodeDouble(double value, std::string_view key) override;

  bool requiresSecureCoding() const override;
  bool allowsKeyedCoding() const override { return true; }

  //! Writes the archive; encoding afterwards is a programming error.
  void finishEncoding();
  //! The archive (finishing it first if needed), or null when a failure was recorded.
  OVNDataRef encodedData();

 private:
  struct Impl;
  class Encoder;
  std::unique_ptr<Impl> impl_;
};
