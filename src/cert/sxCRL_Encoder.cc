#include "kxcert/cert/sxCRL_Encoder.h"

#include "crlOids.h"
#include "foundation/textOutput.h"
#include "keys/tasks/poolWork.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/keyTasks.h"
#include "kxcert/platform/log.h"
#include "sxCRL_Encoder_imp.h"
#include "sxExtension_imp.h"

namespace {

constexpr unsigned char kTrue[] = {kDerBoolean, 1, 0xFF};

int Refuse(const char *func, const char *why) { return herror_func(0, 0, "%s: %s", func, why), -1; }

template <class Tree>
sxDerOctets DerOf(Tree &tree) {
  kxBinBuf der;
  if (sxASN_EncodeBuf(tree, der, 1) != 0) return {};
  return sxDerOctets(der.Data(), der.Data() + der.Len());
}

sxDerOctets NameDer(const sxDN &name) {
  const sxASN_RDNSequence *const tree = name.GetName();
  if (tree == nullptr) return {};
  sxASN_RDNSequence copy(*tree);
  return DerOf(copy);
}

sxDerOctets ExtensionDer(sxOctetView oid, bool isCritical, sxOctetView value) {
  const sxDerOctets oidDer = sxDerOf(kDerOid, {oid});
  return sxDerOf(kDerSequence,
                 {oidDer, isCritical ? sxOctetView(kTrue) : sxOctetView(), sxDerOf(kDerOctetString, {value})});
}

// GeneralNames with the one directoryName [4]; always critical (RFC 5280, 5.3.3).
sxDerOctets CertificateIssuer(sxOctetView name) {
  return ExtensionDer(kOidCertificateIssuer, true, sxDerOf(kDerSequence, {sxDerOf(DerContextConstructed(4), {name})}));
}

sxDerOctets NumberContent(const sxAsnInt &number) {
  sxAsnDigitArea area;
  return sxNumberContent(sxAsnDigitsOf(number, area));
}

void Append(sxDerOctets &out, sxOctetView more) { out.insert(out.end(), more.begin(), more.end()); }

// A signature on a worker, and its answer on the loop's thread.
class SigningWork : public PoolWork {
 public:
  SigningWork(std::shared_ptr<sxCrlToSign> crl, sxCrlCallback callback, void *opaque)
      : m_toSign(std::move(crl)), m_callback(callback), m_opaque(opaque) {
    // A key that is kept elsewhere belongs to this thread.
    if (!m_toSign->MayLeaveThread()) Sign();
  }

  void Run() override {
    if (!m_isDone) Sign();
  }
  void End(bool didRun) override {
    if (!didRun) return m_callback(m_opaque, TASK_TIMEOUT, nullptr);
    sxCRL *const made = m_made.release();
    m_callback(m_opaque, made == nullptr ? TASK_SIGNING_ERROR : TASK_SUCCESS, made);
  }

 private:
  void Sign() {
    m_isDone = true;
    m_made.reset(m_toSign->Sign());
  }

  const std::shared_ptr<sxCrlToSign> m_toSign;
  const sxCrlCallback m_callback;
  void *const m_opaque;
  bool m_isDone = false;  // of Run, which a late worker may still be at
  sxOwned<sxCRL, sxCRL_Free> m_made;
};

}  // namespace

void sxCRL_Encoder_imp::Copy(const sxCRL_imp &from) {
  if (from.OK() == 0) return;
  const sxOctetView issuer = from.PlainParts().issuer;
  m_issuerDer.assign(issuer.begin(), issuer.end());
  m_issuer.emplace(issuer.data(), sxLen(issuer));
  m_thisUpdate = from.ThisUpdate();
  m_hasNextUpdate = from.HasNextUpdate();
  m_nextUpdate = from.NextUpdate();
  sxPlainExtension plain;
  for (sxDerReader each(from.PlainParts().extensions); !each.AtEnd();) {
    const sxOctetView rest = each.Rest();
    if (!sxTakePlainExtension(each, &plain)) break;  // never: they were read before
    RawExtension &raw = m_rawExtensions.emplace_back();
    raw.oid.Set(plain.oid.data(), sxLen(plain.oid));
    raw.der.assign(rest.begin(), rest.end() - static_cast<std::ptrdiff_t>(each.Rest().size()));
  }
  SetExtensions(ExtensionsContent());
  CopyEntries(from);
}

