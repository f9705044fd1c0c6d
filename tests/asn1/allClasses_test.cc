// What holds for every generated class, found in one loop over all of them.
#include <gtest/gtest.h>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIXCMP.h"
#include "support/asnChecks.h"
#include "support/asnClasses.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"

namespace {

using Value = std::unique_ptr<sxAsnType>;

int NumAlternatives(const sxAsnTypeInfo &info) { return info.kind == sxAsnKind::kChoice ? info.numElems : 1; }

TEST(AllClasses, KeepTheirOctets) {
  ASSERT_GT(AsnClasses().size(), 200u);
  for (const sxAsnTypeInfo *const type : AsnClasses()) {
    const sxAsnTypeInfo &info = *type;
    for (int alternative = 0; alternative < NumAlternatives(info); ++alternative) {
      const Octets octets = AsnSample(info, alternative);
      CheckSample(info, octets);
      CheckChangedOctets(info, octets);
    }
  }
}

TEST(AllClasses, EmptyObjectEncodesOrFails) {
  for (const sxAsnTypeInfo *const type : AsnClasses()) {
    const sxAsnTypeInfo &info = *type;
    SCOPED_TRACE(info.name);
    const Value value(info.create());
    EXPECT_EQ(info.kind == sxAsnKind::kChoice, EncodeHex(*value) == "-");
    EXPECT_NE("", Printed(*value));
    const Value copy(value->Dup());
    EXPECT_EQ(EncodeHex(*value), EncodeHex(*copy));
    EXPECT_EQ(value.get(), value->GetType(info.name));
    EXPECT_EQ(nullptr, value->GetType("sxASN_NoSuchType"));
    EXPECT_EQ(-1, value->CopyFrom(sxAsnBool(1)));
  }
}

// Each way between a value and a part of it.
template <class T, class PartOf>
void CheckAssignment(T whole, PartOf partOf) {
  T other(whole);
  const std::string all = EncodeHex(whole), part = EncodeHex(*partOf(whole));
  whole = *partOf(whole);
  EXPECT_EQ(part, EncodeHex(whole));
  *partOf(other) = other;
  EXPECT_EQ(all, EncodeHex(*partOf(other)));
}

TEST(AllClasses, AssignFromAPartAndToAPart) {
  sxASN_PKIBody inner, body;
  inner.Set_pkiconf(sxASN_PKIConfirmContent());
  sxASN_PKIMessages list;
  list.Append()->body = new sxASN_PKIBody(inner);
  list.Append();
  body.Set_nested(list);
  CheckAssignment(body, [](auto &whole) { return (*whole.nested()->begin()).body; });
  sxASN_PKIMessage message;
  message.body = new sxASN_PKIBody(body);
  CheckAssignment(message, [](auto &whole) { return &*whole.body->nested()->begin(); });
  list.PrependCopy(message);
  CheckAssignment(list, [](auto &whole) { return (*whole.begin()).body->nested(); });
}

// The octets lie in a string that the value holds.
TEST(AllClasses, DecodeFromAPartOfThemselves) {
  const auto check = [](sxAsnType &value, sxAsnOcts *held, const char *octets) {
    const Octets all = DecodeHex(octets);
    held->Set(all.data(), static_cast<int>(all.size()));
    EXPECT_EQ(0, sxASN_DecodeBuf(value, reinterpret_cast<const char *>(held->Data()), held->Len()));
    EXPECT_EQ(octets, EncodeHex(value)) << value.TypeName();
  };
#define OCTETS "041b000102030405060708090a0b0c0d0e0f101112131415161718191a"
  sxASN_Extension ext;
  check(ext, ext.extnValue = new sxAsnOcts, "30220603551d0f" OCTETS);
  sxASN_AttributeSetOf list;
  list.Append()->Set_octetString(sxAsnOcts());
  check(list, list.CurrElmt()->octetString(), "311d" OCTETS);
  check(*list.begin(), (*list.begin()).octetString(), OCTETS);
  sxAsnAny any;
  any.SetValue(new sxAsnOcts);
  check(any, static_cast<sxAsnOcts *>(any.Value()), OCTETS);
}

}  // namespace
