// Maps arbitrary JSON into the worked model set and back: whatever the shape of the payload,
// mapping must not crash, and a created object must serialize to a dictionary that can be
// written as JSON again.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Observation.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Values/OVNArray.h"
#include "WeatherMappings.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const OVNPropertyMapperRef mapper = makeWeatherMapper();
  if (!mapper) std::abort();  // the worked tables must register before any input counts
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const OVNValue payload = OVNJSONSerialization::JSONObjectWithData(text, OVNJSONReadingFragmentsAllowed);
  if (payload.isMissing()) return 0;

  std::vector<OVNValue> sources;
  if (auto array = payload.array())
    sources.assign(array->begin(), array->end());
  else
    sources.push_back(payload);
  for (const OVNValue& source : sources) {
    OVNPropertyMapper::Errors errors;
    auto observation = mapper->createObjectWithClass<Observation>(source, &errors);
    if (!observation) {
      if (errors.empty()) std::abort();  // a refusal must say why
      continue;
    }
    for (std::uint64_t options : {OVNPropertyMapper::SerializeSkipMissing, OVNPropertyMapper::SerializeMissingAsNull}) {
      const OVNValue serialized = mapper->serializeObject(observation, options);
      if (!serialized.isDictionary()) std::abort();
      if (!OVNJSONSerialization::dataWithJSONObject(serialized, 0, nullptr)) std::abort();
    }
    // Updating an existing object from the same source must be just as safe.
    mapper->updateObjectInstance(observation, source);
  }
  return 0;
}
