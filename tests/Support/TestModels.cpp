#include "Support/TestModels.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(TestPlace, name, parent)
OVN_PROPERTIES(TestStation, title, code, count, total, small, tiny, byte, temperature, ratio, active, color, pressure,
               observedAt, extra, readings, attributes, payload, tags, history, rank, port, flags, grade, place, nearby,
               places, codes, handler, origin, summary, (elevation, setElevation))
OVN_PROPERTIES(TestSubStation, network)
OVN_RESPONDS_TO(TestSubStation, "codableKeys");
