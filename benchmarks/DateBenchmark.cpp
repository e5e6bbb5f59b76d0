// Dates as text: formatting with a pattern through the shared formatter, beside the C
// library's gmtime_r + strftime (the limit: fixed English, no locale data) and ICU's own
// formatter made for every call (the naive way); parsing an ISO 8601 time stamp, beside
// sscanf + timegm; and the time-ago phrase a weather display shows.
#include <benchmark/benchmark.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "Categories/NSDate+OvrinCore.h"

namespace {

constexpr const char* kISO8601 = "yyyy-MM-dd'T'HH:mm:ssZZZZZ";
constexpr const char* kTimeStamp = "2026-11-21T10:26:40-06:00";
constexpr double kStart = 1795000000;  // 2026-11-18, an observation's time

// A new second each call, so that no layer can answer from a previous result.
struct Clock {
  double seconds = kStart;
  OVNDate next() { return OVNDate::dateWithTimeIntervalSince1970(seconds += 1); }
};

void BM_FormatPatternSharedFormatter(benchmark::State& state) {
  const auto gmt = OVNTimeZone::timeZoneForSecondsFromGMT(0);
  const auto posix = OVNLocale::systemLocale();
  Clock clock;
  for (auto _ : state) benchmark::DoNotOptimize(ovn_formattedDateWithFormat(clock.next(), kISO8601, gmt, posix));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatPatternSharedFormatter);

// The short form: the system zone and the current locale, looked up on every call.
void BM_FormatPatternSharedFormatterDefaults(benchmark::State& state) {
  Clock clock;
  for (auto _ : state) benchmark::DoNotOptimize(ovn_formattedDateWithFormat(clock.next(), kISO8601));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatPatternSharedFormatterDefaults);

void BM_FormatGmtimeStrftime(benchmark::State& state) {
  Clock clock;
  for (auto _ : state) {
    const auto seconds = static_cast<std::time_t>(clock.next().timeIntervalSince1970());
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S+00:00", &parts);
    benchmark::DoNotOptimize(std::string(text, length));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatGmtimeStrftime);

void BM_FormatICUFormatterPerCall(benchmark::State& state) {
  Clock clock;
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    icu::SimpleDateFormat format(icu::UnicodeString(kISO8601), icu::Locale("en_US_POSIX"), status);
    format.adoptTimeZone(icu::TimeZone::createTimeZone("GMT"));
    icu::UnicodeString text;
    format.format(clock.next().timeIntervalSince1970() * 1000.0, text);
    std::string utf8;
    benchmark::DoNotOptimize(text.toUTF8String(utf8));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatICUFormatterPerCall);

void BM_ParseISO8601SharedFormatter(benchmark::State& state) {
  const auto gmt = OVNTimeZone::timeZoneForSecondsFromGMT(0);
  for (auto _ : state) benchmark::DoNotOptimize(ovn_dateWithString(kTimeStamp, kISO8601, gmt));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ParseISO8601SharedFormatter);

void BM_ParseISO8601SscanfTimegm(benchmark::State& state) {
  for (auto _ : state) {
    std::tm parts{};
    char sign = '+';
    int offsetHours = 0;
    int offsetMinutes = 0;
    std::sscanf(kTimeStamp, "%d-%d-%dT%d:%d:%d%c%d:%d", &parts.tm_year, &parts.tm_mon, &parts.tm_mday, &parts.tm_hour,
                &parts.tm_min, &parts.tm_sec, &sign, &offsetHours, &offsetMinutes);
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    const long offset = (offsetHours * 60L + offsetMinutes) * 60L * (sign == '-' ? -1 : 1);
    benchmark::DoNotOptimize(timegm(&parts) - offset);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ParseISO8601SscanfTimegm);

void BM_TimeAgoSinceNow(benchmark::State& state) {
  const OVNDate threeHoursAgo = OVNDate::now().dateByAddingTimeInterval(-3 * OVNHourInterval);
  for (auto _ : state) benchmark::DoNotOptimize(ovn_timeAgoSinceNow(threeHoursAgo));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TimeAgoSinceNow);

}  // namespace
