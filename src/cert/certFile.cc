// Certificate files.
#include "kxcert/cert/certFile.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "kxcert/foundation/hexText.h"
#include "readInput.h"

namespace {

constexpr unsigned int kPrefixLen = 5;       // of "{ASN}"
constexpr size_t kMaxCertFileLen = 1 << 26;  // certificates are kilobytes; this bounds what a mistake costs

template <class... Args>
int Fail(char *err, const char *fmt, Args... args) {
  if (err != nullptr) std::snprintf(err, kCertFileErrLen, fmt, args...);
  return -1;
}

}  // namespace

int sxCert_AsnBufFromFile(const char *name, kxBinBuf &out, char *err) {
  sxWipedBuf file;
  const sxReadResult result = sxReadWhole(name, kMaxCertFileLen, file.buf);
  if (result == sxReadResult::kNotOpened || result == sxReadResult::kNoFile) {
    return Fail(err, "Error opening file %s", name == nullptr ? "" : name);
  }
  if (result != sxReadResult::kDone) return Fail(err, "Error reading binary data from file %s", name);
  if (file.buf.Len() < kPrefixLen) { return Fail(err, "Error reading data from file %s, maybe file too small?", name); }
  const auto *const text = reinterpret_cast<const char *>(file.buf.Data());
  if (strncasecmp(text, "{ASN}", kPrefixLen) != 0) {
    out.Set(file.buf.Data(), file.buf.Len());
    return 0;
  }
  const auto len = static_cast<int>(file.buf.Len() - kPrefixLen);
  if (len % 2 != 0) return Fail(err, "illegal length (%d) for hex data in file %s", len, name);
  std::vector<unsigned char> octets(static_cast<size_t>(len) / 2);
  if (string_to_bytes(text + kPrefixLen, len, octets.data(), len / 2) != 0) {
    return Fail(err, "Error reading hex data from file %s", name);
  }
  std::reverse(octets.begin(), octets.end());  // the form stores the last octet first: intended
  out.Set(octets.data(), static_cast<unsigned int>(octets.size()));
  return 0;
}
