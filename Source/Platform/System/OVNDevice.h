#pragma once
// The device the process runs on. Defaults: model "Linux" (the device family, as the
// platform's model names a family rather than a machine; firmware product names vary and
// are not always readable, so they are not used), system name "Linux", system version the
// kernel release (uname), screen scale 1.0. Every value can be replaced in code; an empty
// optional restores the default.
// Thread-safe: any thread; values are guarded and returned as copies.

#include <mutex>
#include <optional>
#include <string>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNDevice {
 public:
  static OVNDevice& currentDevice();

  std::string model() const;
  std::string systemName() const;
  std::string systemVersion() const;
  double screenScale() const;

  void setModel(std::optional<std::string> model);
  void setSystemName(std::optional<std::string> name);
  void setSystemVersion(std::optional<std::string> version);
  void setScreenScale(std::optional<double> scale);

 private:
  OVNDevice() = default;

  mutable std::mutex lock_;
  std::optional<std::string> model_;
  std::optional<std::string> systemName_;
  std::optional<std::string> systemVersion_;
  std::optional<double> screenScale_;
};
