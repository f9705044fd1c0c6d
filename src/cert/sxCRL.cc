#include "kxcert/cert/sxCRL.h"

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/platform/log.h"
#include "sxCRL_imp.h"
#include "sxExtension_imp.h"

namespace {

constinit const sxAsnOid kCrlNumber({2, 5, 29, 20});

bool IsCritical(const sxASN_Extension &ext) { return ext.critical != nullptr && ext.critical->Value() == 1; }

// RFC 5280 5.3: whoever does not understand a critical extension of an entry must not use the CRL.
// No extension of entries is understood here. Null when none is critical.
const sxAsnOid *CriticalExtOf(const sxASN_TBSCertListSeqOfSeq &entry) {
  if (entry.crlEntryExtensions == nullptr) return nullptr;
  for (const sxASN_Extension &ext : *entry.crlEntryExtensions) {
    if (IsCritical(ext)) return ext.extnID;
  }
  return nullptr;
}

sxCRL_imp *NewDecoded(const unsigned char *buf, unsigned int len) {
  auto imp = std::make_unique<sxCRL_imp>(buf, len);
  imp->Decode();
  return imp.release();
}

}  // namespace

void sxCRL_imp::Decode() {
  sxASN_CertificateList list;
  if (DecodeBuf(list) != 0) return;
  const sxASN_TBSCertList &body = *list.tbsCertList;
  TakeExtensions(body);
  if (body.revokedCertificates == nullptr) return;
  m_entries.Reserve(body.revokedCertificates->Count());
  for (const sxASN_TBSCertListSeqOfSeq &entry : *body.revokedCertificates) {
    m_entries.Add(*entry.userCertificate, sxASN_Time2time(entry.revocationDate));
    if (const sxAsnOid *oid = CriticalExtOf(entry); oid != nullptr && UnhandledCritExt() == nullptr) {
      SetUnhandledExt(oid);
    }
  }
}

// One that is not understood leaves the CRL OK; whoever judges by it refuses it. The scope of a CRL is
// understood, but nothing judges by it yet.
void sxCRL_imp::TakeExtensions(const sxASN_TBSCertList &body) {
  if (body.crlExtensions == nullptr) return;
  sxExtensionsList::Appender appender(m_extensions, sxKeptCRLExtParserTable());
  for (const sxASN_Extension &ext : *body.crlExtensions) {
    const bool understood = appender.Parse(ext);
    const bool isScope = ext.extnID->OidEquiv(sxASN_id_ce_issuingDistributionPoint) && IsCritical(ext);
    if ((!understood || isScope) && UnhandledCritExt() == nullptr) SetUnhandledExt(ext.extnID);
    sxAsnInt number;
    if (!m_number && ext.extnID->OidEquiv(kCrlNumber) && sxParseExtension(number, &ext) == 0) m_number = number;
  }
}

sxCRL::sxCRL(const unsigned char *buf, unsigned int len) : sxCRL(NewDecoded(buf, len)) {}
sxCRL::sxCRL(sxCRL_imp *imp) : sxSigned(imp) {}

sxCRL_imp *sxCRL::Imp() const { return static_cast<sxCRL_imp *>(m_imp); }

int sxCRL::GetSize() const { return Imp()->Entries().Count(); }

bool sxCRL::IsEntryExist(const sxCert &cert) const {
  return cert.SerialNum() != nullptr && FindEntry(*cert.SerialNum()) != nullptr;
}

const sxRevokedEntry *sxCRL::FindEntry(const sxAsnInt &serial) const { return Imp()->Entries().Find(serial); }

const sxRevokedEntry *sxCRL::NextEntry(const sxRevokedEntry *prev) const { return Imp()->Entries().Next(prev); }

const sxExtensionsList &sxCRL::Extensions() const { return Imp()->Extensions(); }
const sxIssuingDP *sxCRL::IssuingDP() const {
  return static_cast<const sxIssuingDP *>(Extensions().Find(&sxASN_id_ce_issuingDistributionPoint));
}
const sxExtKeyID *sxCRL::AuthorityKeyId() const {
  return static_cast<const sxExtKeyID *>(Extensions().Find(&sxASN_id_ce_authorityKeyIdentifier));
}
const sxAsnInt *sxCRL::Number() const { return Imp()->Number(); }

sxCRL_Encoder::sxCRL_Encoder(int numExpected) : sxCRL(new sxCRL_Encoder_imp(numExpected)) {}

sxCRL_Encoder_imp *sxCRL_Encoder::Imp() const { return static_cast<sxCRL_Encoder_imp *>(m_imp); }

int sxCRL_Encoder::AddEntry(const sxAsnInt &serial, int64_t revokedSec) {
  return Imp()->Entries().Add(serial, revokedSec) ? 1 : 0;
}

int sxCRL_Encoder::RemoveEntry(const sxAsnInt &serial) { return Imp()->Entries().Remove(serial) ? 0 : -1; }

sxCRL *sxCRL_Decode(const unsigned char *buf, int len) {
  if (buf == nullptr || len <= 0) return nullptr;
  auto *crl = new sxCRL(buf, static_cast<unsigned int>(len));
  if (crl->OK() != 0) return crl;
  herror_func(0, 0, "sxCRL_Decode: %s", crl->Error().getstr());
  sxCRL_Free(crl);
  return nullptr;
}

void sxCRL_Free(sxCRL *crl) { sxFreeSigned(crl); }
void sxCRL_Save(sxCRL *crl) { sxSaveSigned(crl); }
