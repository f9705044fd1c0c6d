#include "trust/revocation/heldCrl.h"

#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/sxPubKey.h"
#include "platform/owned.h"

namespace {

// Signers that are remembered of one CRL: certificates that anyone may have made, and those of a key that made it.
constexpr int kMaxInVain = 8, kMaxVerified = 32;
constexpr size_t kIndexOctetsPerEntry = 8;  // as sxCRL has it

}  // namespace

HeldCrl::HeldCrl(sxCRL *crl) : m_crl(crl, sxFreeBy<sxCRL_Free>()) {}

HeldCrl::~HeldCrl() {
  for (const Asked *asked = m_asked; asked != nullptr;) {
    const std::unique_ptr<const Asked> gone(asked);
    asked = gone->next;
  }
}

size_t HeldCrl::NumOctets() const {
  return m_crl->BufLen() + static_cast<size_t>(m_crl->GetSize()) * kIndexOctetsPerEntry;
}

const HeldCrl::Asked *HeldCrl::Find(const sxCert &signer) const {
  const sxOctetView octets(signer.GetBuf(), signer.BufLen());
  for (const Asked *asked = m_asked.load(std::memory_order_acquire); asked != nullptr; asked = asked->next) {
    if (sxEqual(asked->signer, octets)) return asked;
  }
  return nullptr;
}

HeldCrl::Known HeldCrl::IsFrom(const sxCert &signer) const {
  const Asked *const asked = Find(signer);
  return asked == nullptr ? Known::kNotAsked : asked->verified ? Known::kYes : Known::kNo;
}

bool HeldCrl::Verify(const sxCert &signer) const {
  if (const Asked *const asked = Find(signer)) return asked->verified;
  const sxDN *const issuer = m_crl->Issuer();
  const bool isNamed = issuer != nullptr && signer.Subject() != nullptr && signer.Subject()->Equal(*issuer);
  const bool maySign = isNamed && sxCRL_MayBeSignedBy(signer);
  auto asked = std::make_unique<Asked>();
  asked->verified = maySign && m_crl->VerifySig(signer.PubKey()) == 0;
  asked->signer.assign(signer.GetBuf(), signer.GetBuf() + signer.BufLen());
  const unsigned char *const hash = signer.PubKey() != nullptr ? signer.PubKey()->PublicKeyHash() : nullptr;
  if (hash != nullptr) asked->key.assign(hash, hash + kPublicKeyHashLen);
  const bool verified = asked->verified;
  int numSame = 0;
  const Asked *head = m_asked.load(std::memory_order_acquire);
  for (const Asked *known = head; known != nullptr; known = known->next) numSame += known->verified == verified ? 1 : 0;
  if (numSame >= (verified ? kMaxVerified : kMaxInVain)) return verified;
  asked->next = head;
  // Two threads may ask at once; both answers are the same, and both may stand there.
  while (!m_asked.compare_exchange_weak(asked->next, asked.get(), std::memory_order_acq_rel)) continue;
  static_cast<void>(asked.release());
  return verified;
}

const HeldCrl::Asked *HeldCrl::Verified() const {
  const Asked *asked = m_asked.load(std::memory_order_acquire);
  while (asked != nullptr && !asked->verified) asked = asked->next;
  return asked;
}

sxOctetView HeldCrl::Signer() const {
  const Asked *const asked = Verified();
  return asked != nullptr ? sxOctetView(asked->signer) : sxOctetView();
}

sxOctetView HeldCrl::SignerKey() const {
  const Asked *const asked = Verified();
  return asked != nullptr ? sxOctetView(asked->key) : sxOctetView();
}
