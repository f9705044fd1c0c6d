#include "kxcert/signedfile/fileSignVerify.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "builtinKeys.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/log.h"
#include "kxcert/signedfile/fileSign.h"
#include "platform/files.h"
#include "platform/owned.h"
#include "signatureBlock.h"

namespace {

constexpr int kP521 = 716;  // libcrypto's number, which the sets have as well

using File = sxOwned<std::FILE, std::fclose>;
using Key = sxOwned<sxPubKey, sxFreePubKey>;

std::atomic<bool> g_refuseZeroTime{false};

File Open(const char *path) { return File(kxFile_OpenRegularStream(path)); }

// What is there and is no regular file has one answer, whatever it was given as.
int NotOpened(const char *path, int rc) { return kxFile_IsSpecial(path) ? FSV_FILE_NOT_FOUND : rc; }

// A file that cannot be read to its end is not one without a signature.
int WhyNone(std::FILE *file, int rc) { return std::ferror(file) != 0 ? FSV_READ_FAILED : rc; }

struct RCRow {
  int rc;
  const char *text;
};
constexpr RCRow kTexts[] = {
    {FSV_NOT_VERIFIED, "Signature not verified"},
    {FSV_READ_FAILED, "Failed reading file"},
    {FSV_NOT_SIGNED, "File is not properly signed"},
    {FSV_NO_KEY, "Key file not found"},
    {FSV_OLD_IS_LATER, "Old file has later date than new file"},
    {FSV_OLD_NOT_SIGNED, "Old file is not properly signed"},
    {FSV_FILE_NOT_FOUND, "File not found"},
};

// The file that is verified, opened once: what is hashed is what the block was read from.
struct SignedFile {
  const char *func;
  const char *file;
  const char *sigFile;  // null: the block is embedded
  unsigned char digest[64];
  SignatureBlock block;

  int Read();
};

int SignedFile::Read() {
  const char *const blockFile = sigFile != nullptr ? sigFile : file;
  File from = Open(blockFile);
  if (from == nullptr) {
    herror_func(0, 0, "%s: Failed to open file '%s' for signing.", func, blockFile);
    return FSV_FILE_NOT_FOUND;
  }
  if (!ReadSignatureBlock(from.get(), &block)) {
    herror_func(0, 0, "%s: Failed to extract timestamp and signature from file %s", func, blockFile);
    return WhyNone(from.get(), FSV_NOT_SIGNED);
  }
  if (g_refuseZeroTime && block.Seconds() == 0) {
    herror_func(0, 0, "%s: A time of zero is refused, in file %s", func, blockFile);
    return FSV_NOT_SIGNED;
  }
  const bool embedded = sigFile == nullptr;
  if (!embedded) from = Open(file);
  int rc = FSV_FILE_NOT_FOUND;
  if (from != nullptr) {
    rc = embedded && std::fseek(from.get(), 0, SEEK_SET) != 0
             ? FSV_READ_FAILED
             : HashFile(from.get(), block.timestamp, digest, embedded, embedded);
    if (rc == FSV_NOT_SIGNED) rc = WhyNone(from.get(), rc);
  }
  if (rc != FSV_OK) herror_func(0, 0, "%s: Could not calculate hash of file %s", func, file);
  return rc;
}

// 1 when the signature is the key's.
int VerifyWith(sxPubKey *key, const SignedFile &signedFile) {
  const SignatureBlock &block = signedFile.block;
  return key->Verify(sxPKop_raw, sx_md_sha512, signedFile.digest, sizeof signedFile.digest, block.signature.data(),
                     static_cast<int>(block.signature.size())) == 0;
}

bool VerifyWithTestKey(const SignedFile &signedFile) {
  if (secure_getenv("FSV_TESTING") == nullptr) return false;
  herror_func(0, 0, "%s: Now testing the QA key", signedFile.func);
  const std::unique_ptr<sxset> set(sio_sread(kTestKey, nullptr));
  const Key key(load_key_do(set.get()));
  const int verified = key == nullptr ? 0 : VerifyWith(key.get(), signedFile);
  herror_func(0, 0, "%s: Verify with the QA key returned %d", signedFile.func, verified);
  return verified == 1;
}

// @param fmt  of func and the time
void TraceTime(const char *fmt, const char *func, uint64_t seconds) {
  char text[32];
  const bool readable = seconds <= INT64_MAX && sxCtime_no_nl(static_cast<int64_t>(seconds), text, sizeof text) == 0;
  herror_func(0, 0, fmt, func, readable ? text : "a time beyond the calendar");
}

int CompareWithOld(const SignedFile &signedFile, const char *oldFile) {
  const char *const func = signedFile.func;
  herror_func(0, 0, "%s: Read old file to get previous timestamp. No validation will be performed", func);
  const File file = Open(oldFile);
  const bool isNotThere = file == nullptr && (errno == ENOENT || errno == ENOTDIR);
  SignatureBlock old;
  if (file == nullptr || !ReadSignatureBlock(file.get(), &old)) {
    herror_func(0, 0, "%s: Failed to extract timestamp and signature from old file %s", func, oldFile);
    if (file != nullptr) return WhyNone(file.get(), FSV_OLD_NOT_SIGNED);
    return NotOpened(oldFile, isNotThere ? FSV_OLD_NOT_SIGNED : FSV_READ_FAILED);
  }
  const uint64_t newSeconds = signedFile.block.Seconds();
  if (old.Seconds() <= newSeconds) {
    herror_func(0, 0, "%s: New file is %lld seconds newer than the old file", func,
                static_cast<long long>(newSeconds - old.Seconds()));
    return FSV_OK;
  }
  TraceTime("%s: New file is from: %s", func, newSeconds);
  TraceTime("%s: Old file is from: %s", func, old.Seconds());
  return FSV_OLD_IS_LATER;
}

// @param isNamed  whoever named a key means no other
int Decide(SignedFile &signedFile, const char *oldFile, sxPubKey *key, bool isNamed) {
  if (const int rc = signedFile.Read(); rc != FSV_OK) return rc;
  const int verified = VerifyWith(key, signedFile);
  herror_func(0, 0, "%s: Verify returned %d", signedFile.func, verified);
  if (verified != 1 && (isNamed || !VerifyWithTestKey(signedFile))) return FSV_NOT_VERIFIED;
  return oldFile == nullptr ? FSV_OK : CompareWithOld(signedFile, oldFile);
}

int Verify(const char *func, const char *file, const char *sigFile, const char *oldFile, const char *keyFile) {
  const Key key(load_key(keyFile, nullptr));
  if (key == nullptr) {
    herror_func(0, 0, "%s: Could not load public key", func);
    return NotOpened(keyFile, FSV_NO_KEY);
  }
  SignedFile signedFile{func, file, sigFile, {}, {}};
  return Decide(signedFile, oldFile, key.get(), keyFile != nullptr);
}

}  // namespace

