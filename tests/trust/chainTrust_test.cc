// Chains that many threads validate; tests/data/trust/chains.txt has the others.
#include <gtest/gtest.h>

#include <atomic>

#include "kxcert/trust/fixChain.h"
#include "kxcert/trust/sxValidation.h"
#include "support/fixedClock.h"
#include "support/onThreads.h"
#include "support/testRoots.h"

namespace {

// One thread gives way to a new root again and again; the others find one at every moment, and what they
// found stays while they use it.
TEST(ChainTrust, ManyThreadsValidateWhileOneReplacesTheRoot) {
  ASSERT_EQ(0, sxPKobj::UseMutex());
  const TestCert root("O=Trust/CN=root", nullptr, CaOptions()), sub("O=Trust/CN=sub", &root, CaOptions());
  const TestCert leaf("O=Trust/CN=leaf", &sub);
  FixedClock clock(kTestNow);
  constexpr int kChecks = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
  for (const int mode : {0, 1, 2}) {
    sxSWKeyHolder shared(1, 0, mode);
    sxRootCA *current = AddRoot(shared, root);
    std::atomic<int> numValidating{3};
    OnThreads(4, [&](int thread) {
      while (thread == 0 && numValidating > 0) {
        sxRootCA *old = std::exchange(current, AddRoot(shared, root));
        if (mode != sxKeyHolder_cachedRoots) shared.RemoveCA(old);   // the cache did it
      }
      for (int i = 0; thread != 0 && i < 200; ++i) {
        sxCerts chain = SetOf({&leaf, &sub});
        const bool repairs = i % 2 == 0 && mode != sxKeyHolder_cachedRoots;
        sxRootCA *trusted = repairs ? sxCert_FixChain(&chain, shared) : shared.IsChainTrusted(chain, chain);
        EXPECT_EQ(sxValidation_OK, sxCert_ValCerts(trusted, &chain, nullptr, nullptr, ValidateParams(), nullptr, 0,
                                                   nullptr, nullptr, nullptr, kChecks));
      }
      if (thread != 0) --numValidating;
    });
  }
}

}  // namespace
