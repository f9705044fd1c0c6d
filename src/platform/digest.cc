#include "kxcert/platform/digest.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/md4.h>
#include <openssl/md5.h>
#include <openssl/sha.h>

#include <climits>
#include <new>

#include "kxcert/platform/secureMemory.h"

namespace {

// libcrypto has this kind only behind EVP; it is looked up once for the process.
unsigned char *Sha512_256(const unsigned char *data, size_t dataLen, unsigned char *digest) {
  static const EVP_MD *const kind = EVP_MD_fetch(nullptr, "SHA512-256", nullptr);
  if (kind == nullptr) return nullptr;
  return EVP_Digest(data, dataLen, digest, nullptr, kind, nullptr) == 1 ? digest : nullptr;
}

// In steps, on the stack: what libcrypto has for one area looks the kind up again each time, which costs more than a short
// digest itself.
template <class Context, auto kInit, auto kUpdate, auto kFinal>
unsigned char *InSteps(const unsigned char *data, size_t dataLen, unsigned char *digest) {
  Context context;
  const bool isDone = kInit(&context) == 1 && kUpdate(&context, data, dataLen) == 1 && kFinal(digest, &context) == 1;
  KX_memset(&context, sizeof context);
  return isDone ? digest : nullptr;
}
constexpr auto *kSha1 = InSteps<SHA_CTX, SHA1_Init, SHA1_Update, SHA1_Final>;
constexpr auto *kSha256 = InSteps<SHA256_CTX, SHA256_Init, SHA256_Update, SHA256_Final>;
constexpr auto *kSha384 = InSteps<SHA512_CTX, SHA384_Init, SHA384_Update, SHA384_Final>;
constexpr auto *kSha512 = InSteps<SHA512_CTX, SHA512_Init, SHA512_Update, SHA512_Final>;

struct DigestRow {
  sx_md_type type;
  int len;
  unsigned char *(*hash)(const unsigned char *data, size_t dataLen, unsigned char *digest);
};
constexpr DigestRow kDigests[] = {
    {sx_md_md4, MD4_DIGEST_LENGTH, MD4},
    {sx_md_md5, MD5_DIGEST_LENGTH, MD5},
    {sx_md_sha1, SHA_DIGEST_LENGTH, kSha1},
    {sx_md_sha256, SHA256_DIGEST_LENGTH, kSha256},
    {sx_md_sha384, SHA384_DIGEST_LENGTH, kSha384},
    {sx_md_sha512, SHA512_DIGEST_LENGTH, kSha512},
    {sx_md_sha512_256, SHA256_DIGEST_LENGTH, Sha512_256},
};
static_assert(kMaxDigestLen == SHA512_DIGEST_LENGTH);

const DigestRow *FindRow(int mdType) {
  for (const DigestRow &row : kDigests) {
    if (row.type == mdType) return &row;
  }
  return nullptr;
}

static_assert(sizeof(SHA512_CTX) <= sizeof(kxSHA512State));
static_assert(alignof(SHA512_CTX) <= alignof(kxSHA512State));

SHA512_CTX *Context(kxSHA512State *state) { return std::launder(reinterpret_cast<SHA512_CTX *>(state->area)); }

}  // namespace

int kx_md_len(int mdType) {
  const DigestRow *row = FindRow(mdType);
  return row == nullptr ? 0 : row->len;
}

int kx_md_hashbuf(int mdType, const void *data, size_t dataLen, unsigned char *digest, int digestLen) {
  const DigestRow *row = FindRow(mdType);
  if (row == nullptr || digest == nullptr || digestLen != row->len) return -1;
  if (data == nullptr && dataLen != 0) return -1;
  const void *area = data == nullptr ? "" : data;  // libcrypto may read nothing, but not from null
  return row->hash(static_cast<const unsigned char *>(area), dataLen, digest) == nullptr ? -1 : 0;
}

int kxSHA512Init(kxSHA512State *state) {
  if (state == nullptr) return -1;
  return SHA512_Init(new (state->area) SHA512_CTX) == 1 ? 0 : -1;
}

int kxSHA512Update(kxSHA512State *state, const void *data, size_t dataLen) {
  if (state == nullptr || (data == nullptr && dataLen != 0)) return -1;
  return dataLen == 0 || SHA512_Update(Context(state), data, dataLen) == 1 ? 0 : -1;
}

int kxSHA512Final(kxSHA512State *state, unsigned char digest[64]) {
  if (state == nullptr || digest == nullptr) return -1;
  const int done = SHA512_Final(digest, Context(state));
  KX_memset(state->area, sizeof state->area);
  return done == 1 ? 0 : -1;
}

int kx_hmac_sha1(const unsigned char *key, int keyLen, const void *data, size_t dataLen, unsigned char mac[20]) {
  if (keyLen < 0 || (key == nullptr && keyLen != 0) || (data == nullptr && dataLen != 0)) return -1;
  if (mac == nullptr) return -1;
  const void *keyArea = key == nullptr ? static_cast<const void *>("") : key;
  const auto *area = static_cast<const unsigned char *>(data == nullptr ? "" : data);
  return HMAC(EVP_sha1(), keyArea, keyLen, area, dataLen, mac, nullptr) == nullptr ? -1 : 0;
}
