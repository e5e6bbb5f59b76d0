#include "Platform/Serialization/OVNCoder.h"

#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNCoder, requiresSecureCoding, allowsKeyedCoding)

OVNCoder::~OVNCoder() = default;

void OVNCoder::unsupported(std::string_view selector) const {
  OVNException::raise(
      OVNInvalidArgumentException,
      OVNFormat("*** -%@ only defined for abstract class. Define -[%@ %@]!", selector, className(), selector));
}

void OVNCoder::encodeObject(const OVNValue&, std::string_view) { unsupported("encodeObject:forKey:"); }
void OVNCoder::encodeBool(bool, std::string_view) { unsupported("encodeBool:forKey:"); }
void OVNCoder::encodeInt64(std::int64_t, std::string_view) { unsupported("encodeInt64:forKey:"); }
void OVNCoder::encodeDouble(double, std::string_view) { unsupported("encodeDouble:forKey:"); }

bool OVNCoder::containsValueForKey(std::string_view) const { unsupported("containsValueForKey:"); }
OVNValue OVNCoder::decodeObjectForKey(std::string_view) { unsupported("decodeObjectForKey:"); }
OVNValue OVNCoder::decodeObjectOfClass(const OVNClass& cls, std::string_view key) {
  return decodeObjectOfClasses({&cls}, key);
}
OVNValue OVNCoder::decodeObjectOfClasses(const std::vector<const OVNClass*>&, std::string_view) {
  unsupported("decodeObjectOfClasses:forKey:");
}
bool OVNCoder::decodeBoolForKey(std::string_view) { unsupported("decodeBoolForKey:"); }
std::int64_t OVNCoder::decodeInt64ForKey(std::string_view) { unsupported("decodeInt64ForKey:"); }
double OVNCoder::decodeDoubleForKey(std::string_view) { unsupported("decodeDoubleForKey:"); }

void OVNCoder::failWithError(std::shared_ptr<OVNError> error) {
  if (!error_) error_ = std::move(error);
}
