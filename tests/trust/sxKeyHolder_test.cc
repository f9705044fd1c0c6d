#include "kxcert/trust/sxKeyHolder.h"

#include <gmock/gmock.h>

#include <sstream>

#include "kxcert/cert/sxDN.h"
#include "kxcert/trust/sxPKObjects.h"
#include "support/caseFile.h"
#include "support/logCapture.h"
#include "support/testRoots.h"

namespace {

const unsigned char *Octets(const char *text) { return reinterpret_cast<const unsigned char *>(text); }

std::vector<sxRootCA *> Roots(sxKeyHolder &holder) {
  std::vector<sxRootCA *> roots;
  const std::unique_ptr<sxRootCA_iterator> it(holder.RootCAs());
  for (; it->Curr() != nullptr; it->Next()) roots.push_back(it->Curr());
  return roots;
}

std::vector<sxCertifiedKey *> Keys(sxKeyHolder &holder) {
  std::vector<sxCertifiedKey *> keys;
  const std::unique_ptr<sxCertKey_iterator> it(holder.CertKeys());
  for (; it->Curr() != nullptr; it->Next()) keys.push_back(it->Curr());
  return keys;
}

TEST(sxKeyHolder, FirstMatchInSlotOrderWins) {
  const TestCert a("O=Slots/CN=a", nullptr), b("O=Slots/CN=b", nullptr), upperB("O=SLOTS/CN=B", nullptr);
  sxSWKeyHolder holder;
  EXPECT_FALSE(holder.HasRootCAs());
  sxRootCA *first = AddRoot(holder, a, "one", sxCaType_other, "ID1");
  sxRootCA *second = AddRoot(holder, b, "two", sxCaType_other, "ID2");
  sxRootCA *third = AddRoot(holder, upperB, "two", sxCaType_other, "ID2");
  sxRootCA *noCert = new sxRootCA("bare", nullptr, 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(nullptr, holder.CAByDN(nullptr));
  holder.AddCA(noCert);
  sxFreePKobj(noCert);
  EXPECT_EQ(noCert, holder.CAByDN(nullptr));   // two absent names are equal
  EXPECT_EQ(second, holder.CAByDN(upperB.Get()->Subject()));
  EXPECT_EQ(second, holder.CAByName("two"));
  EXPECT_EQ(second, holder.CAByID(Octets("ID2"), 3));
  EXPECT_EQ(first, holder.RootCA_Lookup(*a.Get()->Subject()));
  EXPECT_EQ(nullptr, holder.CAByID(Octets("ID"), 2));
  EXPECT_EQ(nullptr, holder.CAByID(nullptr, 0));
  EXPECT_EQ(nullptr, holder.CAByID(Octets(""), 0));   // as long as the last one's, which has none
  EXPECT_EQ(nullptr, holder.CAByName(nullptr));
  EXPECT_EQ(0, holder.RemoveCA(second));
  EXPECT_EQ(third, holder.CAByDN(b.Get()->Subject()));
  EXPECT_THAT(Roots(holder), testing::ElementsAre(first, noCert, third));
  EXPECT_TRUE(holder.HasRootCAs());
}

TEST(sxKeyHolder, FindsCertifiedKeys) {
  const TestCert root("O=Keys/CN=root", nullptr), sub("O=Keys/CN=sub", &root), own("O=Keys/CN=own", &sub);
  const TestCert self("O=Keys/CN=self", nullptr);
  sxSWKeyHolder holder;
  EXPECT_FALSE(holder.HasKeys());
  sxRootCA *ca = AddRoot(holder, root);
  sxCertifiedKey *rootless = AddKey(holder, SetOf({&self}), nullptr, "s", "K1");
  sxCertifiedKey *key = AddKey(holder, SetOf({&own, &sub}), ca, nullptr, "K2");
  EXPECT_TRUE(holder.HasKeys());
  EXPECT_EQ(key, holder.CertKeyByDN(own.Get()->Subject()));
  EXPECT_EQ(nullptr, holder.CertKeyByDN(sub.Get()->Subject()));
  EXPECT_EQ(key, holder.CertKeyBySubCA(*sub.Get()->Subject()));
  EXPECT_EQ(key, holder.CertKeyByCADN(root.Get()->Subject()));
  EXPECT_EQ(nullptr, holder.CertKeyByCADN(self.Get()->Subject()));
  EXPECT_EQ(key, holder.CertKeyByName("CN=own,O=Keys"));
  EXPECT_EQ(rootless, holder.CertKeyByID(Octets("K1"), 2));
  EXPECT_EQ(0, holder.RemoveCertKey(rootless));
  EXPECT_EQ(nullptr, holder.CertKeyByName("s"));
}

TEST(sxKeyHolder, PrefersKeysByTheTypeOfTheirRoot) {
  const TestCert cert("O=Default/CN=x", nullptr);
  for (const CaseRow &row : CaseRows("trust/defaultKeys.txt", 3)) {
    SCOPED_TRACE(row.where);
    sxSWKeyHolder holder;
    std::vector<sxCertifiedKey *> keys;
    std::istringstream types(row[1]);
    for (int type = 0; types >> type;) {
      sxRootCA *root = type < 0 ? nullptr : AddRoot(holder, cert, nullptr, static_cast<SxCaType>(type));
      keys.push_back(AddKey(holder, SetOf({&cert}), root));
    }
    sxCertifiedKey *expected = row[2] == "none" ? nullptr : keys.at(std::stoul(row[2]));
    EXPECT_EQ(expected, holder.CertKeyByDefault());
    sxKeyHolder *sorted = sxKeyHolder_Sort(&holder);
    EXPECT_EQ(expected, sorted->CertKeyByDefault());
    EXPECT_EQ(keys.size(), Keys(*sorted).size());
    sxFreePKobj(sorted);
  }
}

TEST(sxKeyHolder, SortKeepsTopMostRootsAndOrdersKeys) {
  const TestCert root("O=Sorted/CN=root", nullptr), below("O=Sorted/CN=below", &root);
  const TestCert outside("O=Else/CN=top", nullptr), foreign("O=Sorted/CN=foreign", &outside);
  LogCapture log;
  sxSWKeyHolder holder;
  AddRoot(holder, below);                                        // its issuer is trusted here
  sxRootCA *top = AddRoot(holder, root);
  AddRoot(holder, root, "own", sxCaType_other, "KEY");           // a certified key has this identifier
  sxRootCA *kept = AddRoot(holder, foreign, nullptr, sxCaType_last);
  sxRootCA *bare = new sxRootCA(nullptr, nullptr, 0, sxCaType_first, 0, nullptr, 0, nullptr, 0);
  holder.AddCA(bare);
  sxCertifiedKey *last = AddKey(holder, SetOf({&below}), kept);
  sxCertifiedKey *rootless = AddKey(holder, SetOf({&below}), nullptr, nullptr, "KEY");
  sxCertifiedKey *other = AddKey(holder, SetOf({&below}), top);
  sxCertifiedKey *preferred = AddKey(holder, SetOf({&below}), bare);
  sxFreePKobj(bare);
  sxKeyHolder *sorted = sxKeyHolder_Sort(&holder);
  EXPECT_THAT(Roots(*sorted), testing::ElementsAre(top, kept));
  EXPECT_THAT(Keys(*sorted), testing::ElementsAre(preferred, other, last, rootless));
  EXPECT_TRUE(log.Has("sxKeyHolder_Sort: Bad certificate (no name)"));
  sxFreePKobj(sorted);
  EXPECT_EQ(nullptr, sxKeyHolder_Sort(nullptr));
}

TEST(sxKeyHolder, AddsAnotherHoldersObjectsButNotItsOwn) {
  const TestCert a("O=Sum/CN=a", nullptr), b("O=Sum/CN=b", nullptr);
  sxSWKeyHolder left, right;
  AddRoot(left, a);
  sxRootCA *root = AddRoot(right, b);
  sxCertifiedKey *key = AddKey(right, SetOf({&b}), root);
  left += right;
  EXPECT_EQ(root, left.CAByDN(b.Get()->Subject()));
  EXPECT_THAT(Keys(left), testing::ElementsAre(key));
  left += left;
  EXPECT_EQ(2U, Roots(left).size());
}

TEST(sxKeyHolder, ModeOneKeepsRootsInTheCacheOnly) {
  const TestCert cert("O=Mode/CN=root", nullptr, CaOptions()), leaf("O=Mode/CN=leaf", &cert);
  LogCapture log;
  sxKeyHolder *holder = sxKeyHolder_with_cache(2, 0, 1);
  sxRootCA *root = AddRoot(*holder, cert, "root", sxCaType_other, "ID");
  EXPECT_TRUE(log.Has("Number of Root CAs now in the cache 1"));
  EXPECT_FALSE(holder->HasRootCAs());
  EXPECT_TRUE(Roots(*holder).empty());
  EXPECT_EQ(nullptr, holder->CAByDN(cert.Get()->Subject()));
  EXPECT_EQ(nullptr, holder->CAByName("root"));
  EXPECT_EQ(nullptr, holder->CAByID(Octets("ID"), 2));
  EXPECT_EQ(root, holder->RootCA_Lookup(*cert.Get()->Subject()));
  TrustType type = TrustType_none;
  EXPECT_EQ(root, holder->IsCertTrusted(*leaf.Get(), type));
  EXPECT_EQ(TrustType_signedByCA, type);
  EXPECT_EQ(0, holder->RemoveCA(root));
  EXPECT_EQ(nullptr, holder->RootCA_Lookup(*leaf.Get()->Issuer()));
  sxFreePKobj(holder);
}

TEST(sxKeyHolder, KeepsIntermediatesOnlyWhenItsModeSaysSo) {
  const TestCert sub("O=Inter/CN=sub", nullptr);
  LogCapture log;
  sxKeyHolder *off = sxKeyHolder_New();
  EXPECT_EQ(-1, off->AddIntermediateCA(sub.Get()));
  EXPECT_EQ(nullptr, off->GetIntermediateCA(*sub.Get()->Subject()));
  EXPECT_EQ(0, off->IntermediateCAsCount());
  EXPECT_EQ(-1, off->RemoveIntermediateCA(sub.Get()));
  EXPECT_TRUE(log.Has("sxSWKeyHolder_imp::GetIntermediateCA: IntermediateCA Retrieval is no activated."));
  sxFreePKobj(off);
  for (const int mode : {1, 2, -3}) {
    sxKeyHolder *on = sxKeyHolder_with_cache(1, 0, mode);
    EXPECT_EQ(-1, on->AddIntermediateCA(nullptr));
    EXPECT_EQ(0, on->AddIntermediateCA(sub.Get()));
    EXPECT_EQ(1, on->IntermediateCAsCount());
    EXPECT_EQ(sub.Get(), on->GetIntermediateCA(*sub.Get()->Subject()));
    EXPECT_EQ(0, on->RemoveIntermediateCA(sub.Get()));
    EXPECT_EQ(nullptr, on->GetIntermediateCA(*sub.Get()->Subject()));
    sxFreePKobj(on);
  }
  EXPECT_TRUE(log.Has("IntermediateCA found in memory cache"));
}

}  // namespace
