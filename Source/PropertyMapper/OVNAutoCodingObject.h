#pragma once
// OVNAutoCodingObject: a base for model classes that archive, restore and copy themselves
// from their property tables (see NSObject+OVNAutoCoding.h). It answers true to keyed and
// secure coding and to copying, and routes encodeWithCoder / initWithCoder / copy through
// ovn_encodeWithCoder, ovn_setWithCoder and ovn_copyWithZone. A subclass that codes more
// than its properties overrides the coding hooks and calls this class's first.
//
// Threads: an object belongs to one thread at a time; archiving, restoring and copying run
// on the calling thread and read the object as key-value coding does. Several threads may
// archive or copy different objects of the same class at once.

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVN_EXPORT OVNAutoCodingObject : public OVNObject {
  OVN_CLASS(OVNAutoCodingObject, OVNObject)

 public:
  bool supportsKeyedCoding() const override { return true; }
  bool supportsSecureCoding() const override { return true; }
  //! Writes every codable property that has a value.
  void encodeWithCoder(OVNCoder& coder) const override;
  //! Restores the codable properties the coder holds; false when the coder failed. A value
  //! of the wrong class raises OVNAutocodingException.
  bool initWithCoder(OVNCoder& coder) override;

  bool supportsCopying() const override { return true; }
  //! A new default instance of the same class sharing this object's codable values.
  OVNObjectRef copy() const override;
};
