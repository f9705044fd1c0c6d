// Entries and extensions of CRLs, those of hostile ones as well.
#include <gtest/gtest.h>

#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/hexOctets.h"
#include "support/rows.h"
#include "support/testCrl.h"

namespace {

std::string Told(const sxRevokedEntry &entry) {
  std::string text = EncodeHex(entry.serial, static_cast<size_t>(entry.serialLen)) + " " + std::to_string(entry.revokedSec);
  if (entry.reason != sxCrlReason_none) text += " r" + std::to_string(entry.reason);
  if (entry.hasInvalidityDate) text += " since " + std::to_string(entry.invaliditySec);
  if (entry.isIssuerUnreadable) text += " of nobody";
  if (entry.certIssuer != nullptr) text += " of " + std::string(sxDN(entry.certIssuer, entry.certIssuerLen).GetStr());
  return text + ";";
}

std::string Oid(const char *label, const sxAsnOid *oid) {
  return oid == nullptr ? "" : label + EncodeHex(oid->Data(), static_cast<size_t>(oid->Len()));
}
std::string Number(const char *label, const sxAsnInt *number) {
  kxBinBuf octets;
  if (number == nullptr || AsnInt2BinBuf(number, octets) != 0) return "";
  return label + EncodeHex(octets.Data(), octets.Len());
}

std::string Told(const sxCRL &crl) {
  std::string text;
  for (sxRevokedEntry entry; crl.NextEntry(&entry);) text += " " + Told(entry);
  if (crl.IsIndirect()) text += " indirect";
  if (crl.IsDelta()) text += " delta";
  text += Number(" ", crl.DeltaBase()) + Number(" number ", crl.Number());
  if (crl.ScopeNames().Count() > 0) text += " scope " + std::string(crl.ScopeNames().Get(0)->GetStr().getstr());
  if (crl.FreshestCRL() != nullptr) text += " deltas " + std::string(crl.FreshestCRL()->Names().Get(0)->GetStr().getstr());
  text += Oid(" list ", crl.UnknownListExt()) + Oid(" entry ", crl.UnknownEntryExt());
  return text.empty() ? text : text.substr(1);
}

std::string Found(const sxCRL &crl, const std::string &asked) {
  const size_t of = asked.find(" of ");
  const std::string digits = asked.substr(0, of);
  const bool isNegative = digits.starts_with('-');
  const sxAsnInt number((isNegative ? -1 : 1) * std::stoi(digits.substr(isNegative ? 1 : 0), nullptr, 16));
  const sxDN issuer(of == std::string::npos ? "CN=ca" : asked.substr(of + 4).c_str());
  sxRevokedEntry entry;
  return crl.FindEntry(&issuer, number, &entry) ? Told(entry) : "none";
}

TEST(CrlEntries, AreToldAndFoundAsTheListHasThem) {
  const auto make = [](const CaseRow &row) {
    const Octets der = TestCrlOf(row[1], row[2]);
    return std::make_unique<sxCRL>(der.data(), static_cast<unsigned>(der.size()));
  };
  ExpectRows("cert/crl-entries.txt", 5,
             {{"told", [&](const CaseRow &row) { return Told(*make(row)); }},
              {"find", [&](const CaseRow &row) { return Found(*make(row), row[3]); }}});
}

// Indefinite lengths go through the codec, which has no negative numbers of more than four octets: they stay.
TEST(CrlEntries, NegativeNumbersSurviveBer) {
  const Octets entries = CaseOctets("30{02{8102030405} 17{\"300101000000Z\"}} 30{02{fe} 17{\"300101000000Z\"}}");
  const Octets der = TestCrlOf("30{02{8102030405} 17{\"300101000000Z\"}} 30{02{fe} 17{\"300101000000Z\"}}", "");
  const Octets ber = Replaced(der, Octets(entries.begin(), entries.begin() + 2),
                              Indefinite(0x30, Octets(entries.begin() + 2, entries.begin() + 24)));
  ASSERT_NE(der, ber);
  const sxCRL crl(ber.data(), static_cast<unsigned>(ber.size()));
  ASSERT_EQ(1, crl.OK());
  ASSERT_EQ(2, crl.GetSize());
  EXPECT_EQ(ber, Octets(crl.GetBuf(), crl.GetBuf() + crl.BufLen()));
  const Octets octets = CaseOctets("8102030405"), positive = CaseOctets("008102030405");
  const std::unique_ptr<sxAsnInt> number(AsnIntFromBuf(octets.data(), 5)), other(AsnIntFromBuf(positive.data(), 6));
  EXPECT_TRUE(crl.FindEntry(nullptr, *number, nullptr));
  EXPECT_FALSE(crl.FindEntry(nullptr, *other, nullptr));
  EXPECT_EQ("fffffffe 1893456000;", Found(crl, "-2"));
}

// Time that grew with the square would take hours.
TEST(CostlyInputCrl, EqualNumbersAndManyIssuers) {
  constexpr int kNum = 100000;
  const Octets same = Der(0x30, {CaseOctets("020105 17{\"300101000000Z\"} 30{30{06{551d15}04{0a0106}}}")});
  const Octets long1 = Der(0x30, {CaseOctets("020105 17{\"300101000000Z\"}"),
                                  Der(0x30, {Der(0x30, {CaseOctets("06{2a03}"), Der(0x04, Octets(100000))})})});
  Octets equal, issuers;
  for (int i = 0; i < kNum; ++i) {
    equal.insert(equal.end(), same.begin(), same.end());
    const Octets entry = Der(0x30, {CaseOctets("020105 17{\"300101000000Z\"}"),
                                    CaseOctets("30{30{06{551d1d}0101ff04{30{a4{30{31{30{06{550403}0c{\"" +
                                               std::to_string(100000 + i) + "\"}}}}}}}}}")});
    issuers.insert(issuers.end(), entry.begin(), entry.end());
  }
  equal.insert(equal.begin(), long1.begin(), long1.end());
  const auto crlOf = [](const Octets &entries, const std::string &extensions) {
    return Rewritten(TestCrlOf("30{0500}", extensions), [&](int tag, const Octets &content) {
      return Der(tag, content == CaseOctets("30{0500}") ? entries : content);
    });
  };
  const Octets first = crlOf(equal, ""), second = crlOf(issuers, "30{06{551d1c}0101ff04{30{84{ff}}}}");
  const sxCRL equalCrl(first.data(), static_cast<unsigned>(first.size()));
  EXPECT_EQ(kNum + 1, equalCrl.GetSize());
  EXPECT_EQ("05 1893456000;", Found(equalCrl, "05"));
  const sxCRL issuersCrl(second.data(), static_cast<unsigned>(second.size()));
  EXPECT_EQ(kNum, issuersCrl.GetSize());
  EXPECT_EQ("05 1893456000 of CN=150000;", Found(issuersCrl, "05 of CN=150000"));
  EXPECT_EQ("none", Found(issuersCrl, "05 of CN=99999"));
}

}  // namespace
