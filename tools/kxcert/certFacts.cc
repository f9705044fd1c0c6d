#include "certFacts.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include "issuedFacts.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"
#include "nameFacts.h"
#include "nameForm.h"
#include "oidInput.h"
#include "timeText.h"
#include "unknownParts.h"
#include "visibleText.h"
#include "writtenTime.h"

namespace {

struct CodeName {
  int code;
  const char *name;
};
constexpr CodeName kAlgorithms[] = {{sxPK_RSA, "RSA"}, {sxPK_DH, "DH"}, {sxPK_DSA, "DSA"}, {sxPK_ECDSA, "ECDSA"}};
constexpr CodeName kDigests[] = {
    {sx_md_md4, "MD4"},
    {sx_md_md5, "MD5"},
    {sx_md_sha1, "SHA-1"},
    {sx_md_sha256, "SHA-256"},
    {sx_md_sha384, "SHA-384"},
    {sx_md_sha512, "SHA-512"},
    {sx_md_sha512_256, "SHA-512/256"},
};

template <size_t kRows>
const char *NameOf(const CodeName (&table)[kRows], int code) {
  for (const CodeName &row : table) {
    if (row.code == code) return row.name;
  }
  return "unknown";
}

constexpr int kNumKeyUsages = 9;  // bits that KeyusageStr knows

}  // namespace

Facts DateFacts(const sxASN_Time *time, int64_t counted) {
  const int64_t exact = sxASN_Time2seconds(time);
  if (exact < kFirstClampedSec) return {{"seconds", exact}, {"text", ExactTimeText(time)}, {"clamped", false}};
  return {{"seconds", counted}, {"text", PrintCertTime(counted)}, {"clamped", true}};
}

std::string NameText(const sxDN *dn) {
  if (dn == nullptr) return "(no name)";
  if (WantsRfc4514() && dn->Count() > 0) return Rfc4514Text(*dn->GetName());
  const char *text = dn->GetStr_ascii();
  if (text == nullptr) return "(a name without text form)";
  return *text == '\0' ? "(empty name)" : VisibleLine(text);
}

void Negate(std::vector<unsigned char> &octets) {
  unsigned carry = 1;
  for (auto octet = octets.rbegin(); octet != octets.rend(); ++octet) {
    carry += static_cast<unsigned char>(~*octet);
    *octet = static_cast<unsigned char>(carry);
    carry >>= 8;
  }
}

bool IsNegative(const sxAsnInt &number) {
  return number.IsBig() ? number.BigOctets().Data()[0] >= 0x80 : number.GetShortVal() < 0;
}

std::string NumberText(const sxAsnInt &number) {
  kxBinBuf octets;
  if (AsnInt2BinBuf(&number, octets) != 0) return "(none)";
  if (!IsNegative(number)) return HexOf(octets.Data(), octets.Len());
  std::vector<unsigned char> magnitude(octets.Data(), octets.Data() + octets.Len());
  Negate(magnitude);
  magnitude.erase(magnitude.begin(),
                  std::find_if(magnitude.begin(), magnitude.end() - 1, [](int o) { return o != 0; }));
  return "-" + HexOf(magnitude.data(), magnitude.size());
}

std::string NumberText(std::span<const unsigned char> content) {
  const std::unique_ptr<sxAsnInt> number(AsnIntFromBuf(content.data(), static_cast<int>(content.size())));
  return number != nullptr ? NumberText(*number) : "(none)";
}

std::string SerialText(const sxCert &cert) {
  return cert.SerialNum() == nullptr ? "(none)" : NumberText(*cert.SerialNum());
}

std::string KeyText(const sxCert &cert) {
  if (cert.PubKey() == nullptr) return "(none)";
  return std::string(NameOf(kAlgorithms, cert.PubKey()->algorithm())) + ", " +
         std::to_string(sxPubKey_NumBits(cert.PubKey())) + " bits";
}

std::string ValidityText(const sxCert &cert) {
  return PrintCertTime(cert.notBefore()) + " to " + PrintCertTime(cert.notAfter());
}

std::string SignatureText(int family, int digest) {
  return std::string(NameOf(kAlgorithms, family)) + " with " + NameOf(kDigests, digest);
}

std::string SignatureText(const sxCert &cert) {
  return SignatureText(cert.signatureSignAlgorithm(), cert.signatureHashAlgorithm());
}

