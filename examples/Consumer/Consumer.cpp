// A small application of OvrinCore, built against the installed package: it prints a
// localized text from the library's resource bundle and maps a JSON reply into a model
// object. Exits non-zero when either fails, so that the install can be checked with it.
#include <OvrinCore/OvrinCore.h>

#include <cstdio>
#include <string>

class Station : public OVNObject {
  OVN_CLASS(Station, OVNObject)
 public:
  std::string code;
  double tempC = 0;
};
OVN_PROPERTIES(Station, code, tempC)

namespace {

int fail(const char* what) {
  std::fprintf(stderr, "ovrin-consumer: %s\n", what);
  return 1;
}

}  // namespace

int main() {
  std::printf("OvrinCore %s\n", OvrinCoreVersionString);

  // German texts come from the bundle's de.lproj; without the bundle the key comes back.
  OVNLocale::setPreferredLanguages({"de"});
  const std::string today = OVNLocalizedString("Today");
  std::printf("\"Today\" in German: %s\n", today.c_str());
  if (today == "Today") return fail("the resource bundle was not found");

  std::shared_ptr<OVNError> error;
  const OVNValue reply =
      OVNJSONSerialization::JSONObjectWithData(R"({"id": "KAUS", "ob": {"tempC": 21.5}})", 0, &error);
  if (error) return fail("the reply is not JSON");

  auto mapper = OVNPropertyMapper::init();
  auto table = OVNDictionary::make({{"id", OVNPropertyDescriptor::initWithPropertyName("code")},
                                    {"ob.tempC", OVNPropertyDescriptor::initWithPropertyName("tempC")}});
  if (!mapper->addMappings(table, Station::classObject(), &error)) return fail("the mapping table was refused");
  auto station = mapper->createObjectWithClass<Station>(reply);
  if (!station || station->code != "KAUS" || station->tempC != 21.5) return fail("the reply was not mapped");
  std::printf("mapped: %s at %.1f C\n", station->code.c_str(), station->tempC);
  return 0;
}
