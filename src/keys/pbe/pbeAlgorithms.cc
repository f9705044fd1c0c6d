#include "pbeAlgorithms.h"

#include <algorithm>
#include <iterator>

// Object identifiers are their content octets here (X.690, 8.19).

namespace {

constexpr const char *kMd5 = "MD5", *kSha1 = "SHA1";

constexpr PbeCipher kAes128 = {"AES-128-CBC", 16, 16, false};
constexpr PbeCipher kAes192 = {"AES-192-CBC", 24, 16, false};
constexpr PbeCipher kAes256 = {"AES-256-CBC", 32, 16, false};
constexpr PbeCipher kDes3 = {"DES-EDE3-CBC", 24, 8, false};
constexpr PbeCipher kDes2 = {"DES-EDE-CBC", 16, 8, false};
constexpr PbeCipher kDes = {"DES-CBC", 8, 8, true};
constexpr PbeCipher kRc2Of40 = {"RC2-40-CBC", 5, 8, true};
constexpr PbeCipher kRc2Of64 = {"RC2-64-CBC", 8, 8, true};
constexpr PbeCipher kRc2Of128 = {"RC2-CBC", 16, 8, true};
constexpr PbeCipher kRc4Of40 = {"RC4-40", 5, 1, true};
constexpr PbeCipher kRc4Of128 = {"RC4", 16, 1, true};

// RFC 8018, appendices A and B.2; RFC 7914, 7; RFC 3565, 4.1
constexpr unsigned char kPbes2[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x05, 0x0D};
constexpr unsigned char kPbkdf2[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x05, 0x0C};
constexpr unsigned char kScrypt[] = {0x2B, 0x06, 0x01, 0x04, 0x01, 0xDA, 0x47, 0x04, 0x0B};
constexpr unsigned char kDes3Oid[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x03, 0x07};
constexpr unsigned char kAes128Oid[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x02};
constexpr unsigned char kAes192Oid[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x16};
constexpr unsigned char kAes256Oid[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x2A};

struct Pbes2Row {
  sxPbeCipher cipher;
  sxOctetView oid;
  PbeCipher row;
};
constexpr Pbes2Row kPbes2Ciphers[] = {{sxPbe_aes256, kAes256Oid, kAes256},
                                      {sxPbe_aes192, kAes192Oid, kAes192},
                                      {sxPbe_aes128, kAes128Oid, kAes128},
                                      {sxPbe_3des, kDes3Oid, kDes3}};

// RFC 8018, B.1; the digests themselves: RFC 1321, RFC 3279, RFC 5754
constexpr unsigned char kHmacSha1[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x02, 0x07};
constexpr unsigned char kHmacSha224[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x02, 0x08};
constexpr unsigned char kHmacSha256[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x02, 0x09};
constexpr unsigned char kHmacSha384[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x02, 0x0A};
constexpr unsigned char kHmacSha512[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x02, 0x0B};
constexpr unsigned char kHmacSha512Of224[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x02, 0x0C};
constexpr unsigned char kHmacSha512Of256[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x02, 0x0D};
constexpr unsigned char kMd5Oid[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x02, 0x05};
constexpr unsigned char kSha1Oid[] = {0x2B, 0x0E, 0x03, 0x02, 0x1A};
constexpr unsigned char kSha256Oid[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01};
constexpr unsigned char kSha384Oid[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x02};
constexpr unsigned char kSha512Oid[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x03};
constexpr unsigned char kSha224Oid[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x04};
constexpr unsigned char kSha512Of224Oid[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x05};
constexpr unsigned char kSha512Of256Oid[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x06};

struct DigestRow {
  sxOctetView oid;
  const char *name;
  size_t len;                     // octets of a digest
  sx_md_type md = sx_md_unknown;  // sx_md_unknown: is not written
};
constexpr DigestRow kPrfs[] = {{kHmacSha256, "SHA2-256", 32, sx_md_sha256},
                               {kHmacSha1, kSha1, 20, sx_md_sha1},
                               {kHmacSha384, "SHA2-384", 48, sx_md_sha384},
                               {kHmacSha512, "SHA2-512", 64, sx_md_sha512},
                               {kHmacSha224, "SHA2-224", 28},
                               {kHmacSha512Of224, "SHA2-512/224", 28},
                               {kHmacSha512Of256, "SHA2-512/256", 32}};
constexpr DigestRow kDigests[] = {{kSha256Oid, "SHA2-256", 32},          {kSha1Oid, kSha1, 20},
                                  {kSha384Oid, "SHA2-384", 48},          {kSha512Oid, "SHA2-512", 64},
                                  {kSha224Oid, "SHA2-224", 28},          {kSha512Of224Oid, "SHA2-512/224", 28},
                                  {kSha512Of256Oid, "SHA2-512/256", 32}, {kMd5Oid, kMd5, 16}};

// RFC 8018, A.3, without MD2; RFC 7292, appendix C
constexpr unsigned char kMd5Des[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x05, 0x03};
constexpr unsigned char kMd5Rc2[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x05, 0x06};
constexpr unsigned char kSha1Des[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x05, 0x0A};
constexpr unsigned char kSha1Rc2[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x05, 0x0B};
constexpr unsigned char kP12Rc4Of128[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x0C, 0x01, 0x01};
constexpr unsigned char kP12Rc4Of40[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x0C, 0x01, 0x02};
constexpr unsigned char kP12Des3[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x0C, 0x01, 0x03};
constexpr unsigned char kP12Des2[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x0C, 0x01, 0x04};
constexpr unsigned char kP12Rc2Of128[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x0C, 0x01, 0x05};
constexpr unsigned char kP12Rc2Of40[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x0C, 0x01, 0x06};

constexpr PbeScheme kTripleDes = {kP12Des3, kSha1, kDes3, true};
constexpr PbeScheme kSchemes[] = {kTripleDes,
                                  {kP12Des2, kSha1, kDes2, true},
                                  {kP12Rc2Of128, kSha1, kRc2Of128, true},
                                  {kP12Rc2Of40, kSha1, kRc2Of40, true},
                                  {kP12Rc4Of128, kSha1, kRc4Of128, true},
                                  {kP12Rc4Of40, kSha1, kRc4Of40, true},
                                  {kMd5Des, kMd5, kDes, false},
                                  {kMd5Rc2, kMd5, kRc2Of64, false},
                                  {kSha1Des, kSha1, kDes, false},
                                  {kSha1Rc2, kSha1, kRc2Of64, false}};

struct PemRow {
  std::string_view name;
  PbeCipher cipher;
};
constexpr PemRow kPemCiphers[] = {{"AES-256-CBC", kAes256},
                                  {"AES-192-CBC", kAes192},
                                  {"AES-128-CBC", kAes128},
                                  {"DES-EDE3-CBC", kDes3},
                                  {"DES-CBC", kDes}};

// Null when no row has it.
template <class Row, size_t kRows>
const Row *Find(const Row (&rows)[kRows], sxOctetView oid) {
  const Row *const found = std::ranges::find_if(rows, [oid](const Row &row) { return sxEqual(row.oid, oid); });
  return found == std::end(rows) ? nullptr : found;
}

}  // namespace

