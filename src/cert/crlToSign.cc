#include "crlToSign.h"

#include <cctype>
#include <cstring>
#include <string>

#include "kxcert/cert/certTime.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/platform/log.h"
#include "sxCRL_imp.h"

namespace {

constexpr int64_t kFirstUtc = -631152000;          // 1950-01-01 00:00 UTC: RFC 5280, 5.1.2.4
constexpr int64_t kFirstGeneralized = 2524608000;  // 2050-01-01 00:00 UTC
constexpr int64_t kFirstSecond = -62167219200;     // 0000-01-01 00:00 UTC: four digits are no fewer
constexpr int64_t kLastSecond = 253402300799;      // 9999-12-31 23:59:59 UTC: and no more
constexpr size_t kHeaderRoom = 6;                  // identifier and five octets of length
constexpr size_t kSignatureRoom = 16;              // what goes around its octets
constexpr unsigned char kVersion2[] = {kDerInteger, 1, 1};
constexpr unsigned char kNull[] = {kDerNull, 0};
constexpr unsigned char kNoUnusedBits[] = {0};
constexpr int kExtensionsTag = DerContextConstructed(0);

}  // namespace

sxDerOctets sxGeneralizedTimeDer(int64_t seconds) {
  if (seconds == kCrlTimeUnreadable || seconds < kFirstSecond || seconds > kLastSecond) return {};
  std::string text = sxTimeText(seconds).getstr();  // "2030-01-31 23:59:59 UTC"
  std::erase_if(text, [](unsigned char c) { return std::isdigit(c) == 0; });
  text += 'Z';
  return sxDerOf(kDerGeneralizedTime, {{reinterpret_cast<const unsigned char *>(text.data()), text.size()}});
}

sxDerOctets sxTimeDer(int64_t seconds) {
  constexpr size_t kCentury = 4;  // behind the header, in front of what UTCTime has
  sxDerOctets general = sxGeneralizedTimeDer(seconds);
  if (general.empty() || seconds < kFirstUtc || seconds >= kFirstGeneralized) return general;
  return sxDerOf(kDerUtcTime, {sxOctetView(general).subspan(kCentury)});
}

std::shared_ptr<sxCrlToSign> sxCrlToSign::New(const sxCrlFields &fields, sxPubKey *key, sx_md_type md) {
  constexpr const char *kFunc = "sxCrlToSign::New";
  const int kind = key == nullptr || key->OK() == 0 ? -1 : key->algorithm();
  const sxAsnOid *const oid = SignOID_By_MD(md, kind == sxPK_ECDSA ? 1 : 0);
  if ((kind != sxPK_RSA && kind != sxPK_ECDSA) || (key->Flags() & kKeyFlagCanSign) == 0 || oid == nullptr) {
    herror_func(0, 0, "%s: a key of kind %d does not sign with digest %d", kFunc, kind, static_cast<int>(md));
    return nullptr;
  }
  std::shared_ptr<sxCrlToSign> made(new sxCrlToSign(key, md));
  const sxDerOctets oidDer = sxDerOf(kDerOid, {sxView(oid->Data(), oid->Len())});
  // RFC 5758, 3.2 and RFC 4055, 5: an ECDSA signature's parameters are absent, an RSA one's NULL.
  made->m_algorithm = sxDerOf(kDerSequence, {oidDer, kind == sxPK_RSA ? sxOctetView(kNull) : sxOctetView()});
  if (!made->Write(fields)) return herror_func(0, 0, "%s: too long", kFunc), nullptr;
  return made;
}

sxCrlToSign::sxCrlToSign(sxPubKey *key, sx_md_type md) : m_key(key), m_md(md) { sxSavePubKey(key); }

