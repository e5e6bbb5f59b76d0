#pragma once
// A notification: a name, the object that posted it (may be null) and extra information
// (may be null). An immutable value; safe to share between threads.

#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNNotification {
 public:
  explicit OVNNotification(std::string name, OVNObjectRef object = nullptr, OVNDictionaryRef userInfo = nullptr);

  const std::string& name() const { return name_; }
  const OVNObjectRef& object() const { return object_; }
  const OVNDictionaryRef& userInfo() const { return userInfo_; }

 private:
  std::string name_;
  OVNObjectRef object_;
  OVNDictionaryRef userInfo_;
};
