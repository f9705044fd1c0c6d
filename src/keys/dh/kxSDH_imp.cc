#include "kxSDH_imp.h"

#include <memory>
#include <utility>

#include "dhPrivLen.h"
#include "keys/keyGate.h"
#include "keys/keyOctets.h"
#include "kxcert/keys/dhPreCompute.h"
#include "kxcert/keys/kxSDH.h"
#include "kxcert/keys/sxDhParams.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/random.h"

namespace {

constexpr const char *kFunc = "kxSDH_imp";

DhNumbers GroupOf(const sxDhParams &params, int privBits) {
  DhNumbers numbers;
  if (!params.OK()) return numbers;
  numbers.groupName = params.Name();
  numbers.privBits = DhPrivLenFits(privBits, params.ModLen()) ? privBits : params.PrivBits();
  numbers.p.reset(BN_bin2bn(params.Mod(), params.ModLen(), nullptr));
  numbers.g.reset(BN_bin2bn(params.Gen(), params.GenLen(), nullptr));
  return numbers;
}

BigNum SecretCopy(const BIGNUM *number) {
  BigNum copy = NewSecretNumber();
  if (number == nullptr || copy == nullptr || BN_copy(copy.get(), number) == nullptr) return nullptr;
  return copy;
}

// y = g ^ x, from the group's precomputed powers when there are any.
bool MakePublic(const kxBinBuf &privateOctets, DhNumbers *numbers) {
  numbers->y.reset(BN_new());
  if (numbers->y == nullptr) return false;
  const auto len = static_cast<int>(privateOctets.Len());
  const auto preCompute = DHPreCList::DhPreC_Bygroup(numbers->groupName.c_str());
  if (preCompute != nullptr && preCompute->IsFor(numbers->p.get(), numbers->g.get()) &&
      preCompute->GenPub(numbers->y.get(), privateOctets.Data(), len) == 1) {
    herror_func(0, 0, "%s: New DH public key was created with the pre computation", kFunc);
    return true;
  }
  herror_func(0, 0, "%s: Cannot find DH pre computation for group - %s. Will compute without pre computation.", kFunc,
              numbers->groupName.c_str());
  return SecretModExp(numbers->y.get(), numbers->g.get(), *numbers);
}

constexpr int kMaxDraws = 16;

// x are octets as they come, neither reduced nor with a bit forced; by intent. Groups whose order is
// prime but for a small factor have no weak private values worth leaving out.
bool MakePair(DhNumbers *numbers) {
  kxBinBuf octets = SensitiveBuf(DhOctets(numbers->privBits));
  const auto len = static_cast<int>(octets.Len());
  numbers->x = NewSecretNumber();
  if (len == 0 || numbers->x == nullptr) return false;
  // Octets that are all zero are no key when they come back; only a group of the tests' size draws them.
  for (int i = 0; i < kMaxDraws && BN_is_zero(numbers->x.get()); ++i) {
    if (sxrand_gen(octets.Data(), len) != 0 || BN_bin2bn(octets.Data(), len, numbers->x.get()) == nullptr) return false;
  }
  return MakePublic(octets, numbers);
}

}  // namespace

kxSDH_imp::kxSDH_imp(const sxDhParams &params, int privBits) : kxSDH_imp(GroupOf(params, privBits)) {}

kxSDH_imp::kxSDH_imp(const sxDhParams &params, const BIGNUM *x, const BIGNUM *y) {
  DhNumbers numbers = GroupOf(params, 0);
  numbers.x = SecretCopy(x);
  if (y != nullptr) {
    numbers.y.reset(BN_dup(y));
  } else if (numbers.x != nullptr && WhyNoDhGroup(numbers.p.get(), numbers.g.get()) == nullptr) {
    numbers.y.reset(BN_new());
    if (!SecretModExp(numbers.y.get(), numbers.g.get(), numbers)) numbers.y.reset();
  }
  if (x != nullptr && numbers.x == nullptr) return;  // no memory
  if (x != nullptr && y != nullptr && WhyNoDhKey(numbers) == nullptr && !DhValuesFit(numbers)) {
    herror_func(0, 0, "%s: no key in group %s: private value does not belong to the public one", kFunc,
                numbers.groupName.c_str());
    return;
  }
  Adopt(std::move(numbers));
}

