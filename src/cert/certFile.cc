// Certificate files.
#include <strings.h>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "kxcert/cert/certFile.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "platform/files.h"

namespace {

constexpr size_t kPrefixLen = 5;           // of "{ASN}"
constexpr long kMaxCertFileLen = 1 << 26;  // certificates are kilobytes; this bounds what a mistake costs

struct CloseFile {
  void operator()(FILE *file) const { std::fclose(file); }
};

template <class... Args>
int Fail(char *err, const char *fmt, Args... args) {
  if (err != nullptr) std::snprintf(err, kCertFileErrLen, fmt, args...);
  return -1;
}

}  // namespace

int sxCert_AsnBufFromFile(const char *name, kxBinBuf &out, char *err) {
  const std::unique_ptr<FILE, CloseFile> file(kxFile_OpenRegularStream(name));
  if (file == nullptr) return Fail(err, "Error opening file %s", name == nullptr ? "" : name);
  char prefix[kPrefixLen];
  if (std::fread(prefix, 1, kPrefixLen, file.get()) != kPrefixLen) {
    return Fail(err, "Error reading data from file %s, maybe file too small?", name);
  }
  long fileLen = -1;
  if (std::fseek(file.get(), 0, SEEK_END) == 0) fileLen = std::ftell(file.get());
  if (fileLen < static_cast<long>(kPrefixLen) || fileLen > kMaxCertFileLen) {
    return Fail(err, "Error reading binary data from file %s", name);
  }
  const bool hex = strncasecmp(prefix, "{ASN}", kPrefixLen) == 0;
  const size_t start = hex ? kPrefixLen : 0;
  const size_t len = static_cast<size_t>(fileLen) - start;
  if (hex && len % 2 != 0) {
    return Fail(err, "illegal length (%d) for hex data in file %s", static_cast<int>(len), name);
  }
  std::vector<char> text(len);
  if (std::fseek(file.get(), static_cast<long>(start), SEEK_SET) != 0 ||
      std::fread(text.data(), 1, len, file.get()) != len) {
    return Fail(err, hex ? "Error reading hex data from file %s" : "Error reading binary data from file %s", name);
  }
  if (!hex) {
    out.Set(text.data(), static_cast<unsigned int>(len));
    return 0;
  }
  std::vector<unsigned char> octets(len / 2);
  if (string_to_bytes(text.data(), static_cast<int>(len), octets.data(), static_cast<int>(octets.size())) != 0) {
    return Fail(err, "Error reading hex data from file %s", name);
  }
  std::reverse(octets.begin(), octets.end());  // the form stores the last octet first: intended
  out.Set(octets.data(), static_cast<unsigned int>(octets.size()));
  return 0;
}
