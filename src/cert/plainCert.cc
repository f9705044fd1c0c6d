#include "plainCert.h"

#include "plainFields.h"

namespace {

constexpr int kVersionTag = DerContextConstructed(0);
constexpr int kIssuerUniqueID = DerContext(1);
constexpr int kSubjectUniqueID = DerContext(2);
constexpr int kExtensionsTag = DerContextConstructed(3);

// Takes the fields of a certificate in their order.
class Fields {
 public:
  Fields(const sxDerReader &reader, bool decoded) : m_reader(reader), m_decoded(decoded) {}

  bool AtEnd() const { return m_reader.AtEnd(); }
  bool TakeSerial(sxOctetView *serial) { return sxTakePlainInteger(m_reader, serial); }
  bool TakeAlgorithm(sxPlainAlgorithm *algorithm) { return sxTakePlainAlgorithm(m_reader, m_decoded, algorithm); }

  bool TakeValidity(sxPlainTime *notBefore, sxPlainTime *notAfter) {
    sxDerReader inside;
    return m_reader.Enter(kDerSequence, &inside) && sxTakePlainTime(inside, notBefore) &&
           sxTakePlainTime(inside, notAfter) && inside.AtEnd();
  }

  bool TakeName(sxOctetView *name, sxFlatName *flat) { return sxTakePlainName(m_reader, m_decoded, name, flat); }

  bool TakeUniqueId(int tag) {
    sxOctetView bits;
    return !m_reader.NextIs(tag) || sxTakePlainBits(m_reader, tag, &bits);
  }

  bool TakeSignature() {
    sxOctetView bits;
    return sxTakePlainBits(m_reader, kDerBitString, &bits);
  }

  bool TakeVersion(int *version) {
    sxDerReader inside;
    sxOctetView number;
    if (!m_reader.NextIs(kVersionTag)) return true;
    if (!m_reader.Enter(kVersionTag, &inside) || !sxTakePlainInteger(inside, &number) || !inside.AtEnd()) return false;
    *version = sxPlainVersion(number);
    return true;
  }

  bool TakeKey(sxPlainCert *cert) { return sxTakePlainKey(m_reader, m_decoded, &cert->keyAlgorithm, &cert->keyBits); }

  bool TakeExtensions(sxOctetView *extensions) {
    return !m_reader.NextIs(kExtensionsTag) || sxTakePlainExtensions(m_reader, kExtensionsTag, extensions);
  }

 private:
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
