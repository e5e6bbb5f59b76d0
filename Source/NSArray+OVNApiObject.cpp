#include "NSArray+OVNApiObject.h"
#include "OVNApiObject.h"

OVNArrayRef ovn_toDictionary(const OVNArrayRef& array) {
  if (!array) return nullptr;
  std::vector<OVNValue> converted;
  converted.reserve(array->count());
  for (const OVNValue& element : *array) {
    if (auto model = element.objectAs<OVNApiObject>()) {
      OVNDictionaryRef dictionary = model->toDictionary();
      converted.push_back(dictionary ? OVNValue(dictionary) : OVNValue::null());
    } else if (element.isPresent()) {
      converted.push_back(element);
    }
  }
  return OVNArray::make(std::move(converted), true);
}
