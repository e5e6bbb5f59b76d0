// Reads arbitrary bytes as JSON; whatever reads must write and read back to an equal value.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Objects/OVNError.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Values/OVNData.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const unsigned options = size ? (bytes[0] & 7u) : 0u;
  std::shared_ptr<OVNError> error;
  const OVNValue value = OVNJSONSerialization::JSONObjectWithData(text, options, &error);
  if (value.isMissing()) {
    if (!error) std::abort();  // a failure must explain itself
    return 0;
  }
  for (unsigned writing :
       {unsigned(OVNJSONWritingFragmentsAllowed), OVNJSONWritingFragmentsAllowed | OVNJSONWritingPrettyPrinted}) {
    OVNDataRef written = OVNJSONSerialization::dataWithJSONObject(value, writing, &error);
    if (!written) std::abort();
    const OVNValue again = OVNJSONSerialization::JSONObjectWithData(*written, OVNJSONReadingFragmentsAllowed);
    if (!again.isEqual(value)) std::abort();
  }
  return 0;
}
