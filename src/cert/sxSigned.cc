#include "kxcert/cert/sxSigned.h"
#include "keys/ownKeys.h"

#include <openssl/sha.h>

#include <cstring>
#include <string_view>

#include "foundation/textOutput.h"
#include "kxcert/asn1/modules/SXUTILS.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBuf.h"
#include "kxcert/cert/pem.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/log.h"
#include "signatureMemory.h"
#include "sxSigned_imp.h"

namespace {

// Whether a signed structure that was decoded has its signature in segments.
bool HasSegmentedSignature(const unsigned char *octets, int len) {
  sxAsnReadBuf buf;
  buf.Init(octets, len);
  int bytesDecoded = 0;
  BDecTag(buf, bytesDecoded);
  BDecLen(buf, bytesDecoded);
  for (int i = 0; i < 2; ++i) {  // the signed element and the algorithm
    sxAsnRawAny skipped;
    if (skipped.BDec(buf, bytesDecoded) < 0) return true;
  }
  return (buf.PeekByte() & kConstructed) != 0;
}

struct Markers {
  const char *header;
  const char *footer;
};
constexpr Markers kMarkers[] = {
    {"-----BEGIN CERTIFICATE-----", "-----END CERTIFICATE-----"},
    {"-----BEGIN X509 CRL-----", "-----END X509 CRL-----"},
};

}  // namespace

sxSigned_imp::sxSigned_imp(sxOctetView lent) { Lend(lent); }

sxSigned_imp::sxSigned_imp(std::unique_ptr<unsigned char[]> area, size_t offset, size_t len)
    : m_owned(std::move(area)) {
  Lend({m_owned == nullptr ? nullptr : m_owned.get() + offset, m_owned == nullptr ? 0 : len});
}

sxSigned_imp::sxSigned_imp(const unsigned char *buf, unsigned int len) {
  if (buf != nullptr && len > 0 && len <= INT32_MAX) {
    m_owned = std::make_unique_for_overwrite<unsigned char[]>(len);
    std::memcpy(m_owned.get(), buf, len);
  }
  Lend({m_owned.get(), m_owned == nullptr ? 0 : len});
}

void sxSigned_imp::Lend(sxOctetView octets) {
  if (octets.empty() || octets.size() > INT32_MAX) return SetError("Empty data");
  m_der = octets;
}

void sxSigned_imp::SetError(const sxString &text) {
  m_error = text;
  m_ok = 0;
}

void sxSigned_imp::SetUnhandledExt(const sxAsnOid *oid) {
  m_unhandledExt.reset(oid == nullptr ? nullptr : static_cast<sxAsnOid *>(oid->Dup()));
}

int sxSigned_imp::DecodeBuf(sxAsnType &value) {
  return DecodeWith([this, &value] {
    return sxASN_DecodeBuf(value, reinterpret_cast<const char *>(m_der.data()), sxLen(m_der)) == 0;
  });
}

int sxSigned_imp::ConvertBuf() {
  const auto *text = reinterpret_cast<const char *>(m_der.data());
  const std::string_view all(text, m_der.size());
  Markers markers = {"", ""};
  for (const Markers &known : kMarkers) {
    if (all.find(known.header) != std::string_view::npos) {
      markers = known;
      break;
    }
  }
  unsigned char *der = nullptr;
  int len = sxLen(m_der);
  if (Base64Decode_PEM(text, &der, len, markers.header, markers.footer, 1, nullptr) != 0) return -1;
  Adopt(std::unique_ptr<unsigned char[]>(der), len);
  return 0;
}

void sxSigned_imp::Adopt(std::unique_ptr<unsigned char[]> octets, int len) {
  m_der = sxView(octets.get(), len);
  m_owned = std::move(octets);
}

//   Signed ::= SEQUENCE { toBeSigned ANY, signatureAlgorithm AlgorithmIdentifier, signature BIT STRING }
// Read without a tree when it is plain; otherwise the codec finds the ends of its elements.
bool sxSigned_imp::ReadParts(Parts *parts) const {
  constexpr size_t kLenOctets = 4;  // as the codec: a CRL may be long
  sxDerReader outer;
  sxDerElement body, algorithm;
  sxOctetView oid, signature;
  sxDerReader all(m_der, kLenOctets);
  if (!all.Enter(kDerSequence, &outer) || !outer.Take(&body) || !outer.Take(kDerSequence, &algorithm) ||
      !outer.Take(kDerBitString, &signature) || !outer.AtEnd() || signature.empty() || signature[0] != 0) {
    return false;
  }
  if (!sxDerReader(algorithm.content).Take(kDerOid, &oid) || oid.empty()) return false;
  parts->toBeSigned = body.whole;
  parts->algorithm.Set(oid.data(), sxLen(oid));
  parts->algorithmOctets = algorithm.whole;
  parts->signature = signature.subspan(1);
  return true;
}

void sxSigned_imp::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  out->Indent(indent);
  if (m_ok != 0) {
    out->Printf("Signed object (%u bytes)\n", BufLen());
  } else {
    out->Printf("Error: %s\n", m_error.getstr());
  }
}

