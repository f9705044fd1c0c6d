#include "containerRead.h"

#include <iterator>

#include "bagName.h"
#include "containerOids.h"
#include "keys/keyOctets.h"
#include "keys/pbe/pbePlan.h"
#include "plainBer.h"
#include "protectionText.h"

namespace {

constexpr size_t kMaxLenOctets = 4;
constexpr unsigned char kVersion[] = {3};  // RFC 7292, 4

struct BagRow {
  sxPkcs12Kind kind;
  sxOctetView oid;
  const char *name;
};
constexpr BagRow kBagKinds[] = {{sxPkcs12Kind::kKey, kOidKeyBag, "keyBag"},
                                {sxPkcs12Kind::kShroudedKey, kOidShroudedKeyBag, "pkcs8ShroudedKeyBag"},
                                {sxPkcs12Kind::kCert, kOidCertBag, "certBag"},
                                {sxPkcs12Kind::kCrl, kOidCrlBag, "crlBag"},
                                {sxPkcs12Kind::kSecret, kOidSecretBag, "secretBag"},
                                {sxPkcs12Kind::kSafe, kOidSafeContentsBag, "safeContentsBag"}};

bool Malformed(ContainerFailure *failure, const char *what) { return failure->Set(sxPkcs12_malformed, what); }

// [number] EXPLICIT, with one element in it.
bool TakeExplicit(sxDerReader &from, int number, sxDerElement *inside) {
  sxDerReader content;
  return from.Enter(DerContextConstructed(number), &content) && content.Take(inside) && content.AtEnd();
}

//   ContentInfo ::= SEQUENCE { contentType OBJECT IDENTIFIER, content [0] ANY OPTIONAL }
bool TakeContentInfo(sxDerReader &from, sxOctetView *type, sxDerElement *content) {
  sxDerReader fields;
  return from.Enter(kDerSequence, &fields) && fields.Take(kDerOid, type) && TakeExplicit(fields, 0, content) &&
         fields.AtEnd();
}

//   MacData ::= SEQUENCE { mac DigestInfo, macSalt OCTET STRING, iterations INTEGER DEFAULT 1 }
bool ReadMac(sxDerReader &from, ContainerMac *mac) {
  sxDerReader fields, info;
  sxDerElement algorithm;
  if (!from.Enter(kDerSequence, &fields) || !fields.Enter(kDerSequence, &info) ||
      !info.Take(kDerSequence, &algorithm) || !info.Take(kDerOctetString, &mac->digest) || !info.AtEnd() ||
      !fields.Take(kDerOctetString, &mac->salt)) {
    return false;
  }
  mac->isThere = true;
  mac->algorithm = algorithm.whole;
  if (!fields.AtEnd() && !TakePbeNumber(fields, &mac->iterations)) return false;
  return fields.AtEnd();
}

// An implicitly tagged OCTET STRING, whose pieces have the string's own tag.
bool JoinPieces(const sxDerElement &string, kxBinBuf *out) {
  *out = SensitiveBuf(static_cast<int>(string.content.size()));
  if (string.tag == DerContext(0)) return out->Set(string.content.data(), out->Len()), true;
  if (string.tag != DerContextConstructed(0)) return false;
  unsigned int len = 0;
  for (sxDerReader pieces(string.content, kMaxLenOctets); !pieces.AtEnd();) {
    sxOctetView piece;
    if (!pieces.Take(kDerOctetString, &piece)) return false;
    std::copy(piece.begin(), piece.end(), out->Data() + len);
    len += static_cast<unsigned int>(piece.size());
  }
  out->Set(len);
  return true;
}

//   EncryptedData ::= SEQUENCE { version INTEGER, encryptedContentInfo SEQUENCE {
//                                  contentType OBJECT IDENTIFIER, contentEncryptionAlgorithm AlgorithmIdentifier,
//                                  encryptedContent [0] IMPLICIT OCTET STRING }, ... }   (RFC 5652, 8)
bool ReadEncrypted(const sxDerElement &data, ContainerSafe *safe, ContainerFailure *failure) {
  sxDerReader fields(data.content, kMaxLenOctets), info;
  sxOctetView version, type;
  sxDerElement algorithm, content;
  if (data.tag != kDerSequence || !fields.Take(kDerInteger, &version) || !fields.Enter(kDerSequence, &info) ||
      !info.Take(kDerOid, &type) || !info.Take(kDerSequence, &algorithm) || !info.Take(&content) || !info.AtEnd() ||
      !JoinPieces(content, &safe->content)) {
    return Malformed(failure, "an encrypted safe");
  }
  if (!sxEqual(type, kOidData)) return failure->Set(sxPkcs12_unsupported, "an encrypted safe of another content");
  safe->algorithm = algorithm.whole;
  safe->facts.isEncrypted = true;
  safe->facts.protection = ProtectionOf(algorithm.whole);
  return true;
}

bool ReadSafe(sxDerReader &from, ContainerSafe *safe, ContainerFailure *failure) {
  sxOctetView type;
  sxDerElement content;
  if (!TakeContentInfo(from, &type, &content)) return Malformed(failure, "the list of safes");
  if (sxEqual(type, kOidEncryptedData)) return ReadEncrypted(content, safe, failure);
  if (sxEqual(type, kOidEnvelopedData)) {
    return failure->Set(sxPkcs12_unsupported, "a safe that is encrypted for a public key");
  }
  if (!sxEqual(type, kOidData)) return failure->Set(sxPkcs12_unsupported, "a safe of type " + PbeOidText(type));
  if (content.tag != kDerOctetString) return Malformed(failure, "a safe that is no OCTET STRING");
  return MakePlain(content.content, &safe->content, failure);
}

//   AuthenticatedSafe ::= SEQUENCE OF ContentInfo
bool ReadSafes(ContainerParts *parts, ContainerFailure *failure) {
  if (!MakePlain(parts->signedOctets, &parts->authSafe, failure)) return false;
  sxDerReader reader(ViewOf(parts->authSafe), kMaxLenOctets), safes;
  if (!reader.Enter(kDerSequence, &safes)) return Malformed(failure, "the list of safes");
  while (!safes.AtEnd()) {
    if (parts->safes.size() == kMaxPkcs12Safes) {
      return failure->Set(sxPkcs12_tooCostly, "more than " + std::to_string(kMaxPkcs12Safes) + " safes");
    }
    if (!ReadSafe(safes, &parts->safes.emplace_back(), failure)) return false;
  }
  return true;
}

//   PKCS12Attribute ::= SEQUENCE { attrId OBJECT IDENTIFIER, attrValues SET OF ANY }
bool ReadAttribute(sxDerReader &from, sxPkcs12Bag *bag, ContainerFailure *failure) {
  sxDerReader fields, values;
  sxOctetView oid, value;
  if (!from.Enter(kDerSequence, &fields) || !fields.Take(kDerOid, &oid) || !fields.Enter(kDerSet, &values) ||
      !fields.AtEnd()) {
    return Malformed(failure, "an attribute of a bag");
  }
  if (sxEqual(oid, kOidFriendlyName) && values.Take(kDerBmpString, &value)) {
    return NameOfBmp(value, &bag->name) || failure->Set(sxPkcs12_tooCostly, "a friendly name that is too long");
  }
  if (!sxEqual(oid, kOidLocalKeyId) || !values.Take(kDerOctetString, &value)) return ++bag->numOtherAttributes, true;
  if (value.size() > kMaxPkcs12KeyIdLen) return failure->Set(sxPkcs12_tooCostly, "a key identifier that is too long");
  bag->keyId.assign(value.begin(), value.end());
  return true;
}

bool ReadAttributes(sxDerReader &from, sxPkcs12Bag *bag, ContainerFailure *failure) {
  if (from.AtEnd()) return true;
  sxDerReader attributes;
  if (!from.Enter(kDerSet, &attributes) || !from.AtEnd()) return Malformed(failure, "what stands behind a bag's value");
  for (int num = 0; !attributes.AtEnd(); ++num) {
    if (num == kMaxPkcs12Attributes) {
      return failure->Set(sxPkcs12_tooCostly,
                          "more than " + std::to_string(kMaxPkcs12Attributes) + " attributes of a bag");
    }
    if (!ReadAttribute(attributes, bag, failure)) return false;
  }
  return true;
}

// CertBag, CRLBag and SecretBag ::= SEQUENCE { type OBJECT IDENTIFIER, value [0] EXPLICIT ... }
bool ReadTyped(sxOctetView content, sxPkcs12Bag *bag, sxOctetView *value) {
  sxDerReader reader(content, kMaxLenOctets), fields;
  sxOctetView type;
  sxDerElement inside;
  if (!reader.Enter(kDerSequence, &fields) || !reader.AtEnd() || !fields.Take(kDerOid, &type) ||
      !TakeExplicit(fields, 0, &inside) || !fields.AtEnd()) {
    return false;
  }
  bag->type = PbeOidText(type);
  *value = inside.whole;
  if (bag->kind == sxPkcs12Kind::kSecret) return true;
  if (!sxEqual(type, bag->kind == sxPkcs12Kind::kCert ? sxOctetView(kOidX509Certificate) : kOidX509Crl)) {
    bag->kind = sxPkcs12Kind::kUnknown;  // another form: sdsiCertificate
    return true;
  }
  *value = inside.content;
  return inside.tag == kDerOctetString;
}

// Depth first, with a level for each safeContentsBag that is being read.
class BagReader {
 public:
  BagReader(int safe, ContainerBags *bags, ContainerFailure *failure)
      : m_safe(safe), m_bags(*bags), m_failure(failure) {}

