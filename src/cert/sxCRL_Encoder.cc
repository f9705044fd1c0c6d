#include "kxcert/cert/sxCRL_Encoder.h"

#include "crlOids.h"
#include "foundation/textOutput.h"
#include "issueRules.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/log.h"
#include "signingTask.h"
#include "sxCRL_Encoder_imp.h"
#include "sxExtension_imp.h"

namespace {

constexpr size_t kMaxNumberLen = 20;                                              // RFC 5280, 5.2.3
constexpr char kOnlyInDelta[] = "only a delta CRL removes entries from another";  // 5.3.1

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

sxDerOctets NumberContent(const sxAsnInt &number) {
  sxAsnDigitArea area;
  return sxNumberContent(sxAsnDigitsOf(number, area));
}

bool IsLarger(const sxAsnInt &a, const sxAsnInt &b) {
  sxAsnDigitArea ofA, ofB;
  const sxAsnDigits x = sxAsnDigitsOf(a, ofA), y = sxAsnDigitsOf(b, ofB);
  if (x.negative || y.negative) return !x.negative;
  if (x.len != y.len) return x.len > y.len;
  return std::lexicographical_compare(y.octets, y.octets + y.len, x.octets, x.octets + x.len);
}

void Append(sxDerOctets &out, sxOctetView more) { out.insert(out.end(), more.begin(), more.end()); }

}  // namespace

void sxCRL_Encoder_imp::Copy(const sxCRL_imp &from) {
  const char *why = from.OK() == 0 ? "what was to be copied is no CRL" : nullptr;
  if (why == nullptr) {
    CopyFields(from);
    // Without an entry the copy would call good what the CRL calls revoked.
    if (!CopyEntries(from.Entries())) why = "not all entries can be copied: whose one of them is cannot be read";
  }
  if (why == nullptr) return;
  m_isWhole = false;
  m_issuer.reset();
  m_issuerDer.clear();
  m_rawExtensions.clear();
  SetExtensions({});
  m_draft = sxRevocationDraft();
  SetError(why);
  static_cast<void>(Refuse("sxCRL_Encoder::sxCRL_Encoder", why));
}

void sxCRL_Encoder_imp::CopyFields(const sxCRL_imp &from) {
  const sxOctetView issuer = from.PlainParts().issuer;
  m_issuerDer.assign(issuer.begin(), issuer.end());
  m_issuer.emplace(issuer.data(), sxLen(issuer));
  m_thisUpdate = from.ThisUpdate();
  m_hasNextUpdate = from.HasNextUpdate();
  m_nextUpdate = from.NextUpdate();
  if (from.Number() != nullptr) m_lastNumber = *from.Number();
  sxPlainExtension plain;
  for (sxDerReader each(from.PlainParts().extensions); !each.AtEnd();) {
    const sxOctetView rest = each.Rest();
    if (!sxTakePlainExtension(each, &plain)) break;  // never: they were read before
    RawExtension &raw = m_rawExtensions.emplace_back();
    raw.oid.Set(plain.oid.data(), sxLen(plain.oid));
    raw.der.assign(rest.begin(), rest.end() - static_cast<std::ptrdiff_t>(each.Rest().size()));
  }
  SetExtensions(ExtensionsContent());
}

// An issuer that holds for several entries stays named once.
bool sxCRL_Encoder_imp::CopyEntries(const sxRevokedEntries &from) {
  const bool isIndirect = from.IsIndirect();
  if (isIndirect) m_draft.BecomeIndirect(sxIssuerIdOf(*m_issuer));
  m_draft.Reserve(static_cast<int>(from.Count()));
  return from.ForEachFound([&](const sxPlainEntry &plain, const sxIssuerId *issuer, sxOctetView name) {
    const sxDerOctets number = sxNumberContent(sxAsnDigitsOf(plain.serial));
    const sxIssuerId *const last = m_draft.LastIssuer();
    if (!isIndirect || (last != nullptr && *last == *issuer)) {
      return m_draft.Add(issuer, number, plain.date, plain.extensions) == 1;
    }
    sxEntryExtensions said;
    sxReadEntryExtensions(plain.extensions, true, &said);
    sxDerOctets extensions;  // it names the issuer, or one did that gave way to a graver one
    if (!said.hasIssuer) extensions = sxCertificateIssuerDer(name);
    Append(extensions, plain.extensions);
    return m_draft.Add(issuer, number, plain.date, extensions) == 1;
  });
}

