#include "dhNumbers.h"

#include "kxcert/asn1/sxAsnBuf.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/dhGroups.h"

namespace {

constexpr unsigned char kDhKeyAgreement[] = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x03, 0x01};
constexpr int kMaxNumberDerLen = kMaxDhModulusLen + 8;  // with its header and a sign octet
constexpr int kMaxOtherDerLen = 64;

void PutHeader(sxAsnWriteBuf &buf, int contentLen, unsigned char tag) {
  BEncDefLen(buf, contentLen);
  buf.PutByte(tag);
}

[[nodiscard]] bool PutNumber(sxAsnWriteBuf &buf, const BIGNUM *number) {
  kxBinBuf octets;
  octets.SetSensitive(true);
  octets.Set(static_cast<unsigned int>(BN_num_bits(number) / 8 + 1));  // the top bit is the sign
  const auto len = static_cast<int>(octets.Len());
  if (BN_bn2binpad(number, octets.Data(), len) != len) return false;
  buf.PutSeg(octets.Data(), len);
  PutHeader(buf, len, 0x02);
  return true;
}

// SEQUENCE { dhKeyAgreement, SEQUENCE { p, g } }. PKCS #3 allows a private length behind g; it is left
// out, because equal keys have equal octets.
[[nodiscard]] bool PutAlgorithm(sxAsnWriteBuf &buf, const DhNumbers &numbers) {
  const int end = buf.Written();
  if (!PutNumber(buf, numbers.g.get()) || !PutNumber(buf, numbers.p.get())) return false;
  PutHeader(buf, buf.Written() - end, 0x30);
  buf.PutSeg(kDhKeyAgreement, sizeof kDhKeyAgreement);
  PutHeader(buf, buf.Written() - end, 0x30);
  return true;
}

[[nodiscard]] bool PutPublic(sxAsnWriteBuf &buf, const DhNumbers &numbers) {
  if (!PutNumber(buf, numbers.y.get())) return false;
  buf.PutByte(0);  // unused bits
  PutHeader(buf, buf.Written(), 0x03);
  return PutAlgorithm(buf, numbers);
}

[[nodiscard]] bool PutPrivate(sxAsnWriteBuf &buf, const DhNumbers &numbers) {
  if (numbers.x == nullptr || !PutNumber(buf, numbers.x.get())) return false;
  PutHeader(buf, buf.Written(), 0x04);
  if (!PutAlgorithm(buf, numbers)) return false;
  buf.PutByte(0);
  PutHeader(buf, 1, 0x02);
  return true;
}

}  // namespace

const char *WhyNoDhGroup(const BIGNUM *p, const BIGNUM *g) {
  if (p == nullptr || g == nullptr) return "modulus or generator is missing";
  if (BN_is_negative(p) || !BN_is_odd(p) || BN_is_one(p) || BN_is_word(p, 3)) { return "modulus is even or below 5"; }
  if (BN_num_bytes(p) > kMaxDhModulusLen) return "modulus is too long";
  const BigNum highest(BN_dup(p));  // p - 2
  if (highest == nullptr || BN_sub_word(highest.get(), 2) != 1) return "no memory";
  if (BN_is_negative(g) || BN_is_zero(g) || BN_is_one(g) || BN_ucmp(g, highest.get()) > 0) {
    return "generator is not from 2 to p - 2";
  }
  return nullptr;
}

const char *WhyNoDhKey(const DhNumbers &numbers) {
  if (const char *reason = WhyNoDhGroup(numbers.p.get(), numbers.g.get())) return reason;
  const BIGNUM *x = numbers.x.get(), *y = numbers.y.get();
  if (y == nullptr || BN_is_negative(y) || BN_is_zero(y) || BN_ucmp(y, numbers.p.get()) >= 0) {
    return "public value is missing, or not from 1 to p - 1";
  }
  if (x != nullptr && (BN_is_negative(x) || BN_is_zero(x) || BN_num_bytes(x) > BN_num_bytes(numbers.p.get()))) {
    return "private value is not positive, or longer than the modulus";
  }
  return nullptr;
}

bool DhValuesFit(const DhNumbers &numbers) {
  const BigNum expected(BN_new());
  return expected != nullptr && SecretModExp(expected.get(), numbers.g.get(), numbers) &&
         BN_cmp(expected.get(), numbers.y.get()) == 0;
}

bool SecretModExp(BIGNUM *result, const BIGNUM *base, const DhNumbers &numbers) {
  const BigNumContext context(BN_CTX_secure_new());
  const ErrorQueueMark mark;
  return context != nullptr &&
         BN_mod_exp_mont_consttime(result, base, numbers.x.get(), numbers.p.get(), context.get(), nullptr) == 1;
}

int EncodeDhKey(const DhNumbers &numbers, bool privateForm, kxBinBuf &out) {
  kxBinBuf area;
  area.SetSensitive(privateForm);
  area.Set(static_cast<unsigned int>(3 * kMaxNumberDerLen + kMaxOtherDerLen));
  sxAsnWriteBuf buf;
  buf.Init(area.Data(), static_cast<int>(area.Len()));
  if (!(privateForm ? PutPrivate(buf, numbers) : PutPublic(buf, numbers))) return -1;
  PutHeader(buf, buf.Written(), 0x30);
  if (buf.Overflow()) return -1;
  kxBinBuf der;
  der.SetSensitive(privateForm);
  der.Set(buf.Curr(), static_cast<unsigned int>(buf.Written()));
  out = std::move(der);
  return 0;
}
