#include "support/asnChecks.h"

#include <gtest/gtest.h>

#include <memory>

#include "kxcert/foundation/kxBinBuf.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/hexOctets.h"

using Value = std::unique_ptr<sxAsnType>;

void CheckSample(const sxAsnTypeInfo &info, const Octets &octets, const Octets &der) {
  SCOPED_TRACE(std::string(info.name) + " " + EncodeHex(octets));
  const std::string hex = EncodeHex(der);
  Value value(info.create());
  ASSERT_EQ(0, DecodeOctets(octets, *value));
  EXPECT_EQ(hex, EncodeHex(*value));
  const std::string printed = Printed(*value, 1);

  const Value dup(value->Dup());
  EXPECT_STREQ(info.name, dup->TypeName());
  const Value copy(value->Clone());
  copy->CopyFrom(*value);
  copy->CopyFrom(*copy);
  value.reset();   // what a copy shared with it would now be gone
  EXPECT_EQ(hex, EncodeHex(*dup));
  EXPECT_EQ(printed, Printed(*dup, 1));
  EXPECT_EQ(hex, EncodeHex(*copy));
  EXPECT_EQ(0, DecodeOctets(octets, *copy)) << "over an old value";
  EXPECT_EQ(hex, EncodeHex(*copy));

  for (size_t len = 0; len < octets.size(); ++len) {
    EXPECT_EQ(-1, DecodeOctets(Octets(octets.data(), octets.data() + len), *copy))
        << "the first " << len << " octets";
  }
  Octets longer = octets;
  longer.push_back(0);
  EXPECT_EQ(-1, DecodeOctets(longer, *copy));
}

void CheckChangedOctets(const sxAsnTypeInfo &info, const Octets &octets) {
  SCOPED_TRACE(info.name);
  Octets changed = octets;
  for (size_t i = 0; i < octets.size(); ++i) {
    for (const int mask : {0x01, 0x20, 0x80, 0xFF}) {
      changed[i] = static_cast<unsigned char>(octets[i] ^ mask);
      const Value value(info.create());
      if (DecodeOctets(changed, *value) < 0) continue;
      kxBinBuf once, twice;
      const Value again(info.create());
      ASSERT_TRUE(sxASN_EncodeBuf(*value, once, 1) == 0 &&
                  DecodeOctets(Octets(once.Data(), once.Data() + once.Len()), *again) == 0 &&
                  sxASN_EncodeBuf(*again, twice, 1) == 0 && once == twice)
          << "octet " << i << ": " << EncodeHex(changed);
    }
    changed[i] = octets[i];
  }
}
