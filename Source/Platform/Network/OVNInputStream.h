#pragma once
// OVNInputStream: a body supplied as a stream (NSInputStream); here a stream over bytes in
// memory, which is what a task asking for a new body stream is given. Immutable.

#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVNData;

class OVN_EXPORT OVNInputStream : public OVNObject {
  OVN_CLASS_NAMED(OVNInputStream, OVNObject, "NSInputStream")

 public:
  OVNInputStream() = default;
  static std::shared_ptr<OVNInputStream> inputStreamWithData(std::shared_ptr<const OVNData> data);
  //! The bytes the stream yields (never null).
  const std::shared_ptr<const OVNData>& data() const { return data_; }

 private:
  std::shared_ptr<const OVNData> data_;
};
