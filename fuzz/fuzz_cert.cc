// Certificates, DER or PEM. One is OK exactly when the codec decodes the same octets and its key is
// one that the library takes; its fields are those of the decoded tree. So the reader of plain DER,
// which makes no tree, and the codec agree. Printing is survived. Extensions that CAs issue come back from what they are
// composed to.
#include <cstdint>
#include <memory>
#include <string>

#include "check.h"
#include "keys/subjectPublicKey.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/keys/sxPubKey.h"

namespace {

struct FreeKey {
  void operator()(sxPubKey *key) const { sxFreePubKey(key); }
};
using KeyRef = std::unique_ptr<sxPubKey, FreeKey>;
using ExtRef = std::unique_ptr<sxExtension>;

bool Decode(sxASN_Certificate &tree, const unsigned char *octets, size_t len) {
  return sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(octets), static_cast<int>(len)) == 0;
}

KeyRef KeyOf(const sxASN_Certificate &tree) {
  const sxASN_SubjectPublicKeyInfo &info = *tree.tbsCertificate->subjectPublicKeyInfo;
  if (isSupportedSignatureAlgorithm(*info.algorithm->algorithm) == 0) return nullptr;
  return KeyRef(sxPubKey_FromSPKI(info, nullptr));
}

void CheckName(const sxDN *own, const sxASN_RDNSequence *decoded) {
  KX_ASSERT(own != nullptr);
  const sxDN name(decoded);
  KX_ASSERT(name.Count() == decoded->Count() && own->Count() == decoded->Count());
  KX_ASSERT((own->GetStr() == nullptr) == (name.GetStr() == nullptr));
  KX_ASSERT(own->GetStr() == nullptr || std::string(own->GetStr()) == name.GetStr());
  KX_ASSERT(own->Equal(name) == name.Equal(name) && own->Hash() == name.Hash());
}

void CheckFields(const sxCert &cert, const sxASN_Certificate &tree) {
  const sxASN_TBSCertificate &body = *tree.tbsCertificate;
  const int version = body.version == nullptr ? 0 : body.version->GetShortVal();
  KX_ASSERT(static_cast<unsigned>(cert.Version()) == static_cast<unsigned>(version) + 1);
  KX_ASSERT(cert.SerialNum()->intEquiv(*body.serialNumber));
  kxBinBuf serial;
  KX_ASSERT(AsnInt2BinBuf(body.serialNumber, serial) == 0);
  int len = 0;
  const unsigned char *octets = cert.SerialNum(len);
  KX_ASSERT(std::string(octets, octets + len) == std::string(serial.Data(), serial.Data() + serial.Len()));
  CheckName(cert.Issuer(), body.issuer);
  CheckName(cert.Subject(), body.subject);
  KX_ASSERT(cert.notBefore() == sxASN_Time2time(body.validity->notBefore));
  KX_ASSERT(cert.notAfter() == sxASN_Time2time(body.validity->notAfter));
  const sxAsnOid &signature = *tree.signatureAlgorithm->algorithm;
  KX_ASSERT(cert.signatureSignAlgorithm() == AlgType_By_SignOID(signature));
  KX_ASSERT(cert.signatureHashAlgorithm() == MdType_By_SignOID(signature));
  KX_ASSERT(sxPubKey_Equal(cert.PubKey(), KeyOf(tree).get()) == 1);
}

template <class Row>
const Row *RowOf(const Row *row, const sxAsnOid &oid) {
  while (row->oid != nullptr && !row->oid->OidEquiv(oid)) ++row;
  return row;
}

ExtRef ParseIssued(const sxASN_Extension &ext) {
  const sxExtParser *const row = RowOf(Get_IssuedExtParserTable(), *ext.extnID);
  int understood = 0;
  return ExtRef(row->oid == nullptr ? nullptr : row->parse(ext, understood));
}

// What is read and may be issued can be read again, and then is written the same way.
void CheckIssued(const sxASN_Extension &ext) {
  const ExtRef made = ParseIssued(ext);
  if (made == nullptr) return;
  const sxExtComposer *const row = RowOf(Get_IssuedExtComposerTable(), *ext.extnID);
  const std::unique_ptr<sxASN_Extension> written(row->compose(*made, 0));
  if (written == nullptr) return;
  const ExtRef again = ParseIssued(*written);
  SxStream text;
  made->Sprint(&text, 0);
  KX_ASSERT(again != nullptr && text.Length() > 0);
  const std::unique_ptr<sxASN_Extension> rewritten(row->compose(*again, 0));
  KX_ASSERT(rewritten != nullptr && rewritten->extnValue->OctsEquiv(*written->extnValue));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const sxCert cert(data, static_cast<unsigned>(size));
  SxStream text;
  cert.Sprint(&text, sxCert_full, 0);
  KX_ASSERT(text.Length() > 0);
  sxASN_Certificate tree;
  if (size > 0 && Decode(tree, data, size)) {
    KX_ASSERT((cert.OK() == 1) == (KeyOf(tree) != nullptr));
    if (cert.OK() == 1) CheckFields(cert, tree);
  } else if (cert.OK() == 1) {  // it was PEM, and is DER now
    KX_ASSERT(Decode(tree, cert.GetBuf(), cert.BufLen()));
    CheckFields(cert, tree);
  }
  if (cert.OK() == 1) cert.VerifySig(cert.PubKey());
  if (tree.tbsCertificate == nullptr || tree.tbsCertificate->extensions == nullptr) return 0;
  for (const sxASN_Extension &ext : *tree.tbsCertificate->extensions) {
    if (ext.extnID != nullptr && ext.extnValue != nullptr) CheckIssued(ext);  // after a failure there may be less
  }
  return 0;
}
