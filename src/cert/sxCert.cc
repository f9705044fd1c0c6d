#include "kxcert/cert/sxCert.h"

#include <cstring>
#include <utility>

#include "extensionWalk.h"
#include "keys/keyAlgorithms.h"
#include "keys/subjectPublicKey.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/platform/log.h"
#include "peerText.h"
#include "sxCert_imp.h"
#include "sxDN_imp.h"

namespace {

const char *Chars(const unsigned char *octets) { return reinterpret_cast<const char *>(octets); }

int Seconds(const sxPlainTime &time) {
  const int len = sxLen(time.text);
  return time.tag == kDerUtcTime ? sxUTCTime2time(time.text.data(), len) : sxGeneralTime2time(time.text.data(), len);
}

}  // namespace

int isSupportedSignatureAlgorithm(const sxAsnOid &oid) { return IsImportedKeyAlgorithm(oid) ? 1 : 0; }

sxCert_imp::sxCert_imp(const unsigned char *buf, unsigned int len) : sxSigned_imp(buf, len) {
  Decode();
  m_plain = sxPlainCert();
}
sxCert_imp::sxCert_imp(std::unique_ptr<unsigned char[]> area, size_t offset, size_t len, sxPubKey *key,
                       sxPlainCert *fields)
    : sxSigned_imp(std::move(area), offset, len), m_pubKey(key) {
  if (key != nullptr) sxSavePubKey(key);
  Decode();
  *fields = std::exchange(m_plain, sxPlainCert());
}

void sxCert_imp::Decode() {
  if (DecodeWith([this] { return Read(); }) == 0) Extract(m_plain);
}

// Plain DER is read as it stands; everything else is decoded by the codec and read from its encoding.
bool sxCert_imp::Read() {
  m_plain = sxPlainCert();
  if (sxReadPlainCert({GetBuf(), BufLen()}, false, &m_plain)) {
    sxAsnReadBuf buf;
    buf.Init(m_plain.serial.data(), sxLen(m_plain.serial));
    sxAsnInt serial;
    int bytesDecoded = 0;
    serial.BDecContent(buf, kDerInteger, sxLen(m_plain.serial), bytesDecoded);
    SetSerial(serial);
  } else {
    sxASN_Certificate decoded;
    kxBinBuf encoded;
    if (sxASN_DecodeBuf(decoded, Chars(GetBuf()), static_cast<int>(BufLen())) != 0 ||
        sxASN_EncodeBuf(decoded, encoded, 0) != 0) {
      return false;
    }
    m_plainOctets = std::make_unique_for_overwrite<unsigned char[]>(encoded.Len());
    std::memcpy(m_plainOctets.get(), encoded.Data(), encoded.Len());
    m_plain = sxPlainCert();
    if (!sxReadPlainCert({m_plainOctets.get(), encoded.Len()}, true, &m_plain)) return false;
    SetSerial(*decoded.tbsCertificate->serialNumber);  // encoding it may have changed a long one
  }
  return true;
}

void sxCert_imp::Extract(sxPlainCert &cert) {
  m_version = cert.version;
  m_issuer = NewName(cert.issuer, std::move(cert.issuerName));
  m_subject = NewName(cert.subject, std::move(cert.subjectName));
  if (cert.notBefore.tag == 0 || cert.notAfter.tag == 0) { return SetError("No validity period"); }
  m_notBefore = Seconds(cert.notBefore);
  m_notAfter = Seconds(cert.notAfter);
  if (!ExtractKey(cert)) return;
  m_extensionOctets = cert.extensions;
  ExtractExtensions(cert.extensions);
  sxAsnOid signatureOid;
  signatureOid.Set(cert.signatureAlgorithm.oid.data(), sxLen(cert.signatureAlgorithm.oid));
  m_signAlgorithm = AlgType_By_SignOID(signatureOid);
  m_hashAlgorithm = MdType_By_SignOID(signatureOid);
}

void sxCert_imp::SetSerial(const sxAsnInt &serial) {
  m_serial = serial;
  if (!m_serial.IsBig()) m_shortSerialLen = AsnInt2Buf(&m_serial, m_shortSerial, sizeof m_shortSerial);
}

const unsigned char *sxCert_imp::SerialNum(int &len) const {
  len = m_serial.IsBig() ? m_serial.BigOctets().Len() : m_shortSerialLen;
  return m_serial.IsBig() ? m_serial.BigOctets().Data() : m_shortSerial;
}

// The octets stay where they are: the certificate keeps them as long as its names.
std::unique_ptr<sxDN> sxCert_imp::NewName(sxOctetView octets, sxFlatName &&flat) const {
  return std::unique_ptr<sxDN>(new sxDN(new sxDN_imp(octets, std::move(flat))));
}

bool sxCert_imp::ExtractKey(const sxPlainCert &cert) {
  if (m_pubKey != nullptr) return true;
  sxAsnOid algorithm;
  algorithm.Set(cert.keyAlgorithm.oid.data(), sxLen(cert.keyAlgorithm.oid));
  if (isSupportedSignatureAlgorithm(algorithm) == 0) {
    SetError(algorithm.OidEquiv(sxASN_dsa) ? "DSA key not supported" : "Not RSA key");
    return false;
  }
  const sxOctetView parameters = cert.keyAlgorithm.parameters;
  m_pubKey.reset(sxPubKey_FromSPKI(algorithm.Data(), algorithm.Len(), parameters.data(), sxLen(parameters),
                                   cert.keyBits.data(), sxLen(cert.keyBits), nullptr));
  if (m_pubKey != nullptr) return true;
  SetError(algorithm.OidEquiv(sxASN_ECDSAPublicKey) ? "Error decoding ECDSA key" : "Error decoding key");
  return false;
}

