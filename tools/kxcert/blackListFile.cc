#include "blackListFile.h"

#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "certFacts.h"
#include "input.h"
#include "kxcert/foundation/kxBinBuf.h"
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

// The content octets of the negative number with that magnitude.
std::string NegativeDigits(const std::string &magnitude) {
  std::vector<unsigned char> octets((magnitude.size() + 2) / 2);
  sxcert_hex_to_bin(("00" + magnitude).c_str(), octets.data(), static_cast<int>(octets.size()));
  Negate(octets);
  return HexOf(octets.data(), octets.size());
}

// @param text  without the white space around it
bool AddSerial(std::string_view text, sxcert_black_list &list) {
  const bool isNegative = text.starts_with('-');  // as such serials are printed here
  const std::string digits = Digits(text.substr(isNegative ? 1 : 0));
  if (digits.empty()) return false;
  if (isNegative) return list.AddFromString(NegativeDigits(digits).c_str()) == 0;
  if (list.AddFromString(digits.c_str()) != 0) return false;
  // The list takes content octets, where a first bit set means a negative number. Programs print serials
  // without the octet 00 that keeps them positive, so both readings are meant.
  return digits[0] < '8' || list.AddFromString(("00" + digits).c_str()) == 0;
}

}  // namespace

BlackListRef ReadBlackList(const std::string &path, Report &report) {
  kxBinBuf octets;
  const std::string error = ReadOctets(path, octets);
  if (!error.empty()) {
    report.Problem(kExitInputError, path, error);
    return nullptr;
  }
  BlackListRef list(new sxcert_black_list);
  bool allRead = true;
  std::istringstream lines(std::string(reinterpret_cast<const char *>(octets.Data()), octets.Len()));
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    const std::string_view text = TrimEnd(line);
    if (text.empty() || text[0] == '#') continue;
    if (AddSerial(text, *list)) continue;
    report.Problem(kExitInputError, path + " line " + std::to_string(number), "not a hexadecimal serial number");
    allRead = false;
  }
  return allRead ? std::move(list) : nullptr;
}