// An issuer that holds for several entries is written into each, so that any of them may go.
void sxCRL_Encoder_imp::CopyEntries(const sxCRL_imp &from) {
  const bool isIndirect = from.Entries().IsIndirect();
  if (isIndirect) m_draft.BecomeIndirect(sxIssuerIdOf(*m_issuer));
  m_draft.Reserve(static_cast<int>(from.Entries().Count()));
  sxRevokedEntry entry, counts;
  sxPlainEntry plain;
  sxDerReader each(from.PlainParts().entries, kCrlLenOctets);
  while (from.Entries().Next(&entry) && sxTakePlainEntry(each, &plain)) {
    const std::optional<sxDN> issuer = entry.certIssuer == nullptr
                                           ? std::nullopt
                                           : std::optional<sxDN>(std::in_place, entry.certIssuer, entry.certIssuerLen);
    const sxAsnDigits digits = sxAsnDigitsOf(plain.serial);
    if (!from.Entries().Find(issuer ? &*issuer : nullptr, digits, &counts) || counts.place != entry.place) continue;
    sxEntryExtensions said;
    sxReadEntryExtensions(plain.extensions, isIndirect, &said);
    sxDerOctets extensions;
    if (issuer && !said.hasIssuer) extensions = CertificateIssuer(sxView(entry.certIssuer, entry.certIssuerLen));
    Append(extensions, plain.extensions);
    m_draft.Add(issuer ? &*issuer : nullptr, sxNumberContent(digits), plain.date, extensions);
  }
}

int sxCRL_Encoder_imp::SetIssuer(const sxDN &issuer) {
  constexpr const char *kFunc = "sxCRL_Encoder::SetIssuer";
  sxDerOctets der = NameDer(issuer);
  if (der.empty()) return Refuse(kFunc, "no name");
  if (m_draft.IsIndirect() && m_draft.Count() > 0) return Refuse(kFunc, "entries are of the other issuer");
  m_issuerDer = std::move(der);
  m_issuer.emplace(issuer);
  if (m_draft.IsIndirect()) m_draft.BecomeIndirect(sxIssuerIdOf(*m_issuer));
  SetExtensions(ExtensionsContent());  // names relative to the issuer
  return 0;
}

int sxCRL_Encoder_imp::SetThisUpdate(int64_t seconds) {
  if (sxTimeDer(seconds).empty()) return Refuse("sxCRL_Encoder::SetThisUpdate", "no such time");
  m_thisUpdate = seconds;
  return 0;
}

int sxCRL_Encoder_imp::SetNextUpdate(int64_t seconds) {
  if (sxTimeDer(seconds).empty()) return Refuse("sxCRL_Encoder::SetNextUpdate", "no such time");
  m_nextUpdate = seconds;
  m_hasNextUpdate = true;
  return 0;
}

int sxCRL_Encoder_imp::SetNumber(sxOctetView oid, bool isCritical, const sxAsnInt *number) {
  sxAsnOid type;
  type.Set(oid.data(), sxLen(oid));
  if (number == nullptr) return Put(type, static_cast<const sxDerOctets *>(nullptr)), 0;
  const sxDerOctets content = NumberContent(*number);
  if (content[0] >= 0x80) return Refuse("sxCRL_Encoder::SetNumber", "negative");
  const sxDerOctets der = ExtensionDer(oid, isCritical, sxDerOf(kDerInteger, {content}));
  return Put(type, &der), 0;
}

int sxCRL_Encoder_imp::SetAuthorityKeyId(const sxExtKeyID *keyId) {
  const std::unique_ptr<sxASN_Extension> ext(keyId == nullptr ? nullptr : sxComposeAuthorityKeyId(*keyId, 0));
  if (keyId != nullptr && ext == nullptr) return Refuse("sxCRL_Encoder::SetAuthorityKeyId", "no such identifier");
  return Put(sxASN_id_ce_authorityKeyIdentifier, ext.get());
}

int sxCRL_Encoder_imp::SetIssuingDP(const sxIssuingDP *scope) {
  constexpr const char *kFunc = "sxCRL_Encoder::SetIssuingDP";
  const bool isIndirect = scope != nullptr && scope->IndirectCRL();
  if (isIndirect && !m_issuer) return Refuse(kFunc, "an indirect CRL's issuer comes first");
  if (!isIndirect && m_draft.HasIssuers()) return Refuse(kFunc, "entries have issuers of their own");
  const std::unique_ptr<sxASN_Extension> ext(scope == nullptr ? nullptr : sxComposeIssuingDP(*scope, 1));
  if (scope != nullptr && ext == nullptr) return Refuse(kFunc, "no such scope");
  if (Put(sxASN_id_ce_issuingDistributionPoint, ext.get()) != 0) return -1;
  if (isIndirect && !m_draft.IsIndirect()) m_draft.BecomeIndirect(sxIssuerIdOf(*m_issuer));
  return 0;
}

