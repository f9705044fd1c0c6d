#include "plainCrl.h"

#include "crlOids.h"
#include "kxcert/cert/sxCRL.h"
#include "plainFields.h"

namespace {

constexpr int kExtensionsTag = DerContextConstructed(0);
constexpr int kDirectoryName = DerContextConstructed(4);
constexpr size_t kMaxReasonLen = 4;  // octets that are read as a number

// RFC 5280 5.1.2, in the order of the fields; the algorithm is the one outside (5.1.1.2).
bool ReadBody(sxDerReader body, bool decoded, sxPlainCrl *crl) {
  sxOctetView version;
  sxPlainAlgorithm innerAlgorithm;
  if (body.NextIs(kDerInteger)) {
    if (!sxTakePlainInteger(body, &version)) return false;
    crl->version = sxPlainVersion(version);
  }
  if (!sxTakePlainAlgorithm(body, decoded, &innerAlgorithm) ||
      !sxEqual(innerAlgorithm.oid, crl->signatureAlgorithm.oid) ||
      !sxEqual(innerAlgorithm.parameters, crl->signatureAlgorithm.parameters) ||
      !sxTakePlainName(body, decoded, &crl->issuer, &crl->issuerName) || !sxTakePlainTime(body, &crl->thisUpdate)) {
    return false;
  }
  if ((body.NextIs(kDerUtcTime) || body.NextIs(kDerGeneralizedTime)) && !sxTakePlainTime(body, &crl->nextUpdate)) {
    return false;
  }
  if (body.NextIs(kDerSequence) && !body.Take(kDerSequence, &crl->entries)) return false;
  if (body.NextIs(kExtensionsTag) && !sxTakePlainExtensions(body, kExtensionsTag, &crl->extensions)) return false;
  return body.AtEnd();
}

//   CRLReason ::= ENUMERATED
bool ReadReason(sxOctetView value, int *reason) {
  sxDerReader reader(value);
  sxOctetView number;
  if (!reader.Take(kDerEnumerated, &number) || !reader.AtEnd() || number.empty() || number.size() > kMaxReasonLen) {
    return false;
  }
  *reason = sxPlainVersion(number) - 1;
  return *reason >= 0;
}

bool ReadInvalidity(sxOctetView value, sxPlainTime *time) {
  sxDerReader reader(value);
  return reader.NextIs(kDerGeneralizedTime) && sxTakePlainTime(reader, time) && reader.AtEnd();
}

//   CertificateIssuer ::= GeneralNames, one of which is the issuer's directoryName [4] Name
bool ReadIssuer(sxOctetView value, sxOctetView *issuer) {
  sxDerReader reader(value), names;
  sxDerElement name, directoryName;
  bool isOne = false;
  if (!reader.Enter(kDerSequence, &names) || !reader.AtEnd()) return false;
  while (!names.AtEnd()) {
    if (!names.Take(&name)) return false;
    if (name.tag != kDirectoryName) continue;
    sxDerReader inside(name.content);
    if (isOne || !inside.Take(kDerSequence, &directoryName) || !inside.AtEnd()) return false;
    isOne = true;
  }
  *issuer = directoryName.whole;
  return isOne;
}

}  // namespace

bool sxReadPlainCrl(sxOctetView der, bool decoded, sxPlainCrl *crl) {
  sxDerReader all(der, kCrlLenOctets), outer, body;
  sxOctetView signature;
  return all.Enter(kDerSequence, &outer) && all.AtEnd() && outer.Enter(kDerSequence, &body) &&
         sxTakePlainAlgorithm(outer, decoded, &crl->signatureAlgorithm) &&
         sxTakePlainBits(outer, kDerBitString, &signature) && outer.AtEnd() && ReadBody(body, decoded, crl);
}

bool sxArePlainExtensions(sxOctetView extensions, bool *hasCritical) {
  sxPlainExtension ext;
  for (sxDerReader each(extensions); !each.AtEnd();) {
    if (!sxTakePlainExtension(each, &ext)) return false;
    *hasCritical |= ext.critical;
  }
  return true;
}

void sxReadEntryExtensions(sxOctetView extensions, bool isIndirect, sxEntryExtensions *out) {
  sxPlainExtension ext;
  bool hasReason = false;
  for (sxDerReader each(extensions, kCrlLenOctets); !each.AtEnd();) {
    if (!sxTakePlainExtension(each, &ext)) return;  // never: they were read before
    bool understood = false;
    if (sxEqual(ext.oid, kOidReasonCode)) {
      int reason = sxCrlReason_none;
      understood = ReadReason(ext.value, &reason);
      out->reason = hasReason ? static_cast<int>(sxCrlReason_none) : reason;
      hasReason = true;
    } else if (sxEqual(ext.oid, kOidInvalidityDate)) {
      sxPlainTime time;
      understood = ReadInvalidity(ext.value, &time);
      if (understood && out->invalidity.tag == 0) out->invalidity = time;
    } else if (isIndirect && sxEqual(ext.oid, kOidCertificateIssuer)) {
      understood = !out->hasIssuer && ReadIssuer(ext.value, &out->issuer);
      if (!understood) out->issuer = {};
      out->hasIssuer = true;
    }
    const bool isRefused = !understood && (ext.critical || (isIndirect && sxEqual(ext.oid, kOidCertificateIssuer)));
    if (isRefused && out->unknownCritical.empty()) out->unknownCritical = ext.oid;
  }
}
