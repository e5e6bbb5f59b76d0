#include "Platform/Location/detail/OVNGPXReader.h"

#include <expat.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>

#include "Platform/Location/OVNLocationError.h"
#include "Platform/Time/OVNDateFormatter.h"
#include "Platform/Values/OVNFormat.h"

namespace ovn::detail {

namespace {

constexpr double kSpacingWithoutTimes = 1;
constexpr char kNamespaceSeparator = ' ';

struct Point {
  double latitude = NAN;
  double longitude = NAN;
  std::optional<double> elevation, course, speed;
  std::optional<OVNDate> time;
};

std::optional<double> number(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  double value = 0;
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (status != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

// GPX times are ISO 8601 in UTC, with or without fractions of a second.
std::optional<OVNDate> timeStamp(std::string_view text) {
  static const auto formatters = [] {
    std::vector<std::shared_ptr<OVNDateFormatter>> made;
    for (const char* pattern : {"yyyy-MM-dd'T'HH:mm:ssXXX", "yyyy-MM-dd'T'HH:mm:ss.SSSXXX"}) {
      auto formatter = OVNMake<OVNDateFormatter>();
      formatter->setLocale(OVNLocale::systemLocale());
      formatter->setTimeZone(OVNTimeZone::timeZoneForSecondsFromGMT(0));
      formatter->setDateFormat(pattern);
      made.push_back(std::move(formatter));
    }
    return made;
  }();
  for (const auto& formatter : formatters) {
    if (auto date = formatter->dateFromString(text)) return date;
  }
  return std::nullopt;
}

// The element's name without its namespace.
std::string_view localName(const XML_Char* name) {
  const char* separator = std::strrchr(name, kNamespaceSeparator);
  return separator ? separator + 1 : name;
}

bool isPoint(std::string_view name) { return name == "trkpt" || name == "rtept" || name == "wpt"; }

struct Reader {
  XML_Parser parser = nullptr;
  std::vector<Point> points;
  std::optional<Point> point;  // the point being read
  int childDepth = 0;          // elements open inside it
  std::string text;            // character data of a direct child
  std::string problem;

  void fail(std::string reason) {
    if (problem.empty()) problem = std::move(reason);
    XML_StopParser(parser, XML_FALSE);
  }
  long line() const { return static_cast<long>(XML_GetCurrentLineNumber(parser)); }
};

void XMLCALL startElement(void* data, const XML_Char* name, const XML_Char** attributes) {
  auto& reader = *static_cast<Reader*>(data);
  if (reader.point) {
    ++reader.childDepth;
    reader.text.clear();
    return;
  }
  if (!isPoint(localName(name))) return;
  Point point;
  for (int i = 0; attributes[i]; i += 2) {
    const std::string_view attribute = localName(attributes[i]);
    if (attribute == "lat") point.latitude = number(attributes[i + 1]).value_or(NAN);
    if (attribute == "lon") point.longitude = number(attributes[i + 1]).value_or(NAN);
  }
  if (!(std::fabs(point.latitude) <= 90) || !(std::fabs(point.longitude) <= 180)) {
    reader.fail(OVNFormat("The GPX point at line %ld has no valid lat and lon.", reader.line()));
    return;
  }
  reader.point = point;
  reader.childDepth = 0;
}

void XMLCALL endElement(void* data, const XML_Char* name) {
  auto& reader = *static_cast<Reader*>(data);
  if (!reader.point) return;
  if (reader.childDepth == 0) {  // the point itself ends
    reader.points.push_back(*reader.point);
    reader.point.reset();
    return;
  }
  if (reader.childDepth-- != 1) return;  // only direct children carry the point's values
  const std::string_view child = localName(name);
  Point& point = *reader.point;
  if (child == "ele") point.elevation = number(reader.text);
  if (child == "course") point.course = number(reader.text);
  if (child == "speed") point.speed = number(reader.text);
  if (child == "time") point.time = timeStamp(reader.text);
}

void XMLCALL characters(void* data, const XML_Char* text, int length) {
  auto& reader = *static_cast<Reader*>(data);
  if (reader.point && reader.childDepth == 1) reader.text.append(text, static_cast<std::size_t>(length));
}

std::shared_ptr<OVNError> trackError(const std::string& reason) {
  return OVNError::errorWithDomain(OVNLocationErrorDomain, OVNLocationErrorLocationUnknown, reason);
}

std::vector<OVNSimulatedLocationProvider::Step> steps(const std::vector<Point>& points) {
  std::vector<OVNSimulatedLocationProvider::Step> steps;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Point& point = points[i];
    OVNSimulatedLocationProvider::Step step;
    step.delay = kSpacingWithoutTimes;
    if (i > 0 && point.time && points[i - 1].time) {
      step.delay = std::max(0.0, point.time->timeIntervalSinceDate(*points[i - 1].time));
    }
    step.fix.coordinate = {point.latitude, point.longitude};
    step.fix.altitude = point.elevation.value_or(0);
    step.fix.horizontalAccuracy = 0;  // a recorded track is taken as exact
    step.fix.verticalAccuracy = point.elevation ? 0 : -1;
    step.fix.course = point.course.value_or(-1);
    step.fix.speed = point.speed.value_or(-1);
    steps.push_back(step);
  }
  return steps;
}

}  // namespace

OVNGPXTrack readGPX(std::string_view gpx) {
  Reader reader;
  std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreateNS(nullptr, kNamespaceSeparator),
                                                                      &XML_ParserFree);
  if (!parser) return {{}, trackError("The GPX track could not be read: out of memory.")};
  reader.parser = parser.get();
  XML_SetUserData(parser.get(), &reader);
  XML_SetElementHandler(parser.get(), startElement, endElement);
  XML_SetCharacterDataHandler(parser.get(), characters);
  const bool parsed =
      XML_Parse(parser.get(), gpx.data(), static_cast<int>(std::min<std::size_t>(gpx.size(), INT32_MAX)), XML_TRUE) ==
      XML_STATUS_OK;
  if (!reader.problem.empty()) return {{}, trackError(reader.problem)};
  if (!parsed || gpx.size() > INT32_MAX) {
    return {{},
            trackError(OVNFormat("The GPX track is not well-formed XML: %s at line %ld.",
                                 XML_ErrorString(XML_GetErrorCode(parser.get())), reader.line()))};
  }
  if (reader.points.empty()) return {{}, trackError("The GPX document has no track, route or way points.")};
  return {steps(reader.points), nullptr};
}

}  // namespace ovn::detail
