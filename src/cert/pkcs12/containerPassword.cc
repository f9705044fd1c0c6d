#include "containerPassword.h"

#include <algorithm>

#include "keys/keyOctets.h"
#include "keys/pbe/pbeCipher.h"
#include "keys/pbe/pbeKey.h"

namespace {

bool IsAscii(sxOctetView octets) {
  return std::ranges::all_of(octets, [](unsigned char octet) { return octet < 0x80; });
}

// Each octet as a character of Latin-1, in UTF-8.
kxBinBuf EachAsCharacter(sxOctetView octets) {
  kxBinBuf out = SensitiveBuf(static_cast<int>(2 * octets.size()));
  unsigned int len = 0;
  for (const unsigned char octet : octets) {
    if (octet >= 0x80) out.Data()[len++] = static_cast<unsigned char>(0xC0 | octet >> 6);
    out.Data()[len++] = static_cast<unsigned char>(octet < 0x80 ? octet : 0x80 | (octet & 0x3F));
  }
  out.Set(len);
  return out;
}

}  // namespace

ContainerPassword::ContainerPassword(sxPbeOctets given) : m_isGiven(given.data() != nullptr) {
  m_characters.forms = m_octets.forms = {given};
  if (!m_isGiven || given.size() > kMaxPbePasswordLen) return;
  if (given.empty()) m_characters.forms.emplace_back();
  if (!IsAscii(given)) {
    m_latin1 = EachAsCharacter(given);
    m_characters.forms.push_back(ViewOf(m_latin1));
  }
  sxPbe_BmpPassword(given, m_utf16);
  m_octets.forms.push_back(ViewOf(m_utf16));
  const auto isTooLong = [](sxOctetView form) { return form.size() > kMaxPbePasswordLen; };
  std::erase_if(m_characters.forms, isTooLong);
  std::erase_if(m_octets.forms, isTooLong);
}

bool ContainerPassword::Spend(uint64_t cost, ContainerFailure *failure) {
  if (cost > kMaxPkcs12Iterations - m_spent) {
    return failure->Set(sxPkcs12_tooCostly,
                        "more than " + std::to_string(kMaxPkcs12Iterations) + " iterations in the whole container");
  }
  m_spent += cost;
  return true;
}

bool ContainerPassword::Try(PbeKdf kdf, uint64_t cost,
                            const std::function<bool(sxOctetView password, PbeFailure *failure)> &isRight,
                            ContainerFailure *failure) {
  if (!m_isGiven) return failure->Set(sxPkcs12_needsPassword);
  Forms &forms = kdf == PbeKdf::kPkcs12 ? m_characters : m_octets;
  for (size_t i = 0; i < forms.forms.size(); ++i) {
    const size_t number = (forms.right + i) % forms.forms.size();
    PbeFailure why;
    if (!Spend(cost, failure)) return false;
    if (isRight(forms.forms[number], &why)) return forms.right = number, true;
    if (why.result != sxPbe_wrongPassword) return failure->Set(why);
  }
  return failure->Set(sxPkcs12_notDecrypted);
}

bool ContainerPassword::Decrypt(sxOctetView algorithm, sxOctetView content, bool (*isRight)(const kxBinBuf &plain),
                                kxBinBuf *out, ContainerFailure *failure) {
  PbePlan plan;
  PbeFailure why;
  if (!ReadPbePlan(algorithm, &plan, &why) || !CheckPbeContent(*plan.cipher, content, &why)) return failure->Set(why);
  const auto decrypt = [&](sxOctetView password, PbeFailure *pbeFailure) {
    PbeKeys keys;
    kxBinBuf plain;
    if (!MakePbeKeys(plan, password, &keys, pbeFailure) ||
        !PbeCrypt(*plan.cipher, false, keys.key, keys.iv, content, &plain, pbeFailure)) {
      return false;
    }
    if (!isRight(plain)) return pbeFailure->Set(sxPbe_wrongPassword);
    *out = std::move(plain);
    return true;
  };
  return Try(plan.derivation.kdf, PbeCost(plan), decrypt, failure);
}