int sxCRL_Encoder_imp::Put(const sxAsnOid &oid, const sxASN_Extension *ext) {
  if (ext == nullptr) return Put(oid, static_cast<const sxDerOctets *>(nullptr)), 0;
  sxASN_Extension copy(*ext);
  const sxDerOctets der = DerOf(copy);
  if (der.empty()) return Refuse("sxCRL_Encoder", "an extension cannot be encoded");
  return Put(oid, &der), 0;
}

void sxCRL_Encoder_imp::Put(const sxAsnOid &oid, const sxDerOctets *der) {
  std::erase_if(m_rawExtensions, [&oid](const RawExtension &raw) { return raw.oid.OidEquiv(oid); });
  if (der != nullptr) m_rawExtensions.push_back({oid, *der});
  SetExtensions(ExtensionsContent());
}

sxDerOctets sxCRL_Encoder_imp::ExtensionsContent() const {
  sxDerOctets content;
  for (const RawExtension &raw : m_rawExtensions) Append(content, raw.der);
  return content;
}

int sxCRL_Encoder_imp::Add(const sxRevokedEntry &entry) {
  constexpr const char *kFunc = "sxCRL_Encoder::AddEntry";
  if (entry.serial == nullptr || entry.serialLen < 1) return Refuse(kFunc, "no serial number");
  const bool hasIssuer = entry.certIssuer != nullptr && entry.certIssuerLen > 0;
  if (hasIssuer && !m_draft.IsIndirect()) return Refuse(kFunc, "an issuer in a CRL that is not indirect");
  const sxDerOctets date = sxTimeDer(entry.revokedSec);
  sxDerOctets invalidity;
  if (entry.hasInvalidityDate) invalidity = sxGeneralizedTimeDer(entry.invaliditySec);
  if (date.empty() || (entry.hasInvalidityDate && invalidity.empty())) return Refuse(kFunc, "no such time");
  const bool hasReason = entry.reason != sxCrlReason_none && entry.reason != sxCrlReason_unspecified;
  if (hasReason && sxCrlReasonText(entry.reason) == nullptr) return Refuse(kFunc, "no such reason");

  std::optional<sxDN> issuer;
  sxDerOctets extensions;
  if (hasReason) {
    const auto reason = static_cast<unsigned char>(entry.reason);
    Append(extensions, ExtensionDer(kOidReasonCode, false, sxDerOf(kDerEnumerated, {sxOctetView(&reason, 1)})));
  }
  if (entry.hasInvalidityDate) Append(extensions, ExtensionDer(kOidInvalidityDate, false, invalidity));
  if (hasIssuer) {
    issuer.emplace(entry.certIssuer, entry.certIssuerLen);
    if (!sxIssuerIdOf(*issuer)) return Refuse(kFunc, "the issuer is no name");
    Append(extensions, CertificateIssuer(NameDer(*issuer)));
  } else if (m_draft.HasIssuers()) {
    Append(extensions, CertificateIssuer(m_issuerDer));  // else it would be of the one before
  }
  sxDerElement time;
  sxDerReader(date).Take(&time);
  const int rc = m_draft.Add(issuer ? &*issuer : nullptr, sxView(entry.serial, entry.serialLen),
                             {time.tag, time.content}, extensions);
  return rc < 0 ? Refuse(kFunc, "too many octets") : rc;
}

const char *sxCRL_Encoder_imp::WhyNot() const {
  if (m_issuerDer.empty()) return "no issuer";
  if (sxTimeDer(m_thisUpdate).empty() || m_thisUpdate == kCrlTimeUnreadable) return "no thisUpdate";
  if (m_hasNextUpdate && sxTimeDer(m_nextUpdate).empty()) return "no such nextUpdate";
  if (m_hasNextUpdate && m_nextUpdate < m_thisUpdate) return "nextUpdate is before thisUpdate";
  if (IsDelta() && Number() == nullptr) return "a delta CRL without a number";
  return nullptr;
}

