// OCSP responses, read where they stand. All of one is read before anything is made of it, so that what is judged
// and what is printed is the same.
#include "kxcert/trust/ocspResponse.h"

#include "asn1/der.h"
#include "cert/plainCert.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "trust/revocation/ocspOids.h"

namespace {

// Any INTEGER or ENUMERATED of one octet; others are none of those that are read here.
bool TakeSmall(sxDerReader &from, int tag, int *number) {
  sxOctetView octets;
  if (!from.Take(tag, &octets) || octets.size() != 1 || octets[0] >= 0x80) return false;
  *number = octets[0];
  return true;
}

bool TakeTime(sxDerReader &from, int64_t *seconds) {
  sxOctetView text;
  if (!from.Take(kDerGeneralizedTime, &text)) return false;
  *seconds = sxTimeSeconds({kDerGeneralizedTime, text});
  return *seconds >= 0;
}

// [tag] around exactly one element that @p take reads; true as well when it is absent.
template <class Take>
bool TakeOptional(sxDerReader &from, int number, const Take &take) {
  sxDerReader inside;
  if (!from.NextIs(DerContextConstructed(number))) return true;
  return from.Enter(DerContextConstructed(number), &inside) && take(inside) && inside.AtEnd();
}

//   Extensions ::= SEQUENCE SIZE (1..MAX) OF Extension
bool TakeExtensions(sxDerReader &from, std::vector<sxOcspExtension> *extensions) {
  sxDerReader list;
  if (!from.Enter(kDerSequence, &list)) return false;
  while (!list.AtEnd()) {
    sxPlainExtension each;
    if (extensions->size() == kMaxOcspExtensions || !sxTakePlainExtension(list, &each)) return false;
    extensions->push_back({each.oid, each.critical, each.value});
  }
  return true;
}

//   AlgorithmIdentifier ::= SEQUENCE { algorithm OBJECT IDENTIFIER, parameters ANY OPTIONAL }
// The codec has types for the parameters of some; no digest and no signature that is known is among them.
bool TakeAlgorithm(sxDerReader &from, sxOctetView *oid) {
  sxDerReader inside;
  sxDerElement parameters;
  if (!from.Enter(kDerSequence, &inside) || !inside.Take(kDerOid, oid) || oid->empty()) return false;
  if (inside.AtEnd()) return true;
  sxAsnOid type;
  type.Set(oid->data(), sxLen(*oid));
  return inside.Take(&parameters) && inside.AtEnd() && sxAsnAny::FindByOid(type) == nullptr;
}

//   CertID ::= SEQUENCE { hashAlgorithm, issuerNameHash OCTET STRING, issuerKeyHash OCTET STRING, serialNumber INTEGER }
bool TakeCertId(sxDerReader &from, sxOcspSingle *single) {
  sxDerReader id;
  return from.Enter(kDerSequence, &id) && TakeAlgorithm(id, &single->hashAlgorithm) &&
         id.Take(kDerOctetString, &single->issuerNameHash) && id.Take(kDerOctetString, &single->issuerKeyHash) &&
         id.Take(kDerInteger, &single->serial) && !single->serial.empty() && id.AtEnd();
}

//   CertStatus ::= CHOICE { good [0] NULL, revoked [1] RevokedInfo, unknown [2] NULL }, all implicit
//   RevokedInfo ::= SEQUENCE { revocationTime GeneralizedTime, revocationReason [0] CRLReason OPTIONAL }
bool TakeStatus(sxDerReader &from, sxOcspSingle *single) {
  sxOctetView nothing;
  sxDerReader revoked;
  const bool isGood = from.NextIs(DerContext(0));
  if (isGood || from.NextIs(DerContext(2))) {
    single->status = isGood ? sxOcspStatus::kGood : sxOcspStatus::kUnknown;
    return from.Take(DerContext(isGood ? 0 : 2), &nothing) && nothing.empty();
  }
  single->status = sxOcspStatus::kRevoked;
  return from.Enter(DerContextConstructed(1), &revoked) && TakeTime(revoked, &single->revokedSec) &&
         TakeOptional(revoked, 0, [&](sxDerReader &in) { return TakeSmall(in, kDerEnumerated, &single->reason); }) &&
         revoked.AtEnd();
}

//   SingleResponse ::= SEQUENCE { certID, certStatus, thisUpdate, nextUpdate [0] OPTIONAL, singleExtensions [1] OPTIONAL }
bool TakeSingle(sxDerReader &from, sxOcspSingle *single) {
  sxDerReader fields;
  return from.Enter(kDerSequence, &fields) && TakeCertId(fields, single) && TakeStatus(fields, single) &&
         TakeTime(fields, &single->thisUpdateSec) &&
         TakeOptional(fields, 0, [single](sxDerReader &in) { return TakeTime(in, &single->nextUpdateSec); }) &&
         TakeOptional(fields, 1, [single](sxDerReader &in) { return TakeExtensions(in, &single->extensions); }) &&
         fields.AtEnd();
}

//   ResponderID ::= CHOICE { byName [1] Name, byKey [2] OCTET STRING }
bool TakeResponder(sxDerReader &from, sxOcspResponse *response) {
  sxDerReader inside;
  sxDerElement name;
  sxFlatName flat;
  if (from.Enter(DerContextConstructed(1), &inside)) {
    if (!inside.Take(kDerSequence, &name) || !inside.AtEnd() || !flat.Read(name.whole, false)) return false;
    response->responderName = name.whole;
    return true;
  }
  return from.Enter(DerContextConstructed(2), &inside) && inside.Take(kDerOctetString, &response->responderKeyHash) &&
         inside.AtEnd();
}

//   ResponseData ::= SEQUENCE { version [0] DEFAULT v1, responderID, producedAt, responses, responseExtensions [1] }
const char *ReadData(sxDerReader data, sxOcspResponse *response) {
  int version = 0;
  if (!TakeOptional(data, 0, [&](sxDerReader &in) { return TakeSmall(in, kDerInteger, &version); }) || version != 0) {
    return "its version is not 1";
  }
  if (!TakeResponder(data, response)) return "it names no responder";
  sxDerReader singles;
  if (!TakeTime(data, &response->producedAtSec) || !data.Enter(kDerSequence, &singles)) return "it has no time";
  while (!singles.AtEnd()) {
    if (response->singles.size() == kMaxOcspSingles) return "it tells of too many certificates";
    if (!TakeSingle(singles, &response->singles.emplace_back())) return "what it says of a certificate does not decode";
  }
  const auto takeExtensions = [&](sxDerReader &in) { return TakeExtensions(in, &response->extensions); };
  if (!TakeOptional(data, 1, takeExtensions) || !data.AtEnd()) return "its extensions do not decode";
  return nullptr;
}

bool TakeCerts(sxDerReader &from, std::vector<sxOcspOctets> *certs) {
  sxDerReader list;
  if (!from.Enter(kDerSequence, &list)) return false;
  while (!list.AtEnd()) {
    sxDerElement cert;
    if (certs->size() == kMaxOcspCerts || !list.Take(kDerSequence, &cert)) return false;
    certs->push_back(cert.whole);
  }
  return true;
}

const char *ReadBasic(sxOctetView octets, sxOcspResponse *response) {
  sxDerReader all(octets), basic;
  sxDerElement data, algorithm, signature;
  if (!all.Enter(kDerSequence, &basic) || !all.AtEnd()) return "no basic response in it";
  if (!basic.Take(kDerSequence, &data) || !basic.Take(kDerSequence, &algorithm) ||
      !basic.Take(kDerBitString, &signature)) {
    return "it is not signed";
  }
  if (signature.content.empty() || signature.content[0] != 0) return "its signature is not of whole octets";
  sxOctetView oid;
  sxDerReader algorithmAlone(algorithm.whole);
  if (!TakeAlgorithm(algorithmAlone, &oid)) return "the algorithm of its signature does not decode";
  response->tbsResponseData = data.whole;
  response->signatureAlgorithm = algorithm.whole;
  response->signature = signature.whole;
  const auto takeCerts = [&](sxDerReader &in) { return TakeCerts(in, &response->certs); };
  if (!TakeOptional(basic, 0, takeCerts) || !basic.AtEnd()) return "its certificates do not decode, or are too many";
  return ReadData(sxDerReader(data.content), response);
}

}  // namespace

const char *sxOcspResponse_Read(const unsigned char *octets, size_t len, sxOcspResponse *response) {
  if (octets == nullptr || len == 0) return "it is empty";
  if (len > kMaxOcspResponseLen) return "it is too long";
  *response = sxOcspResponse();
  sxDerReader all({octets, len}), outer, bytes;
  if (!all.Enter(kDerSequence, &outer) || !all.AtEnd() || !TakeSmall(outer, kDerEnumerated, &response->status)) {
    return "no DER";
  }
  // RFC 6960, 4.2.1: only a successful one has more.
  if (response->status != 0) return outer.AtEnd() ? nullptr : "an error with a response";
  sxOctetView content;
  const bool isWhole = outer.Enter(DerContextConstructed(0), &bytes) && outer.AtEnd() &&
                       bytes.Enter(kDerSequence, &outer) && bytes.AtEnd() && outer.Take(kDerOid, &response->type) &&
                       !response->type.empty() && outer.Take(kDerOctetString, &content) && outer.AtEnd();
  if (!isWhole) return "a success without a response";
  response->basic = sxEqual(response->type, kOidOcspBasic);
  return response->basic ? ReadBasic(content, response) : nullptr;
}
