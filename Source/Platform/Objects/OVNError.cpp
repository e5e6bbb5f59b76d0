#include "Platform/Objects/OVNError.h"

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNError, domain, code, userInfo, localizedDescription)

OVNError::OVNError(std::string domain, std::int64_t code, OVNDictionaryRef userInfo)
    : domain_(std::move(domain)),
      code_(code),
      userInfo_(userInfo ? userInfo->copy() : OVNDictionary::make({}, false)) {}

std::shared_ptr<OVNError> OVNError::errorWithDomain(std::string_view domain, std::int64_t code,
                                                    OVNDictionaryRef userInfo) {
  return OVNMake<OVNError>(std::string(domain), code, std::move(userInfo));
}

std::shared_ptr<OVNError> OVNError::errorWithDomain(std::string_view domain, std::int64_t code,
                                                    std::string_view localizedDescription) {
  return errorWithDomain(
      domain, code, OVNDictionary::make({{std::string(OVNLocalizedDescriptionKey), OVNValue(localizedDescription)}}));
}

std::string OVNError::localizedDescription() const {
  const OVNValue text = userInfo_->objectForKey(OVNLocalizedDescriptionKey);
  if (text.isString()) return *text.string();
  return OVNFormat("The operation couldn\u2019t be completed. (%@ error %ld.)", domain_, code_);
}

std::string OVNError::description() const {
  std::string text = OVNFormat("Error Domain=%@ Code=%ld \"%@\"", domain_, code_, localizedDescription());
  if (!userInfo_->empty()) text += " UserInfo=" + OVNValue(userInfo_).description();
  return text;
}

bool OVNError::isEqual(const OVNObject& other) const {
  auto* error = dynamic_cast<const OVNError*>(&other);
  return error && error->domain_ == domain_ && error->code_ == code_ && error->userInfo_->isEqual(*userInfo_);
}

std::size_t OVNError::hash() const { return std::hash<std::string>()(domain_) ^ static_cast<std::size_t>(code_); }
