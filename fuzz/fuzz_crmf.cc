// Certificate request messages, alone, in lists and in CMP messages. What is accepted encodes as it came, and its
// signature verifies again, also by way of the tree; of what is refused there is a text. Template and controls come
// out of their trees as they went in. Printing is survived.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "check.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/enroll/crmfMessages.h"
#include "kxcert/enroll/kxCRMF.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/foundation/textStream.h"

namespace {

std::string Text(const sxCertTemplate &wanted, const kxControlsList &controls) {
  SxStream text;
  wanted.Sprint(&text, 0);
  controls.Sprint(&text, 0);
  return text.Text();
}

void CheckTrees(const kxCRMF &crmf) {
  sxASN_CertTemplate tree;
  KX_ASSERT(crmf.CertTemplate().Fill(&tree) == 0);
  sxCertTemplate wanted;
  KX_ASSERT(wanted.Set(&tree) == 0);
  const std::unique_ptr<sxASN_Controls> controls(crmf.Controls().NewTree());
  kxControlsList read;
  read.Set(controls.get());
  KX_ASSERT(Text(crmf.CertTemplate(), crmf.Controls()) == Text(wanted, read));
}

void CheckAccepted(const kxCRMF &crmf, const uint8_t *data, size_t size) {
  sxASN_CertReqMsg msg;
  KX_ASSERT(sxASN_DecodeBuf(msg, reinterpret_cast<const char *>(data), static_cast<int>(size)) == 0);
  kxBinBuf der;
  KX_ASSERT(sxASN_EncodeBuf(msg, der, 1) == 0 && der.Len() == size && std::memcmp(der.Data(), data, size) == 0);
  kxCRMF again;
  sxString text;
  KX_ASSERT(again.Set(msg, text) == 0 && text.length() == 0);
  const kxBinBuf &signature = crmf.Signature();
  KX_ASSERT(crmf.VerifySig(signature.Data(), static_cast<int>(signature.Len())) == kxCRMF_success);
  KX_ASSERT(crmf.CertTemplate().HasPubKey() || crmf.HasPasswordMac());
  if (crmf.HasPasswordMac()) crmf.VerifyPasswordMac(signature);
}

void Check(const uint8_t *data, size_t size) {
  kxCRMF crmf;
  sxString text;
  const int rc = crmf.DerDecode(data, static_cast<int>(size), text);
  KX_ASSERT((rc == 0) == (crmf.Status() == kxCRMF_success) && (rc == 0) == (text.length() == 0));
  SxStream printed, copied;
  crmf.Sprint(&printed, 0);
  kxCRMF(crmf).Sprint(&copied, 0);
  KX_ASSERT(printed.Text() == copied.Text());
  CheckTrees(crmf);
  if (rc == 0) CheckAccepted(crmf, data, size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Check(data, size);
  const kxCrmfMessages found(data, static_cast<int>(size));
  KX_ASSERT((found.Count() == 0) == (*found.Error() != '\0'));
  for (int i = 0; i < found.Count() && i < 4; ++i) Check(found.Get(i).data(), found.Get(i).size());
  return 0;
}
