// Input made to cost much.
#include <gtest/gtest.h>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKCS12.h"
#include "kxcert/asn1/modules/PKIXCMP.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/asnHex.h"
#include "support/caseFile.h"
#include "support/costlyInputs.h"
#include "support/heapPeak.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

constexpr int kSequence = 0x30;

Octets Hex(const char *text) { return DecodeHex(text); }

class CostlyInputTest : public testing::TestWithParam<CostlyInput> {};

// Time that grew with the square of so many parts would not end before the test's own time limit; how it
// grows is measured by the benchmark "growth".
TEST_P(CostlyInputTest, TakesMemoryInProportion) {
  constexpr int kNumParts = 400000;
  constexpr size_t kMaxMemory = 40;        // times the input, while it is decoded
  const CostlyInput &input = GetParam();
  const Octets octets = input.make(kNumParts);
  const HeapPeak peak;
  const std::unique_ptr<sxAsnType> value(input.type->create());
  EXPECT_EQ(input.decodes, sxASN_DecodeBuf(*value, Chars(octets), LenOf(octets)) == 0);
  EXPECT_LT(peak.Bytes(), kMaxMemory * octets.size());
  if (!input.decodes) return;
  const std::unique_ptr<sxAsnType> copy(value->Dup());
  kxBinBuf der;
  EXPECT_EQ(0, sxASN_EncodeBuf(*copy, der, 1));
}
INSTANTIATE_TEST_SUITE_P(Asn1, CostlyInputTest, testing::ValuesIn(CostlyInputs()),
                         [](const auto &test) { return std::string(test.param.name); });

// Messages within messages

// A confirmation inside as many messages; the headers are those of a real one.
Octets NestedMessages(int count) {
  sxASN_PKIMessage sample;
  EXPECT_EQ(0, DecodeOctets(Text(CaseData("asn1/golden/cmp-rejected-1.answer.PKIMessage.der")), sample));
  const Octets header = Hex(EncodeHex(*sample.header).c_str());
  Octets message = Der(kSequence, {header, Hex("b3020500")});
  for (int i = 0; i < count; ++i) message = Der(kSequence, {header, Der(0xB4, Der(kSequence, message))});
  return message;
}

Octets NestedBags(int count) {   // a certificate bag that says it holds a certificate bag
  Octets bag = Der(kSequence, {Hex("06022a03"), Hex("a0020500")});
  for (int i = 0; i < count; ++i) bag = Der(kSequence, {Hex("060b2a864886f70d010c0a0103"), Der(0xA0, bag)});
  return bag;
}

Octets NestedMacs(int count) {   // an algorithm whose parameters name themselves as their algorithm
  Octets algorithm = Hex("300406022a03");
  for (int i = 0; i < count; ++i) {
    const Octets parameters = Der(kSequence, {Hex("040141"), algorithm, Hex("020101"), Hex("300406022a03")});
    algorithm = Der(kSequence, {Hex("06092a864886f67d07420d"), parameters});
  }
  return algorithm;
}

// The deepest that decodes: a message takes 3 of the 64 levels and its header 7, a bag 2, ...
const struct { const char *what; const sxAsnTypeInfo *type; Octets (*make)(int count); int deepest; } kNestings[] = {
    {"messages", &sxASN_PKIMessage::kInfo, NestedMessages, 19},
    {"bags", &sxASN_CertBag::kInfo, NestedBags, 31},
    {"algorithms", &sxASN_AlgorithmIdentifier::kInfo, NestedMacs, 21},
};

TEST(Robustness, MessagesNestToTheLimit) {
  for (const auto &nesting : kNestings) {
    SCOPED_TRACE(nesting.what);
    int deepest = -1;
    for (int count = 0; count < 80; ++count) {
      const LogCapture log;
      const std::unique_ptr<sxAsnType> value(nesting.type->create());
      const Octets octets = nesting.make(count);
      if (DecodeOctets(octets, *value) == 0) {
        EXPECT_EQ(deepest + 1, count) << "decodes again below a depth that does not";
        EXPECT_EQ(EncodeHex(octets), EncodeHex(*value));
        deepest = count;
      } else {
        EXPECT_TRUE(log.Has("attempt to decoded"));
      }
    }
    EXPECT_EQ(nesting.deepest, deepest);
  }
}

}  // namespace
