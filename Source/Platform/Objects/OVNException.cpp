#include "Platform/Objects/OVNException.h"

OVNException::OVNException(std::string_view name, std::string reason)
    : name_(name), reason_(std::move(reason)), what_(name_ + ": " + reason_) {}

void OVNException::raise(std::string_view name, std::string reason) { throw OVNException(name, std::move(reason)); }
