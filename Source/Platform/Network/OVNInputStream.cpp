#include "Platform/Network/OVNInputStream.h"

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNData.h"

OVN_PROPERTIES(OVNInputStream)

std::shared_ptr<OVNInputStream> OVNInputStream::inputStreamWithData(std::shared_ptr<const OVNData> data) {
  auto stream = OVNMake<OVNInputStream>();
  stream->data_ = data ? std::move(data) : OVNData::make({});
  return stream;
}
