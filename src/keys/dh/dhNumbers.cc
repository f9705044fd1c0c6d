#include "dhNumbers.h"

#include <algorithm>

#include "keys/keyOctets.h"
#include "kxcert/keys/dhGroups.h"

namespace {

constinit const sxAsnOid kDhKeyAgreement{{1, 2, 840, 113549, 1, 3, 1}};  // PKCS #3, 9
constinit const sxAsnOid kDhPublicNumber{{1, 2, 840, 10046, 2, 1}};      // RFC 3279, 2.3.3
constexpr int kMaxNumberDerLen = kMaxDhModulusLen + 8;                   // with its header and a sign octet
constexpr int kMaxOtherDerLen = 64;

[[nodiscard]] bool PutNumber(sxDerWriter &writer, const BIGNUM *number) {
  kxBinBuf octets = SensitiveBuf(BN_num_bits(number) / 8 + 1);  // the top bit is the sign
  const auto len = static_cast<int>(octets.Len());
  if (BN_bn2binpad(number, octets.Data(), len) != len) return false;
  writer.Element(kDerInteger, ViewOf(octets));
  return true;
}

// SEQUENCE { dhKeyAgreement, SEQUENCE { p, g } }. PKCS #3 allows a private length behind g; it is left
// out, because equal keys have equal octets.
[[nodiscard]] bool PutAlgorithm(sxDerWriter &writer, const DhNumbers &numbers) {
  const int key = writer.Mark();
  if (!PutNumber(writer, numbers.g.get()) || !PutNumber(writer, numbers.p.get())) return false;
  writer.Wrap(kDerSequence, key);
  writer.Element(kDerOid, ViewOf(kDhKeyAgreement));
  writer.Wrap(kDerSequence, key);
  return true;
}

[[nodiscard]] bool PutPublic(sxDerWriter &writer, const DhNumbers &numbers) {
  if (!PutNumber(writer, numbers.y.get())) return false;
  writer.Octet(0);  // unused bits
  writer.Wrap(kDerBitString);
  return PutAlgorithm(writer, numbers);
}

[[nodiscard]] bool PutPrivate(sxDerWriter &writer, const DhNumbers &numbers) {
  constexpr unsigned char kVersion = 0;
  if (numbers.x == nullptr || !PutNumber(writer, numbers.x.get())) return false;
  writer.Wrap(kDerOctetString);
  if (!PutAlgorithm(writer, numbers)) return false;
  writer.Element(kDerInteger, {&kVersion, 1});
  return true;
}

// Not negative, which those who leave out the sign octet write.
[[nodiscard]] bool TakeNumber(sxDerReader &reader, BigNum *number) {
  sxOctetView octets;
  if (!reader.Take(kDerInteger, &octets) || octets.empty() || octets[0] >= 0x80) return false;
  if (octets.size() > static_cast<size_t>(kMaxDhModulusLen) + 1) return false;
  *number = NewSecretNumber();
  return *number != nullptr && BN_bin2bn(octets.data(), sxLen(octets), number->get()) != nullptr;
}

// Behind p and g stands a private length or the order of g, which do not matter here.
[[nodiscard]] bool TakeAlgorithm(sxDerReader &reader, DhNumbers *numbers) {
  sxDerReader algorithm, group;
  sxOctetView oid;
  return reader.Enter(kDerSequence, &algorithm) && algorithm.Take(kDerOid, &oid) &&
         (sxEqual(oid, ViewOf(kDhKeyAgreement)) || sxEqual(oid, ViewOf(kDhPublicNumber))) &&
         algorithm.Enter(kDerSequence, &group) && algorithm.AtEnd() && TakeNumber(group, &numbers->p) &&
         TakeNumber(group, &numbers->g);
}

[[nodiscard]] bool TakeKey(sxDerReader fields, bool privateForm, DhNumbers *numbers) {
  sxOctetView version, inside;
  if (privateForm) {
    if (!fields.Take(kDerInteger, &version) || !TakeAlgorithm(fields, numbers) ||
        !fields.Take(kDerOctetString, &inside)) {
      return false;
    }
  } else if (!TakeAlgorithm(fields, numbers) || !fields.Take(kDerBitString, &inside) || !fields.AtEnd() ||
             inside.empty() || inside[0] != 0) {
    return false;
  } else {
    inside = inside.subspan(1);
  }
  sxDerReader number(inside);
  return TakeNumber(number, privateForm ? &numbers->x : &numbers->y) && number.AtEnd();
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
  kxBinBuf area = SensitiveBuf(3 * kMaxNumberDerLen + kMaxOtherDerLen);
  sxDerWriter writer({area.Data(), area.Len()});
  if (!(privateForm ? PutPrivate(writer, numbers) : PutPublic(writer, numbers))) return -1;
  writer.Wrap(kDerSequence);
  if (writer.Written().empty()) return -1;
  out = JoinOctets(writer.Written(), {}, privateForm);
  return 0;
}

const char *DecodeDhKey(sxOctetView der, bool privateForm, DhNumbers *numbers) {
  sxDerReader all(der), fields;
  if (!all.Enter(kDerSequence, &fields) || !all.AtEnd() || !TakeKey(fields, privateForm, numbers)) {
    return "malformed, or not Diffie-Hellman";
  }
  if (const char *reason = WhyNoDhGroup(numbers->p.get(), numbers->g.get())) return reason;
  const int modLen = BN_num_bytes(numbers->p.get());
  numbers->privBits = 8 * modLen;
  if (privateForm) {
    if (BN_num_bytes(numbers->x.get()) > modLen) return "private value is longer than the modulus";
    numbers->privBits = std::max(1, 8 * BN_num_bytes(numbers->x.get()));
    numbers->y.reset(BN_new());
    if (numbers->y == nullptr || !SecretModExp(numbers->y.get(), numbers->g.get(), *numbers)) return "no memory";
  }
  return WhyNoDhKey(*numbers);
}
