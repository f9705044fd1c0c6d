#include "plainCert.h"

#include "kxcert/asn1/sxAsnAny.h"

namespace {

constexpr int kBoolean = 0x01;
constexpr int kInteger = 0x02;
constexpr int kBitString = 0x03;
constexpr int kOctetString = 0x04;
constexpr int kOid = 0x06;
constexpr int kUtcTime = 0x17;
constexpr int kGeneralizedTime = 0x18;
constexpr int kSequence = 0x30;
constexpr int kVersionTag = 0xA0;
constexpr int kIssuerUniqueID = 0x81;
constexpr int kSubjectUniqueID = 0x82;
constexpr int kExtensionsTag = 0xA3;

// The rules of the codec's primitive types.
bool IsInteger(const sxSpan &content) { return content.len >= 1; }
bool IsBits(const sxSpan &content) {
  return content.len >= 1 && content.data[0] <= 7 && (content.len > 1 || content.data[0] == 0);
}

class Reader {
 public:
  Reader(const sxSpan &content, bool decoded) : m_pos(content.data), m_end(content.End()), m_decoded(decoded) {}

  bool AtEnd() const { return m_pos == m_end; }
  bool NextIs(int tag) const { return m_pos < m_end && *m_pos == tag; }
  bool Take(int tag, sxPlainElement *element) { return sxReadPlain(m_pos, m_end, tag, element); }
  Reader Inside(const sxPlainElement &element) const { return {element.content, m_decoded}; }

  bool TakeAlgorithm(sxPlainAlgorithm *algorithm) {
    sxPlainElement sequence, oid;
    if (!Take(kSequence, &sequence)) return false;
    Reader inside = Inside(sequence);
    if (!inside.Take(kOid, &oid) || oid.content.len == 0) return false;
    algorithm->oid = oid.content;
    if (inside.AtEnd()) return true;
    if (m_decoded) {
      algorithm->parameters = {inside.m_pos, static_cast<uint32_t>(inside.m_end - inside.m_pos)};
      return true;
    }
    // Parameters that are registered under this identifier must decode as their type.
    sxAsnOid type;
    type.Set(oid.content.data, static_cast<int>(oid.content.len));
    sxPlainElement parameters;
    if (!sxReadPlain(inside.m_pos, inside.m_end, &parameters) || !inside.AtEnd()) return false;
    algorithm->parameters = parameters.Whole();
    return sxAsnAny::FindByOid(type) == nullptr;
  }

  bool TakeTime(sxPlainTime *time) {
    sxPlainElement text;
    if (!Take(kUtcTime, &text) && !Take(kGeneralizedTime, &text)) return false;
    *time = {text.tag, text.content};
    return true;
  }

  bool TakeName(sxSpan *name, sxFlatName *flat) {
    sxPlainElement sequence;
    if (!Take(kSequence, &sequence)) return false;
    *name = sequence.Whole();
    return flat->Read(name->data, name->len, m_decoded);
  }

  bool TakeUniqueId(int tag) {
    sxPlainElement bits;
    return !NextIs(tag) || (Take(tag, &bits) && IsBits(bits.content));
  }

  bool TakeVersion(int *version) {
    sxPlainElement tagged, number;
    if (!NextIs(kVersionTag)) return true;
    if (!Take(kVersionTag, &tagged)) return false;
    Reader inside = Inside(tagged);
    if (!inside.Take(kInteger, &number) || !inside.AtEnd() || !IsInteger(number.content)) return false;
    uint32_t value = number.content.data[0] >= 0x80 ? UINT32_MAX : 0;  // the low 32 bits, as GetShortVal
    for (uint32_t i = 0; i < number.content.len; ++i) value = value << 8 | number.content.data[i];
    *version = static_cast<int>(value + 1);
    return true;
  }

  bool TakeKey(sxPlainCert *cert) {
    sxPlainElement sequence, bits;
    if (!Take(kSequence, &sequence)) return false;
    Reader inside = Inside(sequence);
    if (!inside.TakeAlgorithm(&cert->keyAlgorithm) || !inside.Take(kBitString, &bits) || !inside.AtEnd() ||
        !IsBits(bits.content)) {
      return false;
    }
    const bool wholeOctets = bits.content.data[0] == 0;  // a key with unused bits is no key: left empty
    if (wholeOctets) cert->keyBits = {bits.content.data + 1, bits.content.len - 1};
    return true;
  }

  bool TakeExtensions(sxSpan *extensions) {
    sxPlainElement tagged, sequence;
    if (!NextIs(kExtensionsTag)) return true;
    if (!Take(kExtensionsTag, &tagged)) return false;
    Reader inside = Inside(tagged);
    if (!inside.Take(kSequence, &sequence) || !inside.AtEnd()) return false;
    *extensions = sequence.content;
    sxPlainExtension ext;
    for (const unsigned char *pos = extensions->data; pos < extensions->End();) {
      if (!sxReadPlainExtension(pos, extensions->End(), &ext)) return false;
    }
    return true;
  }

 private:
  const unsigned char *m_pos;
  const unsigned char *m_end;
  bool m_decoded;
};

// RFC 5280 4.1.2, in the order of the fields.
bool ReadBody(Reader body, sxPlainCert *cert) {
  sxPlainElement serial, validity;
  sxPlainAlgorithm innerAlgorithm;
  if (!body.TakeVersion(&cert->version) || !body.Take(kInteger, &serial) || !IsInteger(serial.content) ||
      !body.TakeAlgorithm(&innerAlgorithm) || !body.TakeName(&cert->issuer, &cert->issuerName) ||
      !body.Take(kSequence, &validity)) {
    return false;
  }
  cert->serial = serial.content;
  Reader times = body.Inside(validity);
  return times.TakeTime(&cert->notBefore) && times.TakeTime(&cert->notAfter) && times.AtEnd() &&
         body.TakeName(&cert->subject, &cert->subjectName) && body.TakeKey(cert) &&
         body.TakeUniqueId(kIssuerUniqueID) && body.TakeUniqueId(kSubjectUniqueID) &&
         body.TakeExtensions(&cert->extensions) && body.AtEnd();
}

}  // namespace

bool sxReadPlainCert(const unsigned char *der, uint32_t len, bool decoded, sxPlainCert *cert) {
  Reader all({der, len}, decoded);
  sxPlainElement outer, body, signature;
  if (!all.Take(kSequence, &outer) || !all.AtEnd()) return false;
  Reader inside = all.Inside(outer);
  return inside.Take(kSequence, &body) && ReadBody(all.Inside(body), cert) &&
         inside.TakeAlgorithm(&cert->signatureAlgorithm) && inside.Take(kBitString, &signature) && inside.AtEnd() &&
         IsBits(signature.content);
}

//   Extension ::= SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
bool sxReadPlainExtension(const unsigned char *&pos, const unsigned char *end, sxPlainExtension *ext) {
  sxPlainElement sequence, oid, critical, value;
  if (!sxReadPlain(pos, end, kSequence, &sequence)) return false;
  const unsigned char *inside = sequence.content.data;
  const unsigned char *const insideEnd = sequence.content.End();
  if (!sxReadPlain(inside, insideEnd, kOid, &oid) || oid.content.len == 0) return false;
  ext->critical = false;
  if (inside < insideEnd && *inside == kBoolean) {
    if (!sxReadPlain(inside, insideEnd, kBoolean, &critical) || critical.content.len != 1) return false;
    ext->critical = critical.content.data[0] != 0;
  }
  if (!sxReadPlain(inside, insideEnd, kOctetString, &value) || inside != insideEnd) return false;
  ext->oid = oid.content;
  ext->value = value.content;
  return true;
}
