// The groups that are installed, against libcrypto's own numbers.
#include <gtest/gtest.h>
#include <openssl/dh.h>

#include <map>

#include "kxcert/keys/dhGroups.h"
#include "kxcert/keys/sxDhParams.h"
#include "support/dhTestGroups.h"
#include "support/tempDir.h"

namespace {

const std::string kInstalled = KXCERT_TEST_DATA "/../../packaging/conf/dh_groups";

using Prime = BIGNUM *(*)(BIGNUM *);

void ExpectNumber(const BIGNUM *expected, const unsigned char *octets, int len) {
  const Num read(BN_bin2bn(octets, len, nullptr));
  EXPECT_EQ(0, BN_cmp(expected, read.n));
}

TEST(DhGroupsFile, HoldsTheWellKnownGroups) {
  const DhTable table(UsualDhGroups());
  std::string error;
  ASSERT_EQ(0, LoadDHGroupsFile(kInstalled.c_str(), &error)) << error;
  const Num two(2U);
  const std::map<int, Prime> primes = {
      {1, BN_get_rfc2409_prime_768},   {2, BN_get_rfc2409_prime_1024},  {5, BN_get_rfc3526_prime_1536},
      {14, BN_get_rfc3526_prime_2048}, {15, BN_get_rfc3526_prime_3072}, {16, BN_get_rfc3526_prime_4096},
      {17, BN_get_rfc3526_prime_6144}, {18, BN_get_rfc3526_prime_8192}};
  for (const auto &[number, prime] : primes) {
    const sxDhParams group(FindIKEDHGroupByGrpNum(number));
    ASSERT_EQ(1, group.OK()) << number;
    ExpectNumber(Num(prime(nullptr)).n, group.Mod(), group.ModLen());
    ExpectNumber(two.n, group.Gen(), group.GenLen());
  }
  const std::map<int, DH *(*)()> drawn = {{22, DH_get_1024_160}, {23, DH_get_2048_224}, {24, DH_get_2048_256}};
  for (const auto &[number, make] : drawn) {
    DH *const dh = make();
    const sxDhParams group(FindIKEDHGroupByGrpNum(number));
    ASSERT_EQ(1, group.OK()) << number;
    ExpectNumber(DH_get0_p(dh), group.Mod(), group.ModLen());
    ExpectNumber(DH_get0_g(dh), group.Gen(), group.GenLen());
    EXPECT_EQ(BN_num_bits(DH_get0_q(dh)), group.PrivBits());
    DH_free(dh);
  }
}

TEST(DhGroupsFile, SaysWhatIsWrong) {
  const DhTable table(UsualDhGroups());
  const TempDir folder;
  std::string error;
  EXPECT_EQ(-1, LoadDHGroupsFile(folder.File("none").c_str(), &error));
  EXPECT_NE(std::string::npos, error.find("No such file"));
  ASSERT_EQ(0, LoadDHGroupsFile(kInstalled.c_str(), nullptr));
  for (const char *text : {"(dh_groups :)", "(:a (b))", "(:a (:type (IKE_DH_parameters)))"}) {
    EXPECT_EQ(-1, LoadDHGroupsFile(folder.Write("file", text).c_str(), &error)) << text;
    EXPECT_TRUE(error.ends_with("file: holds something that is no Diffie-Hellman group, or nothing")) << error;
  }
}

}  // namespace
