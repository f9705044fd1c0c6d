// BDecContent as a caller uses it who has read identifier and length; its length may be anything.
#include <gtest/gtest.h>

#include <climits>

#include "kxcert/asn1/sxAsnBits.h"
#include "kxcert/asn1/sxAsnBool.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/asn1/sxAsnOcts.h"
#include "kxcert/asn1/sxAsnOid.h"
#include "support/asnClasses.h"
#include "support/logCapture.h"

namespace {

const sxAsnTypeInfo *const kPrimitives[] = {&sxAsnInt::kInfo, &sxAsnBool::kInfo, &sxAsnNull::kInfo,
                                            &sxAsnOid::kInfo, &sxAsnOcts::kInfo, &sxAsnBits::kInfo};

// Every refusal leaves a line, reads nothing behind the octets, and counts no more than there are.
TEST(Content, RefusesLengthsThatDoNotFit) {
  const unsigned char octets[] = {0x00, 0x01, 0x02};
  for (const sxAsnTypeInfo *info : kPrimitives) {
    for (const int form : {0, static_cast<int>(kConstructed)}) {
      for (const int len : {INT_MIN, -3, -1, 4, INT_MAX}) {
        if (form != 0 && !info->bothForms) continue;
        SCOPED_TRACE(std::string(info->name) + " " + std::to_string(form) + " " + std::to_string(len));
        const LogCapture log;
        sxAsnReadBuf buf;
        buf.Init(octets, sizeof octets);
        int count = 0;
        const std::unique_ptr<sxAsnType> value(info->create());
        EXPECT_EQ(-1, value->BDecContent(buf, static_cast<unsigned>(info->tag | form), len, count));
        EXPECT_FALSE(log.Lines().empty());
        EXPECT_LE(count, 3);
      }
    }
  }
}

// For constructed classes a negative length that is not the indefinite form's may end anyhow, but ends.
TEST(Content, ConstructedClassesEndWithAnyLength) {
  for (const sxAsnTypeInfo *const info : AsnClasses()) {
    for (const int len : {INT_MIN, -3, -1, INT_MAX}) {
      const std::vector<unsigned char> octets = AsnSample(*info);
      sxAsnReadBuf buf;
      buf.Init(octets.data(), static_cast<int>(octets.size()));
      int count = 0;
      const int tag = BDecTag(buf, count);
      BDecLen(buf, count);
      const std::unique_ptr<sxAsnType> value(info->create());
      value->BDecContent(buf, static_cast<unsigned>(tag), len, count);
      EXPECT_GE(buf.GetLen(), 0) << info->name;
    }
  }
}

}  // namespace
