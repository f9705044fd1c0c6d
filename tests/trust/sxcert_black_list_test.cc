#include "kxcert/trust/sxcert_black_list.h"

#include <gtest/gtest.h>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/trust/ValidateParams.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"
#include "support/testPki.h"

namespace {

TEST(BlackList, HoldsTheSerialsOfCertificates) {
  const TestCert withLong("O=Black/CN=long", nullptr, {.serial = "8FEDCBA987654321"});   // and a leading zero octet
  const TestCert withShort("O=Black/CN=short", nullptr, {.serial = "0102"});

  sxcert_black_list *list = new sxcert_black_list(0);
  EXPECT_FALSE(list->IsExist(*withLong.Get()));
  const Octets octets = DecodeHex("8fedcba987654321");
  sxAsnInt magnitude;
  magnitude.Set(octets.data(), static_cast<unsigned>(octets.size()));
  EXPECT_EQ(0, list->Add(magnitude));
  EXPECT_TRUE(list->IsExist(*withLong.Get()));
  EXPECT_FALSE(list->IsExist(*withShort.Get()));
  EXPECT_EQ(0, list->AddFromString("000102"));
  EXPECT_TRUE(list->IsExist(*withShort.Get()));
  EXPECT_EQ(0, list->AddFromString("008fedcba987654321"));   // the number that is there
  EXPECT_EQ(2, list->Size());
  EXPECT_EQ(0, list->AddFromString("8fedcba987654321"));     // another one: negative
  EXPECT_EQ(3, list->Size());
  sxcert_black_list *other = new sxcert_black_list(5);
  EXPECT_EQ(0, sxcert_black_list::Diff(list, other));
  sxcert_black_list::free(other);
  sxcert_black_list::free(list);
}

TEST(BlackList, RefusesTextThatIsNoNumber) {
  LogCapture log;
  sxcert_black_list *list = new sxcert_black_list(0);
  EXPECT_EQ(-1, list->AddFromString("012"));
  EXPECT_TRUE(log.Has("sxcert_hex_to_bin: improper len. strlen(hexstr): 3, while len*2: 2"));
  EXPECT_TRUE(log.Has("sxcert_black_list::AddFromString: sxcert_hex_to_bin failed. rc: -1"));
  EXPECT_EQ(-1, list->AddFromString("01xy"));
  EXPECT_EQ(-1, list->AddFromString(sxString()));
  EXPECT_EQ(-1, list->AddFromString(""));
  EXPECT_TRUE(log.Has("sxcert_black_list::AddFromString: AsnIntFromBuf failed."));
  EXPECT_EQ(0, list->Size());
  sxcert_black_list::free(list);
}

TEST(BlackList, HexPairsReadAsScanfDoes) {
  unsigned char out[3] = {};
  EXPECT_EQ(0, sxcert_hex_to_bin("aB+7 9", out, 3));
  EXPECT_EQ("ab0709", EncodeHex(out, 3));
  EXPECT_EQ(-1, sxcert_hex_to_bin("abcd", out, 3));
  EXPECT_EQ(-1, sxcert_hex_to_bin("abcdefab", out, 3));
  EXPECT_EQ(-1, sxcert_hex_to_bin("", out, -1));
  EXPECT_EQ(-1, sxcert_hex_to_bin(nullptr, out, 3));
  EXPECT_EQ(-1, sxcert_hex_to_bin("abcdef", nullptr, 3));
}

TEST(BlackList, GoesWithTheFreeThatLeavesOneOrLess) {
  LogCapture log;
  EXPECT_EQ(-2, sxcert_black_list::save(nullptr));
  EXPECT_EQ(0, sxcert_black_list::free(nullptr));

  sxcert_black_list *unsaved = new sxcert_black_list(0);
  EXPECT_EQ(0, sxcert_black_list::free(unsaved));
  EXPECT_TRUE(log.Has("zero/negative reference count for"));
  EXPECT_TRUE(log.Has("sxcert_black_list::free: deleting black_list:"));
  log.Clear();

  sxcert_black_list *attached = new sxcert_black_list(0);
  ValidateParams params;
  params.Set_BlackList(attached);
  ValidateParams copy(params);   // carries the list and saves nothing
  EXPECT_EQ(attached, copy.Get_BlackList());
  EXPECT_EQ(3, sxcert_black_list::save(attached));
  EXPECT_EQ(2, sxcert_black_list::free(attached));
  EXPECT_FALSE(log.Has("deleting"));
  EXPECT_EQ(1, sxcert_black_list::free(attached));
  EXPECT_TRUE(log.Has("deleting"));
  EXPECT_FALSE(log.Has("zero/negative"));
}

}  // namespace
