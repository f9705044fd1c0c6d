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
  if (!replace || !ReadSignatureBlock(file, &old) || !SkipToEndOfBlock(file)) return FSG_SIGNED;
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

bool IsSameFile(const char *path, const kxFileInfo &info) {
  kxFileInfo now;
  return kxFile_Info(path, &now) == 0 && now.device == info.device && now.inode == info.inode;
}

// What is at the path is what was read, as it was read.
bool IsUnchanged(const char *path, const kxFileInfo &info) {
  kxFileInfo now;
  return kxFile_Info(path, &now) == 0 && IsSameFile(path, info) && now.size == info.size &&
         now.modifiedSec == info.modifiedSec;
}

// The last step of both, once all is written.
int Place(kxWholeFile *result, const char *file, bool embedded, unsigned int mode, sxPubKey *key, bool replace,
          const char *replaced = nullptr, const kxFileInfo *asRead = nullptr) {
  if (result->Finish(mode) != 0) return FSG_WRITE_FAILED;
  const int verified = embedded ? FileVerifyWithKey(result->TempName(), nullptr, nullptr, key)
                                : FileVerifyWithKey(file, result->TempName(), nullptr, key);
  if (verified != FSV_OK) return FSG_READ_FAILED;
  if (asRead != nullptr && !IsUnchanged(replaced, *asRead)) return FSG_READ_FAILED;
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

int SignText(const char *file, const char *outFile, sxPubKey *key, uint64_t seconds, bool replace) {
  if (const int rc = Refusal(file, key, seconds); rc != FSG_OK) return rc;
  const File from(kxFile_OpenRegularStream(file));
  kxFileInfo info;
  if (from == nullptr || kxFile_OpenInfo(fileno(from.get()), &info) != 0) return FSG_NO_FILE;
  SignatureBlock block = BlockOf(seconds);
  long content = 0;
  int rc = FindContent(from.get(), replace, &content);
  if (rc == FSG_OK) rc = MakeSignature(from.get(), true, key, &block);
  if (rc != FSG_OK) return rc;
  const std::string target = outFile != nullptr ? outFile : TargetOf(file);
  if (target.empty()) return FSG_NO_FILE;
  kxWholeFile result(target.c_str());
  const std::string text = SignatureBlockText(block);
  if (result.Open() != 0 || result.Write(text.data(), text.size()) != 0) return FSG_WRITE_FAILED;
  if (std::fseek(from.get(), content, SEEK_SET) != 0) return FSG_READ_FAILED;
  if (rc = CopyText(from.get(), &result); rc != FSG_OK) return rc;
  const bool inPlace = outFile == nullptr;
  // Without the bits that would run it as its new owner.
  return Place(&result, file, true, info.mode & kModePermissions, key, inPlace || replace, target.c_str(),
               inPlace ? &info : nullptr);
}

int SignBeside(const char *file, const char *sigFile, sxPubKey *key, uint64_t seconds, bool replace) {
  if (sigFile == nullptr) return FSG_NO_FILE;
  if (const int rc = Refusal(file, key, seconds); rc != FSG_OK) return rc;
  const File from(kxFile_OpenRegularStream(file));
  kxFileInfo info;
  if (from == nullptr || kxFile_OpenInfo(fileno(from.get()), &info) != 0) return FSG_NO_FILE;
  if (IsSameFile(sigFile, info)) return FSG_EXISTS;  // to be replaced or not: it is what is signed
  SignatureBlock block = BlockOf(seconds);
  if (const int rc = MakeSignature(from.get(), false, key, &block); rc != FSG_OK) return rc;
  const std::string text = SignatureBlockText(block);
  kxWholeFile result(sigFile);
  if (result.Open() != 0 || result.Write(text.data(), text.size()) != 0) return FSG_WRITE_FAILED;
  return Place(&result, file, false, kModePublic, key, replace);
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
