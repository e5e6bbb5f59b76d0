// Feeds arbitrary bytes to the secure unarchiver (a small list of allowed classes) and to
// the legacy unrestricted one. Neither may crash, hang or fail without an error; what the
// legacy form decodes must archive and decode again.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNCoder.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/Values/OVNData.h"

// A coding model like the library's: scalars, a string, a nested model, an untyped value.
class FuzzPlace : public OVNObject {
  OVN_CLASS(FuzzPlace, OVNObject)
 public:
  std::string name;
  double latitude = 0;
  std::int64_t elevation = 0;
  bool coastal = false;
  std::shared_ptr<FuzzPlace> parent;
  OVNValue extra;

  bool supportsKeyedCoding() const override { return true; }
  bool supportsSecureCoding() const override { return true; }
  void encodeWithCoder(OVNCoder& coder) const override {
    coder.encodeObject(name, "name");
    coder.encodeDouble(latitude, "latitude");
    coder.encodeInt64(elevation, "elevation");
    coder.encodeBool(coastal, "coastal");
    coder.encodeObject(parent, "parent");
    coder.encodeObject(extra, "extra");
  }
  bool initWithCoder(OVNCoder& coder) override {
    const OVNValue decodedName = coder.decodeObjectOfClass(*OVNClass::named("NSString"), "name");
    if (decodedName.string()) name = *decodedName.string();
    latitude = coder.decodeDoubleForKey("latitude");
    elevation = coder.decodeInt64ForKey("elevation");
    coastal = coder.decodeBoolForKey("coastal");
    parent = coder.decodeObjectOfClass(FuzzPlace::classObject(), "parent").objectAs<FuzzPlace>();
    extra = coder.decodeObjectForKey("extra");
    return coder.containsValueForKey("name");
  }
};
OVN_PROPERTIES(FuzzPlace, name, latitude, elevation, coastal, parent, extra)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<const OVNClass*> allowed = {OVNClass::named("NSArray"), OVNClass::named("NSDictionary"),
                                                       OVNClass::named("NSString"), OVNClass::named("NSNumber"),
                                                       &FuzzPlace::classObject()};
  const OVNData bytes(std::vector<std::uint8_t>(data, data + size));

  std::shared_ptr<OVNError> error;
  const OVNValue secure = OVNKeyedUnarchiver::unarchivedObjectOfClasses(allowed, bytes, &error);
  if (secure.isMissing() && !error) std::abort();  // a failure must say why

  const OVNValue legacy = OVNKeyedUnarchiver::unarchiveObjectWithData(bytes);
  if (legacy.isPresent()) {
    OVNDataRef again = OVNKeyedArchiver::archivedDataWithRootObject(legacy, false, &error);
    if (!again || OVNKeyedUnarchiver::unarchiveObjectWithData(*again).isMissing()) std::abort();
  }
  return 0;
}
