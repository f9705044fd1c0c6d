// Certification requests, DER or PEM. What is OK has the fields of the tree that the codec makes of it, and whatever
// can be asked is answered. One that proves to have its key fills a template.
#include <cstdint>
#include <string>

#include "check.h"
#include "kxcert/asn1/modules/SXUTILS.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/sxPubKey.h"

namespace {

void CheckFields(const sxCertRequest &request, const sxASN_CertificationRequest &tree) {
  const sxASN_CertificationRequestInfo &info = *tree.certificationRequestInfo;
  KX_ASSERT(static_cast<unsigned>(request.Version()) == static_cast<unsigned>(info.version->GetShortVal()) + 1);
  const sxDN name(info.subject);
  KX_ASSERT((name.GetStr() == nullptr) == (request.Subject()->GetStr() == nullptr));
  KX_ASSERT(name.GetStr() == nullptr || std::string(name.GetStr()) == request.Subject()->GetStr());
  KX_ASSERT(request.CountAttributes() == info.attributes->Count());
  int i = 0;
  for (const sxASN_Attribute &attribute : *info.attributes) {
    KX_ASSERT(request.AttributeType(i)->OidEquiv(*attribute.type));
    KX_ASSERT(request.CountAttributeValues(i) == attribute.values->Count());
    ++i;
  }
  KX_ASSERT(request.signatureHashAlgorithm() == MdType_By_SignOID(*tree.signatureAlgorithm->algorithm));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const sxCertRequest request(data, static_cast<unsigned>(size));
  SxStream text;
  request.Sprint(&text, 0);
  KX_ASSERT(text.Length() > 0);
  if (request.OK() == 0) return 0;
  sxASN_CertificationRequest tree;
  const auto *const der = reinterpret_cast<const char *>(request.GetBuf());
  if (sxASN_DecodeBuf(tree, der, static_cast<int>(request.BufLen())) == 0) CheckFields(request, tree);
  for (int i = 0, len = 0; i < request.CountAttributes(); ++i) {
    for (int number = 0; number < request.CountAttributeValues(i); ++number) {
      KX_ASSERT(request.AttributeValue(i, number, &len) != nullptr && len >= 2);
    }
  }
  char password[16];
  request.ChallengePassword(password, sizeof password);
  sxCertTemplate wanted;
  KX_ASSERT((wanted.Set(&request) == 0) == (request.VerifySig() == 0));
  return 0;
}
