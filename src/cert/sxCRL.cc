#include "kxcert/cert/sxCRL.h"

#include "crlOids.h"
#include "distPoints.h"
#include "extensionRules.h"
#include "extensionWalk.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/log.h"
#include "platform/files.h"
#include "sxCRL_imp.h"
#include "sxCert_imp.h"
#include "sxDN_imp.h"
#include "sxExtension_imp.h"

namespace {

constexpr int64_t kMinMapped = 64 * 1024;  // shorter files are read: maps are pages, and a process has few thousands

constexpr const char *kReasons[] = {"unspecified",   "keyCompromise",        "cACompromise",    "affiliationChanged",
                                    "superseded",    "cessationOfOperation", "certificateHold", nullptr,
                                    "removeFromCRL", "privilegeWithdrawn",   "aACompromise"};
static_assert(sizeof kReasons / sizeof kReasons[0] == sxCrlReason_aACompromise + 1);

bool Is(const sxAsnOid &oid, sxOctetView content) { return sxEqual(sxView(oid.Data(), oid.Len()), content); }

void Remember(std::unique_ptr<sxAsnOid> &first, const sxAsnOid &oid) {
  if (first == nullptr) first = std::make_unique<sxAsnOid>(oid);
}

sxCRL_imp *NewDecoded(std::unique_ptr<sxCRL_imp> imp) {
  imp->Decode();
  return imp.release();
}

struct OpenFile {
  OpenFile(const char *path, kxFileInfo *info) : fd(kxFile_OpenRegular(path, info)) {}
  OpenFile(const OpenFile &) = delete;
  OpenFile &operator=(const OpenFile &) = delete;
  ~OpenFile() {
    if (fd >= 0) static_cast<void>(kxFile_Close(fd));
  }
  const int fd;
};

// Null when it is not OK, which is logged.
sxCRL *OrNull(const char *func, sxCRL *crl) {
  if (crl->OK() != 0) return crl;
  herror_func(0, 0, "%s: %s", func, crl->Error().getstr());
  sxCRL_Free(crl);
  return nullptr;
}

// A negative number that is longer than four octets was encoded as the positive one of the same octets, with a zero in
// front. There is the sign again.
void RestoreSigns(const sxASN_TBSCertListSeqOf *decoded, sxOctetView entries, unsigned char *area) {
  if (decoded == nullptr) return;
  sxDerReader each(entries, kCrlLenOctets);
  sxPlainEntry entry;
  for (const sxASN_TBSCertListSeqOfSeq &from : *decoded) {
    if (!sxTakePlainEntry(each, &entry)) return;
    const sxAsnInt &number = *from.userCertificate;
    if (number.IsBig() && number.BigOctets().Data()[0] >= 0x80) area[entry.serial.data() - area] = 0xFF;
  }
}

}  // namespace

const char *sxCrlReasonText(int reason) {
  return reason < 0 || reason > sxCrlReason_aACompromise ? nullptr : kReasons[reason];
}

sxCRL_imp::sxCRL_imp(kxFileMap map, size_t offset)
    : sxSigned_imp(sxOctetView(map.Data(), map.Len()).subspan(offset)), m_map(std::move(map)) {}

void sxCRL_imp::Decode() {
  static_cast<void>(DecodeWith([this] { return Read(); }));
  const unsigned char *const start = m_map.Data();
  if (start != nullptr && (GetBuf() < start || GetBuf() >= start + m_map.Len())) m_map = kxFileMap();  // it was PEM
}

// Plain DER is read as it stands; everything else is decoded by the codec and read from its encoding.
bool sxCRL_imp::Read() { return Take({GetBuf(), BufLen()}, false) || ReadDecoded(); }

bool sxCRL_imp::ReadDecoded() {
  sxASN_CertificateList decoded;
  kxBinBuf encoded;
  sxPlainCrl crl;
  if (sxASN_DecodeBuf(decoded, reinterpret_cast<const char *>(GetBuf()), static_cast<int>(BufLen())) != 0 ||
      sxASN_EncodeBuf(decoded, encoded, 0) != 0) {
    return false;
  }
  const size_t len = encoded.Len();
  m_plainOctets = std::make_unique_for_overwrite<unsigned char[]>(len);
  std::copy_n(encoded.Data(), len, m_plainOctets.get());
  if (!sxReadPlainCrl({m_plainOctets.get(), len}, true, &crl)) return false;
  RestoreSigns(decoded.tbsCertList->revokedCertificates, crl.entries, m_plainOctets.get());
  return Take({m_plainOctets.get(), len}, true);
}