int sxCRL_Encoder_imp::SetIssuer(const sxDN &issuer) {
  constexpr const char *kFunc = "sxCRL_Encoder::SetIssuer";
  sxDerOctets der = NameDer(issuer);
  if (der.empty() || !sxIsNameForm(der)) return Refuse(kFunc, "no name");
  if (m_draft.IsIndirect() && m_draft.Count() > 0) return Refuse(kFunc, "entries are of the other issuer");
  m_issuerDer = std::move(der);
  m_issuer = sxDN(issuer);  // it may be the one that is here
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
  if (content.size() > kMaxNumberLen) return Refuse("sxCRL_Encoder::SetNumber", "longer than 20 octets");
  const sxDerOctets der = sxExtensionDer(oid, isCritical, sxDerOf(kDerInteger, {content}));
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
  if (!isIndirect && m_draft.HasIssuers()) m_draft.Compact(false);  // those of entries that are gone
  if (!isIndirect && m_draft.HasIssuers()) return Refuse(kFunc, "entries have issuers of their own");
  const std::unique_ptr<sxASN_Extension> ext(scope == nullptr ? nullptr : sxComposeIssuingDP(*scope, 1));
  if (scope != nullptr && ext == nullptr) return Refuse(kFunc, "no such scope");
  const bool wasIndirect = m_draft.IsIndirect();
  if (isIndirect && !wasIndirect) m_draft.BecomeIndirect(sxIssuerIdOf(*m_issuer));
  if (!wasIndirect && m_draft.HasIssuers()) {  // of a copy: nobody understood them so far
    m_draft.BecomeDirect();
    return Refuse(kFunc, "entries would become those of other issuers");
  }
  if (!isIndirect && wasIndirect) m_draft.BecomeDirect();
  return Put(sxASN_id_ce_issuingDistributionPoint, ext.get());
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
  const bool hasIssuer = entry.certIssuer != nullptr;
  if (hasIssuer ? entry.certIssuerLen < 1 : entry.certIssuerLen != 0) return Refuse(kFunc, "an issuer without octets");
  if (entry.isIssuerUnreadable) return Refuse(kFunc, "an issuer that cannot be read");
  if (hasIssuer && !m_draft.IsIndirect()) return Refuse(kFunc, "an issuer in a CRL that is not indirect");
  const sxDerOctets date = sxTimeDer(entry.revokedSec);
  sxDerOctets invalidity;
  if (entry.hasInvalidityDate) invalidity = sxGeneralizedTimeDer(entry.invaliditySec);
  if (date.empty() || (entry.hasInvalidityDate && invalidity.empty())) return Refuse(kFunc, "no such time");
  const bool hasReason = entry.reason != sxCrlReason_none && entry.reason != sxCrlReason_unspecified;
  if (hasReason && sxCrlReasonText(entry.reason) == nullptr) return Refuse(kFunc, "no such reason");
  if (entry.reason == sxCrlReason_removeFromCRL && !IsDelta()) return Refuse(kFunc, kOnlyInDelta);

  sxDerOctets extensions;
  if (hasReason) {
    const auto reason = static_cast<unsigned char>(entry.reason);
    Append(extensions, sxExtensionDer(kOidReasonCode, false, sxDerOf(kDerEnumerated, {sxOctetView(&reason, 1)})));
  }
  if (entry.hasInvalidityDate) Append(extensions, sxExtensionDer(kOidInvalidityDate, false, invalidity));
  std::optional<sxIssuerId> issuer;
  if (m_draft.IsIndirect()) {
    std::optional<sxDN> other;
    if (hasIssuer) other.emplace(entry.certIssuer, entry.certIssuerLen);
    issuer = other ? sxIssuerIdOf(*other) : m_draft.Own();
    if (!issuer) return Refuse(kFunc, "the issuer is no name");
    const sxIssuerId *const last = m_draft.LastIssuer();
    const bool isNamed = last != nullptr && *last == *issuer;
    if (!isNamed) Append(extensions, sxCertificateIssuerDer(other ? NameDer(*other) : m_issuerDer));
  }
  sxDerElement time;
  sxDerReader(date).Take(&time);
  const int rc = m_draft.Add(issuer ? &*issuer : nullptr, sxView(entry.serial, entry.serialLen),
                             {time.tag, time.content}, extensions);
  return rc < 0 ? Refuse(kFunc, "too many octets") : rc;
}

const char *sxCRL_Encoder_imp::WhyNot() const {
  if (!m_isWhole) return "a copy that is not whole";
  if (m_issuerDer.empty()) return "no issuer";
  if (sxTimeDer(m_thisUpdate).empty()) return "no thisUpdate";
  if (m_hasNextUpdate && sxTimeDer(m_nextUpdate).empty()) return "no such nextUpdate";
  if (m_hasNextUpdate && m_nextUpdate < m_thisUpdate) return "nextUpdate is before thisUpdate";
  if (IsDelta() && Number() == nullptr) return "a delta CRL without a number";
  if (DeltaBase() != nullptr && !IsLarger(*Number(), *DeltaBase())) return "the delta's base is not below its number";
  if (m_lastNumber && (Number() == nullptr || !IsLarger(*Number(), *m_lastNumber))) {
    return "the number is not larger than that of the CRL it was copied from";
  }
  return !IsDelta() && HasRemovals() ? kOnlyInDelta : nullptr;
}

bool sxCRL_Encoder_imp::HasRemovals() const {
  if (!m_draft.HasExtensions()) return false;
  sxRevokedEntry entry;
  while (m_draft.Next(&entry)) {
    if (entry.reason == sxCrlReason_removeFromCRL) return true;
  }
  return false;
}

std::shared_ptr<sxCrlToSign> sxCRL_Encoder_imp::Encode(sxPubKey *key, sx_md_type md) {
  if (const char *const why = WhyNot(); why != nullptr) {
    static_cast<void>(Refuse("sxCRL_Encoder::Encode", why));
    return nullptr;
  }
  if (IsDelta()) Put(sxASN_id_ce_freshestCRL, static_cast<const sxDerOctets *>(nullptr));  // RFC 5280, 5.2.6
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
  const int rc = sxQueueSigning(std::move(crl), callback, opaque);
  return rc == 0 ? static_cast<int>(TASK_INSERTED_TO_QUEUE) : rc;
}
