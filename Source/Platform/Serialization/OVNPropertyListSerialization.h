#pragma once
// Property lists (NSPropertyListSerialization): reads XML and binary property lists into
// values and writes values as either. Static functions only; safe on any thread.
//
// Kinds: dictionaries (string keys), arrays, strings (UTF-8), data, dates (seconds since
// 2001-01-01, as OVNDate counts), integers (unsigned above the signed 64-bit range stay
// unsigned), reals and booleans. Keyed-archive references (UIDs) read as a dictionary whose
// only entry is "CF$UID" -> the number, the XML form's spelling; such a dictionary is
// written back as a UID in the binary form.
//
// Reading untrusted bytes never throws: malformed input gives a missing value and an error
// (OVNCocoaErrorDomain, OVNPropertyListReadCorruptError) saying what is wrong. Limits:
// inputs up to 256 MiB, containers nested up to 512 levels; a binary property list with a
// reference cycle, or whose shared references expand to more than 2^24 values, is refused.
// The OpenStep form can be neither read nor written. See docs/ARCHIVES.md.

#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVNError;

//! Property-list formats (the platform's numbers).
inline constexpr int OVNPropertyListOpenStepFormat = 1;
inline constexpr int OVNPropertyListXMLFormat_v1_0 = 100;
inline constexpr int OVNPropertyListBinaryFormat_v1_0 = 200;

//! Mutability options for reading (the platform's numbers). Strings and data have no
//! mutable kind here, so MutableContainersAndLeaves reads as MutableContainers. Containers
//! that a binary file shares stay shared, mutable or not.
inline constexpr int OVNPropertyListImmutable = 0;
inline constexpr int OVNPropertyListMutableContainers = 1;
inline constexpr int OVNPropertyListMutableContainersAndLeaves = 2;

class OVN_EXPORT OVNPropertyListSerialization {
 public:
  //! The value, with the format found in `format` (may be null); missing plus an error
  //! (OVNPropertyListReadCorruptError) when the bytes are not a property list.
  [[nodiscard]] static OVNValue propertyListWithData(const OVNData& data, int options, int* format,
                                                     std::shared_ptr<OVNError>* error);

  //! The bytes of `plist` in `format` (XML or binary; `options` is unused, as on the
  //! platform), or null plus an error (OVNPropertyListWriteInvalidError) naming what a
  //! property list cannot hold: the null marker, sets, ordered sets, objects, blocks, boxed
  //! values, missing values, strings that are not UTF-8, a container that contains itself.
  [[nodiscard]] static OVNDataRef dataWithPropertyList(const OVNValue& plist, int format, int options,
                                                       std::shared_ptr<OVNError>* error);

  //! Whether `plist` can be written in `format` (propertyList:isValidForFormat:). The
  //! OpenStep form holds only strings, data, arrays and dictionaries.
  [[nodiscard]] static bool propertyList(const OVNValue& plist, int format);
};