bool sxCRL_imp::Take(sxOctetView plain, bool decoded) {
  sxPlainCrl crl;
  if (!sxReadPlainCrl(plain, decoded, &crl)) return false;
  m_parts = {crl.issuer, crl.entries, crl.extensions};
  m_version = crl.version;
  m_issuer.emplace(crl.issuer.data(), sxLen(crl.issuer));
  m_signatureOid.Set(crl.signatureAlgorithm.oid.data(), sxLen(crl.signatureAlgorithm.oid));
  m_thisUpdate = sxTimeSeconds(crl.thisUpdate);
  m_hasNextUpdate = crl.nextUpdate.tag != 0;
  m_nextUpdate = m_hasNextUpdate ? sxTimeSeconds(crl.nextUpdate) : kCrlTimeUnreadable;
  SetExtensions(crl.extensions);
  m_entries = sxRevokedEntries();
  const bool isIndirect = IssuingDP() != nullptr && IssuingDP()->IndirectCRL();
  if (isIndirect) m_entries.SetIndirect(sxIssuerIdOf(*m_issuer));
  if (!m_entries.Read(plain, crl.entries)) return false;
  if (m_entries.HasCritical() || isIndirect) LookForUnknown();
  return true;
}

// One that is not understood leaves the CRL OK; whoever judges by it refuses it.
void sxCRL_imp::SetExtensions(sxOctetView extensions) {
  m_extensions.Clear();
  m_number.reset();
  m_deltaBase.reset();
  m_isDelta = false;
  m_unknownListExt.reset();
  SetUnhandledExt(nullptr);
  sxExtensionsList::Appender appender(m_extensions, sxKeptCRLExtParserTable());
  sxForEachExtension(extensions, [&](const sxASN_Extension &ext, bool isCritical) {
    TakeExtension(ext, isCritical, appender);
    return true;
  });
  TakeScopeNames();
}

void sxCRL_imp::TakeExtension(const sxASN_Extension &ext, bool isCritical, sxExtensionsList::Appender &appender) {
  const sxAsnOid &oid = *ext.extnID;
  const bool isDelta = Is(oid, kOidDeltaIndicator), isNumber = isDelta || Is(oid, kOidCrlNumber);
  const bool isScope = oid.OidEquiv(sxASN_id_ce_issuingDistributionPoint) || isDelta;
  const bool isAgain = isNumber ? (isDelta ? m_isDelta : m_number.has_value()) : m_extensions.Find(&oid) != nullptr;
  // One that is there twice says two things. The list keeps the first, so that it stays short.
  const bool understood = !isAgain && (isNumber ? TakeNumber(ext) : appender.Parse(ext));
  const bool isLost = isScope && !isDelta ? m_extensions.Find(&oid) == nullptr : isDelta && !understood;
  m_isDelta |= isDelta;
  if (isCritical && (!understood || isScope) && UnhandledCritExt() == nullptr) SetUnhandledExt(&oid);
  if (isAgain || isLost || (isCritical && !understood)) Remember(m_unknownListExt, oid);
}

bool sxCRL_imp::TakeNumber(const sxASN_Extension &ext) {
  std::optional<sxAsnInt> &slot = Is(*ext.extnID, kOidCrlNumber) ? m_number : m_deltaBase;
  sxAsnInt number;
  if (sxParseExtension(number, &ext) != 0) return false;
  if (!slot) slot = std::move(number);
  return true;
}

const sxIssuingDP *sxCRL_imp::IssuingDP() const {
  return static_cast<const sxIssuingDP *>(m_extensions.Find(&sxASN_id_ce_issuingDistributionPoint));
}

void sxCRL_imp::TakeScopeNames() {
  const sxIssuingDP *const scope = IssuingDP();
  m_scopeNames = scope == nullptr ? sxGeneralNames() : scope->FullName();
  const sxDN *const relative = scope == nullptr ? nullptr : scope->RelativeName();
  if (relative == nullptr || !m_issuer) return;
  bool isWhole = false;
  if (relative->GetName() != nullptr) {
    for (const sxASN_RelativeDistinguishedName &rdn : *relative->GetName()) {
      isWhole = sxAddRelativeName(rdn, *m_issuer, &m_scopeNames);
    }
  }
  // A scope that lost its name would seem to be of every point.
  if (!isWhole) Remember(m_unknownListExt, sxASN_id_ce_issuingDistributionPoint);
}

void sxCRL_imp::LookForUnknown() {
  m_unknownEntryExt.reset();
  for (sxRevokedEntry entry; m_unknownEntryExt == nullptr && m_entries.Next(&entry);) {
    if (entry.unknownCritical != nullptr) {
      m_unknownEntryExt = std::make_unique<sxAsnOid>();
      m_unknownEntryExt->Set(entry.unknownCritical, entry.unknownCriticalLen);
    } else if (entry.isIssuerUnreadable) {
      m_unknownEntryExt = std::make_unique<sxAsnOid>();
      m_unknownEntryExt->Set(kOidCertificateIssuer, sizeof kOidCertificateIssuer);
    }
  }
  if (m_unknownEntryExt != nullptr && UnhandledCritExt() == nullptr) SetUnhandledExt(m_unknownEntryExt.get());
}

sxCRL::sxCRL(const unsigned char *buf, unsigned int len) : sxCRL(NewDecoded(std::make_unique<sxCRL_imp>(buf, len))) {}
sxCRL::sxCRL(sxCRL_imp *imp) : sxSigned(imp) {}

sxCRL_imp *sxCRL::Imp() const { return static_cast<sxCRL_imp *>(m_imp); }