constinit const sxOctetView kPbes2Oid = kPbes2, kPbkdf2Oid = kPbkdf2, kScryptOid = kScrypt;

const PbeCipher *FindPbes2Cipher(sxOctetView oid) {
  const Pbes2Row *const found = Find(kPbes2Ciphers, oid);
  return found == nullptr ? nullptr : &found->row;
}

sxOctetView Pbes2CipherOid(sxPbeCipher cipher, const PbeCipher **row) {
  for (const Pbes2Row &known : kPbes2Ciphers) {
    if (known.cipher == cipher) return *row = &known.row, known.oid;
  }
  return {};
}

const char *FindPbePrf(sxOctetView oid) {
  const DigestRow *const found = Find(kPrfs, oid);
  return found == nullptr ? nullptr : found->name;
}

sxOctetView PbePrfOid(sx_md_type digest, const char **name) {
  for (const DigestRow &known : kPrfs) {
    if (known.md == digest && digest != sx_md_unknown) return *name = known.name, known.oid;
  }
  return {};
}

const char *FindPbeDigest(sxOctetView oid) {
  const DigestRow *const found = Find(kDigests, oid);
  return found == nullptr ? nullptr : found->name;
}

size_t PbeDigestLen(const char *name) {
  return std::ranges::find(kDigests, std::string_view(name), &DigestRow::name)->len;  // one of ours: it is there
}

const PbeScheme *FindPbeScheme(sxOctetView oid) { return Find(kSchemes, oid); }
const PbeScheme &Pkcs12TripleDes() { return kSchemes[0]; }

const PbeCipher *FindPemCipher(std::string_view name) {
  const PemRow *const found = std::ranges::find_if(kPemCiphers, [name](const PemRow &row) { return row.name == name; });
  return found == std::end(kPemCiphers) ? nullptr : &found->cipher;
}
