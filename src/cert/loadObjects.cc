#include "loadObjects.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "keys/ec/curves.h"
#include "keys/subjectPublicKey.h"
#include "kxcert/asn1/oidNames.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/pkcs12.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/kxDhKey.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/platform/secureMemory.h"
#include "plainCert.h"
#include "platform/owned.h"

namespace {

constexpr unsigned char kSignedData[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02};  // RFC 5652, 5.1
constexpr int kMaxOidText = 252;

struct LabelRow {
  std::string_view label;
  sxShape shape;
};
// RFC 7468, 4 to 13, and what was written before it.
constexpr LabelRow kLabels[] = {
    {"CERTIFICATE", sxShape::kCertificate},
    {"X509 CERTIFICATE", sxShape::kCertificate},
    {"X509 CRL", sxShape::kCrl},
    {"CERTIFICATE REQUEST", sxShape::kRequest},
    {"NEW CERTIFICATE REQUEST", sxShape::kRequest},
    {"PKCS7", sxShape::kPkcs7},
    {"CMS", sxShape::kPkcs7},
    {"PKCS #7 SIGNED DATA", sxShape::kPkcs7},
    {"PRIVATE KEY", sxShape::kPrivateInfo},
    {"ENCRYPTED PRIVATE KEY", sxShape::kEncryptedInfo},
    {"RSA PRIVATE KEY", sxShape::kRsaPrivate},
    {"EC PRIVATE KEY", sxShape::kEcPrivate},
    {"PUBLIC KEY", sxShape::kPublicInfo},
    {"RSA PUBLIC KEY", sxShape::kRsaPublic},
    {"PKCS12", sxShape::kPkcs12},
};

std::string OidText(sxOctetView content) {
  sxAsnOid oid;
  oid.Set(content.data(), sxLen(content));
  char text[kMaxOidText] = "";
  static_cast<void>(oid.GetStr(text, sizeof text));  // a longer one ends in "?"
  const char *const name = sxOidName(oid);
  return name == nullptr ? text : std::string(text) + " " + name;
}

// An AlgorithmIdentifier as text, with the identifier among its parameters when they are one: a named curve.
std::string AlgorithmText(sxOctetView oid, sxOctetView parameters) {
  sxOctetView named;
  const std::string text = OidText(oid);
  return sxDerReader(parameters).Take(kDerOid, &named) ? text + " with " + OidText(named) : text;
}

// Which algorithm a key has that cannot be used stands in the certificate alone.
std::string WhyNoCert(const sxCert &cert, sxOctetView octets) {
  std::string reason = cert.Error().getstr();
  sxPlainCert plain;
  if (reason.find("key") == std::string::npos || !sxReadPlainCert(octets, false, &plain)) return reason;
  return reason + " (" + AlgorithmText(plain.keyAlgorithm.oid, plain.keyAlgorithm.parameters) + ")";
}

// Signed objects also read text; here that would be an object that does not stand in the file as it is told.
bool IsAsGiven(const sxSigned &object, sxOctetView octets) {
  return sxEqual({object.GetBuf(), object.BufLen()}, octets);
}

void NotDecoded(sxShape shape, sxOctetView octets, const std::string &why, sxLoadItem &item) {
  std::string reason =
      std::string("not ") + (shape == sxShape::kCertificate ? "a usable certificate" : sxShapeName(shape));
  if (!why.empty()) reason += ": " + why;
  sxDerElement element;
  const sxShape seems = sxTakeBer(octets, &element) ? sxShapeOf(element) : sxShape::kUnknown;
  if (seems != shape && seems != sxShape::kUnknown) reason += std::string("; it looks like ") + sxShapeName(seems);
  sxSkipItem(item, sxLoadSkip::kNotDecoded, std::move(reason));
}

void LoadCert(sxOctetView octets, sxLoadItem &item) {
  auto cert = std::make_unique<sxCert>(octets.data(), static_cast<unsigned int>(octets.size()));
  if (cert->OK() == 0) return NotDecoded(sxShape::kCertificate, octets, WhyNoCert(*cert, octets), item);
  if (!IsAsGiven(*cert, octets)) return NotDecoded(sxShape::kCertificate, octets, "text within text", item);
  item.cert = cert.release();
}

void LoadCrl(sxOctetView octets, sxLoadItem &item) {
  auto crl = std::make_unique<sxCRL>(octets.data(), static_cast<unsigned int>(octets.size()));
  if (crl->OK() == 0) return NotDecoded(sxShape::kCrl, octets, crl->Error().getstr(), item);
  if (!IsAsGiven(*crl, octets)) return NotDecoded(sxShape::kCrl, octets, "text within text", item);
  item.crl = crl.release();
}

void LoadRequest(sxOctetView octets, sxLoadItem &item) {
  sxOwned<sxCertRequest, sxCertRequest_Free> request(
      new sxCertRequest(octets.data(), static_cast<unsigned int>(octets.size())));
  if (request->OK() == 0) return NotDecoded(sxShape::kRequest, octets, request->Error().getstr(), item);
  if (!IsAsGiven(*request, octets)) return NotDecoded(sxShape::kRequest, octets, "text within text", item);
  item.request = request.release();
}

struct KeyInfo {
  sxOctetView oid;         // content octets
  sxOctetView parameters;  // whole element; empty when absent
  sxOctetView key;         // content of the string
};

//   AlgorithmIdentifier ::= SEQUENCE { algorithm OBJECT IDENTIFIER, parameters ANY OPTIONAL }
bool ReadKeyInfo(sxDerReader &fields, int stringTag, KeyInfo *info) {
  sxDerReader algorithm;
  if (!fields.Enter(kDerSequence, &algorithm) || !algorithm.Take(kDerOid, &info->oid)) return false;
  info->parameters = algorithm.Rest();
  return fields.Take(stringTag, &info->key);
}

// PrivateKeyInfo: an RSAPrivateKey in it, or an ECPrivateKey whose curve then stands outside (RFC 5915, 3).
sxPubKey *ImportPrivateInfo(sxOctetView octets, std::string *why) {
  sxDerReader reader(octets), fields;
  sxOctetView version, curveOid;
  KeyInfo info;
  if (!reader.Enter(kDerSequence, &fields) || !reader.AtEnd() || !fields.Take(kDerInteger, &version) ||
      !ReadKeyInfo(fields, kDerOctetString, &info)) {
    return nullptr;
  }
  if (sxEqual(info.oid, sxView(sxASN_rsaEncryption.Data(), sxASN_rsaEncryption.Len()))) {
    kxBinBuf pkcs8, pkcs1;
    pkcs8.SetSensitive(true);
    pkcs8.Set(octets.data(), static_cast<unsigned int>(octets.size()));
    if (kxPKCS8_to_PKCS1(pkcs8, pkcs1) != 0) return nullptr;
    return sxImportRSAKey(sxPK_private, pkcs1.Data(), static_cast<int>(pkcs1.Len()));
  }
  const bool isEc = sxEqual(info.oid, sxView(sxASN_ECDSAPublicKey.Data(), sxASN_ECDSAPublicKey.Len()));
  const Curve *curve = nullptr;
  if (isEc && sxDerReader(info.parameters).Take(kDerOid, &curveOid)) { curve = FindCurve(curveOid); }
  if (!isEc) {
    if (sxPubKey *const key = DhKey_fromder(sxPK_private, octets.data(), sxLen(octets))) return key;
  }
  if (curve == nullptr) {
    *why = "its algorithm is not read (" + AlgorithmText(info.oid, info.parameters) + ")";
    return nullptr;
  }
  return sxImportECDSAKey(sxPK_private, info.key.data(), sxLen(info.key), curve->nid);
}

sxPubKey *ImportPublicInfo(sxOctetView octets, std::string *why) {
  sxDerReader reader(octets), fields;
  KeyInfo info;
  if (!reader.Enter(kDerSequence, &fields) || !reader.AtEnd() || !ReadKeyInfo(fields, kDerBitString, &info) ||
      !fields.AtEnd() || info.key.empty() || info.key[0] != 0) {
    return nullptr;
  }
  const sxOctetView bits = info.key.subspan(1), parameters = info.parameters;
  sxSpkiResult result = sxSpki_ok;
  sxPubKey *key = sxPubKey_FromSPKI(info.oid.data(), sxLen(info.oid), parameters.empty() ? nullptr : parameters.data(),
                                    sxLen(parameters), bits.data(), sxLen(bits), &result);
  // Certificates have none of these keys; files have.
  if (result == sxSpki_unsupported) key = DhKey_fromder(sxPK_public, octets.data(), sxLen(octets));
  if (key == nullptr) *why = "its algorithm or value is not usable (" + AlgorithmText(info.oid, parameters) + ")";
  return key;
}

sxPubKey *ImportKey(sxShape shape, sxOctetView octets, std::string *why) {
  switch (shape) {
    case sxShape::kRsaPrivate: return sxImportRSAKey(sxPK_private, octets.data(), sxLen(octets));
    case sxShape::kRsaPublic: return sxImportRSAKey(sxPK_public, octets.data(), sxLen(octets));
    case sxShape::kEcPrivate: return sxImportECDSAKey(sxPK_private, octets.data(), sxLen(octets), 0);
    case sxShape::kPrivateInfo: return ImportPrivateInfo(octets, why);
    default: return ImportPublicInfo(octets, why);
  }
}

void LoadKey(sxShape shape, sxOctetView octets, sxLoadItem &item) {
  std::string why;
  item.key = ImportKey(shape, octets, &why);
  if (item.key != nullptr && item.key->OK() == 1) return;
  sxFreePubKey(std::exchange(item.key, nullptr));
  NotDecoded(shape, octets, why.empty() ? "malformed, or not a key that is usable here" : why, item);
}

unsigned WantedAs(sxLoadKind kind) {
  switch (kind) {
    case sxLoadKind::kCertificate: return sxLoad_certs;
    case sxLoadKind::kCrl: return sxLoad_crls;
    case sxLoadKind::kRequest: return sxLoad_requests;
    default: return sxLoad_keys;
  }
}

bool Enter(sxOctetView &octets, int tag, sxOctetView *inside) {
  sxDerElement element;
  if (!sxTakeBer(octets, &element) || element.tag != tag) return false;
  *inside = element.content;
  return true;
}

// The content of the next element when it has that type; nothing is taken otherwise.
sxOctetView TakeOptional(sxOctetView &octets, int tag) {
  sxOctetView content;
  if (!octets.empty() && octets[0] == tag) static_cast<void>(Enter(octets, tag, &content));
  return content;
}

}  // namespace

