// A set of blobs as a chain: the first is the trusted root, the rest what a peer sent. Neither the
// memory of verified signatures nor asking again may change a verdict; nor, where the end entity is named,
// the order of the others.
#include <cstdint>
#include <memory>

#include "blobs.h"
#include "check.h"
#include "kxcert/cert/signatureCache.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/platform/clock.h"
#include "kxcert/trust/chainJudge.h"
#include "kxcert/trust/fixChain.h"
#include "kxcert/trust/sxKeyHolder.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxValidation.h"

namespace {

constexpr int64_t kNow = 1893456000;  // 2030-01-01 00:00 UTC
constexpr uint32_t kMemory = 256;

struct FreeObj {
  void operator()(sxPKobj *obj) const { sxFreePKobj(obj); }
};

struct Verdict {
  bool trusted = false;
  int rc = 0;
  int level = 0;
  int length = 0;
  bool operator==(const Verdict &) const = default;
};

Verdict Judge(sxKeyHolder &holder, const sxCerts &received) {
  Verdict verdict;
  sxCerts path;
  sxRootCA *root = holder.IsChainTrusted(received, path);
  verdict.trusted = root != nullptr;
  if (root == nullptr) return verdict;
  char text[512];
  long expiration = 0;
  verdict.rc = sxCert_ValCerts(root, &path, nullptr, &expiration, ValidateParams(), text, sizeof text, &verdict.level,
                               nullptr, nullptr, sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints);
  KX_ASSERT((verdict.rc == 0) == (text[0] == '\0'));
  verdict.length = path.Count();
  return verdict;
}

void JudgeNamed(sxKeyHolder &holder, const sxCerts &received) {
  if (received.Count() == 0) return;
  sxCerts backwards;
  for (int i = received.Top(); i >= 0; --i) {
    sxSaveSigned(received.Get(i));
    backwards.Add(received.Get(i));
  }
  sxChainQuestion question;
  question.endEntity = received.Get(0);
  question.holder = &holder;
  question.flags = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
  sxChainVerdict verdict, again;
  question.pool = &received;
  sxJudgeChain(question, verdict);
  question.pool = &backwards;
  sxJudgeChain(question, again);
  KX_ASSERT(*verdict.path.Get(0) == *question.endEntity);
  KX_ASSERT(verdict.code == again.code && verdict.level == again.level && verdict.text == again.text);
  KX_ASSERT(verdict.path.Count() == again.path.Count() && verdict.root == again.root);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  kxClock_SetSource([] { return kNow; });
  const uint8_t *pos = data;
  const auto [anchor, anchorLen] = NextBlob(&pos, data + size);
  const std::unique_ptr<sxCert, FreeObj> anchorCert(sxCert_Decode(anchor, static_cast<int>(anchorLen)));
  if (anchorCert == nullptr) return 0;
  const std::unique_ptr<sxKeyHolder, FreeObj> holder(sxKeyHolder_New());
  const std::unique_ptr<sxRootCA, FreeObj> root(
      new sxRootCA(nullptr, anchorCert.get(), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0));
  holder->AddCA(root.get());

  sxCerts received;
  while (pos < data + size && received.Count() < 32) {
    const auto [blob, len] = NextBlob(&pos, data + size);
    if (sxCert *cert = sxCert_Decode(blob, static_cast<int>(len)); cert != nullptr) received.Add(cert);
  }
  sxSignatureCache_SetSize(0);
  const Verdict without = Judge(*holder, received);
  sxSignatureCache_SetSize(kMemory);
  const Verdict first = Judge(*holder, received);
  const Verdict again = Judge(*holder, received);
  KX_ASSERT(without == first);
  KX_ASSERT(first == again);
  JudgeNamed(*holder, received);
  sxCert_FixChain(&received, *holder);
  return 0;
}
