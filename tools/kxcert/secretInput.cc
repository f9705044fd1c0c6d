#include "secretInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>
#include <utility>

#include "input.h"

namespace {

constexpr std::string_view kFile = "file:";
constexpr std::string_view kEnv = "env:";
constexpr std::string_view kDescriptor = "fd:";
constexpr size_t kMaxLineEndLen = 2;

struct Descriptor {
  ~Descriptor() {
    if (number >= 0) close(number);
  }
  const int number;
};

// @return -1 when it is no number of a descriptor
int NumberIn(std::string_view text) {
  int number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number >= 0 ? number : -1;
}

std::string SystemSays() { return std::strerror(errno); }

// Whatever it is called: /dev/stdin is a pipe's other name. A file that is opened again begins anew.
bool IsStandardInput(int fd) {
  struct stat found, input;
  if (fd == STDIN_FILENO) return true;
  if (fstat(fd, &found) != 0 || fstat(STDIN_FILENO, &input) != 0 || S_ISREG(found.st_mode)) return false;
  return found.st_dev == input.st_dev && found.st_ino == input.st_ino;
}

// To the end, but no more than one octet more than a secret and a line end may have.
std::string ReadAll(int fd, kxBinBuf &area, size_t *len) {
  if (IsStandardInput(fd) && !TakeStandardInput()) return kStandardInputTaken;
  for (*len = 0; *len < area.Len();) {
    const ssize_t got = read(fd, area.Data() + *len, area.Len() - *len);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return "cannot be read: " + SystemSays();
    if (got == 0) break;
    *len += static_cast<size_t>(got);
  }
  return "";
}

std::string FromEnvironment(const char *name, kxBinBuf &area, size_t *len) {
  const char *const value = std::getenv(name);
  if (value == nullptr) return "there is no such environment variable";
  *len = strnlen(value, area.Len());
  std::memcpy(area.Data(), value, *len);
  return "";
}

std::string FromSource(std::string_view source, kxBinBuf &area, size_t *len) {
  if (source.starts_with(kEnv)) return FromEnvironment(std::string(source.substr(kEnv.size())).c_str(), area, len);
  if (source.starts_with(kDescriptor)) return ReadAll(NumberIn(source.substr(kDescriptor.size())), area, len);
  const std::string path(source.substr(kFile.size()));
  const Descriptor file{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
  return file.number < 0 ? "cannot be opened: " + SystemSays() : ReadAll(file.number, area, len);
}

void DropLineEnd(const kxBinBuf &area, size_t *len) {
  if (*len > 0 && area.Data()[*len - 1] == '\n') --*len;
  if (*len > 0 && area.Data()[*len - 1] == '\r') --*len;
}

}  // namespace

std::string CheckSecretSource(const std::string &source) {
  const std::string_view text(source);
  const bool isFile = text.starts_with(kFile) && text.size() > kFile.size();
  const bool isEnv = text.starts_with(kEnv) && text.size() > kEnv.size();
  const bool isDescriptor = text.starts_with(kDescriptor) && NumberIn(text.substr(kDescriptor.size())) >= 0;
  return isFile || isEnv || isDescriptor ? "" : std::string("not ") + kSecretSources;
}

std::string ReadSecret(const std::string &source, kxBinBuf &out, SecretLen allowed) {
  // A pipe gives what it holds only once, and several keys may have one password.
  static std::map<std::string, kxBinBuf> read;
  out.Clear();
  if (const std::string wrong = CheckSecretSource(source); !wrong.empty()) return "the secret is to come from " + wrong;
  auto known = read.find(source);
  if (known == read.end()) {
    kxBinBuf area;
    area.SetSensitive(true);
    area.Set(static_cast<unsigned int>(kMaxSecretLen + kMaxLineEndLen + 1));
    size_t len = 0;
    if (const std::string wrong = FromSource(source, area, &len); !wrong.empty()) return source + ": " + wrong;
    DropLineEnd(area, &len);
    if (len > kMaxSecretLen) return source + ": longer than " + std::to_string(kMaxSecretLen) + " octets";
    area.Set(static_cast<unsigned int>(len));  // shrinks and wipes the rest
    known = read.emplace(source, std::move(area)).first;
  }
  if (known->second.Len() == 0 && allowed == SecretLen::kNotEmpty) return source + ": is empty";
  out = known->second;
  return "";
}
