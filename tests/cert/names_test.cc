// Names as rows: their texts, encodings and values, what compares, and the plain functions over them.
#include "support/rows.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxDN.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"
#include "support/printed.h"

namespace {

using std::to_string;
using OidPtr = std::unique_ptr<sxAsnOid>;

const char *NullFor(const std::string &cell) { return cell == "null" ? nullptr : cell.c_str(); }
std::string OrNull(const char *text) { return text == nullptr ? "(null)" : text; }
std::string TextOf(const sxDN &dn) { return OrNull(dn.GetStr()); }
OidPtr TypeOf(const std::string &keyword) { return OidPtr(sxDN_Str2OID(keyword.c_str())); }

sxDN FromDer(const std::string &notation) {
  const Octets der(CaseOctets(notation));
  return sxDN(der.data(), LenOf(der));
}
sxDN WithValue(const std::string &value) { return FromDer("30{31{30{06{550403}" + value + "}}}"); }

std::string DerOf(const sxDN &dn) {
  unsigned char *der = nullptr;
  int len = 0;
  return dn.DerEncode(&der, &len) == 0 ? EncodeHex(der, static_cast<size_t>(len)) : "-";
}

std::string Value(const CaseRow &row) {
  const sxDN dn = WithValue(row[1]);
  char cn[32];
  EXPECT_EQ(1, dn.Count());
  EXPECT_EQ(TextOf(dn), dn.GetCN(cn, sizeof cn) == 0 ? std::string("CN=") + cn : "(null)");
  const std::string ascii = OrNull(dn.GetStr_ascii());
  return ascii == TextOf(dn) ? ascii : TextOf(dn) + " or " + ascii;
}

std::string String(const CaseRow &row) {
  const std::string text = Plain(row[1]), value = text.substr(text.find('=') + 1);
  const std::unique_ptr<sxASN_AttributeValue> made(
      sxStr2AttrVal(*TypeOf(text.substr(0, text.find('='))), value.c_str()));
  const std::string hex = EncodeHex(*made);
  return hex.substr(0, 2) + " " + StringOf(DecodeHex(hex.c_str() + 4));
}

std::string Keyword(const CaseRow &row) {
  const OidPtr type = TypeOf(row[1]);
  const int len = static_cast<int>(row[1].size());
  char text[32];
  EXPECT_EQ(-1, sxDN_OID2Str(*type, text, len));
  EXPECT_EQ(len, sxDN_OID2Str(*type, text, sizeof text));
  EXPECT_EQ(row[1], text);
  return EncodeHex(type->Data(), static_cast<size_t>(type->Len()));
}

template <class Remove>
std::string Removed(const CaseRow &row, const Remove &remove) {
  sxDN dn(row[1].c_str());
  TextOf(dn), DerOf(dn), dn.Hash();   // what is kept must not outlive the change
  const int rc = remove(dn);
  const sxDN left(TextOf(dn).c_str());
  EXPECT_EQ(DerOf(left), DerOf(dn));
  EXPECT_EQ(left.Hash(), dn.Hash());
  return to_string(rc) + " " + TextOf(dn);
}

std::string Twin(const CaseRow &row) {
  const sxDN dn = FromDer(row[1]), plain(row[2].c_str());
  EXPECT_TRUE(dn.Equal(plain));
  EXPECT_EQ(plain.Hash(), dn.Hash());
  EXPECT_EQ(DerOf(plain), DerOf(dn));
  return TextOf(dn);
}

std::string Odd(const CaseRow &row) {
  sxDN dn = FromDer("30{31{30{06{55040A}13{\"o\"}}} 31{30{06{550406}" + row[1] + "}} 31{30{06{550403}0C{\"a\"}}}}");
  EXPECT_EQ(3, dn.Count());
  EXPECT_EQ("(null)", TextOf(dn));
  EXPECT_FALSE(dn.Equal(dn));
  EXPECT_TRUE(dn.IsSub(sxDN("O=o")));
  char cn[8];
  EXPECT_EQ(0, dn.GetCN(cn, sizeof cn));
  EXPECT_EQ(0, dn.IsContain(TypeOf("C").get()));
  EXPECT_NE("-", DerOf(dn));
  EXPECT_EQ(1, dn.RemoveOid(TypeOf("C").get()));
  return TextOf(dn);
}

TEST(Names, ReadPrintAndEncode) {
  ExpectRows("cert/names.txt", 3, {
      {"read", [](const CaseRow &r) {
         const sxDN dn(NullFor(Plain(r[1])));
         EXPECT_EQ((dn.GetStr() == nullptr ? "\t<no name>" : "\t" + TextOf(dn)) + "\n", Fprinted(dn, 1));
         dn.Sprint(nullptr, 1);
         return TextOf(dn);
       }},
      {"legal", [](const CaseRow &r) { return to_string(sxDN_IsLegalDN(NullFor(r[1]))); }},
      {"keyword", Keyword},
      {"string", String},
      {"value", Value},
      {"removeCN", [](const CaseRow &r) { return Removed(r, [](sxDN &dn) { return dn.RemoveCN(); }); }},
      {"removeOU", [](const CaseRow &r) {
         return Removed(r, [](sxDN &dn) { return dn.RemoveOid(nullptr) + dn.RemoveOid(TypeOf("OU").get()); });
       }},
      {"encode", [](const CaseRow &r) { return DerOf(sxDN(r[1].c_str())); }},
      {"decode", [](const CaseRow &r) {
         const sxDN dn = FromDer(r[1]);
         return dn.GetName() == nullptr ? "no name" : TextOf(dn);
       }},
      {"twin", Twin},
      {"odd", Odd},
  });
}

TEST(Names, Compare) {
  ExpectRows("cert/name-pairs.txt", 4, {
      {"names", [](const CaseRow &r) {
         const std::string a = Plain(r[1]);
         const int isSub = sxDN_contains_suffix(a.c_str(), r[2].c_str());
         const int equal = sxDN_cmp_strings(a.c_str(), r[2].c_str());
         EXPECT_EQ(equal, sxDN_cmp_strings(r[2].c_str(), a.c_str()));
         EXPECT_LE(equal, isSub);
         return equal == 1 ? "equal" : isSub == 1 ? "suffix" : "no";
       }},
      {"values", [](const CaseRow &r) {
         const sxDN a = WithValue(r[1]), b = WithValue(r[2]);
         const bool equal = a.Equal(b);
         EXPECT_EQ(equal, b == a);
         EXPECT_EQ(!equal, a != b);
         EXPECT_EQ(equal, a.IsSub(b));
         EXPECT_EQ(equal, a.Hash() == b.Hash() && a.GetStr() != nullptr);
         return equal ? "equal" : "no";
       }},
      {"without", [](const CaseRow &r) {
         sxDN out("OU=old");
         int whole = 7;
         const int rc = sxDN(r[1].c_str()).RemoveSubDN(sxDN(r[2].c_str()), out, whole);
         return to_string(rc) + " " + to_string(whole) + " " + TextOf(out);
       }},
      {"contains", [](const CaseRow &r) { return to_string(sxDN(r[1].c_str()).IsContain(TypeOf(r[2]).get())); }},
  });
  EXPECT_EQ(-1, sxDN_contains_suffix(nullptr, ""));
  EXPECT_EQ(-1, sxDN_contains_suffix("", nullptr));
  EXPECT_EQ(0, sxDN_cmp_strings(nullptr, ""));
  EXPECT_EQ(0, sxDN_cmp_strings("", nullptr));
}

TEST(Names, FunctionsWriteIntoAreas) {
  // Calls it with the area that the row wants.
  const auto inArea = [](const std::function<int(const CaseRow &, char *, int)> &function) {
    return [function](const CaseRow &row) {
      char out[33] = "old";
      const bool hasArea = row[3] != "null";
      const int rc = function(row, hasArea ? out : nullptr, hasArea ? std::stoi(row[3]) : 32);
      return to_string(rc) + " " + out;
    };
  };
  ExpectRows("cert/name-functions.txt", 5, {
      {"add_CN", inArea([](auto &r, char *out, int len) { return sxDN_add_CN(NullFor(r[1]), NullFor(r[2]), out, len); })},
      {"remove_CN", inArea([](auto &r, char *out, int len) { return sxDN_remove_CN(NullFor(r[1]), out, len); })},
      {"text_CN", inArea([](auto &r, char *out, int len) { return sxDN_CN_from_string(NullFor(r[1]), out, len); })},
      {"text_OU", inArea([](auto &r, char *out, int len) { return sxDN_OU_from_string(NullFor(r[1]), out, len); })},
      {"keyword", inArea([](auto &r, char *out, int len) { return sxDN_OID2Str(*TypeOf(r[1]), out, len); })},
      {"getCN", inArea([](auto &r, char *out, int len) { return sxDN(r[1].c_str()).GetCN(out, len); })},
      {"getOU", inArea([](auto &r, char *out, int len) { return sxDN(r[1].c_str()).GetOU(out, len); })},
      {"getO", inArea([](auto &r, char *out, int len) { return sxDN(r[1].c_str()).GetO(out, len); })},
      {"get", inArea([](auto &r, char *out, int len) { return sxDN(r[1].c_str()).GetRDN(*TypeOf(r[2]), out, len); })},
  });
}

}  // namespace