std::shared_ptr<sxCrlToSign> sxCRL_Encoder_imp::Encode(sxPubKey *key, sx_md_type md) {
  if (const char *const why = WhyNot(); why != nullptr) {
    static_cast<void>(Refuse("sxCRL_Encoder::Encode", why));
    return nullptr;
  }
  m_draft.Compact(true);
  const sxDerOctets extensions = ExtensionsContent();
  sxCrlFields fields;
  fields.issuer = m_issuerDer;
  fields.thisUpdate = m_thisUpdate;
  fields.hasNextUpdate = m_hasNextUpdate;
  fields.nextUpdate = m_nextUpdate;
  fields.entries = m_draft.Octets();
  fields.numEntries = m_draft.Count();
  fields.hasEntryExtensions = m_draft.HasExtensions();
  fields.extensions = extensions;
  return sxCrlToSign::New(fields, key, md);
}

sxCRL_Encoder::sxCRL_Encoder(int numExpected) : sxCRL(new sxCRL_Encoder_imp(numExpected)) {}
sxCRL_Encoder::sxCRL_Encoder(const sxCRL &from) : sxCRL_Encoder(0) {
  Imp()->Copy(static_cast<const sxCRL_imp &>(*from.GetP()));
}

sxCRL_Encoder_imp *sxCRL_Encoder::Imp() const { return static_cast<sxCRL_Encoder_imp *>(m_imp); }

int sxCRL_Encoder::SetIssuer(const sxDN &issuer) { return Imp()->SetIssuer(issuer); }
int sxCRL_Encoder::SetThisUpdate(int64_t seconds) { return Imp()->SetThisUpdate(seconds); }
int sxCRL_Encoder::SetNextUpdate(int64_t seconds) { return Imp()->SetNextUpdate(seconds); }
int sxCRL_Encoder::RemoveNextUpdate() { return Imp()->RemoveNextUpdate(), 0; }
int sxCRL_Encoder::SetNumber(const sxAsnInt *number) { return Imp()->SetNumber(kOidCrlNumber, false, number); }
int sxCRL_Encoder::SetDeltaBase(const sxAsnInt *number) { return Imp()->SetNumber(kOidDeltaIndicator, true, number); }
int sxCRL_Encoder::SetAuthorityKeyId(const sxExtKeyID *keyId) { return Imp()->SetAuthorityKeyId(keyId); }
int sxCRL_Encoder::SetIssuingDP(const sxIssuingDP *scope) { return Imp()->SetIssuingDP(scope); }

int sxCRL_Encoder::AddEntry(const sxAsnInt &serial, int64_t revokedSec) {
  // As it is stored, zeros in front included.
  const sxOctets &big = serial.BigOctets();
  const bool asStored = serial.IsBig() && (!serial.IsMagnitude() || big.Data()[0] < 0x80);
  const sxDerOctets content = asStored ? sxDerOctets(big.Data(), big.Data() + big.Len()) : NumberContent(serial);
  sxRevokedEntry entry;
  entry.serial = content.data();
  entry.serialLen = static_cast<int>(content.size());
  entry.revokedSec = revokedSec;
  return AddEntry(entry);
}

int sxCRL_Encoder::AddEntry(const sxRevokedEntry &entry) { return Imp()->Add(entry); }
int sxCRL_Encoder::RemoveEntry(const sxAsnInt &serial) { return RemoveEntry(nullptr, serial); }
int sxCRL_Encoder::RemoveEntry(const sxDN *certIssuer, const sxAsnInt &serial) {
  return Imp()->Remove(certIssuer, serial) ? 0 : -1;
}

sxCRL *sxCRL_Encoder::Encode(sxPubKey *key, sx_md_type md) {
  const std::shared_ptr<sxCrlToSign> crl = Imp()->Encode(key, md);
  return crl == nullptr ? nullptr : crl->Sign();
}

int sxCRL_Encoder::EncodeA(sxPubKey *key, sx_md_type md, sxCrlCallback callback, void *opaque) {
  if (callback == nullptr) return TASK_BAD_INPUT;
  std::shared_ptr<sxCrlToSign> crl = Imp()->Encode(key, md);
  if (crl == nullptr) return TASK_BAD_INPUT;
  const int rc = QueuePoolWork(std::make_shared<SigningWork>(std::move(crl), callback, opaque));
  return rc == 0 ? static_cast<int>(TASK_INSERTED_TO_QUEUE) : rc;
}
