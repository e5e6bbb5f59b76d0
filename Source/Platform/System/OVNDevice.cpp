#include "Platform/System/OVNDevice.h"

#include <sys/utsname.h>

namespace {
std::string kernelRelease() {
  struct utsname names {};
  if (::uname(&names) != 0) return {};
  return names.release;
}
}  // namespace

OVNDevice& OVNDevice::currentDevice() {
  static OVNDevice device;
  return device;
}

std::string OVNDevice::model() const {
  std::lock_guard guard(lock_);
  return model_.value_or("Linux");
}

std::string OVNDevice::systemName() const {
  std::lock_guard guard(lock_);
  return systemName_.value_or("Linux");
}

std::string OVNDevice::systemVersion() const {
  {
    std::lock_guard guard(lock_);
    if (systemVersion_) return *systemVersion_;
  }
  return kernelRelease();
}

double OVNDevice::screenScale() const {
  std::lock_guard guard(lock_);
  return screenScale_.value_or(1.0);
}

void OVNDevice::setModel(std::optional<std::string> model) {
  std::lock_guard guard(lock_);
  model_ = std::move(model);
}

void OVNDevice::setSystemName(std::optional<std::string> name) {
  std::lock_guard guard(lock_);
  systemName_ = std::move(name);
}

void OVNDevice::setSystemVersion(std::optional<std::string> version) {
  std::lock_guard guard(lock_);
  systemVersion_ = std::move(version);
}

void OVNDevice::setScreenScale(std::optional<double> scale) {
  std::lock_guard guard(lock_);
  screenScale_ = scale;
}