sxShape sxShapeOfLabel(std::string_view label) {
  for (const LabelRow &row : kLabels) {
    if (row.label == label) return row.shape;
  }
  return sxShape::kUnknown;
}

sxLoadKind sxKindOf(sxShape shape) {
  switch (shape) {
    case sxShape::kCertificate: return sxLoadKind::kCertificate;
    case sxShape::kCrl: return sxLoadKind::kCrl;
    case sxShape::kRequest: return sxLoadKind::kRequest;
    case sxShape::kRsaPublic:
    case sxShape::kPublicInfo: return sxLoadKind::kPublicKey;
    case sxShape::kRsaPrivate:
    case sxShape::kEcPrivate:
    case sxShape::kPrivateInfo:
    case sxShape::kEncryptedInfo: return sxLoadKind::kPrivateKey;
    default: return sxLoadKind::kNothing;
  }
}

void sxSkipItem(sxLoadItem &item, sxLoadSkip skip, std::string reason) {
  item.skip = skip;
  item.reason = std::move(reason);
}

void sxLoadObject(sxShape shape, sxOctetView octets, unsigned wanted, sxLoadItem &item) {
  item.kind = sxKindOf(shape);
  if (item.kind == sxLoadKind::kNothing) {
    return sxSkipItem(item, sxLoadSkip::kUnknown, std::string(sxShapeName(shape)) + ", which is not read here");
  }
  if ((wanted & WantedAs(item.kind)) == 0) {
    return sxSkipItem(item, sxLoadSkip::kUnwanted, std::string(sxShapeName(shape)) + "; not asked for");
  }
  if (shape == sxShape::kEncryptedInfo) {
    return sxSkipItem(item, sxLoadSkip::kNotDecoded, "an encrypted private key within an encrypted one");
  }
  switch (item.kind) {
    case sxLoadKind::kCertificate: return LoadCert(octets, item);
    case sxLoadKind::kCrl: return LoadCrl(octets, item);
    case sxLoadKind::kRequest: return LoadRequest(octets, item);
    default: return LoadKey(shape, octets, item);
  }
}

