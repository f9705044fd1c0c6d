#include "support/costlyInputs.h"

#include "kxcert/asn1/modules/CryptographicMessageSyntax.h"
#include "kxcert/asn1/modules/EnrollmentMessageSyntax.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "support/notation.h"

namespace {

// The notation, with the number of parts for each N and half of it for each H.
auto Parts(const std::string &notation) {
  return [notation](int count) {
    std::string text;
    for (const char c : notation) text += c == 'N' ? std::to_string(count) : c == 'H' ? std::to_string(count / 2) : std::string(1, c);
    return CaseOctets(text);
  };
}

// 60 levels around it.
auto Deep(const std::string &tag, std::string notation) {
  for (int i = 0; i < 60; ++i) notation = tag + "{" + notation + "}";
  return Parts(notation);
}

Octets SetOfStrings(int count) {   // in descending order where they differ, so that sorting has to work
  Octets content;
  for (int i = count; i > 0; --i) {
    content.insert(content.end(), {4, 3, static_cast<unsigned char>(i >> 16), static_cast<unsigned char>(i >> 8),
                                   static_cast<unsigned char>(i)});
  }
  return Der(0x31, content);
}

}  // namespace

const std::vector<CostlyInput> &CostlyInputs() {
  static const std::vector<CostlyInput> inputs = {
      // Segments of length 0 count one octet less than they take, so that twice as many are read as the
      // length says; the definite length therefore covers half of them.
      {"emptySegments", &sxAsnOcts::kInfo, Parts("24{04{}*H} 04{}*H"), false},
      {"shortSegments", &sxAsnOcts::kInfo, Parts("24{04{41}*N}")},
      {"segmentsOfIndefiniteLength", &sxAsnOcts::kInfo, Parts("24<04{41}*N>")},
      {"bitSegments", &sxAsnBits::kInfo, Parts("23{03{0041}*N}")},
      {"segmentsBelow60Levels", &sxAsnOcts::kInfo, Deep("24", "04{41}*N")},
      {"bitSegmentsBelow60Levels", &sxAsnBits::kInfo, Deep("23", "03{0041}*N")},
      {"setToSort", &sxASN_IdentityProofSetOf::kInfo, SetOfStrings},
      {"setOfEquals", &sxASN_IdentityProofSetOf::kInfo, Parts("31{04{41}*N}")},
      {"setOfAttributes", &sxASN_SignedAttributes::kInfo, Parts("31{30{06{2A0304}31{04{41}}}*N}")},
      {"choices", &sxASN_GeneralNames::kInfo, Parts("30{82{41}*N}")},
      {"emptyChoices", &sxASN_GeneralNames::kInfo, Parts("30{82{}*N}")},
      {"emptySequences", &sxASN_CRLDistPointsSyntax::kInfo, Parts("30{30{}*N}")},
      {"numbers", &sxASN_NoticeReferenceSeqOf::kInfo, Parts("30{02{01}*N}")},
      // Values that might be extensions and are not: each is tried, then kept raw. Their lengths claim all
      // that follows.
      {"valuesTriedAsExtensions", &sxASN_Attribute::kInfo, Parts("30{06{2A03}31{30{30{06{2A03}05{}}}*N}}")},
      {"openTypes", &sxASN_Controls::kInfo, Parts("30{30{06{2A03}04{41}}*N}")},
      {"listsOfIndefiniteLength", &sxASN_RDNSequence::kInfo, Parts("30<31<30{06{2A03}0C{41}}>*N>")},
      // The content of an open type, nested without limit.
      {"nestedOpenType", &sxASN_AlgorithmIdentifier::kInfo, Parts("30{06{2A03} \"0\\x80\"*N 00*N 00*N}")},
  };
  return inputs;
}
