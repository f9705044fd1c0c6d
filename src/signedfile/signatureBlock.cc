#include "signatureBlock.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "kxcert/foundation/base64.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/log.h"
#include "kxcert/signedfile/fileSignVerify.h"

namespace {

constexpr size_t kMaxLine = 1000;  // with its NUL; a longer line is taken as several
constexpr size_t kChunk = 30000;
constexpr int kNumBytesShown = 120;
constexpr unsigned char kLastControl = 31;

constexpr const char *kBegins = "NORVANE SIGNATURE BEGINS";
constexpr const char *kTimeStamp = "TimeStamp = ";
constexpr const char *kSig = "SIG = ";
constexpr const char *kEnds = "NORVANE SIGNATURE ENDS";

// Reads on to a line that contains @p marker. @return what follows it there, or null at the file's end
const char *FindLine(std::FILE *file, const char *marker, char (&line)[kMaxLine]) {
  while (std::fgets(line, kMaxLine, file) != nullptr) {
    if (const char *const found = std::strstr(line, marker)) return found + std::strlen(marker);
  }
  return nullptr;
}

bool FindBase64(std::FILE *file, const char *marker, std::vector<unsigned char> *octets) {
  char line[kMaxLine];
  const char *const text = FindLine(file, marker, line);
  if (text == nullptr) return false;
  int len = 0;
  const std::unique_ptr<unsigned char, void (*)(void *)> decoded(
      Base64Decode(text, static_cast<int>(std::strlen(text)), &len), Base64FreeBuffer);
  if (decoded == nullptr) return false;
  octets->assign(decoded.get(), decoded.get() + len);
  return true;
}

// In one line, of however many octets.
std::string Base64Line(const unsigned char *octets, size_t len) {
  const std::unique_ptr<char, void (*)(void *)> text(Base64Encode(octets, static_cast<int>(len)), Base64FreeBuffer);
  std::string line = text == nullptr ? "" : text.get();
  std::erase_if(line, [](char c) { return c == '\r' || c == '\n'; });
  return line;
}

bool IsControl(unsigned char c) { return c <= kLastControl; }

}  // namespace

uint64_t SignatureBlock::Seconds() const {
  uint64_t seconds = 0;
  for (const unsigned char octet : timestamp) seconds = seconds << 8 | octet;
  return seconds;
}

bool ReadSignatureBlock(std::FILE *file, SignatureBlock *block) {
  constexpr const char *kFunc = "get_timestamp_and_signature";
  char line[kMaxLine];
  std::vector<unsigned char> time;
  if (FindLine(file, kBegins, line) == nullptr || !FindBase64(file, kTimeStamp, &time) ||
      time.size() != sizeof block->timestamp || !FindBase64(file, kSig, &block->signature)) {
    return false;
  }
  std::copy(time.begin(), time.end(), block->timestamp);
  herror_func(0, 0, "%s: timestamp and signature:", kFunc);
  hex_herror(block->timestamp, sizeof block->timestamp);
  hex_herror(block->signature.data(), static_cast<int>(block->signature.size()));
  return true;
}

bool BeginsWithBlock(std::FILE *file) {
  char line[kMaxLine];
  return std::fgets(line, kMaxLine, file) != nullptr && std::strstr(line, kBegins) != nullptr;
}

bool SkipToEndOfBlock(std::FILE *file) {
  char line[kMaxLine];
  return FindLine(file, kEnds, line) != nullptr;
}

std::string SignatureBlockText(const SignatureBlock &block) {
  const std::string time = Base64Line(block.timestamp, sizeof block.timestamp);
  const std::string signature = Base64Line(block.signature.data(), block.signature.size());
  return std::string("# ") + kBegins + "\n# " + kTimeStamp + time + "\n# " + kSig + signature + "\n# " + kEnds + "\n";
}

int HashFile(std::FILE *file, const unsigned char timestamp[8], unsigned char digest[64], bool textMode,
             bool skipBlock) {
  constexpr const char *kFunc = "hash_file";
  kxSHA512State state;
  if (kxSHA512Init(&state) != 0) return FSV_READ_FAILED;
  if (std::any_of(timestamp, timestamp + 8, [](unsigned char octet) { return octet != 0; })) {
    kxSHA512Update(&state, timestamp, 8);
  }
  if (skipBlock) {
    herror_func(0, 0, "%s: skipping to end of signature", kFunc);
    if (!SkipToEndOfBlock(file)) return FSV_NOT_SIGNED;
  }
  const std::unique_ptr<unsigned char[]> chunk(new unsigned char[kChunk]);
  unsigned char *const begin = chunk.get();
  unsigned int numHashed = 0;  // as it is shown: modulo 2^32
  bool first = true;
  while (const size_t numRead = std::fread(begin, 1, kChunk, file)) {
    const unsigned char *const end = textMode ? std::remove_if(begin, begin + numRead, IsControl) : begin + numRead;
    if (first) {
      herror_func(0, 0, "%s: Here are the first bytes of the file", kFunc);
      hex_herror(begin, static_cast<int>(std::min<ptrdiff_t>(end - begin, kNumBytesShown)));
      first = false;
    }
    kxSHA512Update(&state, begin, static_cast<size_t>(end - begin));
    numHashed += static_cast<unsigned int>(end - begin);
  }
  if (std::ferror(file) != 0) return FSV_READ_FAILED;
  herror_func(0, 0, "%s: hashed %u bytes.\n", kFunc, numHashed);
  return kxSHA512Final(&state, digest) == 0 ? FSV_OK : FSV_READ_FAILED;
}