  bool Run(sxOctetView contents) {
    if (!Enter(contents)) return false;
    while (!m_levels.empty()) {
      if (m_levels.back().AtEnd()) {
        m_levels.pop_back();
      } else if (!TakeBag()) {
        return false;
      }
    }
    return true;
  }

 private:
  bool Enter(sxOctetView contents) {
    if (m_levels.size() > static_cast<size_t>(kMaxPkcs12SafeNesting)) {
      return m_failure->Set(sxPkcs12_tooCostly, "safes within safes");
    }
    sxDerReader reader(contents, kMaxLenOctets), bags;
    if (!reader.Enter(kDerSequence, &bags) || !reader.AtEnd()) return Malformed(m_failure, "a safe");
    m_levels.push_back(bags);
    return true;
  }

  //   SafeBag ::= SEQUENCE { bagId OBJECT IDENTIFIER, bagValue [0] EXPLICIT ANY, bagAttributes SET OPTIONAL }
  bool TakeBag() {
    if (m_bags.bags.size() == kMaxPkcs12Bags) {
      return m_failure->Set(sxPkcs12_tooCostly, "more than " + std::to_string(kMaxPkcs12Bags) + " bags");
    }
    sxDerReader fields;
    sxOctetView oid, value;
    if (!m_levels.back().Enter(kDerSequence, &fields) || !fields.Take(kDerOid, &oid) ||
        !fields.Take(DerContextConstructed(0), &value)) {
      return Malformed(m_failure, "a bag");
    }
    sxPkcs12Bag &bag = m_bags.bags.emplace_back();
    const BagRow *const row =
        std::ranges::find_if(kBagKinds, [oid](const BagRow &known) { return sxEqual(known.oid, oid); });
    bag.kind = row == std::end(kBagKinds) ? sxPkcs12Kind::kUnknown : row->kind;
    bag.safe = m_safe;
    bag.nesting = static_cast<int>(m_levels.size()) - 1;
    bag.type = PbeOidText(oid);
    if (!ReadAttributes(fields, &bag, m_failure)) return false;
    return TakeValue(bag, value);
  }

