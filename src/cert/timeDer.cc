#include "timeDer.h"

#include <cctype>
#include <string>

#include "kxcert/cert/certTime.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/foundation/sxString.h"

namespace {

constexpr int64_t kFirstUtc = -631152000;          // 1950-01-01 00:00 UTC: RFC 5280, 5.1.2.4
constexpr int64_t kFirstGeneralized = 2524608000;  // 2050-01-01 00:00 UTC
constexpr int64_t kFirstSecond = -62167219200;     // 0000-01-01 00:00 UTC: four digits are no fewer
constexpr int64_t kLastSecond = 253402300799;      // 9999-12-31 23:59:59 UTC: and no more

sxDerOctets Generalized(int64_t seconds) {
  if (seconds < kFirstSecond || seconds > kLastSecond) return {};
  std::string text = sxTimeText(seconds).getstr();  // "2030-01-31 23:59:59 UTC"
  std::erase_if(text, [](unsigned char c) { return std::isdigit(c) == 0; });
  text += 'Z';
  return sxDerOf(kDerGeneralizedTime, {{reinterpret_cast<const unsigned char *>(text.data()), text.size()}});
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
