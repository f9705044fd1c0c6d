// Validates a certificate against one trusted root: validate ROOT CERTIFICATE [FURTHER CERTIFICATE]...
// The further ones are what the peer sent along, in any order. The exit code is 0 when it is valid, 1 when
// it is not, 2 when a file cannot be read.
#include <kxcert/cert/certFile.h>
#include <kxcert/foundation/kxBinBuf.h>
#include <kxcert/trust/chainJudge.h>
#include <kxcert/trust/sxKeyHolder.h>
#include <kxcert/trust/sxRootCA.h>
#include <cstdio>

static sxCert *ReadCert(const char *file) {  // null when it is none; else for sxCert_Free
  char error[kCertFileErrLen] = "not a certificate";
  kxBinBuf octets;
  sxCert *cert = nullptr;
  if (sxCert_AsnBufFromFile(file, octets, error) == 0) cert = sxCert_Decode(octets.Data(), octets.Len());
  if (cert == nullptr) std::fprintf(stderr, "%s: %s\n", file, error);
  return cert;
}

int main(int argc, char **argv) {
  sxCerts read;  // all of them, before anything is decided
  for (int i = 1; i < argc; ++i) read.Add(ReadCert(argv[i]));
  if (argc < 3 || read.Count() != argc - 1) return 2;

  sxKeyHolder *holder = sxKeyHolder_New();
  auto *root = new sxRootCA("my root", read.Get(0), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
  holder->AddCA(root);  // the holder has a reference now, as the root has one of its certificate
  sxFreePKobj(root);

  sxChainQuestion question;
  question.endEntity = read.Get(1);
  question.pool = &read;
  question.holder = holder;
  question.flags = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
  sxChainVerdict verdict;
  const sxValidationRC rc = sxJudgeChain(question, verdict);
  std::printf("%s (%d)\n", verdict.text.getstr(), rc);
  sxFreePKobj(holder);
  return rc == sxValidation_OK ? 0 : 1;
}
