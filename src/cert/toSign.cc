#include "toSign.h"

#include "keys/ownKeys.h"
#include "keys/subjectPublicKey.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/platform/log.h"
#include "plainFields.h"
#include "templateParts.h"

namespace {

constexpr size_t kSignatureRoom = 16;  // what goes around its octets
constexpr unsigned char kNull[] = {kDerNull, 0};
constexpr unsigned char kNoUnusedBits[] = {0};

using PubKeyRef = sxOwned<sxPubKey, sxFreePubKey>;

// As a key of this process. Null when it has none that is known here.
sxPubKey *PublicPart(sxPubKey *key) {
  const sxKeyInfo info(key);
  sxDerReader reader(info.der);
  sxPlainAlgorithm algorithm;
  sxOctetView bits;
  if (info.der.empty() || !sxTakePlainKey(reader, true, &algorithm, &bits)) return nullptr;
  sxSpkiResult result = sxSpki_ok;
  return sxPubKey_FromSPKI(algorithm.oid.data(), sxLen(algorithm.oid), algorithm.parameters.data(),
                           sxLen(algorithm.parameters), bits.data(), sxLen(bits), &result);
}

}  // namespace

std::unique_ptr<sxToSign> sxToSign::New(sxPubKey *key, sx_md_type md) {
  const int kind = key == nullptr || key->OK() == 0 ? -1 : key->algorithm();
  const bool isBroken = md == sx_md_md4 || md == sx_md_md5;
  const sxAsnOid *const oid = isBroken ? nullptr : SignOID_By_MD(md, kind == sxPK_ECDSA ? 1 : 0);
  if ((kind != sxPK_RSA && kind != sxPK_ECDSA) || (key->Flags() & kKeyFlagCanSign) == 0 || oid == nullptr) {
    herror_func(0, 0, "sxToSign::New: a key of kind %d does not sign with digest %d", kind, static_cast<int>(md));
    return nullptr;
  }
  const sxDerOctets oidDer = sxDerOf(kDerOid, {sxView(oid->Data(), oid->Len())});
  // RFC 5758, 3.2 and RFC 4055, 5: an ECDSA signature's parameters are absent, an RSA one's NULL.
  const sxOctetView parameters = kind == sxPK_RSA ? sxOctetView(kNull) : sxOctetView();
  return std::unique_ptr<sxToSign>(new sxToSign(key, md, sxDerOf(kDerSequence, {oidDer, parameters})));
}

sxToSign::sxToSign(sxPubKey *key, sx_md_type md, sxDerOctets algorithm)
    : m_key(key), m_md(md), m_algorithm(std::move(algorithm)) {
  sxSavePubKey(key);
}

unsigned char *sxToSign::Begin(size_t contentLen) {
  m_len = sxDerLen(contentLen);
  m_areaLen = kHeaderRoom + m_len + m_algorithm.size() + kSignatureRoom +
              static_cast<size_t>(std::max(0, m_key->GetLen(sxPK_len_output)));
  if (m_areaLen > INT32_MAX) return nullptr;
  m_area = std::make_unique_for_overwrite<unsigned char[]>(m_areaLen);
  sxDerForward out(m_area.get() + kHeaderRoom);
  out.Header(kDerSequence, contentLen);
  return out.Pos();
}

bool sxToSign::MayLeaveThread() const { return sxIsOwnKey(*m_key); }

bool sxToSign::Accepts(const sxSigned &made, sxPubKey *publicKey, bool asked) const {
  const bool isOwn = sxIsOwnKey(*m_key);
  if (isOwn && !asked) return true;
  const PubKeyRef imported(publicKey == nullptr && !isOwn ? PublicPart(m_key.get()) : nullptr);
  if (publicKey == nullptr) publicKey = isOwn ? m_key.get() : imported.get();
  if (publicKey != nullptr && made.VerifySig(publicKey) == 0) return true;
  return herror_func(0, 0, "sxToSign::Accepts: the signature is wrong"), false;
}

sxDerOctets sxToSign::SignatureOctets() const {
  constexpr const char *kFunc = "sxToSign::Sign";
  unsigned char digest[kMaxDigestLen];
  const int digestLen = kx_md_len(m_md);
  if (kx_md_hashbuf(m_md, Octets().data(), Octets().size(), digest, digestLen) != 0) {
    return herror_func(0, 0, "%s: no digest %d", kFunc, static_cast<int>(m_md)), sxDerOctets();
  }
  // RSA wraps the digest in a DigestInfo; ECDSA takes it bare.
  const sxPKop_type op = m_key->algorithm() == sxPK_RSA ? sxPKop_digest : sxPKop_raw;
  const int maxLen = m_key->Sign(op, m_md, digest, digestLen, nullptr, 0);
  sxDerOctets signature(static_cast<size_t>(std::max(0, maxLen)));
  const int len = maxLen < 1 ? maxLen : m_key->Sign(op, m_md, digest, digestLen, signature.data(), maxLen);
  if (len < 1 || len > maxLen) return herror_func(0, 0, "%s: the key did not sign (%d)", kFunc, len), sxDerOctets();
  signature.resize(static_cast<size_t>(len));
  return signature;
}

sxToSign::Signed sxToSign::Sign() {
  if (m_area == nullptr) return {};
  const sxDerOctets signature = SignatureOctets();
  if (signature.empty()) return {};
  const size_t contentLen = m_len + m_algorithm.size() + sxDerLen(1 + signature.size());
  if (kHeaderRoom + contentLen > m_areaLen) {
    return herror_func(0, 0, "sxToSign::Sign: signature of %zu octets", signature.size()), Signed();
  }
  const size_t start = kHeaderRoom - sxDerHeaderLen(contentLen);
  sxDerForward(m_area.get() + start).Header(kDerSequence, contentLen);
  sxDerForward out(m_area.get() + kHeaderRoom + m_len);
  out.Octets(m_algorithm);
  out.Element(kDerBitString, {kNoUnusedBits, signature});
  return {std::move(m_area), start, kHeaderRoom - start + contentLen};
}