int sxCRL::Version() const { return Imp()->Version(); }
const sxDN *sxCRL::Issuer() const { return Imp()->Issuer(); }
const sxAsnOid &sxCRL::SignatureOid() const { return Imp()->SignatureOid(); }
int64_t sxCRL::ThisUpdate() const { return Imp()->ThisUpdate(); }
bool sxCRL::HasNextUpdate() const { return Imp()->HasNextUpdate(); }
int64_t sxCRL::NextUpdate() const { return Imp()->NextUpdate(); }
bool sxCRL::IsIndirect() const { return Imp()->Entries().IsIndirect(); }
bool sxCRL::IsDelta() const { return Imp()->IsDelta(); }

const sxAsnInt *sxCRL::Number() const { return Imp()->Number(); }
const sxAsnInt *sxCRL::DeltaBase() const { return Imp()->DeltaBase(); }
const sxIssuingDP *sxCRL::IssuingDP() const { return Imp()->IssuingDP(); }
const sxExtKeyID *sxCRL::AuthorityKeyId() const {
  return static_cast<const sxExtKeyID *>(Extensions().Find(&sxASN_id_ce_authorityKeyIdentifier));
}
const sxExtGN *sxCRL::FreshestCRL() const {
  return static_cast<const sxExtGN *>(Extensions().Find(&sxASN_id_ce_freshestCRL));
}
const sxGeneralNames &sxCRL::ScopeNames() const { return Imp()->ScopeNames(); }
const sxExtensionsList &sxCRL::Extensions() const { return Imp()->Extensions(); }
const sxAsnOid *sxCRL::UnknownListExt() const { return Imp()->UnknownListExt(); }
const sxAsnOid *sxCRL::UnknownEntryExt() const { return Imp()->UnknownEntryExt(); }

int sxCRL::GetSize() const { return static_cast<int>(Imp()->Entries().Count()); }

bool sxCRL::FindEntry(const sxDN *certIssuer, const sxAsnInt &serial, sxRevokedEntry *entry) const {
  sxAsnDigitArea area;
  return Imp()->Entries().Find(certIssuer, sxAsnDigitsOf(serial, area), entry);
}

bool sxCRL::FindEntry(const sxCert &cert, sxRevokedEntry *entry) const {
  if (cert.SerialNum() == nullptr || (IsIndirect() && cert.Issuer() == nullptr)) return false;
  return FindEntry(cert.Issuer(), *cert.SerialNum(), entry);
}

bool sxCRL::IsEntryExist(const sxCert &cert) const { return FindEntry(cert, nullptr); }

bool sxCRL::NextEntry(sxRevokedEntry *entry) const { return entry != nullptr && Imp()->Entries().Next(entry); }

sxCRL *sxCRL_Decode(const unsigned char *buf, int len) {
  if (buf == nullptr || len <= 0) return nullptr;
  return OrNull("sxCRL_Decode", new sxCRL(buf, static_cast<unsigned int>(len)));
}

sxCRL *sxCRL_DecodeFile(const char *path, size_t offset) {
  constexpr const char *kFunc = "sxCRL_DecodeFile";
  kxFileInfo info;
  const OpenFile file(path, &info);
  if (file.fd < 0) return herror_func(0, 0, "%s: %s cannot be opened", kFunc, path == nullptr ? "" : path), nullptr;
  if (info.size > INT32_MAX || static_cast<uint64_t>(info.size) <= offset) {
    return herror_func(0, 0, "%s: %s has %lld octets", kFunc, path, static_cast<long long>(info.size)), nullptr;
  }
  const auto len = static_cast<size_t>(info.size);
  std::unique_ptr<sxCRL_imp> imp;
  kxFileMap map;
  if (info.size >= kMinMapped && kxFileMap::IsOurs(file.fd) && map.Map(file.fd, len) == 0) {
    imp = std::make_unique<sxCRL_imp>(std::move(map), offset);
  } else {
    auto octets = std::make_unique_for_overwrite<unsigned char[]>(len);
    if (kxFile_Read(file.fd, octets.get(), len) != info.size) {
      return herror_func(0, 0, "%s: %s cannot be read", kFunc, path), nullptr;
    }
    imp = std::make_unique<sxCRL_imp>(std::move(octets), offset, len - offset);
  }
  return OrNull(kFunc, new sxCRL(NewDecoded(std::move(imp))));
}

void sxCRL_Free(sxCRL *crl) { sxFreeSigned(crl); }
void sxCRL_Save(sxCRL *crl) { sxSaveSigned(crl); }

bool sxCRL_MayBeSignedBy(const sxCert &signer) {
  if (signer.KeyUsage() != nullptr) return signer.HasKeyUsage(sxKU_cRLSign) == 1;
  sxPlainExtension extension;
  for (sxDerReader each(static_cast<const sxCert_imp &>(*signer.GetP()).ExtensionOctets()); !each.AtEnd();) {
    if (!sxTakePlainExtension(each, &extension)) return false;
    if (!sxEqual(extension.oid, kOidKeyUsage)) continue;
    unsigned usage = 0;
    return sxReadPlainUsage(extension.value, &usage) && (usage >> sxKU_cRLSign & 1) != 0;
  }
  return true;
}