std::string SignatureText(const sxAsnOid &oid) {
  return SignatureText(AlgType_By_SignOID(oid), MdType_By_SignOID(oid));
}

std::string KeyIdText(const sxExtKeyID *keyId) {
  return keyId == nullptr ? std::string() : HexOf(keyId->KIdBuf().Data(), keyId->KIdBuf().Len());
}

Facts PurposeFacts(const sxExtKeyUsage &usage) {
  auto purposes = Facts::array();
  const std::unique_ptr<sxASN_ExtKeyUsageSyntax> list(usage.ExtKeyUsage_2_ASN());
  if (list == nullptr) return purposes;
  for (const sxAsnOid &oid : *list) purposes.push_back({{"oid", OidText(oid)}, {"name", NameOrOid(oid)}});
  return purposes;
}

Facts BodyFacts(const sxDN *issuer, const sxDN *subject, const sxASN_Time *notBefore, const sxASN_Time *notAfter,
                const sxASN_Extensions *extensions) {
  return {{"issuer", NameText(issuer)},
          {"subject", NameText(subject)},
          {"notBeforeWritten", WrittenTime(notBefore)},
          {"notAfterWritten", WrittenTime(notAfter)},
          {"subjectRdns", RdnFacts(subject)},
          {"issuerRdns", RdnFacts(issuer)},
          {"subjectAltNames", AltNameFacts(extensions, sxASN_id_ce_subjectAltName)},
          {"issuerAltNames", AltNameFacts(extensions, sxASN_id_ce_issuerAltName)}};
}

Facts CertFacts(const sxCert &cert) {
  sxCertTemplate copy;
  const bool isCopied = copy.Set(&cert) == 0;
  const auto *const validity = isCopied ? copy.Tree().validity : nullptr;
  const sxASN_Time *const notBefore = validity == nullptr ? nullptr : validity->notBefore;
  const sxASN_Time *const notAfter = validity == nullptr ? nullptr : validity->notAfter;
  Facts facts = BodyFacts(cert.Issuer(), cert.Subject(), notBefore, notAfter, copy.Tree().extensions);
  facts.update(Facts{{"version", cert.Version()},
                     {"serial", SerialText(cert)},
                     {"notBefore", DateFacts(notBefore, cert.notBefore())},
                     {"notAfter", DateFacts(notAfter, cert.notAfter())},
                     {"signature", SignatureText(cert)},
                     {"sha256", Sha256Of(cert.GetBuf(), cert.BufLen())},
                     {"spkiSha256", SpkiSha256(cert)}});
  if (cert.ExtKeyUsage() != nullptr) facts["extKeyUsage"] = PurposeFacts(*cert.ExtKeyUsage());
  if (cert.PubKey() != nullptr) {
    facts["key"] = {{"algorithm", NameOf(kAlgorithms, cert.PubKey()->algorithm())},
                    {"bits", sxPubKey_NumBits(cert.PubKey())}};
  }
  if (cert.SubjectKeyId() != nullptr) facts["subjectKeyId"] = KeyIdText(cert.SubjectKeyId());
  if (cert.AuthorityKeyId() != nullptr) facts["authorityKeyId"] = KeyIdText(cert.AuthorityKeyId());
  if (const sxBasicConstraint *constraint = cert.GetBasicConstraint(); constraint != nullptr) {
    facts["isCA"] = constraint->IsCA();
    if (constraint->PathLen() >= 0) facts["pathLen"] = CountFacts(constraint->PathLen());
  }
  if (const sxKeyUsage *usage = cert.KeyUsage(); usage != nullptr) {
    facts["keyUsage"] = Facts::array();
    for (int bit = 0; bit < kNumKeyUsages; ++bit) {
      if ((usage->KeyUsageBits() >> bit & 1) != 0) facts["keyUsage"].push_back(sxKeyUsage::KeyusageStr(bit));
    }
  }
  return facts;
}

Validity ValidityOf(const sxCert &cert) {
  sxCertTemplate copy;
  if (copy.Set(&cert) != 0 || copy.Tree().validity == nullptr) return {};
  return {sxASN_Time2seconds(copy.Tree().validity->notBefore), sxASN_Time2seconds(copy.Tree().validity->notAfter)};
}