kxSDH_imp::kxSDH_imp(DhNumbers numbers) {
  if (numbers.x == nullptr && numbers.y == nullptr) {
    const char *reason = WhyNoDhGroup(numbers.p.get(), numbers.g.get());
    if (reason == nullptr && !MakePair(&numbers)) reason = "no random octets, or libcrypto failed";
    if (reason != nullptr) {
      herror_func(0, 0, "%s: no key in group %s: %s", kFunc, numbers.groupName.c_str(), reason);
      return;
    }
  }
  Adopt(std::move(numbers));
}

void kxSDH_imp::Adopt(DhNumbers numbers) {
  if (const char *reason = WhyNoDhKey(numbers)) {
    herror_func(0, 0, "%s: no key in group %s: %s", kFunc, numbers.groupName.c_str(), reason);
    return;
  }
  m_numbers = std::move(numbers);
  m_modLen = BN_num_bytes(m_numbers.p.get());
}

BIGNUM *kxSDH_imp::MakeShared(const BIGNUM *peer) const {
  constexpr const char *kMember = "kxSDH_imp::MakeShared";
  if (!OK() || m_numbers.x == nullptr || peer == nullptr || BN_is_negative(peer)) {
    herror_func(0, 0, "%s: no private value, or no peer value", kMember);
    return nullptr;
  }
  BigNum secret = NewSecretNumber(), last(BN_dup(m_numbers.p.get()));  // p - 1
  if (secret == nullptr || last == nullptr || BN_sub_word(last.get(), 1) != 1 ||
      !SecretModExp(secret.get(), peer, m_numbers)) {
    herror_func(0, 0, "%s: libcrypto failed", kMember);
    return nullptr;
  }
  if (BN_is_zero(secret.get()) || BN_is_one(secret.get())) {
    herror_func(0, 0, "%s: illegal shared secret :%d", kMember, BN_is_one(secret.get()) ? 1 : 0);
    return nullptr;
  }
  if (BN_cmp(secret.get(), last.get()) == 0) {
    herror_func(0, 0, "%s: illegal shared secret : -1", kMember);
    return nullptr;
  }
  return secret.release();
}

// Every failure is -1, by intent; the other operations have their codes.
int kxSDH_imp::Derive(sxPKop_type, const unsigned char *peer, int peerLen, unsigned char *out, int outLen) {
  if (!OK() || peer == nullptr || peerLen < 0 || peerLen > kMaxDhPeerLen) return -1;
  if (const int answer = CheckRoom(m_modLen, out, outLen)) return answer < 0 ? -1 : answer;
  const BigNum peerNumber(BN_bin2bn(peer, peerLen, nullptr));
  const BigNum secret(MakeShared(peerNumber.get()));
  if (secret == nullptr) return -1;
  return BN_bn2binpad(secret.get(), out, m_modLen);
}

int kxSDH_imp::Export(sxPK_Format format, unsigned char *out, int outLen) {
  return ExportOctets("kxSDH_imp::Export", OK() != 0, format, out, outLen, [this](bool privateForm, kxBinBuf *area) {
    return EncodeDhKey(m_numbers, privateForm, *area) == 0 ? ViewOf(*area) : sxOctetView();
  });
}

int kxSDH_imp::GetLen(sxPK_Len_Type type) {
  if (!OK()) return -1;
  if (type == sxPK_len_bits) return m_modLen * 8;
  herror_func(0, 0, "kxSDH_imp::GetLen length type %d not supported", type);
  return -1;
}

void kxSDH_imp::Herror() const {
  if (!OK() || !kxLog_DebugOn()) return;
  herror_func(0, 0, "DH key: group %s, private part: %s", m_numbers.groupName.c_str(),
              m_numbers.x != nullptr ? "yes" : "no");
  LogKeyNumber("DH key: modulus", m_numbers.p.get());
  LogKeyNumber("DH key: generator", m_numbers.g.get());
  LogKeyNumber("DH key: public value", m_numbers.y.get());
}
