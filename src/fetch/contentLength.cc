#include "fetch/contentLength.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::string_view kName = "content-length:";
constexpr char kBlanks[] = " \t\r\n";

std::string_view Trim(std::string_view text) {
  const size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

bool IsContentLength(std::string_view line) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 32) : c; };
  return line.size() >= kName.size() && std::ranges::equal(line.substr(0, kName.size()), kName, {}, lower);
}

// @return -1: none
int64_t NumberOf(std::string_view digits) {
  int64_t number = -1;
  const char *const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  return error == std::errc() && stop == end ? std::max<int64_t>(number, -1) : -1;
}

}  // namespace

bool ContentLength::Take(std::string_view line) {
  if (line.starts_with("HTTP/")) m_len = -1;  // what was before is of an answer of the kind 1xx
  if (!IsContentLength(line)) return true;
  std::string_view rest = line.substr(kName.size());
  for (bool isLast = false; !isLast;) {  // a list of the same number does no harm
    const size_t end = std::min(rest.find(','), rest.size());
    const int64_t len = NumberOf(Trim(rest.substr(0, end)));
    if (len < 0 || (m_len >= 0 && len != m_len)) return false;
    m_len = len;
    isLast = end == rest.size();
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return true;
}
