#include "Networking/OVNRequestMetrics.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNRequestMetrics, requestStartTime, initialResponseTime, requestCompletionTime,
               serializationCompletionTime, latency, requestDuration, serializationDuration, totalDuration)

std::shared_ptr<OVNRequestMetrics> OVNRequestMetrics::initWithRequestStartTime(double requestStartTime,
                                                                               double initialResponseTime,
                                                                               double requestCompletionTime,
                                                                               double serializationCompletionTime) {
  auto metrics = OVNMake<OVNRequestMetrics>();
  metrics->requestStartTime_ = requestStartTime;
  metrics->initialResponseTime_ = initialResponseTime;
  metrics->requestCompletionTime_ = requestCompletionTime;
  metrics->serializationCompletionTime_ = serializationCompletionTime;
  return metrics;
}
