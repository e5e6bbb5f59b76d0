#pragma once
// OVNRequestMetrics: when a request started, first heard body bytes, completed and had its
// reply serialized (absolute times in seconds, OVNClock::absoluteTime), and the durations
// between them. Immutable once made; any thread may share it.

#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVN_EXPORT OVNRequestMetrics : public OVNObject {
  OVN_CLASS(OVNRequestMetrics, OVNObject)

 public:
  OVNRequestMetrics() = default;
  static std::shared_ptr<OVNRequestMetrics> initWithRequestStartTime(double requestStartTime,
                                                                     double initialResponseTime,
                                                                     double requestCompletionTime,
                                                                     double serializationCompletionTime);

  double requestStartTime() const { return requestStartTime_; }
  double initialResponseTime() const { return initialResponseTime_; }
  double requestCompletionTime() const { return requestCompletionTime_; }
  double serializationCompletionTime() const { return serializationCompletionTime_; }

  //! Initial response time minus start time.
  double latency() const { return initialResponseTime_ - requestStartTime_; }
  //! Completion time minus start time.
  double requestDuration() const { return requestCompletionTime_ - requestStartTime_; }
  //! Serialization completion time minus completion time.
  double serializationDuration() const { return serializationCompletionTime_ - requestCompletionTime_; }
  //! Serialization completion time minus start time.
  double totalDuration() const { return serializationCompletionTime_ - requestStartTime_; }

 private:
  double requestStartTime_ = 0.0;
  double initialResponseTime_ = 0.0;
  double requestCompletionTime_ = 0.0;
  double serializationCompletionTime_ = 0.0;
};
