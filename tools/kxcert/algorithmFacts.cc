#include "algorithmFacts.h"

#include <vector>

#include "certFacts.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/keys/algorithms.h"
#include "oidInput.h"
#include "unknownParts.h"

namespace {

using Octets = std::span<const unsigned char>;

constexpr unsigned char kOid = 0x06, kConstructed = 0x20, kLongLen = 0x80;
constexpr int kMaxNesting = 8;
constexpr size_t kMaxOids = 16;  // that are told

// One element of DER with a tag of one octet, off the front. @return false: there is none
bool Take(Octets *rest, unsigned char *tag, Octets *content) {
  if (rest->size() < 2) return false;
  *tag = (*rest)[0];
  size_t len = (*rest)[1], headerLen = 2;
  if (len >= kLongLen) {
    const size_t numOctets = len - kLongLen;
    if (numOctets == 0 || numOctets > sizeof(uint32_t) || rest->size() < 2 + numOctets) return false;
    len = 0;
    for (; headerLen < 2 + numOctets; ++headerLen) len = len << 8 | (*rest)[headerLen];
  }
  if (len > rest->size() - headerLen) return false;
  *content = rest->subspan(headerLen, len);
  *rest = rest->subspan(headerLen + len);
  return true;
}

// However deep they stand, in their order.
void AppendOids(Octets octets, int nesting, std::vector<sxAsnOid> *oids) {
  unsigned char tag = 0;
  Octets content;
  while (oids->size() < kMaxOids && Take(&octets, &tag, &content)) {
    if (tag == kOid) {
      oids->emplace_back().Set(content.data(), static_cast<int>(content.size()));
    } else if ((tag & kConstructed) != 0 && nesting < kMaxNesting) {
      AppendOids(content, nesting + 1, oids);
    }
  }
}

std::vector<sxAsnOid> ParameterOids(const sxASN_AlgorithmIdentifier &algorithm) {
  std::vector<sxAsnOid> oids;
  AppendOids(ParametersOf(algorithm), 0, &oids);
  return oids;
}

Facts OidFacts(const sxAsnOid &oid) { return {{"oid", OidText(oid)}, {"name", NameOrOid(oid)}}; }

}  // namespace

Octets ParametersOf(const sxASN_AlgorithmIdentifier &algorithm) {
  const auto *value = algorithm.parameters == nullptr ? nullptr : algorithm.parameters->Value();
  const auto *raw = dynamic_cast<const sxAsnRawAny *>(value);
  return raw == nullptr || raw->Len() < 1 ? Octets() : Octets(raw->Data(), static_cast<size_t>(raw->Len()));
}

bool ParameterOid(const sxASN_AlgorithmIdentifier &algorithm, sxAsnOid *oid) {
  const Octets octets = ParametersOf(algorithm);
  return !octets.empty() && octets[0] == kOid &&
         sxASN_DecodeBuf(*oid, reinterpret_cast<const char *>(octets.data()), static_cast<int>(octets.size())) == 0;
}

std::string AlgorithmText(const sxASN_AlgorithmIdentifier &algorithm) {
  std::string text = NamedOid(*algorithm.algorithm);
  const char *between = " with ";
  for (const sxAsnOid &oid : ParameterOids(algorithm)) {
    text += between + NamedOid(oid);
    between = ", ";
  }
  return text;
}

Facts AlgorithmFacts(const sxASN_AlgorithmIdentifier &algorithm) {
  Facts facts = OidFacts(*algorithm.algorithm);
  sxAsnOid oid;
  if (ParameterOid(algorithm, &oid)) {
    facts["parameters"] = OidFacts(oid);
    return facts;
  }
  auto oids = Facts::array();
  for (const sxAsnOid &one : ParameterOids(algorithm)) oids.push_back(OidFacts(one));
  if (!oids.empty()) facts["parameterOids"] = std::move(oids);
  return facts;
}

std::string UnknownSignature(const sxASN_AlgorithmIdentifier &algorithm) {
  const bool isKnown = MdType_By_SignOID(*algorithm.algorithm) != sx_md_unknown;
  return isKnown ? "" : AlgorithmText(algorithm);
}

std::string SignatureWords(const sxASN_AlgorithmIdentifier &algorithm) {
  const std::string unknown = UnknownSignature(algorithm);
  return unknown.empty() ? SignatureText(*algorithm.algorithm) : "not supported: " + unknown;
}
