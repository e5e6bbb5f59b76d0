// Feeds arbitrary bytes to the property-list reader, immutable and with mutable
// containers. Whatever it reads must write back in both forms, and the binary form must
// read again: a value the reader accepts is a value the writer can hold.

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Platform/Objects/OVNError.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/Values/OVNData.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const OVNData bytes(std::vector<std::uint8_t>(data, data + size));
  for (int options : {OVNPropertyListImmutable, OVNPropertyListMutableContainers}) {
    std::shared_ptr<OVNError> error;
    int format = 0;
    const OVNValue value = OVNPropertyListSerialization::propertyListWithData(bytes, options, &format, &error);
    if (value.isMissing()) {
      if (!error || error->code() != OVNPropertyListReadCorruptError) std::abort();  // a failure must say why
      continue;
    }
    if (format != OVNPropertyListXMLFormat_v1_0 && format != OVNPropertyListBinaryFormat_v1_0) std::abort();
    OVNDataRef binary =
        OVNPropertyListSerialization::dataWithPropertyList(value, OVNPropertyListBinaryFormat_v1_0, 0, &error);
    if (!binary) std::abort();
    if (OVNPropertyListSerialization::propertyListWithData(*binary, options, nullptr, &error).isMissing()) std::abort();
    // XML cannot hold NUL characters, which binary strings may carry, so a refusal is no
    // fault: only a crash is.
    static_cast<void>(
        OVNPropertyListSerialization::dataWithPropertyList(value, OVNPropertyListXMLFormat_v1_0, 0, &error));
  }
  return 0;
}
