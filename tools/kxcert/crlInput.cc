#include "crlInput.h"

#include <algorithm>

#include "certFacts.h"
#include "input.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/cert/serialNumber.h"
#include "report.h"
#include "visibleText.h"

namespace {

int DigitOf(char c) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const size_t at = kDigits.find(c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c);
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

}  // namespace

std::vector<FoundCrl> ReadCrls(const std::string &path, Report &report) {
  std::vector<FoundCrl> found;
  ReadObjects(path, sxLoad_crls, "CRL", report, [&found](const sxLoadItem &item) {
    sxCRL_Save(item.crl);
    found.push_back({CrlRef(item.crl), VisibleLine(item.place.Text())});
  });
  return found;
}

FoundCrl ReadOneCrl(const std::string &path, Report &report) {
  std::vector<FoundCrl> found = ReadCrls(path, report);
  if (found.size() == 1) return std::move(found.front());
  if (found.size() > 1) report.Problem(kExitInputError, InputName(path), "several CRLs; one is needed");
  return {};
}

std::unique_ptr<sxAsnInt> ParseSerial(const std::string &text) {
  const bool isNegative = text.starts_with('-');
  std::string digits = text.substr(isNegative ? 1 : 0);
  for (size_t i = 2; i < digits.size(); i += 2) {
    if (digits[i] == ':') digits.erase(i, 1);
  }
  if (digits.empty() || std::ranges::any_of(digits, [](char c) { return DigitOf(c) < 0; })) return nullptr;
  if (digits.size() % 2 != 0) digits.insert(0, 1, '0');
  std::vector<unsigned char> octets{0};  // positive, whatever the first digit
  for (size_t i = 0; i < digits.size(); i += 2) {
    octets.push_back(static_cast<unsigned char>(DigitOf(digits[i]) << 4 | DigitOf(digits[i + 1])));
  }
  if (isNegative) Negate(octets);
  return std::unique_ptr<sxAsnInt>(AsnIntFromBuf(octets.data(), static_cast<int>(octets.size())));
}

std::string CheckSerial(const std::string &text) {
  return ParseSerial(text) != nullptr ? "" : "not a serial number: " + VisibleLine(text) + "; write it in hexadecimal";
}
