#include "Platform/Dispatch/OVNNotification.h"

#include <utility>

OVNNotification::OVNNotification(std::string name, OVNObjectRef object, OVNDictionaryRef userInfo)
    : name_(std::move(name)), object_(std::move(object)), userInfo_(std::move(userInfo)) {}
