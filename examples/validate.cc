// Validates a certificate against one trusted root: validate ROOT CERTIFICATE [FURTHER CERTIFICATE]...
// The further ones are what the peer sent along, in any order. The exit code is 0 when it is valid, 1 when
// it is not, 2 when a file cannot be read.
#include <kxcert/cert/loadFiles.h>
#include <kxcert/trust/chainJudge.h>
#include <kxcert/trust/sxKeyHolder.h>
#include <kxcert/trust/sxRootCA.h>
#include <cstdio>

// False when there is no certificate, or something else that might have been one: a question about half of
// what was given may have another answer.
static bool Load(const char *file, sxLoader &loader) {
  const size_t before = loader.Items().size();
  loader.AddFile(file);
  bool found = false, failed = false;
  for (size_t i = before; i < loader.Items().size(); ++i) {
    const sxLoadItem &item = loader.Items()[i];
    found = found || item.cert != nullptr;
    failed = failed || item.skip != sxLoadSkip::kNot;
    if (item.cert == nullptr) std::fprintf(stderr, "%s: %s\n", item.place.Text().c_str(), item.reason.c_str());
  }
  return found && !failed;
}

int main(int argc, char **argv) {
  sxLoader roots(sxLoad_certs), sent(sxLoad_certs);
  if (argc < 3 || !Load(argv[1], roots)) return 2;
  for (int i = 2; i < argc; ++i) {  // all of them, before anything is decided
    if (!Load(argv[i], sent)) return 2;
  }
  sxCerts trusted, received;
  roots.CopyCerts(trusted);
  sent.CopyCerts(received);

  sxKeyHolder *holder = sxKeyHolder_New();
  auto *root = new sxRootCA("my root", trusted.Get(0), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
  holder->AddCA(root);  // the holder has a reference now, as the root has one of its certificate
  sxFreePKobj(root);

  sxChainQuestion question;
  question.endEntity = received.Get(0);
  question.pool = &received;
  question.holder = holder;
  question.flags = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
  sxChainVerdict verdict;
  const sxValidationRC rc = sxJudgeChain(question, verdict);
  std::printf("%s (%d)\n", verdict.text.getstr(), rc);
  sxFreePKobj(holder);
  return rc == sxValidation_OK ? 0 : 1;
}
