#include "timeText.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

namespace {

constexpr int64_t kLastSecond = 253402300799;   // of the year 9999

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

bool TakeDate(std::string_view &text, std::tm *when) {
  return TakeNumber(text, 4, &when->tm_year) && Take(text, "-") && TakeNumber(text, 2, &when->tm_mon) &&
         Take(text, "-") && TakeNumber(text, 2, &when->tm_mday);
}

bool TakeTimeOfDay(std::string_view &text, std::tm *when) {
  if (!TakeNumber(text, 2, &when->tm_hour) || !Take(text, ":") || !TakeNumber(text, 2, &when->tm_min)) return false;
  return !Take(text, ":") || TakeNumber(text, 2, &when->tm_sec);
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
  std::tm when{};
  if (!TakeDate(rest, &when)) return false;
  const bool timeFollows = rest.size() > 1 && (rest[0] == ' ' || rest[0] == 'T') && AllDigits(rest.substr(1, 1));
  if (timeFollows) {
    rest.remove_prefix(1);
    if (!TakeTimeOfDay(rest, &when)) return false;
  }
  if (!rest.empty() && rest != " UTC" && rest != "UTC" && rest != "Z") return false;
  when.tm_year -= 1900;
  when.tm_mon -= 1;
  std::tm normal = when;
  const time_t value = timegm(&normal);
  // timegm carries what is out of range over; such a date does not come back as it was.
  if (normal.tm_mon != when.tm_mon || normal.tm_mday != when.tm_mday || normal.tm_hour != when.tm_hour ||
      normal.tm_min != when.tm_min || normal.tm_sec != when.tm_sec || value < 0) {
    return false;
  }
  *seconds = value;
  return true;
}

std::string PrintTime(int64_t seconds) {
  const auto value = static_cast<time_t>(seconds);
  std::tm when{};
  char text[64];
  if (gmtime_r(&value, &when) == nullptr || std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &when) == 0) {
    return std::to_string(seconds) + " seconds after 1970";
  }
  return text;
}

std::string PrintCertTime(int64_t seconds) {
  return seconds >= kFirstClampedSec ? "after 2037" : PrintTime(seconds);
}
