// Signed files: the block is read, and the digest is the one of the octets that are said to be signed.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "check.h"
#include "kxcert/platform/digest.h"
#include "kxcert/signedfile/fileSignVerify.h"
#include "signedfile/signatureBlock.h"

namespace {

constexpr size_t kMaxLine = 999;  // characters that are taken for one line

// What stands behind the line that ends the block; npos without one.
size_t EndOfBlock(const std::string &content) {
  for (size_t pos = 0; pos < content.size();) {
    const size_t feed = content.find('\n', pos);
    const size_t end = std::min(pos + kMaxLine, feed == std::string::npos ? content.size() : feed + 1);
    if (std::strstr(content.substr(pos, end - pos).c_str(), "NORVANE SIGNATURE ENDS") != nullptr) return end;
    pos = end;
  }
  return std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  std::string content(reinterpret_cast<const char *>(data), size);
  std::FILE *const file = fmemopen(content.data(), content.size(), "rb");
  KX_ASSERT(file != nullptr);
  SignatureBlock block;
  if (ReadSignatureBlock(file, &block)) {
    KX_ASSERT(block.signature.size() < kMaxLine);
    uint64_t seconds = 0;
    for (int i = 0; i < 8; ++i) seconds = seconds * 256 + block.timestamp[i];
    KX_ASSERT(block.Seconds() == seconds);
  }

  unsigned char digest[64], expected[64];
  std::rewind(file);
  const int rc = HashFile(file, block.timestamp, digest, true, true);
  std::fclose(file);
  const size_t end = EndOfBlock(content);
  KX_ASSERT(rc == (end == std::string::npos ? FSV_NOT_SIGNED : FSV_OK));
  if (rc != FSV_OK) return 0;
  std::string octets;
  if (block.Seconds() != 0) octets.assign(block.timestamp, block.timestamp + 8);
  for (const char c : content.substr(end)) {
    if (static_cast<unsigned char>(c) > 31) octets += c;
  }
  KX_ASSERT(kx_md_hashbuf(sx_md_sha512, octets.data(), octets.size(), expected, 64) == 0);
  KX_ASSERT(std::memcmp(digest, expected, 64) == 0);
  return 0;
}