//   TBSCertList ::= SEQUENCE { version OPTIONAL, signature, issuer, thisUpdate, nextUpdate OPTIONAL,
//                              revokedCertificates OPTIONAL, crlExtensions [0] OPTIONAL }
bool sxCrlToSign::Write(const sxCrlFields &fields) {
  m_issuer.assign(fields.issuer.begin(), fields.issuer.end());
  m_extensions.assign(fields.extensions.begin(), fields.extensions.end());
  m_fields = fields;
  m_fields.issuer = m_fields.entries = m_fields.extensions = {};

  const bool isV2 = fields.hasEntryExtensions || !fields.extensions.empty();  // RFC 5280, 5.1.2.1
  const sxDerOctets thisUpdate = sxTimeDer(fields.thisUpdate);
  const sxDerOctets nextUpdate = fields.hasNextUpdate ? sxTimeDer(fields.nextUpdate) : sxDerOctets();
  sxDerOctets extensions;
  if (!fields.extensions.empty()) extensions = sxDerOf(kExtensionsTag, {sxDerOf(kDerSequence, {fields.extensions})});
  const sxOctetView version = isV2 ? sxOctetView(kVersion2) : sxOctetView();
  // RFC 5280, 5.1.2.6: without entries there is no list of them either.
  const size_t listLen = fields.entries.empty() ? 0 : sxDerLen(fields.entries.size());
  const size_t contentLen = version.size() + m_algorithm.size() + fields.issuer.size() + thisUpdate.size() +
                            nextUpdate.size() + listLen + extensions.size();
  m_tbsLen = sxDerLen(contentLen);
  m_areaLen = kHeaderRoom + m_tbsLen + m_algorithm.size() + kSignatureRoom +
              static_cast<size_t>(std::max(0, m_key->GetLen(sxPK_len_output)));
  if (m_areaLen > INT32_MAX) return false;
  m_area = std::make_unique_for_overwrite<unsigned char[]>(m_areaLen);
  sxDerForward out(m_area.get() + kHeaderRoom);
  out.Header(kDerSequence, contentLen);
  for (const sxOctetView part :
       {version, sxOctetView(m_algorithm), fields.issuer, sxOctetView(thisUpdate), sxOctetView(nextUpdate)}) {
    out.Octets(part);
  }
  if (listLen > 0) out.Element(kDerSequence, fields.entries);
  out.Octets(extensions);
  return true;
}

bool sxCrlToSign::MayLeaveThread() const {
  const char *const name = m_key->ClassName();
  return name != nullptr && (std::strcmp(name, "kxSRSA_imp") == 0 || std::strcmp(name, "kxECDSA_imp") == 0);
}

sxCRL *sxCrlToSign::Sign() {
  constexpr const char *kFunc = "sxCrlToSign::Sign";
  if (m_area == nullptr) return nullptr;
  unsigned char digest[kMaxDigestLen];
  const int digestLen = kx_md_len(m_md);
  if (kx_md_hashbuf(m_md, m_area.get() + kHeaderRoom, m_tbsLen, digest, digestLen) != 0) {
    return herror_func(0, 0, "%s: no digest %d", kFunc, static_cast<int>(m_md)), nullptr;
  }
  // RSA wraps the digest in a DigestInfo; ECDSA takes it bare.
  const sxPKop_type op = m_key->algorithm() == sxPK_RSA ? sxPKop_digest : sxPKop_raw;
  const int maxLen = m_key->Sign(op, m_md, digest, digestLen, nullptr, 0);
  sxDerOctets signature(static_cast<size_t>(std::max(0, maxLen)));
  const int len = maxLen < 1 ? maxLen : m_key->Sign(op, m_md, digest, digestLen, signature.data(), maxLen);
  if (len < 1 || len > maxLen) return herror_func(0, 0, "%s: the key did not sign (%d)", kFunc, len), nullptr;
  signature.resize(static_cast<size_t>(len));

  const size_t bitsLen = sxDerLen(1 + signature.size());
  const size_t contentLen = m_tbsLen + m_algorithm.size() + bitsLen;
  const size_t start = kHeaderRoom - sxDerHeaderLen(contentLen);
  if (kHeaderRoom + contentLen > m_areaLen) return herror_func(0, 0, "%s: signature of %d octets", kFunc, len), nullptr;
  sxDerForward(m_area.get() + start).Header(kDerSequence, contentLen);
  sxDerForward out(m_area.get() + kHeaderRoom + m_tbsLen);
  out.Octets(m_algorithm);
  out.Element(kDerBitString, {kNoUnusedBits, signature});

  auto imp = std::make_unique<sxCRL_imp>(std::move(m_area), start, kHeaderRoom - start + contentLen);
  imp->Decode();
  const bool isAsAsked = IsAsAsked(*imp);
  sxOwned<sxCRL, sxCRL_Free> made(new sxCRL(imp.release()));
  if (!isAsAsked || made->VerifySig(m_key.get()) != 0) {
    return herror_func(0, 0, "%s: %s", kFunc, isAsAsked ? "the signature is wrong" : "not what was asked"), nullptr;
  }
  return made.release();
}

// Whatever went wrong in writing, or in a key of others, is not handed out.
bool sxCrlToSign::IsAsAsked(const sxCRL_imp &crl) const {
  return crl.OK() != 0 && crl.Version() == (m_fields.hasEntryExtensions || !m_extensions.empty() ? 2 : 1) &&
         sxEqual(crl.PlainParts().issuer, m_issuer) && sxEqual(crl.PlainParts().extensions, m_extensions) &&
         crl.ThisUpdate() == m_fields.thisUpdate && crl.HasNextUpdate() == m_fields.hasNextUpdate &&
         (!m_fields.hasNextUpdate || crl.NextUpdate() == m_fields.nextUpdate) &&
         crl.Entries().Count() == m_fields.numEntries;
}
