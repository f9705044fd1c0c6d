// Which chains are trusted, and what is made of them.
#include <gmock/gmock.h>

#include <atomic>

#include "kxcert/cert/signatureCache.h"
#include "kxcert/trust/fixChain.h"
#include "kxcert/trust/sxValidation.h"
#include "support/fixedClock.h"
#include "support/logCapture.h"
#include "support/onThreads.h"
#include "support/testRoots.h"

using testing::ElementsAre;

namespace {

class ChainTrust : public testing::Test {
 protected:
  const TestCert root{"O=Trust/CN=root", nullptr, CaOptions()}, sub{"O=Trust/CN=sub", &root, CaOptions()};
  const TestCert leaf{"O=Trust/CN=leaf", &sub};
  sxSWKeyHolder holder;
  sxCerts out;
};

TEST_F(ChainTrust, EndsTheChainInTheRootThatSigned) {
  sxRootCA *trusted = AddRoot(holder, root);
  const sxCerts chain = SetOf({&sub, &root, &leaf});
  const uint64_t before = sxSignatureCache_Stats().hits + sxSignatureCache_Stats().misses;
  EXPECT_EQ(trusted, holder.IsChainTrusted(chain, out));
  EXPECT_THAT(Members(out), ElementsAre(leaf.Get(), sub.Get(), root.Get()));
  // One signature was verified, once.
  EXPECT_EQ(before + 1, sxSignatureCache_Stats().hits + sxSignatureCache_Stats().misses);
}

TEST_F(ChainTrust, LeavesTheResultAloneWithoutTrust) {
  const TestCert sameName("O=Trust/CN=root", nullptr, CaOptions());   // but another key
  AddRoot(holder, sameName);
  sxCerts kept = SetOf({&leaf});
  LogCapture log;
  EXPECT_EQ(nullptr, holder.IsChainTrusted(SetOf({&leaf, &sub, &root}), kept));
  EXPECT_THAT(Members(kept), ElementsAre(leaf.Get()));
  EXPECT_TRUE(log.Has("sxKeyHolder::IsChainTrusted: self-signed cert or no Subject/Issuer"));
  EXPECT_TRUE(log.Has("sxKeyHolder::IsChainTrusted: Trust Not Found.\n"));
  EXPECT_EQ(nullptr, holder.IsChainTrusted(sxCerts(), kept));
}

// The trusted CA is not self-issued and its issuer is unknown, so only its own name and key make it trusted.
TEST_F(ChainTrust, PutsTheRootsOwnCopyInPlaceOfATrustedCA) {
  const TestCert ownCopy("O=Trust/CN=sub", &root, CaOptions({.serial = "77", .keyOf = &sub}));
  sxRootCA *trusted = AddRoot(holder, ownCopy);
  TrustType type = TrustType_none;
  EXPECT_EQ(trusted, holder.IsCertTrusted(*sub.Get(), type));
  EXPECT_EQ(TrustType_trustedCA, type);
  EXPECT_EQ(1, holder.IsCertTrustedCA(trusted, *sub.Get()));
  EXPECT_EQ(0, holder.IsCertTrustedCA(nullptr, *sub.Get()));
  EXPECT_EQ(0, holder.IsSignedByTrustedCA(trusted, *sub.Get()));
  EXPECT_EQ(trusted, holder.IsChainTrusted(SetOf({&sub}), out));
  EXPECT_THAT(Members(out), ElementsAre(ownCopy.Get()));

  // A leaf that only claims to be issued by it must keep an issuer whose key its signature fails with.
  const TestCert attacker("O=Evil/CN=x", nullptr);
  const TestCert forged("O=Trust/CN=forged", &attacker, {.issuerName = "O=Trust/CN=sub"});
  FixedClock clock(kTestNow);
  ASSERT_EQ(trusted, holder.IsChainTrusted(SetOf({&forged, &sub}), out));
  EXPECT_THAT(Members(out), ElementsAre(forged.Get(), ownCopy.Get()));
  int level = 0;
  EXPECT_EQ(sxValidation_badSignature, sxValidateSignatures(out, level));
  EXPECT_EQ(0, level);
}

TEST_F(ChainTrust, CanonizesByLevelAndType) {
  sxRootCA *trusted = AddRoot(holder, root);
  const sxCerts sorted = SetOf({&leaf, &sub, &root});
  holder.CanonizeChain(trusted, sorted, out, 1, TrustType_signedByCA);
  EXPECT_THAT(Members(out), ElementsAre(leaf.Get(), sub.Get(), root.Get()));
  holder.CanonizeChain(trusted, sorted, out, 2, TrustType_trustedCA);
  EXPECT_THAT(Members(out), ElementsAre(leaf.Get(), sub.Get(), root.Get()));
  sxCerts untouched = SetOf({&leaf});
  holder.CanonizeChain(trusted, sorted, untouched, -1, TrustType_signedByCA);
  holder.CanonizeChain(nullptr, sorted, untouched, 1, TrustType_signedByCA);
  holder.CanonizeChain(trusted, sorted, untouched, 1, TrustType_none);
  EXPECT_EQ(1, untouched.Count());
  holder.TruncateChain(out, 1);
  EXPECT_THAT(Members(out), ElementsAre(leaf.Get()));
  LogCapture log;
  EXPECT_EQ(-1, holder.CopyChain(sxCerts(5), out));
  EXPECT_EQ(0, out.Count());
  EXPECT_TRUE(log.Has("sxKeyHolder::CopyChain: sorted_chain <= 0, returning."));
}

// Each certificate is issued by the next; the last one by the root.
TEST_F(ChainTrust, LooksAtAHundredLevels) {
  sxRootCA *trusted = AddRoot(holder, root);
  std::vector<std::unique_ptr<TestCert>> ladder;
  for (int i = 0; i <= kMaxChainLevels; ++i) {
    const TestCert *issuer = i == 0 ? &root : ladder.back().get();
    ladder.push_back(std::make_unique<TestCert>(("O=Trust/CN=" + std::to_string(i)).c_str(), issuer));
  }
  sxCerts chain;
  for (int i = 0; i < kMaxChainLevels; ++i) chain.Add(ladder[static_cast<size_t>(i)]->Ref());
  EXPECT_EQ(trusted, holder.IsChainTrusted(chain, out));
  chain.Add(ladder.back()->Ref());
  EXPECT_EQ(nullptr, holder.IsChainTrusted(chain, out));
}

// One thread gives way to a new root again and again; the others find one at every moment, and what they
// found stays while they use it.
TEST_F(ChainTrust, ManyThreadsValidateWhileOneReplacesTheRoot) {
  ASSERT_EQ(0, sxPKobj::UseMutex());
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
