#include "WeatherMappings.h"

#include <cmath>

#include "Categories/NSDate+OvrinCore.h"
#include "Observation.h"
#include "Platform/Values/OVNArray.h"
#include "PropertyMapper/OVNTimestampDescriptor.h"

namespace {

using Descriptor = OVNPropertyDescriptor;

// "obDateTime" read as the instant and the station's offset, and written back in the same
// form ("+00:00" rather than "Z" for GMT, as the service writes it). The offset is the
// station's clock time read as GMT minus the instant, which is right for every offset;
// ovn_timeZoneFromDateString would give -4:30 for "-05:30".
constexpr const char* kParsedISO8601 = "yyyy-MM-dd'T'HH:mm:ssZZZZZ";
constexpr const char* kWrittenISO8601 = "yyyy-MM-dd'T'HH:mm:ssxxx";
constexpr const char* kClockTime = "yyyy-MM-dd'T'HH:mm:ss";
constexpr std::size_t kClockTimeLength = 19;

OVNPropertyDescriptorRef stationTimeDescriptor() {
  auto descriptor = Descriptor::initWithEncodingGenerationBlock(
      [](const OVNObjectRef& object) -> OVNValue {
        const auto& observation = static_cast<const Observation&>(*object);
        return ovn_formattedDateWithFormat(observation.observedDateTime, kWrittenISO8601,
                                           observation.observedTimeZone(), OVNLocale::systemLocale());
      },
      [](const OVNValue& value, const OVNObjectRef& object) {
        const std::string* text = value.string();
        if (!text) return;
        const auto gmt = OVNTimeZone::timeZoneForSecondsFromGMT(0);
        const auto instant = ovn_dateWithString(*text, kParsedISO8601, gmt);
        const auto clock = ovn_dateWithString(text->substr(0, kClockTimeLength), kClockTime, gmt);
        if (!instant || !clock) return;
        auto& observation = static_cast<Observation&>(*object);
        observation.observedDateTime = *instant;
        observation.observedUTCOffset = std::llround(clock->timeIntervalSinceDate(*instant));
      });
  // The mapper accepts a whole-object rule only under a property the class has.
  descriptor->setPropertyName("observedDateTime");
  return descriptor;
}

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
      {"obDateTime", stationTimeDescriptor()},
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
