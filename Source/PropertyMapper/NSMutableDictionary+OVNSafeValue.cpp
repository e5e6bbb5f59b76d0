#include "Platform/System/OVNConsoleLog.h"
#include "PropertyMapper/NSMutableDictionary+OVNSafeValue.h"

void ovn_setSafeValue(OVNDictionary& dictionary, const OVNValue& value, std::string_view keyPath) {
  if (value.isMissing()) return;
  dictionary.setValueForKeyPath(value, keyPath);
  if (OVNConsoleLog::isDebugEnabled()) {
    OVNConsoleLog::writeDebugFormat("DICT: setValue: %@, forKeyPath: %@ - result: %@", value, keyPath,
                                    dictionary.valueForKeyPath(keyPath));
  }
}
