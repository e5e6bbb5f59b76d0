#include "WeatherMappings.h"

#include "Observation.h"
#include "Platform/Values/OVNArray.h"
#include "PropertyMapper/OVNTimestampDescriptor.h"

namespace {

using Descriptor = OVNPropertyDescriptor;

OVNDictionaryRef placeTable() {
  return OVNDictionary::make({
      {"name", Descriptor::initWithPropertyName("name")->isRequired()},
      {"state", Descriptor::initWithPropertyName("state")},
      {"country", Descriptor::initWithPropertyName("country")->length(2)},
  });
}

OVNDictionaryRef profileTable() {
  return OVNDictionary::make({
      {"tz", Descriptor::initWithPropertyName("timezone")},
      {"elevM", Descriptor::initWithPropertyName("elevationM")},
      {"hasPrecip", Descriptor::initWithPropertyName("hasPrecip")},
  });
}

OVNDictionaryRef measurementsTable() {
  // The simple fields map one to one; humidity is checked on the way in.
  auto table = OVNPropertyMapper::generateMappingsWithKeys({"tempC", "tempF", "dewpointC", "pressureMB", "windKPH",
                                                            "windDir", "weather", "weatherCoded", "icon", "isDay",
                                                            "visibilityKM", "sky", "precipMM"});
  table->set("humidity", Descriptor::initWithPropertyName("humidity")->range(0, 100));
  return table;
}

OVNDictionaryRef periodTable() {
  return OVNDictionary::make({
      {"timestamp", OVNTimestampDescriptor("validAt")},
      {"tempC", Descriptor::initWithPropertyName("tempC")},
  });
}

OVNDictionaryRef observationTable() {
  return OVNDictionary::make({
      {"id", Descriptor::initWithPropertyName("stationId")->isRequired()->lengthRange(1, 32)},
      {"dataSource", Descriptor::initWithPropertyName("dataSource")->oneOf(OVNValue::array({"METAR", "MADIS", "PWS"}))},
      {"loc.lat", Descriptor::initWithPropertyName("latitude")->range(-90, 90)},
      {"loc.long", Descriptor::initWithPropertyName("longitude")->range(-180, 180)},
      {"place", Descriptor::initWithPropertyName("place", Place::classObject())},
      {"profile", Descriptor::initWithPropertyName("profile", StationProfile::classObject())},
      {"obTimestamp", OVNTimestampDescriptor("observedAt")},
      {"obDateTime", Descriptor::initWithPropertyName("observedAtISO")},
      {"ob", Descriptor::initWithPropertyName("measurements", Measurements::classObject())},
      {"periods", Descriptor::initWithPropertyName("periods", ForecastPeriod::classObject())},
  });
}

}  // namespace

bool registerWeatherMappings(OVNPropertyMapper& mapper) {
  std::shared_ptr<OVNError> error;
  const bool registered = mapper.setMappings(placeTable(), Place::classObject(), &error) &&
                          mapper.setMappings(profileTable(), StationProfile::classObject(), &error) &&
                          mapper.setMappings(measurementsTable(), Measurements::classObject(), &error) &&
                          mapper.setMappings(periodTable(), ForecastPeriod::classObject(), &error) &&
                          mapper.setMappings(observationTable(), Observation::classObject(), &error);
  if (!registered) return false;

  // Whatever the tables do not map is kept, so nothing the service adds is lost. The
  // remainder keeps "loc" (emptied of lat and long); empty parents are not worth keeping.
  mapper.setFinalMappingDecoder(
      [](const OVNDictionaryRef& unmapped, const OVNObjectRef& object) {
        auto extras = std::make_shared<OVNDictionary>();
        for (const auto& [key, value] : *unmapped) {
          auto nested = value.dictionary();
          if (!nested || !nested->empty()) extras->set(key, value);
        }
        if (!extras->empty()) std::static_pointer_cast<Observation>(object)->extras = extras->copy();
      },
      Observation::classObject(), OVNPropertyMapper::FinalDecoderUnmappedRemainder);

  // Two dotted keys under one new parent keep only the later one when serialized, so the
  // final encoder writes the whole "loc" object back.
  mapper.setFinalMappingEncoder(
      [](const OVNDictionaryRef& serialized, const OVNObjectRef& object) {
        auto observation = std::static_pointer_cast<Observation>(object);
        serialized->set("loc",
                        OVNValue::dictionary({{"lat", observation->latitude}, {"long", observation->longitude}}));
        if (observation->extras) {
          for (const auto& [key, value] : *observation->extras) {
            if (!serialized->contains(key)) serialized->set(key, value);
          }
        }
      },
      Observation::classObject());
  return true;
}

OVNPropertyMapperRef makeWeatherMapper() {
  auto mapper = OVNPropertyMapper::init();
  return registerWeatherMappings(*mapper) ? mapper : nullptr;
}
