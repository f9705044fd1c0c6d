#include "timeText.h"

#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>
#include <string_view>

#include "kxcert/cert/certTime.h"
#include "kxcert/foundation/sxString.h"
#include "visibleText.h"

namespace {

// Not time_t: it ends in 2038 on some targets.
using std::chrono::sys_days;
using std::chrono::sys_seconds;
using std::chrono::year_month_day;

constexpr int64_t kDaySec = 86400;
constexpr int64_t kLastSecond = 253402300799;  // of the year 9999

// At the start of a line that has a time, behind its TABs; of a CRL's entry the number comes first.
constexpr std::string_view kTimeLabels[] = {
    "Not valid before: ", "Not valid after:  ", "This update: ", "Next update: ", "Serial Number: "};
constexpr std::string_view kLocalTime = " Local Time", kUtc = " UTC";

// Of a line that begins with such a label the first one: names stand behind it, and may say what they like.
std::string LineInUtc(std::string_view line) {
  std::string text(line);
  const std::string_view untabbed = line.substr(std::min(line.find_first_not_of('\t'), line.size()));
  const bool isTime =
      std::ranges::any_of(kTimeLabels, [untabbed](std::string_view label) { return untabbed.starts_with(label); });
  const size_t found = isTime ? text.find(kLocalTime) : std::string::npos;
  return found == std::string::npos ? text : text.replace(found, kLocalTime.size(), kUtc);
}

bool AllDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// One number of exactly that many digits, from the front of the text.
bool TakeNumber(std::string_view &text, size_t numDigits, int *value) {
  if (text.size() < numDigits || !AllDigits(text.substr(0, numDigits))) return false;
  std::from_chars(text.data(), text.data() + numDigits, *value);
  text.remove_prefix(numDigits);
  return true;
}

bool Take(std::string_view &text, std::string_view wanted) {
  if (!text.starts_with(wanted)) return false;
  text.remove_prefix(wanted.size());
  return true;
}

bool TakeDate(std::string_view &text, sys_days *date) {
  int year = 0, month = 0, day = 0;
  if (!TakeNumber(text, 4, &year) || !Take(text, "-") || !TakeNumber(text, 2, &month) || !Take(text, "-") ||
      !TakeNumber(text, 2, &day)) {
    return false;
  }
  const year_month_day value{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                             std::chrono::day(static_cast<unsigned>(day))};
  *date = value;
  return value.ok();
}

bool TakeTimeOfDay(std::string_view &text, int64_t *seconds) {
  int hour = 0, minute = 0, second = 0;
  if (!TakeNumber(text, 2, &hour) || !Take(text, ":") || !TakeNumber(text, 2, &minute)) return false;
  if (Take(text, ":") && !TakeNumber(text, 2, &second)) return false;
  *seconds = (int64_t{hour} * 60 + minute) * 60 + second;
  return hour < 24 && minute < 60 && second < 60;
}

}  // namespace

bool ParseTime(const std::string &text, int64_t *seconds) {
  if (AllDigits(text)) {
    int64_t value = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc() || value > kLastSecond) {
      return false;
    }
    *seconds = value;
    return true;
  }
  std::string_view rest(text);
  sys_days date;
  int64_t timeOfDay = 0;
  if (!TakeDate(rest, &date) || date.time_since_epoch().count() < 0) return false;
  const bool timeFollows = rest.size() > 1 && (rest[0] == ' ' || rest[0] == 'T') && AllDigits(rest.substr(1, 1));
  if (timeFollows) {
    rest.remove_prefix(1);
    if (!TakeTimeOfDay(rest, &timeOfDay)) return false;
  }
  if (!rest.empty() && rest != " UTC" && rest != "UTC" && rest != "Z") return false;
  *seconds = int64_t{date.time_since_epoch().count()} * kDaySec + timeOfDay;
  return true;
}

std::string PrintTime(int64_t seconds) { return sxTimeText(seconds).getstr(); }

std::string PrintCertTime(int64_t seconds) {
  if (seconds == -1) return "a time that cannot be read";
  return seconds >= kFirstClampedSec ? "after 2037" : PrintTime(seconds);
}

std::string CheckTime(const std::string &text) {
  int64_t seconds = 0;
  return ParseTime(text, &seconds) ? "" : "not a time: " + VisibleLine(text) + "; write \"2030-01-31 12:00 UTC\"";
}

void UseUtc() {
  setenv("TZ", "UTC0", 1);
  tzset();
}

std::string InUtc(std::string_view printed) {
  std::string text;
  while (!printed.empty()) {
    const size_t end = std::min(printed.find('\n'), printed.size() - 1) + 1;
    text += LineInUtc(printed.substr(0, end));
    printed.remove_prefix(end);
  }
  return text;
}