  bool TakeValue(sxPkcs12Bag &bag, sxOctetView value) {
    const sxPkcs12Kind kind = bag.kind;
    const bool isTyped = kind == sxPkcs12Kind::kCert || kind == sxPkcs12Kind::kCrl || kind == sxPkcs12Kind::kSecret;
    if (isTyped && !ReadTyped(value, &bag, &value)) return Malformed(m_failure, sxPkcs12_KindText(kind));
    if (kind == sxPkcs12Kind::kShroudedKey) bag.protection = sxEncryptedKey_Protection(value);
    m_bags.values.push_back(value);
    return kind != sxPkcs12Kind::kSafe || Enter(value);
  }

  const int m_safe;
  ContainerBags &m_bags;
  ContainerFailure *const m_failure;
  std::vector<sxDerReader> m_levels;
};

}  // namespace

const char *sxPkcs12_KindText(sxPkcs12Kind kind) {
  for (const BagRow &row : kBagKinds) {
    if (row.kind == kind) return row.name;
  }
  return "unknown bag";
}

bool MakePlain(sxOctetView ber, kxBinBuf *out, ContainerFailure *failure) {
  switch (sxMakePlain(ber, out)) {
    case sxPlainResult::kDone: return true;
    case sxPlainResult::kTooMuch:
      return failure->Set(sxPkcs12_tooCostly, "more octets, elements or nesting than a container may have");
    default: return Malformed(failure, "no whole element of ASN.1, or octets behind it");
  }
}

//   PFX ::= SEQUENCE { version INTEGER, authSafe ContentInfo, macData MacData OPTIONAL }
bool ReadContainer(sxOctetView octets, ContainerParts *parts, ContainerFailure *failure) {
  if (!MakePlain(octets, &parts->pfx, failure)) return false;
  sxDerReader reader(ViewOf(parts->pfx), kMaxLenOctets), fields;
  sxOctetView version, type;
  sxDerElement content;
  if (!reader.Enter(kDerSequence, &fields) || !fields.Take(kDerInteger, &version)) {
    return Malformed(failure, "not PKCS #12");
  }
  if (!sxEqual(version, kVersion)) return failure->Set(sxPkcs12_unsupported, "a version other than 3");
  if (!TakeContentInfo(fields, &type, &content)) return Malformed(failure, "not PKCS #12");
  if (sxEqual(type, kOidSignedData)) return failure->Set(sxPkcs12_unsupported, "a signature in place of a MAC");
  if (!sxEqual(type, kOidData) || content.tag != kDerOctetString) return Malformed(failure, "not PKCS #12");
  parts->signedOctets = content.content;
  if (!fields.AtEnd() && (!ReadMac(fields, &parts->mac) || !fields.AtEnd())) return Malformed(failure, "the MAC");
  return ReadSafes(parts, failure);
}

bool ReadBags(sxOctetView contents, int safe, ContainerBags *bags, ContainerFailure *failure) {
  return BagReader(safe, bags, failure).Run(contents);
}
