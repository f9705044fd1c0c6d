#include "kxcert/enroll/passwordMac.h"

#include "kxcert/asn1/modules/PKIXCMP.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/algorithms.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"
#include "support/rows.h"
#include "support/words.h"

namespace {

sxASN_AlgorithmIdentifier *NewAlgorithm(const std::string &name) {
  static const sxAsnOid pkcs5({1, 2, 840, 113549, 2, 7}), hmac256({1, 2, 840, 113549, 2, 9}), unknown({1, 2, 3});
  static const std::map<std::string, const sxAsnOid *> names = {
      {"md5", &sxASN_md5},   {"sha1", &sxASN_sha1},  {"sha256", &sxASN_sha256}, {"hmac", &sxASN_hmac_sha1},
      {"pkcs5", &pkcs5},     {"hmac256", &hmac256},  {"unknown", &unknown}};
  if (name == "null") return new sxASN_AlgorithmIdentifier;
  return name == "none" ? nullptr : sx_New_AlgID(*names.at(name), nullptr);
}

kxBinBuf BufOf(const std::string &hex) {
  const Octets octets = hex == "-" ? Octets() : DecodeHex(hex.c_str());
  return kxBinBuf(octets.data(), static_cast<unsigned int>(octets.size()));
}

std::string Hex(const kxBinBuf &buf) { return EncodeHex(buf.Data(), buf.Len()); }

TEST(PasswordMac, IsTheIndependentOne) {
  ExpectRows("enroll/pbm.txt", 3, {{"mac", [](const CaseRow &row) -> std::string {
    const Words words = Split(row[1]);
    sxASN_PBMParameter params;
    if (words[1] != "none") params.salt = new sxAsnOcts(BufOf(words[1]).Data(), static_cast<int>(BufOf(words[1]).Len()));
    params.owf = NewAlgorithm(words[2]);
    params.mac = NewAlgorithm(words[4]);
    if (words[3] == "big") (params.iterationCount = new sxAsnInt)->Set(DecodeHex("0100000001").data(), 5);
    else if (words[3] != "none") params.iterationCount = new sxAsnInt(std::stoi(words[3]));
    const bool negative = words[5] == "negative";
    const kxBinBuf data = negative ? kxBinBuf() : BufOf(words[5]);
    kxBinBuf mac, key;
    const int len = negative ? -1 : static_cast<int>(data.Len());
    if (ComputePasswordBaseMac(&params, BufOf(words[0]), data.Data(), len, mac, &key) != 0) {
      EXPECT_TRUE(mac.IsEmpty() && key.IsEmpty());
      return "no";
    }
    EXPECT_TRUE(key.IsSensitive());
    return Hex(key) + " " + Hex(mac);
  }}});
  kxBinBuf mac;
  EXPECT_EQ(-1, ComputePasswordBaseMac(nullptr, BufOf("73"), nullptr, 0, mac));
}

// The command's own protection of a message (RFC 4210, 5.1.3.1): over header and body, as one SEQUENCE.
TEST(PasswordMac, VerifiesTheCommandsProtection) {
  const std::string message = CaseData("enroll/cr.der");
  sxASN_PKIMessage tree;
  ASSERT_EQ(0, sxASN_DecodeBuf(tree, message.data(), static_cast<int>(message.size())));
  const Octets octets = Der(0x30, DecodeHex((EncodeHex(*tree.header) + EncodeHex(*tree.body)).c_str()));
  const sxAsnType *const params = tree.header->protectionAlg->parameters->Value();
  ASSERT_STREQ("sxASN_PBMParameter", params->TypeName());
  kxBinBuf mac;
  ASSERT_EQ(0, ComputePasswordBaseMac(static_cast<const sxASN_PBMParameter *>(params), BufOf("736563726574"),
                                      octets.data(), static_cast<int>(octets.size()), mac));
  EXPECT_EQ(EncodeHex(tree.protection->Data(), static_cast<size_t>(tree.protection->Len())), Hex(mac));
}

}  // namespace
