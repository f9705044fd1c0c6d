#include "support/costlyInputs.h"

#include "kxcert/asn1/modules/CryptographicMessageSyntax.h"
#include "kxcert/asn1/modules/EnrollmentMessageSyntax.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "support/derOctets.h"

namespace {

constexpr int kConstructedBits = 0x23;
constexpr int kConstructedOcts = 0x24;
constexpr int kSequence = 0x30;
constexpr int kSet = 0x31;

Octets Repeated(const Octets &part, int count) {
  Octets all;
  all.reserve(part.size() * static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Segments of length 0 count one octet less than they take, so that twice as many are read as the
// length says; the definite length therefore covers half of them.
Octets EmptySegments(int count) {
  Octets all = Der(kConstructedOcts, Repeated({0x04, 0x00}, count / 2));
  const Octets rest = Repeated({0x04, 0x00}, count / 2);
  all.insert(all.end(), rest.begin(), rest.end());
  return all;
}
// One element around as many equal parts.
template <int Tag, unsigned char... Part>
Octets Of(int count) { return Der(Tag, Repeated({Part...}, count)); }
Octets IndefiniteSegments(int count) { return Indefinite(kConstructedOcts, Repeated({0x04, 0x01, 0x41}, count)); }
// 60 levels around all of them.
template <int Tag, unsigned char... Part>
Octets Deep(int count) {
  Octets all = Repeated({Part...}, count);
  for (int i = 0; i < 60; ++i) all = Der(Tag, all);
  return all;
}
Octets SetOfStrings(int count) {   // in descending order where they differ, so that sorting has to work
  Octets content;
  for (int i = count; i > 0; --i) {
    const Octets element = Der(4, {Octets{static_cast<unsigned char>(i >> 16), static_cast<unsigned char>(i >> 8),
                                          static_cast<unsigned char>(i)}});
    content.insert(content.end(), element.begin(), element.end());
  }
  return Der(kSet, content);
}
// Values that might be extensions and are not: each is tried, then kept raw. Their lengths claim all
// that follows.
Octets FallbackValues(int count) {
  const Octets values = Repeated({0x30, 0x08, 0x30, 0x06, 0x06, 0x02, 0x2A, 0x03, 0x05, 0x00}, count);
  return Der(kSequence, {{0x06, 0x02, 0x2A, 0x03}, Der(kSet, values)});
}
Octets IndefiniteLists(int count) {
  const Octets list = {0x31, 0x80, 0x30, 0x07, 0x06, 0x02, 0x2A, 0x03, 0x0C, 0x01, 0x41, 0x00, 0x00};
  return Indefinite(kSequence, Repeated(list, count));
}
// The content of an open type, nested without limit.
Octets NestedRaw(int count) {
  Octets all = {0x06, 0x02, 0x2A, 0x03};
  for (int i = 0; i < count; ++i) all.insert(all.end(), {0x30, 0x80});
  all.insert(all.end(), static_cast<size_t>(2 * count), 0);
  return Der(kSequence, all);
}

}  // namespace

const std::vector<CostlyInput> &CostlyInputs() {
  static const std::vector<CostlyInput> inputs = {
      {"emptySegments", &sxAsnOcts::kInfo, EmptySegments, false},
      {"shortSegments", &sxAsnOcts::kInfo, Of<kConstructedOcts, 0x04, 0x01, 0x41>},
      {"segmentsOfIndefiniteLength", &sxAsnOcts::kInfo, IndefiniteSegments},
      {"bitSegments", &sxAsnBits::kInfo, Of<kConstructedBits, 0x03, 0x02, 0x00, 0x41>},
      {"segmentsBelow60Levels", &sxAsnOcts::kInfo, Deep<kConstructedOcts, 0x04, 0x01, 0x41>},
      {"bitSegmentsBelow60Levels", &sxAsnBits::kInfo, Deep<kConstructedBits, 0x03, 0x02, 0x00, 0x41>},
      {"setToSort", &sxASN_IdentityProofSetOf::kInfo, SetOfStrings},
      {"setOfEquals", &sxASN_IdentityProofSetOf::kInfo, Of<kSet, 0x04, 0x01, 0x41>},
      {"setOfAttributes", &sxASN_SignedAttributes::kInfo,
       Of<kSet, 0x30, 0x0A, 0x06, 0x03, 0x2A, 0x03, 0x04, 0x31, 0x03, 0x04, 0x01, 0x41>},
      {"choices", &sxASN_GeneralNames::kInfo, Of<kSequence, 0x82, 0x01, 0x41>},
      {"emptyChoices", &sxASN_GeneralNames::kInfo, Of<kSequence, 0x82, 0x00>},
      {"emptySequences", &sxASN_CRLDistPointsSyntax::kInfo, Of<kSequence, 0x30, 0x00>},
      {"numbers", &sxASN_NoticeReferenceSeqOf::kInfo, Of<kSequence, 0x02, 0x01, 0x01>},
      {"valuesTriedAsExtensions", &sxASN_Attribute::kInfo, FallbackValues},
      {"openTypes", &sxASN_Controls::kInfo, Of<kSequence, 0x30, 0x07, 0x06, 0x02, 0x2A, 0x03, 0x04, 0x01, 0x41>},
      {"listsOfIndefiniteLength", &sxASN_RDNSequence::kInfo, IndefiniteLists},
      {"nestedOpenType", &sxASN_AlgorithmIdentifier::kInfo, NestedRaw},
  };
  return inputs;
}
