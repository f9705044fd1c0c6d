#include "timeDer.h"

#include <chrono>

#include "kxcert/cert/sxCRL.h"

namespace {

constexpr int64_t kFirstUtc = -631152000;          // 1950-01-01 00:00 UTC: RFC 5280, 5.1.2.4
constexpr int64_t kFirstGeneralized = 2524608000;  // 2050-01-01 00:00 UTC
constexpr int64_t kFirstSecond = -62167219200;     // 0000-01-01 00:00 UTC: four digits are no fewer
constexpr int64_t kLastSecond = 253402300799;      // 9999-12-31 23:59:59 UTC: and no more

sxDerOctets Generalized(int64_t seconds) {
  using namespace std::chrono;
  constexpr int kNumDigits = 14;  // YYYYMMDDHHMMSS
  if (seconds < kFirstSecond || seconds > kLastSecond) return {};
  const sys_days date = floor<days>(sys_seconds(std::chrono::seconds(seconds)));
  const year_month_day day(date);
  const auto ofDay = seconds - int64_t{date.time_since_epoch().count()} * 86400;
  int64_t number = static_cast<int>(day.year());
  for (const int64_t two : {int64_t{static_cast<unsigned>(day.month())}, int64_t{static_cast<unsigned>(day.day())},
                            ofDay / 3600, ofDay / 60 % 60, ofDay % 60}) {
    number = number * 100 + two;
  }
  unsigned char text[kNumDigits + 1];
  text[kNumDigits] = 'Z';
  for (int i = kNumDigits - 1; i >= 0; --i, number /= 10) text[i] = static_cast<unsigned char>('0' + number % 10);
  return sxDerOf(kDerGeneralizedTime, {text});
}

}  // namespace

sxDerOctets sxGeneralizedTimeDer(int64_t seconds) {
  return seconds == kCrlTimeUnreadable ? sxDerOctets() : Generalized(seconds);
}

sxDerOctets sxTimeDer(int64_t seconds) {
  return seconds == kCrlTimeUnreadable ? sxDerOctets() : sxValidityTimeDer(seconds);
}

sxDerOctets sxValidityTimeDer(int64_t seconds) {
  constexpr size_t kCentury = 4;  // behind the header, in front of what UTCTime has
  sxDerOctets general = Generalized(seconds);
  if (general.empty() || seconds < kFirstUtc || seconds >= kFirstGeneralized) return general;
  return sxDerOf(kDerUtcTime, {sxOctetView(general).subspan(kCentury)});
}
