// Validates a chain against one trusted root: validate ROOT CERTIFICATE...
// The exit code is 0 when the chain is valid.
#include <cstdio>
#include <kxcert/cert/certFormats.h>
#include <kxcert/cert/sxCerts.h>
#include <kxcert/foundation/kxBinBuf.h>
#include <kxcert/trust/sxKeyHolder.h>
#include <kxcert/trust/sxRootCA.h>
#include <kxcert/trust/sxValidation.h>

static sxCert *ReadCert(const char *file) {   // null when it is none; else for sxCert_Free
  char error[kCertFileErrLen] = "not a certificate";
  kxBinBuf octets;
  sxCert *cert = nullptr;
  if (sxCert_AsnBufFromFile(file, octets, error) == 0) cert = sxCert_Decode(octets.Data(), octets.Len());
  if (cert == nullptr) std::fprintf(stderr, "%s: %s\n", file, error);
  return cert;
}

int main(int argc, char **argv) {
  sxCert *rootCert = argc > 2 ? ReadCert(argv[1]) : nullptr;
  if (rootCert == nullptr) return 2;
  sxKeyHolder *holder = sxKeyHolder_New();
  auto *root = new sxRootCA("my root", rootCert, 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
  holder->AddCA(root);   // the holder has a reference now, as the root has one of its certificate
  sxFreePKobj(root);
  sxCert_Free(rootCert);

  sxCerts presented, chain;
  for (int i = 2; i < argc; ++i) presented.Add(ReadCert(argv[i]));
  sxRootCA *trusted = holder->IsChainTrusted(presented, chain);
  int rc = sxValidation_notTrusted, level = -1;
  char text[4096] = "No trusted root.";
  if (trusted != nullptr) {
    rc = sxCert_ValCerts(trusted, &chain, nullptr, nullptr, ValidateParams(), text, sizeof text, &level, nullptr,
                         nullptr, sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints);
  }
  std::printf("%s (%d)\n", rc == sxValidation_OK ? sxValidationRC_GetString(rc) : text, rc);
  sxFreePKobj(holder);
  return rc == sxValidation_OK ? 0 : 1;
}