void fsv_refuse_zero_time(bool refuse) { g_refuseZeroTime = refuse; }

const char *FSV_RC_to_str(int rc) {
  for (const RCRow &row : kTexts) {
    if (row.rc == rc) return row.text;
  }
  static thread_local char text[32];
  std::snprintf(text, sizeof text, "unknown error %d", rc);
  return text;
}

int FileSignVerify(const char *file, const char *oldFile, const char *keyFile) {
  if (file == nullptr) return FSV_FILE_NOT_FOUND;
  return Verify("FileSignVerify", file, nullptr, oldFile, keyFile);
}

int FileSignVerify2(const char *file, const char *sigFile, const char *oldFile, const char *keyFile) {
  if (file == nullptr || sigFile == nullptr) return FSV_FILE_NOT_FOUND;
  return Verify("FileSignVerify2", file, sigFile, oldFile, keyFile);
}

int FileVerifyWithKey(const char *file, const char *sigFile, const char *oldFile, sxPubKey *key) {
  if (file == nullptr) return FSV_FILE_NOT_FOUND;
  if (!fsg_key_fits(key, false)) return FSV_NO_KEY;
  SignedFile signedFile{"FileVerifyWithKey", file, sigFile, {}, {}};
  return Decide(signedFile, oldFile, key, true);
}

int FileSignVerifyC(const char *file, const char *oldFile, const char *keyFile) {
  return FileSignVerify(file, oldFile, keyFile);
}
int FileSignVerify2C(const char *file, const char *sigFile, const char *oldFile, const char *keyFile) {
  return FileSignVerify2(file, sigFile, oldFile, keyFile);
}

int get_timestamp_and_signature(const char *file, unsigned long long &timestamp, unsigned char *sig,
                                unsigned int &sigLen) {
  const File from = Open(file);
  if (from == nullptr) return FSV_FILE_NOT_FOUND;
  SignatureBlock block;
  const size_t room = sig != nullptr ? sigLen : 0;
  if (!ReadSignatureBlock(from.get(), &block) || block.signature.size() > room) return FSV_NOT_SIGNED;
  static_assert(sizeof timestamp == sizeof block.timestamp);
  std::memcpy(&timestamp, block.timestamp, sizeof timestamp);
  if (!block.signature.empty()) std::memcpy(sig, block.signature.data(), block.signature.size());
  sigLen = static_cast<unsigned int>(block.signature.size());
  return FSV_OK;
}

int hash_file(const char *file, unsigned long long timestamp, unsigned char digest[64], bool textMode, bool skipBlock) {
  const File from = Open(file);
  if (from == nullptr) return FSV_FILE_NOT_FOUND;
  if (digest == nullptr) return FSV_READ_FAILED;
  unsigned char octets[8];
  std::memcpy(octets, &timestamp, sizeof octets);
  const int rc = HashFile(from.get(), octets, digest, textMode, skipBlock);
  return rc == FSV_NOT_SIGNED ? WhyNone(from.get(), rc) : rc;
}

sxPubKey *load_key(const char *keyFile, sxset **out) {
  constexpr const char *kFunc = "load_key";
  if (out != nullptr) *out = nullptr;
  std::string error;
  std::unique_ptr<sxset> set(keyFile != nullptr ? sio_readx(keyFile, &error) : sio_sread(kProductionKey, &error));
  if (set == nullptr) {
    herror_func(0, 0, "%s: Failed to open key file '%s'\n", kFunc, keyFile != nullptr ? keyFile : "(built in)");
    herror_func(0, 0, "%s: %s", kFunc, error.c_str());
    return nullptr;
  }
  if (keyFile == nullptr) herror_func(0, 0, "%s: Using default public key", kFunc);
  sxPubKey *const key = load_key_do(set.get());
  if (key != nullptr && out != nullptr) *out = set.release();
  return key;
}

sxPubKey *load_key_do(const sxset *set) {
  if (set == nullptr) return nullptr;
  long long nid = 0;
  const sxset *const curve = set->FindSet("curve");
  std::vector<unsigned char> point;
  if (curve == nullptr || !curve->FindInt("NID", &nid) || nid != kP521 || !set->FindBinary("public", &point) ||
      point.size() > kMaxFileSignatureLen) {
    herror_func(0, 0, "load_key_do: no public key of the curve %d", kP521);
    return nullptr;
  }
  return sxImportECDSAKey(sxPK_public, point.data(), static_cast<int>(point.size()), kP521);
}
