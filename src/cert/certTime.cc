// ASN.1 times to seconds.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/platform/log.h"
#include "plainCert.h"
#include "timeDer.h"

namespace {

constexpr int kLastYear = 2037;  // later years are clamped, so that results fit 32 bits

struct BrokenDown {
  int year, month, day, hour, minute, second;
};

// Fields beyond their range carry over, as the C library's conversions of broken-down times do.
int64_t ToSeconds(const BrokenDown &t) {
  using namespace std::chrono;
  const year_month month = year(t.year) / January + months(t.month - 1);
  const int64_t days = sys_days(month / 1).time_since_epoch().count() + (t.day - 1);
  return ((days * 24 + t.hour) * 60 + t.minute) * 60 + t.second;
}

int Clamped(std::optional<BrokenDown> t) {
  if (!t) return -1;
  if (t->year > kLastYear) {
    t->year = kLastYear + 1;
    t->month = t->day = 1;
  }
  if (t->year == 1970 && t->month == 1 && t->day == 1) return 0;  // whatever the time of day: intended
  const int64_t seconds = ToSeconds(*t);
  return seconds < INT32_MIN || seconds > INT32_MAX ? -1 : static_cast<int>(seconds);
}

bool Exists(const BrokenDown &t) {
  using namespace std::chrono;
  const auto number = [](int field) { return static_cast<unsigned>(field); };
  const year_month_day date(year(t.year), month(number(t.month)), day(number(t.day)));
  return date.ok() && t.hour < 24 && t.minute < 60 && t.second < 60;
}

bool AllDigits(const unsigned char *text, int len) {
  for (int i = 0; i < len; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
  }
  return true;
}

int Pair(const unsigned char *text) { return (text[0] - '0') * 10 + (text[1] - '0'); }

// Month to second, from the month's first digit on; numPairs 4 leaves the seconds 0.
BrokenDown AfterYear(int year, const unsigned char *text, int numPairs) {
  BrokenDown t = {year, Pair(text), Pair(text + 2), Pair(text + 4), Pair(text + 6), 0};
  if (numPairs > 4) t.second = Pair(text + 8);
  return t;
}

std::optional<BrokenDown> ReadGeneralized(const unsigned char *text, int len) {
  if (text == nullptr || len != 15 || text[14] != 'Z' || !AllDigits(text, 14)) return std::nullopt;
  return AfterYear(Pair(text) * 100 + Pair(text + 2), text + 4, 5);
}

std::optional<BrokenDown> ReadUtc(const unsigned char *text, int len) {
  if (text == nullptr || (len != 11 && len != 13) || text[len - 1] != 'Z' || !AllDigits(text, len - 1)) {
    return std::nullopt;
  }
  const int year = Pair(text);
  // RFC 5280 4.1.2.5.1
  return AfterYear(year < 50 ? 2000 + year : 1900 + year, text + 2, len == 13 ? 5 : 4);
}

}  // namespace

int sxGeneralTime2time(const unsigned char *text, int len) { return Clamped(ReadGeneralized(text, len)); }
int sxUTCTime2time(const unsigned char *text, int len) { return Clamped(ReadUtc(text, len)); }

std::optional<int64_t> sxReadTime(const sxPlainTime &time) {
  const unsigned char *const text = time.text.data();
  const int len = sxLen(time.text);
  const std::optional<BrokenDown> t = time.tag == kDerUtcTime ? ReadUtc(text, len) : ReadGeneralized(text, len);
  if (!t || !Exists(*t)) return std::nullopt;
  return ToSeconds(*t);
}

int64_t sxTimeSeconds(const sxPlainTime &time) { return sxReadTime(time).value_or(-1); }

int sxASN_Time2time(const sxASN_Time *time) {
  if (time == nullptr || time->Value() == nullptr) return -1;
  const auto *text = static_cast<const sxAsnOcts *>(time->Value());
  switch (time->ChoiceId()) {
    case sxASN_Time::utcTimeCid: return sxUTCTime2time(text->Data(), text->Len());
    case sxASN_Time::generalTimeCid: return sxGeneralTime2time(text->Data(), text->Len());
    default: herror_func(0, 0, "sxASN_Time2time: unknown time type %d", time->ChoiceId()); return -1;
  }
}

std::optional<int64_t> sxReadTime(const sxASN_Time *time) {
  const auto *const text = time == nullptr ? nullptr : static_cast<const sxAsnOcts *>(time->Value());
  if (text == nullptr) return std::nullopt;
  const bool isUtc = time->ChoiceId() == sxASN_Time::utcTimeCid;
  return sxReadTime(sxPlainTime{isUtc ? kDerUtcTime : kDerGeneralizedTime, sxView(text->Data(), text->Len())});
}

int64_t sxASN_Time2seconds(const sxASN_Time *time) { return sxReadTime(time).value_or(-1); }

sxString sxTimeText(int64_t seconds) {
  using namespace std::chrono;
  const sys_days date = floor<days>(sys_seconds(std::chrono::seconds(seconds)));
  const year_month_day day(date);
  const auto ofDay = static_cast<int>(seconds - int64_t{date.time_since_epoch().count()} * 86400);
  char text[64];
  const int len = std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(day.year()),
                                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()), ofDay / 3600,
                                ofDay / 60 % 60, ofDay % 60);
  return sxString(text, len);
}