void sxCert_imp::ExtractExtensions(sxOctetView extensions) {
  sxExtensionsList::Appender appender(m_extensions, Get_ExtParserTable());
  sxForEachExtension(extensions, [&](const sxASN_Extension &ext, bool) {
    const bool understood = appender.Parse(ext);
    // This leaves the certificate OK; whoever validates it refuses it.
    if (!understood) SetUnhandledExt(ext.extnID);
    return understood;
  });
}

sxCert::sxCert(const unsigned char *buf, unsigned int len) : sxSigned(new sxCert_imp(buf, len)) {}

sxCert::sxCert(sxCert_imp *imp) : sxSigned(imp) {}

sxCert_imp *sxCert::Imp() const { return static_cast<sxCert_imp *>(m_imp); }

int sxCert::Version() const { return Imp()->Version(); }
const sxAsnInt *sxCert::SerialNum() const { return &Imp()->SerialNum(); }
const unsigned char *sxCert::SerialNum(int &len) const { return Imp()->SerialNum(len); }
const sxDN *sxCert::Issuer() const { return Imp()->Issuer(); }
const sxDN *sxCert::Subject() const { return Imp()->Subject(); }
int sxCert::notBefore() const { return Imp()->notBefore(); }
int sxCert::notAfter() const { return Imp()->notAfter(); }
int sxCert::signatureSignAlgorithm() const { return Imp()->signatureSignAlgorithm(); }
int sxCert::signatureHashAlgorithm() const { return Imp()->signatureHashAlgorithm(); }
sxPubKey *sxCert::PubKey() const { return Imp()->PubKey(); }
const sxExtensionsList &sxCert::Extensions() const { return Imp()->Extensions(); }
const sxExtension *sxCert::GetExt(const sxAsnOid *oid) const { return Extensions().Find(oid); }
int sxCert::IsCritical(const sxAsnOid *oid) const { return Extensions().IsCritical(oid); }

// The parser table decides which class stands under which identifier.
const sxKeyUsage *sxCert::KeyUsage() const { return static_cast<const sxKeyUsage *>(GetExt(&sxASN_id_ce_keyUsage)); }
const sxExtKeyUsage *sxCert::ExtKeyUsage() const {
  return static_cast<const sxExtKeyUsage *>(GetExt(&sxASN_id_ce_extKeyUsage));
}
const sxBasicConstraint *sxCert::GetBasicConstraint() const {
  return static_cast<const sxBasicConstraint *>(GetExt(&sxASN_id_ce_basicConstraints));
}
const sxGeneralNames *sxCert::AltNames() const {
  const auto *ext = static_cast<const sxExtGN *>(GetExt(&sxASN_id_ce_subjectAltName));
  return ext == nullptr ? nullptr : &ext->Names();
}
const sxExtKeyID *sxCert::SubjectKeyId() const {
  return static_cast<const sxExtKeyID *>(GetExt(&sxASN_id_ce_subjectKeyIdentifier));
}
const sxExtKeyID *sxCert::AuthorityKeyId() const {
  return static_cast<const sxExtKeyID *>(GetExt(&sxASN_id_ce_authorityKeyIdentifier));
}
const sxAuthorityInfoAccess *sxCert::AuthInfoAccess() const {
  return static_cast<const sxAuthorityInfoAccess *>(GetExt(&sxASN_id_pe_authorityInfoAccess));
}
const sxGeneralNames *sxCert::DistPoints() const {
  const auto *ext = static_cast<const sxExtGN *>(GetExt(&sxASN_id_ce_cRLDistributionPoints));
  return ext == nullptr ? nullptr : &ext->Names();
}
int sxCert::HasKeyUsage(sxKeyUsageType bit) const {
  if (bit < sxKU_digitalSignature || bit > sxKU_decipherOnly) return 0;
  const sxKeyUsage *usage = KeyUsage();
  return usage != nullptr && (usage->KeyUsageBits() >> bit & 1) != 0 ? 1 : 0;
}

int sxCert::operator==(const sxCert &other) const {
  if (BufLen() != other.BufLen()) return 0;
  return BufLen() == 0 || std::memcmp(GetBuf(), other.GetBuf(), BufLen()) == 0 ? 1 : 0;
}

sxCert *sxCert_Decode(const unsigned char *buf, int len) {
  if (buf == nullptr || len <= 0) return nullptr;
  auto *cert = new sxCert(buf, static_cast<unsigned int>(len));
  if (cert->OK() != 0) return cert;
  herror_func(0, 0, "sxCert_Decode: %s", cert->Error().getstr());
  sxCert_Free(cert);
  return nullptr;
}

void sxCert_Free(sxCert *cert) { sxFreeSigned(cert); }
void sxCert_Save(sxCert *cert) { sxSaveSigned(cert); }

int sxCert_GetSubject(sxCert *cert, char *buf, int len) {
  if (cert == nullptr || buf == nullptr || len < 1) return -1;
  const char *text = cert->Subject() == nullptr ? nullptr : cert->Subject()->GetStr();
  if (text == nullptr) return herror_func(0, 0, "sxCert_GetSubject: no subject"), -1;
  return sxHandOut("sxCert_GetSubject", text, buf, len);
}
