// What servers and responders are told to do: TLS features (RFC 7633) and OCSP no check (RFC 6960, 4.2.2.2.1).
#include <algorithm>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/sxAsnBool.h"
#include "kxcert/foundation/textStream.h"
#include "valueExtension.h"

namespace {

struct NoValue {};
//   Features ::= SEQUENCE OF INTEGER, of which there is one already
using Features = sxASN_NoticeReferenceSeqOf;

}  // namespace

using FeaturesImp = sxValueExtension<sxTlsFeature, std::vector<int>>;
using NoCheckImp = sxValueExtension<sxOcspNoCheck, NoValue>;
template <>
const char *const FeaturesImp::kName = "TLS Feature";
template <>
const char *const NoCheckImp::kName = "OCSP No Check";

namespace {

bool ReadFeatures(const Features &tree, std::vector<int> *features) { return sxReadItems(tree, features, sxReadCount); }

const char *WriteFeatures(const std::vector<int> &features, Features *tree) {
  if (const char *const fault = sxCountFault(features.size(), "no feature"); fault != nullptr) return fault;
  std::vector<int> sorted = features;
  std::ranges::sort(sorted);
  if (sorted.front() < 0 || sorted.back() > kMaxTlsFeature) return "a number that no TLS extension has";
  if (std::ranges::adjacent_find(sorted) != sorted.end()) return "a feature twice";
  for (const int feature : features) tree->Append()->Set(feature);
  return nullptr;
}

}  // namespace

template <>
void FeaturesImp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:", kName);
  const char *separator = " ";
  for (const int feature : Get()) {
    const char *const name = sxTlsFeature::FeatureStr(feature);
    out->Put(separator);
    out->Put(name != nullptr ? name : sxCountText(feature));
    separator = ",";
  }
  out->Put("\n");
}

template <>
void NoCheckImp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s\n", kName);
}

sxTlsFeature::sxTlsFeature(std::vector<int> features) : sxExtension(new FeaturesImp(std::move(features))) {}
const std::vector<int> &sxTlsFeature::Features() const { return FeaturesImp::Of(*this); }

const char *sxTlsFeature::FeatureStr(int feature) {
  switch (feature) {
    case 5: return "status_request";      // RFC 6066, 8
    case 17: return "status_request_v2";  // RFC 6961
    default: return nullptr;
  }
}

sxOcspNoCheck::sxOcspNoCheck() : sxExtension(new NoCheckImp(NoValue())) {}

sxExtension *sxParseTlsFeature(const sxASN_Extension &ext, int &understood) {
  return FeaturesImp::Parse(ext, understood, ReadFeatures);
}
// Only the octets of a NULL: the codec takes some with content.
sxExtension *sxParseOcspNoCheck(const sxASN_Extension &ext, int &understood) {
  constexpr unsigned char kNull[] = {kDerNull, 0};
  if (ext.extnValue == nullptr || !sxEqual(sxView(ext.extnValue->Data(), ext.extnValue->Len()), kNull)) return nullptr;
  understood = 1;
  return new sxOcspNoCheck;
}
sxASN_Extension *sxComposeTlsFeature(const sxExtension &ext, int critical) {
  return FeaturesImp::Compose(ext, sxASN_id_pe_tlsFeature, critical, WriteFeatures);
}
sxASN_Extension *sxComposeOcspNoCheck(const sxExtension &ext, int critical) {
  return NoCheckImp::Compose<sxAsnNull>(ext, sxASN_id_pkix_ocsp_nocheck, critical,
                                        [](const NoValue &, sxAsnNull *) -> const char * { return nullptr; });
}
