#include "crlToSign.h"

#include "kxcert/platform/log.h"
#include "sxCRL_imp.h"

namespace {

constexpr unsigned char kVersion2[] = {kDerInteger, 1, 1};
constexpr int kExtensionsTag = DerContextConstructed(0);

}  // namespace

std::shared_ptr<sxCrlToSign> sxCrlToSign::New(const sxCrlFields &fields, sxPubKey *key, sx_md_type md) {
  std::unique_ptr<sxToSign> toSign = sxToSign::New(key, md);
  if (toSign == nullptr) return nullptr;
  std::shared_ptr<sxCrlToSign> made(new sxCrlToSign(std::move(toSign)));
  if (!made->Write(fields)) return herror_func(0, 0, "sxCrlToSign::New: too long"), nullptr;
  return made;
}

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
  const sxOctetView algorithm = m_toSign->Algorithm();
  const sxOctetView version = isV2 ? sxOctetView(kVersion2) : sxOctetView();
  // RFC 5280, 5.1.2.6: without entries there is no list of them either.
  const size_t listLen = fields.entries.empty() ? 0 : sxDerLen(fields.entries.size());
  const size_t contentLen = version.size() + algorithm.size() + fields.issuer.size() + thisUpdate.size() +
                            nextUpdate.size() + listLen + extensions.size();
  unsigned char *const area = m_toSign->Begin(contentLen);
  if (area == nullptr) return false;
  sxDerForward out(area);
  for (const sxOctetView part : {version, algorithm, fields.issuer, sxOctetView(thisUpdate), sxOctetView(nextUpdate)}) {
    out.Octets(part);
  }
  if (listLen > 0) out.Element(kDerSequence, fields.entries);
  out.Octets(extensions);
  return true;
}

sxCRL *sxCrlToSign::Sign() {
  sxToSign::Signed signedOctets = m_toSign->Sign();
  if (signedOctets.area == nullptr) return nullptr;
  auto imp = std::make_unique<sxCRL_imp>(std::move(signedOctets.area), signedOctets.offset, signedOctets.len);
  imp->Decode();
  const bool isAsAsked = IsAsAsked(*imp);
  sxOwned<sxCRL, sxCRL_Free> made(new sxCRL(imp.release()));
  if (!isAsAsked) return herror_func(0, 0, "sxCrlToSign::Sign: not what was asked"), nullptr;
  return m_toSign->Accepts(*made, nullptr, true) ? made.release() : nullptr;
}

// Whatever went wrong in writing, or in a key of others, is not handed out.
bool sxCrlToSign::IsAsAsked(const sxCRL_imp &crl) const {
  return crl.OK() != 0 && crl.Version() == (m_fields.hasEntryExtensions || !m_extensions.empty() ? 2 : 1) &&
         sxEqual(crl.PlainParts().issuer, m_issuer) && sxEqual(crl.PlainParts().extensions, m_extensions) &&
         crl.ThisUpdate() == m_fields.thisUpdate && crl.HasNextUpdate() == m_fields.hasNextUpdate &&
         (!m_fields.hasNextUpdate || crl.NextUpdate() == m_fields.nextUpdate) &&
         crl.Entries().Count() == m_fields.numEntries;
}