int sxSigned_imp::VerifySig(sxPubKey *key) const {
  if (key == nullptr || key->OK() == 0 || m_der.empty()) return kKeyNotUsable;
  Parts parts;
  if (ReadParts(&parts)) return VerifyParts(parts, key);
  sxASN_Signed decoded;
  if (sxASN_DecodeBuf(decoded, reinterpret_cast<const char *>(m_der.data()), sxLen(m_der)) != 0) {
    herror_func(0, 0, "sxSigned_imp::VerifySig: not a signed structure (%u bytes)", BufLen());
    return kKeyBadInput;
  }
  // What no one reads could be changed without breaking the signature: how it is cut in segments, bits
  // behind its end.
  if (HasSegmentedSignature(m_der.data(), sxLen(m_der))) {
    herror_func(0, 0, "sxSigned_imp::VerifySig: signature in segments");
    return kKeyLenMismatch;
  }
  if (decoded.signature->BitLen() % 8 != 0) {
    herror_func(0, 0, "sxSigned_imp::VerifySig: signature of %d bits", decoded.signature->BitLen());
    return kKeyLenMismatch;
  }
  const auto *body = static_cast<const sxAsnRawAny *>(decoded.toBeSigned->Value());
  parts.toBeSigned = sxView(body->Data(), body->Len());
  parts.algorithm = *decoded.signatureAlgorithm->algorithm;
  parts.algorithmOctets = sxView(parts.algorithm.Data(), parts.algorithm.Len());
  parts.signature = sxView(decoded.signature->Data(), decoded.signature->Len());
  return VerifyParts(parts, key);
}

const sxSigned_imp::Digest *sxSigned_imp::SignedDigest(const Parts &parts) const {
  return m_signedDigest.Get([&parts]() -> std::unique_ptr<Digest> {
    auto digest = std::make_unique<Digest>();
    const int len = static_cast<int>(digest->size());
    const int rc = kx_md_hashbuf(sx_md_sha256, parts.toBeSigned.data(),
                                 static_cast<unsigned int>(parts.toBeSigned.size()), digest->data(), len);
    return rc == 0 ? std::move(digest) : nullptr;
  });
}

int sxSigned_imp::VerifyParts(const Parts &parts, sxPubKey *key) const {
  const int mdType = MdType_By_SignOID(parts.algorithm);
  const int digestLen = kx_md_len(mdType);
  const int family = AlgType_By_SignOID(parts.algorithm);
  if (mdType == sx_md_unknown || digestLen == 0 || family != key->algorithm()) {
    herror_func(0, 0,
                "sxSigned_imp::VerifySig: signature algorithm does not fit the key (digest %d, family %d, key %d)",
                mdType, family, key->algorithm());
    return kKeyNotImplemented;
  }
  // Without the digest (libcrypto may refuse it) nothing is remembered and the key decides.
  const Digest *body = sxSignatureMemory_IsOn() ? SignedDigest(parts) : nullptr;
  sxSignatureKey memoryKey;
  if (body != nullptr) {
    const unsigned char *keyHash = key->PublicKeyHash();
    if (keyHash == nullptr) return kKeyNotUsable;
    SHA256_CTX hash;
    SHA256_Init(&hash);
    SHA256_Update(&hash, body->data(), body->size());
    SHA256_Update(&hash, keyHash, SHA256_DIGEST_LENGTH);
    SHA256_Update(&hash, parts.algorithmOctets.data(), parts.algorithmOctets.size());
    SHA256_Update(&hash, parts.signature.data(),
                  parts.signature.size());  // last: the only other one without a fixed end
    SHA256_Final(memoryKey.data(), &hash);
    if (sxSignatureMemory_Knows(memoryKey)) return 0;
  }
  unsigned char digest[kMaxDigestLen];
  if (body != nullptr && mdType == sx_md_sha256) {
    std::memcpy(digest, body->data(), body->size());
  } else if (kx_md_hashbuf(mdType, parts.toBeSigned.data(), static_cast<unsigned int>(parts.toBeSigned.size()), digest,
                           digestLen) != 0) {
    return kKeyLibraryFailed;
  }
  // RSA wraps the digest in a DigestInfo; ECDSA takes it bare.
  const sxPKop_type op = family == sxPK_RSA ? sxPKop_digest : sxPKop_raw;
  const int rc = key->Verify(op, static_cast<sx_md_type>(mdType), digest, digestLen, parts.signature.data(),
                             sxLen(parts.signature));
  // What a key that is kept elsewhere says counts for this question alone.
  if (rc == 0 && body != nullptr && sxIsOwnKey(*key)) sxSignatureMemory_Keep(memoryKey);
  return rc;
}

sxSigned::sxSigned(sxSigned_imp *imp) : sxPKobj(imp) {}

sxSigned_imp *sxSigned::Imp() const { return static_cast<sxSigned_imp *>(m_imp); }

int sxSigned::OK() const { return Imp()->OK(); }
const sxString &sxSigned::Error() const { return Imp()->Error(); }
void sxSigned::SetError(const sxString &text) { Imp()->SetError(text); }
const sxAsnOid *sxSigned::UnhandledCritExt() const { return Imp()->UnhandledCritExt(); }
void sxSigned::SetUnhandledExt(const sxAsnOid *oid) { Imp()->SetUnhandledExt(oid); }
const unsigned char *sxSigned::GetBuf() const { return Imp()->GetBuf(); }
unsigned int sxSigned::BufLen() const { return Imp()->BufLen(); }
int sxSigned::VerifySig(sxPubKey *key) const { return Imp()->VerifySig(key); }
int sxSigned::DecodeBuf(sxAsnType &value) { return Imp()->DecodeBuf(value); }
void sxSigned::Sprint(SxStream *out, int indent) const { Imp()->Sprint(out, indent); }
void sxSigned::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxSigned::Herror() const { sxHerrorOf(*this, 0); }

void sxSaveSigned(sxSigned *obj) { sxSavePKobj(obj); }
void sxFreeSigned(sxSigned *obj) { sxFreePKobj(obj); }
