#pragma once
// Quality of service of queues and operations, with the platform's values. Background work
// runs on a separate, smaller pool of lower-priority threads; every other class shares the
// standard pool (see OVNDispatchQueue).

enum class OVNQualityOfService : int {
  UserInteractive = 0x21,
  UserInitiated = 0x19,
  Utility = 0x11,
  Background = 0x09,
  Default = -1,
};
