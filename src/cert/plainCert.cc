#include "plainCert.h"

#include "kxcert/asn1/sxAsnAny.h"

namespace {

constexpr int kVersionTag = DerContextConstructed(0);
constexpr int kIssuerUniqueID = DerContext(1);
constexpr int kSubjectUniqueID = DerContext(2);
constexpr int kExtensionsTag = DerContextConstructed(3);

// The rules of the codec's primitive types.
bool TakeInteger(sxDerReader &from, sxOctetView *number) { return from.Take(kDerInteger, number) && !number->empty(); }
bool TakeOid(sxDerReader &from, sxOctetView *oid) { return from.Take(kDerOid, oid) && !oid->empty(); }
bool TakeBits(sxDerReader &from, int tag, sxOctetView *bits) {
  return from.Take(tag, bits) && !bits->empty() && (*bits)[0] <= 7 && (bits->size() > 1 || (*bits)[0] == 0);
}

// Takes the fields of a certificate in their order.
class Fields {
 public:
  Fields(const sxDerReader &reader, bool decoded) : m_reader(reader), m_decoded(decoded) {}

  bool AtEnd() const { return m_reader.AtEnd(); }
  bool TakeSerial(sxOctetView *serial) { return TakeInteger(m_reader, serial); }

  bool TakeAlgorithm(sxPlainAlgorithm *algorithm) {
    sxDerReader inside;
    if (!m_reader.Enter(kDerSequence, &inside) || !TakeOid(inside, &algorithm->oid)) return false;
    if (inside.AtEnd()) return true;
    if (m_decoded) {
      algorithm->parameters = inside.Rest();
      return true;
    }
    // Parameters that are registered under this identifier must decode as their type.
    sxAsnOid type;
    type.Set(algorithm->oid.data(), sxLen(algorithm->oid));
    sxDerElement parameters;
    if (!inside.Take(&parameters) || !inside.AtEnd()) return false;
    algorithm->parameters = parameters.whole;
    return sxAsnAny::FindByOid(type) == nullptr;
  }

  bool TakeValidity(sxPlainTime *notBefore, sxPlainTime *notAfter) {
    sxDerReader inside;
    return m_reader.Enter(kDerSequence, &inside) && TakeTime(inside, notBefore) && TakeTime(inside, notAfter) &&
           inside.AtEnd();
  }

  bool TakeName(sxOctetView *name, sxFlatName *flat) {
    sxDerElement sequence;
    if (!m_reader.Take(kDerSequence, &sequence)) return false;
    *name = sequence.whole;
    return flat->Read(sequence.whole, m_decoded);
  }

  bool TakeUniqueId(int tag) {
    sxOctetView bits;
    return !m_reader.NextIs(tag) || TakeBits(m_reader, tag, &bits);
  }

  bool TakeSignature() {
    sxOctetView bits;
    return TakeBits(m_reader, kDerBitString, &bits);
  }

  bool TakeVersion(int *version) {
    sxDerReader inside;
    sxOctetView number;
    if (!m_reader.NextIs(kVersionTag)) return true;
    if (!m_reader.Enter(kVersionTag, &inside) || !TakeInteger(inside, &number) || !inside.AtEnd()) return false;
    uint32_t value = number[0] >= 0x80 ? UINT32_MAX : 0;  // the low 32 bits, as GetShortVal
    for (const unsigned char octet : number) value = value << 8 | octet;
    *version = static_cast<int>(value + 1);
    return true;
  }

  bool TakeKey(sxPlainCert *cert) {
    sxDerReader sequence;
    sxOctetView bits;
    if (!m_reader.Enter(kDerSequence, &sequence)) return false;
    Fields inside(sequence, m_decoded);
    if (!inside.TakeAlgorithm(&cert->keyAlgorithm) || !TakeBits(inside.m_reader, kDerBitString, &bits) ||
        !inside.AtEnd()) {
      return false;
    }
    const bool wholeOctets = bits[0] == 0;  // a key with unused bits is no key: left empty
    if (wholeOctets) cert->keyBits = bits.subspan(1);
    return true;
  }

  bool TakeExtensions(sxOctetView *extensions) {
    sxDerReader inside;
    if (!m_reader.NextIs(kExtensionsTag)) return true;
    if (!m_reader.Enter(kExtensionsTag, &inside) || !inside.Take(kDerSequence, extensions) || !inside.AtEnd()) {
      return false;
    }
    sxPlainExtension ext;
    for (sxDerReader each(*extensions); !each.AtEnd();) {
      if (!sxTakePlainExtension(each, &ext)) return false;
    }
    return true;
  }

 private:
  static bool TakeTime(sxDerReader &from, sxPlainTime *time) {
    sxDerElement text;
    if (!from.Take(kDerUtcTime, &text) && !from.Take(kDerGeneralizedTime, &text)) return false;
    *time = {text.tag, text.content};
    return true;
  }

  sxDerReader m_reader;
  bool m_decoded;
};

// RFC 5280 4.1.2, in the order of the fields.
bool ReadBody(Fields body, sxPlainCert *cert) {
  sxPlainAlgorithm innerAlgorithm;
  return body.TakeVersion(&cert->version) && body.TakeSerial(&cert->serial) && body.TakeAlgorithm(&innerAlgorithm) &&
         body.TakeName(&cert->issuer, &cert->issuerName) && body.TakeValidity(&cert->notBefore, &cert->notAfter) &&
         body.TakeName(&cert->subject, &cert->subjectName) && body.TakeKey(cert) &&
         body.TakeUniqueId(kIssuerUniqueID) && body.TakeUniqueId(kSubjectUniqueID) &&
         body.TakeExtensions(&cert->extensions) && body.AtEnd();
}

}  // namespace

bool sxReadPlainCert(sxOctetView der, bool decoded, sxPlainCert *cert) {
  sxDerReader all(der), outer, body;
  if (!all.Enter(kDerSequence, &outer) || !all.AtEnd() || !outer.Enter(kDerSequence, &body)) return false;
  Fields behind(outer, decoded);
  return ReadBody(Fields(body, decoded), cert) && behind.TakeAlgorithm(&cert->signatureAlgorithm) &&
         behind.TakeSignature() && behind.AtEnd();
}

//   Extension ::= SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
bool sxTakePlainExtension(sxDerReader &extensions, sxPlainExtension *ext) {
  sxDerReader inside;
  sxOctetView critical;
  if (!extensions.Enter(kDerSequence, &inside) || !TakeOid(inside, &ext->oid)) return false;
  ext->critical = false;
  if (inside.NextIs(kDerBoolean)) {
    if (!inside.Take(kDerBoolean, &critical) || critical.size() != 1) return false;
    ext->critical = critical[0] != 0;
  }
  return inside.Take(kDerOctetString, &ext->value) && inside.AtEnd();
}
