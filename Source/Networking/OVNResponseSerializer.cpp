#include "Networking/OVNResponseSerializer.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNResponseSerializer, serializeResponse)

std::shared_ptr<OVNResponseSerializer> OVNResponseSerializer::initWithSerializeResponseBlock(
    SerializeResponseBlock block) {
  auto serializer = OVNMake<OVNResponseSerializer>();
  serializer->serializeResponse_ = std::move(block);
  return serializer;
}
