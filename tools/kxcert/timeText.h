/// @file
/// Points in time as an administrator writes and reads them, always in UTC.
#ifndef KXCERT_TOOLS_KXCERT_TIMETEXT_H_
#define KXCERT_TOOLS_KXCERT_TIMETEXT_H_

#include <cstdint>
#include <string>

/// The library's times end here: later ones are clamped to this day.
constexpr int64_t kFirstClampedSec = 2145916800;  // 2038-01-01 00:00 UTC

/// Reads "YYYY-MM-DD", with " HH:MM" or " HH:MM:SS" and "UTC" or "Z" behind it when wanted ("T" may
/// stand for the space), or seconds since 1970-01-01 00:00 UTC.
/// @return false for anything else, dates that do not exist, and times before 1970
bool ParseTime(const std::string &text, int64_t *seconds);
std::string CheckTime(const std::string &text);  ///< of an option: "", or what is wrong with it

/// "2030-01-01 00:00:00 UTC".
std::string PrintTime(int64_t seconds);
/// The same for a notBefore or notAfter; "after 2037" for a clamped one.
std::string PrintCertTime(int64_t seconds);

/// The library prints certificates and CRLs with local times, and says so; the command has no time zone but UTC (UseUtc),
/// so that nothing it says depends on the machine.
void UseUtc();
std::string InUtc(std::string_view printed);  ///< a print of the library's, its times called UTC

#endif
