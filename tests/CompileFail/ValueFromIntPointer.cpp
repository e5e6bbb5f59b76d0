// expect-error: use of deleted function .*OVNValue::OVNValue\(T\*\) \[with T = int\]
#include "Platform/Values/OVNValue.h"

OVNValue wrap(int* number) { return OVNValue(number); }
