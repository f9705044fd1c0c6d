#include "kxcert/signedfile/fileSign.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/log.h"
#include "kxcert/signedfile/fileSignVerify.h"
#include "platform/files.h"
#include "platform/owned.h"
#include "platform/wholeFile.h"
#include "signatureBlock.h"

namespace {

constexpr int kP521Bits = 521;
constexpr size_t kChunk = 30000;
constexpr unsigned int kModePermissions = 0777;

using File = sxOwned<std::FILE, std::fclose>;

struct RCRow {
  int rc;
  const char *text;
};
constexpr RCRow kTexts[] = {
    {FSG_OK, "Signed"},
    {FSG_NO_FILE, "File not found"},
    {FSG_READ_FAILED, "Failed reading file, or it changed meanwhile"},
    {FSG_BAD_KEY, "Not a private key of P-521"},
    {FSG_BAD_TIME, "A time of zero is not signed"},
    {FSG_NOT_TEXT, "Not a text, so its signature must be a file of its own"},
    {FSG_SIGNED, "File is signed already"},
    {FSG_EXISTS, "File exists"},
    {FSG_WRITE_FAILED, "Failed writing file"},
    {FSG_FAILED, "Failed to sign"},
    {FSG_SAME_FILE, "A signature cannot replace the file that it is of"},
    {FSG_OTHER_OWNER, "Signed in place, the file would get another owner"},
    {FSG_BROKEN_BLOCK, "File begins with a signature that is broken"},
};

int Failed(const char *func, int rc, const char *file) {
  herror_func(0, 0, "%s: %s: %s", func, file, FSG_RC_to_str(rc));
  return rc;
}

bool IsText(unsigned char c) { return c > 31 || c == '\t' || c == '\n' || c == '\f' || c == '\r'; }

// From the file's position on.
int CopyText(std::FILE *from, kxWholeFile *to) {
  const std::unique_ptr<unsigned char[]> chunk(new unsigned char[kChunk]);
  while (const size_t len = std::fread(chunk.get(), 1, kChunk, from)) {
    if (!std::all_of(chunk.get(), chunk.get() + len, IsText)) return FSG_NOT_TEXT;
    if (to->Write(chunk.get(), len) != 0) return FSG_WRITE_FAILED;
  }
  return std::ferror(from) != 0 ? FSG_READ_FAILED : FSG_OK;
}

// Goes behind the block that the file begins with; to its beginning when it has none.
int FindContent(std::FILE *file, bool replace, long *position) {
  *position = 0;
  const bool isSigned = BeginsWithBlock(file);
  if (std::fseek(file, 0, SEEK_SET) != 0) return FSG_READ_FAILED;
  if (!isSigned) return FSG_OK;
  SignatureBlock old;
  if (!ReadSignatureBlock(file, &old) || !SkipToEndOfBlock(file)) return FSG_BROKEN_BLOCK;
  if (!replace) return FSG_SIGNED;
  *position = std::ftell(file);
  return *position < 0 ? FSG_READ_FAILED : FSG_OK;
}

SignatureBlock BlockOf(uint64_t seconds) {
  SignatureBlock block;
  for (int i = 0; i < 8; ++i) block.timestamp[i] = static_cast<unsigned char>(seconds >> (56 - 8 * i));
  return block;
}

// What HashFile makes of the file from its position on, signed.
int MakeSignature(std::FILE *file, bool isText, sxPubKey *key, SignatureBlock *block) {
  unsigned char digest[64], signature[kMaxFileSignatureLen];
  if (HashFile(file, block->timestamp, digest, isText, false) != FSV_OK) return FSG_READ_FAILED;
  const int len = key->Sign(sxPKop_raw, sx_md_sha512, digest, sizeof digest, signature, sizeof signature);
  if (len <= 0) return FSG_FAILED;
  block->signature.assign(signature, signature + len);
  return FSG_OK;
}

bool IsSameFile(const kxFileInfo &a, const kxFileInfo &b) { return a.device == b.device && a.inode == b.inode; }

// Once all is on the disk: whether it verifies as it stands there.
int Verify(const kxWholeFile &result, const char *file, bool embedded, sxPubKey *key) {
  const std::string written = result.PathForReading();
  const int verified = embedded ? FileVerifyWithKey(written.c_str(), nullptr, nullptr, key)
                                : FileVerifyWithKey(file, written.c_str(), nullptr, key);
  return verified == FSV_OK ? FSG_OK : FSG_READ_FAILED;
}

int Commit(kxWholeFile *result, bool replace) {
  if (result->Commit(replace) == 0) return FSG_OK;
  return errno == EEXIST ? FSG_EXISTS : FSG_WRITE_FAILED;
}

// @return empty when it does not exist
std::string TargetOf(const char *path) {
  const sxOwned<char, std::free> target(realpath(path, nullptr));
  return target == nullptr ? std::string() : std::string(target.get());
}

int Refusal(const char *file, sxPubKey *key, uint64_t seconds) {
  if (file == nullptr) return FSG_NO_FILE;
  if (!fsg_key_fits(key, true)) return FSG_BAD_KEY;
  return seconds == 0 || seconds > INT64_MAX ? FSG_BAD_TIME : FSG_OK;
}

// Writes the signed text, and brings it to the disk.
int WriteSigned(std::FILE *from, bool replace, sxPubKey *key, uint64_t seconds, kxWholeFile *result) {
  SignatureBlock block = BlockOf(seconds);
  long content = 0;
  int rc = FindContent(from, replace, &content);
  if (rc == FSG_OK) rc = MakeSignature(from, true, key, &block);
  if (rc != FSG_OK) return rc;
  const std::string text = SignatureBlockText(block);
  if (result->Open() != 0 || result->Write(text.data(), text.size()) != 0) return FSG_WRITE_FAILED;
  if (std::fseek(from, content, SEEK_SET) != 0) return FSG_READ_FAILED;
  return CopyText(from, result);
}

int SignInPlace(const std::string &target, sxPubKey *key, uint64_t seconds, bool replace) {
  kxWholeFile result(target.c_str());
  if (result.OpenFolder() != 0) return FSG_NO_FILE;
  kxFileInfo info;
  const File from(kxFile_StreamOf(result.OpenOld(&info)));
  if (from == nullptr) return FSG_NO_FILE;
  int rc = WriteSigned(from.get(), replace, key, seconds, &result);
  if (rc != FSG_OK) return rc;
  // A file stays its owner's, whoever signs it.
  if (result.FinishLike(fileno(from.get())) != 0) return errno == EPERM ? FSG_OTHER_OWNER : FSG_WRITE_FAILED;
  rc = Verify(result, nullptr, true, key);
  if (rc == FSG_OK && !result.IsOldAsItWas(info)) rc = FSG_READ_FAILED;
  return rc == FSG_OK ? Commit(&result, true) : rc;
}

int SignText(const char *file, const char *outFile, sxPubKey *key, uint64_t seconds, bool replace) {
  if (const int rc = Refusal(file, key, seconds); rc != FSG_OK) return rc;
  const std::string target = TargetOf(file);
  if (target.empty()) return FSG_NO_FILE;
  if (outFile == nullptr) return SignInPlace(target, key, seconds, replace);
  if (TargetOf(outFile) == target) return replace ? SignInPlace(target, key, seconds, replace) : FSG_EXISTS;
  kxFileInfo info;
  const File from(kxFile_StreamOf(kxFile_OpenRegular(file, &info)));
  if (from == nullptr) return FSG_NO_FILE;
  kxWholeFile result(outFile);
  int rc = WriteSigned(from.get(), replace, key, seconds, &result);
  if (rc != FSG_OK) return rc;
  if (result.Finish(info.mode & kModePermissions) != 0) return FSG_WRITE_FAILED;
  rc = Verify(result, nullptr, true, key);
  return rc == FSG_OK ? Commit(&result, replace) : rc;
}

int SignBeside(const char *file, const char *sigFile, sxPubKey *key, uint64_t seconds, bool replace) {
  if (sigFile == nullptr) return FSG_NO_FILE;
  if (const int rc = Refusal(file, key, seconds); rc != FSG_OK) return rc;
  kxFileInfo info;
  const File from(kxFile_StreamOf(kxFile_OpenRegular(file, &info)));
  if (from == nullptr) return FSG_NO_FILE;
  if (kxFileInfo there; kxFile_Info(sigFile, &there) == 0 && IsSameFile(there, info)) return FSG_SAME_FILE;
  SignatureBlock block = BlockOf(seconds);
  if (const int rc = MakeSignature(from.get(), false, key, &block); rc != FSG_OK) return rc;
  const std::string text = SignatureBlockText(block);
  kxWholeFile result(sigFile);
  if (result.Open() != 0 || result.Write(text.data(), text.size()) != 0) return FSG_WRITE_FAILED;
  if (result.Finish(kModePublic) != 0) return FSG_WRITE_FAILED;
  const int rc = Verify(result, file, false, key);
  return rc == FSG_OK ? Commit(&result, replace) : rc;
}

}  // namespace

const char *FSG_RC_to_str(int rc) {
  for (const RCRow &row : kTexts) {
    if (row.rc == rc) return row.text;
  }
  return "Unknown error";
}

bool fsg_key_fits(sxPubKey *key, bool isPrivate) {
  return key != nullptr && key->OK() != 0 && key->algorithm() == sxPK_ECDSA &&
         key->GetLen(sxPK_len_bits) == kP521Bits && (!isPrivate || sxPubKey_HasPrivate(key) == 1);
}

int FileSign(const char *file, const char *outFile, sxPubKey *key, uint64_t seconds, bool replace) {
  const int rc = SignText(file, outFile, key, seconds, replace);
  return rc == FSG_OK ? rc : Failed("FileSign", rc, file == nullptr ? "" : file);
}

int FileSign2(const char *file, const char *sigFile, sxPubKey *key, uint64_t seconds, bool replace) {
  const int rc = SignBeside(file, sigFile, key, seconds, replace);
  return rc == FSG_OK ? rc : Failed("FileSign2", rc, file == nullptr ? "" : file);
}
