// What is read as a key and what is not, with the reason: octets, configuration sets, numbers.
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <sstream>

#include "keys/libcryptoTypes.h"
#include "keys/offload/pkxlMessage.h"
#include "keys/rsa/rsaKey.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/bigNumSet.h"
#include "kxcert/keys/kxDhKey.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/keys/pkxl.h"
#include "keys/subjectPublicKey.h"
#include "support/caseFile.h"
#include "support/dhTestGroups.h"
#include "support/hexOctets.h"
#include "support/keyFiles.h"
#include "support/logCapture.h"

namespace {

using SetRef = std::unique_ptr<sxset>;

Octets OctetsOf(const kxBinBuf &buf) { return Octets(buf.Data(), buf.Data() + buf.Len()); }

// What a key is, as the rows of imports.txt have it: its public octets or, of a private one, all of them.
std::string Imported(const std::string &form, const Octets &octets) {
  std::istringstream words(form);
  std::string kind, part;
  int number = 0;
  words >> kind >> part >> number;
  const auto format = part == "private" ? sxPK_private : part == "public" ? sxPK_public : static_cast<sxPK_Format>(7);
  const unsigned char *const data = octets.empty() ? nullptr : octets.data();
  const int len = LenOf(octets);
  PubKeyRef key;
  if (kind == "rsa") {
    key.reset(sxImportRSAKey(format, data, len));
    EXPECT_EQ(key != nullptr, part == "other" ? false : RsaKey(kxRSA_from_buf(data, len, format == sxPK_private)) != nullptr);
  } else {
    key.reset(sxImportECDSAKey(format, data, len, number));
    EXPECT_EQ(key != nullptr, EcKey(kxECDSA_from_buf(format, data, len, number)) != nullptr);
  }
  if (key == nullptr) return "no";
  EXPECT_EQ(format == sxPK_private ? 1369 : 336, key->Flags());
  kxBinBuf out;
  EXPECT_EQ(0, sxExportRSAKey(key.get(), format, out));
  EXPECT_EQ(format == sxPK_private, out.IsSensitive());
  return EncodeHex(OctetsOf(out));
}

TEST(KeyForms, AreReadOrRefusedWithAReason) {
  for (const CaseRow &row : CaseRows("keys/imports.txt", 5, 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const Octets octets = CaseOctets(row[2]);
    const std::string expected = row[3] == "no" ? "no" : EncodeHex(row[3] == "same" ? octets : CaseOctets(row[3]));
    const LogCapture log;
    EXPECT_EQ(expected, Imported(row[1], octets));
    EXPECT_TRUE(row[4].empty() || log.Has(row[4])) << testing::PrintToString(log.Lines());
    EXPECT_EQ(0u, ERR_peek_error());
  }
}

TEST(KeyForms, NoPartOfAPublicKeyIsOne) {
  for (const char *name : {"rsa1024", "prime256v1"}) {
    const PubKeyRef key = TestKey(name);
    const Octets octets = Exported(*key, sxPK_public);
    for (int len = 0; len < LenOf(octets); ++len) {
      EXPECT_EQ("no", Imported(key->algorithm() == sxPK_RSA ? "rsa public" : "ec public 415", Octets(octets.begin(), octets.begin() + len)));
    }
  }
}

TEST(KeyForms, OfSubjectPublicKeyInfos) {
  for (const CaseRow &row : CaseRows("keys/spki.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const Octets oid = CaseOctets(row[0]), params = CaseOctets(row[1]);
    const Octets key = row[2].starts_with("rsa") || row[2].starts_with("sec") || row[2].starts_with("prime")
                           ? Exported(*TestKey(row[2]), sxPK_public) : CaseOctets(row[2]);
    sxSpkiResult why = sxSpki_ok;
    const PubKeyRef made(sxPubKey_FromSPKI(oid.data(), LenOf(oid), params.data(), LenOf(params), key.data(), LenOf(key), &why));
    EXPECT_EQ(row[3], why == sxSpki_ok ? "ok" : why == sxSpki_dsa ? "dsa" : why == sxSpki_bad_rsa ? "bad rsa" : why == sxSpki_bad_ec ? "bad ec" : "unsupported");
    EXPECT_EQ(why == sxSpki_ok, made != nullptr);
    EXPECT_EQ(made != nullptr, PubKeyRef(sxPubKey_FromSPKI(oid.data(), LenOf(oid), params.data(), LenOf(params), key.data(), LenOf(key), nullptr)) != nullptr);
  }
}

TEST(KeyForms, OfPkcs8) {
  for (const CaseRow &row : CaseRows("keys/pkcs8.txt", 3, 2)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const Octets der = CaseOctets(row[1]);
    kxBinBuf inner("was", 3);
    const LogCapture log;
    EXPECT_EQ(row[2].empty() ? 0 : -1, kxPKCS8_to_PKCS1(kxBinBuf(der.data(), static_cast<unsigned>(der.size())), inner));
    EXPECT_EQ(row[2].empty() ? "010203" : "776173", EncodeHex(OctetsOf(inner)));
    EXPECT_EQ(row[2].empty(), inner.IsSensitive());
    EXPECT_EQ(row[2].empty() ? std::vector<std::string>() : std::vector<std::string>{row[2]}, log.Lines());
  }
  // Written with the shortest lengths, for every number of length octets; read again.
  for (const size_t len : {1U, 105U, 106U, 127U, 128U, 232U, 256U, 65536U, 1U << 20, (1U << 20) + 1}) {
    const Octets key(len, 9), wrapped = CaseOctets("30{02{00}30{06{2a864886f70d010101}05{}}04{09*" + std::to_string(len) + "}}");
    kxBinBuf pkcs8("was", 3), back;
    const bool fits = len <= 1 << 20;
    EXPECT_EQ(fits ? 0 : -1, kxPKCS1_to_PKCS8(kxBinBuf(key.data(), static_cast<unsigned>(len)), pkcs8));
    EXPECT_EQ(fits ? wrapped : Text("was"), OctetsOf(pkcs8)) << len;
    EXPECT_EQ(fits, pkcs8.IsSensitive());
    if (fits) { EXPECT_EQ(0, kxPKCS8_to_PKCS1(pkcs8, back)); }
    if (fits) { EXPECT_EQ(key, OctetsOf(back)); }
  }
  kxBinBuf none, out;
  EXPECT_EQ(-1, kxPKCS1_to_PKCS8(none, out));
  EXPECT_EQ(-1, kxPKCS8_to_PKCS1(none, out));
  EXPECT_EQ(-1, kxPKCS8_to_PKCS1(kxBinBuf((2U << 20) + 1), out));
}

// A set that a key makes, with changes; what is read from it.
SetRef SetOf(const std::string &name) {
  const DhTable table(UsualDhGroups());
  if (name == "toy") {
    const std::unique_ptr<kxDhKey, DropPubKey> key(DhKey_create("toy", 0));
    return SetRef(DhKey_toset(key.get()));
  }
  return SetRef(sxExportRSAKey_to_Set(TestKey(name).get()));
}
void Change(sxset *set, const std::string &change) {   // "private.value=01", "-private.pkcs8"
  const size_t equals = change.find('='), first = change[0] == '-' ? 1 : 0;
  std::string path = change.substr(first, equals == std::string::npos ? equals : equals - first);
  if (const size_t dot = path.find('.'); dot != std::string::npos) {
    set = set->FindSet(path.substr(0, dot).c_str());
    path = path.substr(dot + 1);
  }
  ASSERT_NE(nullptr, set);
  if (first == 1) { EXPECT_TRUE(set->Remove(path.c_str())); }
  if (first == 1) return;
  const std::string value = change.substr(equals + 1);
  set->SetText(path.c_str(), value[0] == '\'' ? value.substr(1).c_str() : EncodeHex(CaseOctets(value)).c_str());
}
PubKeyRef ReadFrom(const sxset *set, const std::string &name) {
  if (name == "toy") return PubKeyRef(DhKey_fromset(set));
  if (name[0] == 'r') return PubKeyRef(sxImportRSAKey_from_Set(set));
  const EcKey lib(kxECDSA_from_set(set));
  kxBinBuf der;
  if (lib == nullptr) return nullptr;
  const bool isWhole = kxECDSA_to_buf(lib.get(), der, 1) == 0;
  if (!isWhole) { EXPECT_EQ(0, kxECDSA_to_buf(lib.get(), der, 0)); }
  return PubKeyRef(sxImportECDSAKey(isWhole ? sxPK_private : sxPK_public, der.Data(), static_cast<int>(der.Len()),
                                    EC_GROUP_get_curve_name(EC_KEY_get0_group(lib.get()))));
}

TEST(KeyForms, OfSets) {
  for (const CaseRow &row : CaseRows("keys/sets.txt", 4, 3)) {
    SCOPED_TRACE(testing::PrintToString(row) + ", " + row[1]);
    const SetRef made = SetOf(row[0]);
    const PubKeyRef original = ReadFrom(made.get(), row[0]);
    ASSERT_NE(nullptr, original);
    SxStream text;
    made->Write(&text);
    const SetRef set(sio_sread(text.GetBuf(), nullptr));   // through the text form
    EXPECT_EQ(*made, *set);
    std::istringstream changes(row[1]);
    for (std::string change; std::getline(changes, change, ';');) Change(set.get(), change.substr(change.find_first_not_of(' ')));
    const LogCapture log;
    const PubKeyRef key = ReadFrom(set.get(), row[0]);
    const Octets whole = key == nullptr ? Octets() : Exported(*key, sxPK_private);
    const bool samePublic = key != nullptr && sxPubKey_Equal(key.get(), original.get()) == 1;
    EXPECT_EQ(row[2], key == nullptr ? "no" : !samePublic ? "another" : whole == Exported(*original, sxPK_private) ? "same"
                      : !whole.empty() ? "another private" : (key->Flags() & kKeyFlagCanSign) != 0 ? "no primes" : "public");
    EXPECT_TRUE(row[3].empty() || log.Has(row[3])) << testing::PrintToString(log.Lines());
  }
  EXPECT_EQ(nullptr, kxECDSA_from_set(nullptr));
  EXPECT_EQ(nullptr, kxECDSA_to_set(nullptr));
  EXPECT_EQ(nullptr, sxImportRSAKey_from_Set(nullptr));
  EXPECT_EQ(nullptr, kxRSA_to_set(nullptr));
  EXPECT_EQ(nullptr, DhKey_fromset(nullptr));
  EXPECT_EQ(nullptr, sxExportRSAKey_to_Set(nullptr));
}

// What others find in such a set; a key of the file, so the text is known.
TEST(KeyForms, OfSetsAsText) {
  std::string all;
  for (const char *name : {"prime256v1", "secp384r1", "secp521r1", "rsa1024"}) {
    const SetRef set = SetOf(name);
    SxStream text;
    set->Write(&text);
    all += std::string(text.GetBuf()) + "\n";
  }
  EXPECT_EQ(CaseData("keys/setTexts.txt"), all);
}

// Numbers of a sound key, one of them replaced: n, e, d, p, q, dP, dQ and qInv.
RsaKey WithNumber(const RSA *sound, size_t which, int shift, unsigned add, bool plusP) {
  const BIGNUM *parts[8];
  RSA_get0_key(sound, &parts[0], &parts[1], &parts[2]);
  RSA_get0_factors(sound, &parts[3], &parts[4]);
  RSA_get0_crt_params(sound, &parts[5], &parts[6], &parts[7]);
  BIGNUM *copies[8];
  for (size_t i = 0; i < 8; ++i) copies[i] = BN_dup(parts[i]);
  BN_lshift(copies[which], copies[which], shift);
  BN_add_word(copies[which], add);
  if (plusP) BN_add(copies[which], copies[which], parts[3]);
  RsaKey key(RSA_new());
  RSA_set0_key(key.get(), copies[0], copies[1], copies[2]);
  RSA_set0_factors(key.get(), copies[3], copies[4]);
  RSA_set0_crt_params(key.get(), copies[5], copies[6], copies[7]);
  return key;
}
bool IsServed(kxBinBuf &keyDer) {
  Octets digest(20, 7);
  kxBinBuf request, answer;
  PkxlAnswer read;
  return PkxlWrite({1, 0, 512, {20, digest.data()}, {}, {keyDer.Len(), keyDer.Data()}}, request) &&
         pkxl_serve(request, answer) == 0 && PkxlRead(answer, &read) && read.served;
}
// Through every way in.
void CheckPrivate(RsaKey rsa, const std::string &reason) {
  const bool ok = reason.empty();
  kxBinBuf der;
  ASSERT_EQ(0, kxRSA_to_buf(rsa.get(), der, 1));
  EXPECT_TRUE(der.IsSensitive());
  const char *const why = WhyNoRsaKey(rsa.get());
  EXPECT_EQ(reason, why == nullptr ? "" : why);
  const LogCapture log;
  EXPECT_EQ(ok, PubKeyRef(sxImportRSAKey(sxPK_private, der.Data(), static_cast<int>(der.Len()))) != nullptr) << "DER";
  EXPECT_EQ(!ok, log.Has("kxRSA_from_buf: "));
  const SetRef set(kxRSA_to_set(rsa.get()));
  ASSERT_NE(nullptr, set->FindSet("private")->FindText("pkcs8"));
  set->FindSet("private")->Remove("value");
  EXPECT_EQ(ok, PubKeyRef(sxImportRSAKey_from_Set(set.get())) != nullptr) << "PKCS #8 in a set";
  EXPECT_EQ(ok, IsServed(der)) << "a request";
  EXPECT_EQ(ok, kxSRSA(rsa.release()).OK() == 1) << "libcrypto's object";
}

// Without the checks some of these sign for minutes, others give their factors away.
TEST(KeyForms, OfPrivateNumbersBelongTogether) {
  const Octets soundDer = ReadPem(KeyFile("rsa2048.pem"));
  const RsaKey sound(kxRSA_from_buf(soundDer.data(), LenOf(soundDer), 1));
  ASSERT_NE(nullptr, sound);
  CheckPrivate(WithNumber(sound.get(), 0, 0, 0, false), "");
  const std::string names[] = {"n", "e", "d", "p", "q", "dP", "dQ", "qInv"};
  for (const CaseRow &row : CaseRows("keys/privateNumbers.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const auto which = static_cast<size_t>(std::find(names, names + 8, row[0]) - names);
    CheckPrivate(WithNumber(sound.get(), which, std::stoi(row[1]), row[2] == "p" ? 0 : std::stoul(row[2]), row[2] == "p"), row[3]);
  }
  const auto one = [] { return BN_dup(BN_value_one()); };
  BIGNUM *primes[] = {BN_dup(RSA_get0_p(sound.get()))}, *exponents[] = {one()}, *coefficients[] = {one()};
  RsaKey third = WithNumber(sound.get(), 0, 0, 0, false);
  ASSERT_EQ(1, RSA_set0_multi_prime_params(third.get(), primes, exponents, coefficients, 1));
  CheckPrivate(std::move(third), "more than two primes");
  // Parts that DER always has, but libcrypto's objects need not.
  const auto part = [&](const BIGNUM *(*get)(const RSA *)) { return BN_dup(get(sound.get())); };
  const auto reason = [&](bool d, bool p, bool q, bool crt) {
    const RsaKey key(RSA_new());
    RSA_set0_key(key.get(), part(RSA_get0_n), part(RSA_get0_e), d ? part(RSA_get0_d) : nullptr);
    if (p && q) RSA_set0_factors(key.get(), part(RSA_get0_p), part(RSA_get0_q));
    if (crt) RSA_set0_crt_params(key.get(), part(RSA_get0_dmp1), part(RSA_get0_dmq1), part(RSA_get0_iqmp));
    const char *const why = WhyNoRsaKey(key.get());
    kxBinBuf der;
    EXPECT_EQ(d && p && q && crt ? 0 : -1, kxRSA_to_buf(key.get(), der, 1));
    EXPECT_EQ(0, kxRSA_to_buf(key.get(), der, 0));
    EXPECT_EQ(why == nullptr ? 1 : 0, kxRSA_is_ok(key.get()));
    return std::string(why == nullptr ? "" : why);
  };
  EXPECT_EQ("", reason(true, false, false, false));
  EXPECT_EQ("", reason(true, true, true, false));
  EXPECT_EQ("", reason(false, false, false, false));
  EXPECT_EQ("primes without a private exponent", reason(false, true, true, false));
  EXPECT_EQ("primes without a private exponent", reason(false, false, false, true));
  EXPECT_EQ("a prime is missing", reason(true, false, false, true));
  const RsaKey empty(RSA_new());
  kxBinBuf der;
  EXPECT_EQ(-1, kxRSA_to_buf(empty.get(), der, 0));
  EXPECT_EQ(-1, kxRSA_to_buf(nullptr, der, 0));
  EXPECT_EQ(nullptr, kxRSA_to_set(empty.get()));
  EXPECT_EQ(0, kxRSA_is_ok(empty.get()) + kxRSA_is_ok(nullptr));
  EXPECT_STREQ("modulus or public exponent is missing", WhyNoRsaKey(empty.get()));
}

TEST(BigNumSet, KeepsNumbersUpToTheBound) {
  sxset set;
  for (const CaseRow &row : CaseRows("keys/setNumbers.txt", 3, 2)) {   // as a number, as it is stored, "-": it is not
    SCOPED_TRACE(row.where);
    const Num number(row[0] == "-" ? BN_new() : BN_bin2bn(CaseOctets(row[0]).data(), LenOf(CaseOctets(row[0])), nullptr));
    BN_set_negative(number.n, row[2] == "negative");
    const std::string stored = row[1] == "-" ? "" : row[2] == "broken" ? row[1] : EncodeHex(CaseOctets(row[1]));
    if (row[0] != "-") { EXPECT_EQ(stored.empty() ? -1 : 0, sxBN2SetValue(&set, "n", number.n)); }
    if (row[0] != "-") { EXPECT_EQ(stored.empty(), SetRef(sxBN2SetAttr(number.n, "value")) == nullptr); }
    if (row[0] != "-" && !stored.empty()) { EXPECT_EQ(stored, set.FindSet("n")->FindText("value")); }
    if (row[1] == "-") continue;
    set.SetText("text", stored.c_str());
    const Num back(sxSetAttr2BN(&set, "text"));
    EXPECT_EQ(row[0] == "-", back.n == nullptr);
    if (back.n != nullptr) { EXPECT_EQ(0, BN_cmp(number.n, back.n)); }
  }
  const Num one(1);
  set.SetText("text", "1");
  EXPECT_EQ(nullptr, sxSetAttr2BN(&set, "text")) << "half an octet";
  EXPECT_EQ(nullptr, sxSetAttr2BN(&set, "missing"));
  EXPECT_EQ(nullptr, sxSetValue2BN(&set, "missing"));
  EXPECT_EQ(nullptr, sxSetAttr2BN(nullptr, "n"));
  EXPECT_EQ(nullptr, sxSetAttr2BN(&set, nullptr));
  EXPECT_EQ(nullptr, sxSetValue2BN(nullptr, "n"));
  EXPECT_EQ(nullptr, sxSetValue2BN(&set, nullptr));
  EXPECT_EQ(nullptr, sxBN2SetAttr(nullptr, "value"));
  EXPECT_EQ(nullptr, sxBN2SetAttr(one.n, nullptr));
  EXPECT_EQ(-1, sxBN2SetValue(nullptr, "n", one.n));
  EXPECT_EQ(-1, sxBN2SetValue(&set, nullptr, one.n));
  EXPECT_EQ(-1, sxBN2SetValue(&set, "n", nullptr));
}

}  // namespace