int sxDecryptionOf(int result) {
  switch (result) {
    case sxPkcs12_needsPassword: return sxPbe_needsPassword;
    case sxPkcs12_wrongPassword:
    case sxPkcs12_notDecrypted:
    case sxPkcs12_otherPassword: return sxPbe_wrongPassword;
    case sxPkcs12_unsupported: return sxPbe_unsupported;
    case sxPkcs12_tooCostly: return sxPbe_tooCostly;
    case sxPkcs12_noProvider: return sxPbe_noProvider;
    case sxPkcs12_malformed: return sxPbe_malformed;
    default: return sxPbe_failed;
  }
}

void sxLoadBag(const sxPkcs12Bag &bag, unsigned wanted, sxLoadItem &item) {
  switch (bag.kind) {
    case sxPkcs12Kind::kCert: item.kind = sxLoadKind::kCertificate; break;
    case sxPkcs12Kind::kCrl: item.kind = sxLoadKind::kCrl; break;
    case sxPkcs12Kind::kKey:
    case sxPkcs12Kind::kShroudedKey: item.kind = sxLoadKind::kPrivateKey; break;
    default:
      return sxSkipItem(item, sxLoadSkip::kUnknown, std::string(sxPkcs12_KindText(bag.kind)) + " is not read here");
  }
  const bool isCert = item.kind == sxLoadKind::kCertificate, isCrl = item.kind == sxLoadKind::kCrl;
  if ((wanted & (isCert ? sxLoad_certs : isCrl ? sxLoad_crls : sxLoad_keys)) == 0) {
    return sxSkipItem(item, sxLoadSkip::kUnwanted, std::string(sxPkcs12_KindText(bag.kind)) + "; not asked for");
  }
  if (bag.result != sxPkcs12_ok) {
    const bool isClear = bag.result == sxPkcs12_malformed;
    if (!isClear) item.decryption = sxDecryptionOf(bag.result);
    return sxSkipItem(item, isClear ? sxLoadSkip::kNotDecoded : sxLoadSkip::kEncrypted, bag.why);
  }
  sxCert_Save(item.cert = bag.cert);
  sxCRL_Save(item.crl = bag.crl);
  sxSavePubKey(item.key = bag.key);
}

