#include "blackListFile.h"

#include <sstream>

#include "input.h"
#include "kxcert/foundation/sxString.h"
#include "report.h"
#include "visibleText.h"

namespace {

// Whole octets without separators; "" when it is no number.
std::string Digits(std::string_view line) {
  std::string digits;
  for (const char c : line) {
    if (c != ':' && c != ' ' && c != '\t') digits += c;
  }
  if (digits.empty() || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return "";
  return digits.size() % 2 != 0 ? "0" + digits : digits;
}

bool AddSerial(const std::string &digits, sxcert_black_list &list) {
  if (list.AddFromString(digits.c_str()) != 0) return false;
  // The list takes content octets, where a first bit set means a negative number. Programs print serials
  // without the octet 00 that keeps them positive, so both readings are meant.
  return digits[0] < '8' || list.AddFromString(("00" + digits).c_str()) == 0;
}

}  // namespace

BlackListRef ReadBlackList(const std::string &path, Report &report) {
  std::string octets;
  const std::string error = ReadOctets(path, octets);
  if (!error.empty()) {
    report.Problem(kExitInputError, path, error);
    return nullptr;
  }
  BlackListRef list(new sxcert_black_list);
  std::istringstream lines(octets);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    const std::string_view text = TrimEnd(line);
    if (text.empty() || text[0] == '#') continue;
    const std::string digits = Digits(text);
    if (digits.empty() || !AddSerial(digits, *list)) {
      report.Problem(kExitInputError, path + " line " + std::to_string(number), "not a hexadecimal serial number");
    }
  }
  return list;
}
