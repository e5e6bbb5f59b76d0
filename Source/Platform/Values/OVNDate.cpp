#include "Platform/Values/OVNDate.h"

#include <cmath>
#include <cstdio>
#include <ctime>

#include "Platform/Values/OVNClock.h"

OVNDate OVNDate::now() { return OVNDate(OVNClock::absoluteTime()); }

OVNDate OVNDate::dateWithTimeIntervalSinceNow(double seconds) { return now().dateByAddingTimeInterval(seconds); }

double OVNDate::timeIntervalSinceNow() const { return seconds_ - OVNClock::absoluteTime(); }

std::string OVNDate::description() const {
  const double since1970 = std::floor(timeIntervalSince1970());
  const std::time_t t = static_cast<std::time_t>(since1970);
  std::tm parts{};
  gmtime_r(&t, &parts);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d +0000", parts.tm_year + 1900, parts.tm_mon + 1,
                parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
  return text;
}