// Blanks and comments may stand before it (attributeSet.h).
bool sxLooksLikeSet(sxOctetView octets) {
  for (auto pos = octets.begin(); pos != octets.end(); ++pos) {
    if (*pos == '#') {
      pos = std::find(pos, octets.end(), '\n');
      if (pos == octets.end()) return false;
    } else if (*pos != ' ' && *pos != '\t' && *pos != '\r' && *pos != '\n') {
      return *pos == '(';
    }
  }
  return false;
}

void sxLoadKeySet(sxOctetView text, sxLoadItem &item) {
  if (text.size() > static_cast<size_t>(kMaxSetFileLen)) {
    return sxSkipItem(item, sxLoadSkip::kTooMuch, "an attribute set that is too long");
  }
  if (std::ranges::find(text, '\0') != text.end()) {
    return sxSkipItem(item, sxLoadSkip::kNotDecoded, "an attribute set with a NUL character in it");
  }
  std::string copy(text.begin(), text.end()), error;
  const std::unique_ptr<sxset> set(sio_sread(copy.c_str(), &error));
  KX_memset(copy.data(), copy.size());
  if (set == nullptr) return sxSkipItem(item, sxLoadSkip::kNotDecoded, "not an attribute set: " + error);
  item.key = sxImportKey_from_Set(set.get());
  if (item.key == nullptr) {
    return sxSkipItem(item, sxLoadSkip::kNotDecoded, "an attribute set, but no key that is usable here");
  }
  item.kind = sxPubKey_HasPrivate(item.key) == 1 ? sxLoadKind::kPrivateKey : sxLoadKind::kPublicKey;
}

//   ContentInfo ::= SEQUENCE { contentType OBJECT IDENTIFIER, content [0] SignedData }
//   SignedData ::= SEQUENCE { version INTEGER, digestAlgorithms SET, encapContentInfo SEQUENCE,
//                             certificates [0] SET OPTIONAL, crls [1] SET OPTIONAL, signerInfos SET }
// The elements are kept as they stand, because signatures are over their octets; a tree would encode them anew.
const char *sxOpenContainer(sxOctetView octets, sxContainerFields *fields) {
  sxOctetView info, type, explicitContent, data, skipped;
  if (!Enter(octets, kDerSequence, &info) || !octets.empty() || !Enter(info, kDerOid, &type)) {
    return "not a PKCS #7 container";
  }
  if (!sxEqual(type, kSignedData)) return "a PKCS #7 container, but not a SignedData";
  if (!Enter(info, DerContextConstructed(0), &explicitContent) || !Enter(explicitContent, kDerSequence, &data) ||
      !Enter(data, kDerInteger, &skipped) || !Enter(data, kDerSet, &skipped) || !Enter(data, kDerSequence, &skipped)) {
    return "a PKCS #7 container that is malformed";
  }
  fields->certificates = TakeOptional(data, DerContextConstructed(0));
  fields->crls = TakeOptional(data, DerContextConstructed(1));
  return Enter(data, kDerSet, &skipped) ? nullptr : "a PKCS #7 container that is malformed";
}
