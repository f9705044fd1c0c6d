// Input made to cost much: nesting, and many small parts. Time may grow with the input and its
// logarithm, memory with the input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>

#include "kxcert/asn1/modules/CryptographicMessageSyntax.h"
#include "kxcert/asn1/modules/EnrollmentMessageSyntax.h"
#include "kxcert/asn1/modules/PKCS12.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/PKIXCMP.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "support/asnChecks.h"
#include "support/asnHex.h"
#include "support/derOctets.h"
#include "support/heapPeak.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

constexpr int kConstructedOcts = 0x24;
constexpr int kSequence = 0x30;
constexpr int kSet = 0x31;

Octets Repeated(const Octets &part, int count) {
  Octets all;
  all.reserve(part.size() * static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Octets Hex(const char *text) { return DecodeHex(text); }

// Shapes: the octets of each grow with the count.

// Segments of length 0 count one octet less than they take, so that twice as many are read as the
// length says; the definite length therefore covers half of them.
Octets EmptySegments(int count) {
  Octets all = Der(kConstructedOcts, Repeated(Hex("0400"), count / 2));
  const Octets rest = Repeated(Hex("0400"), count / 2);
  all.insert(all.end(), rest.begin(), rest.end());
  return all;
}
Octets ShortSegments(int count) { return Der(kConstructedOcts, Repeated(Hex("040141"), count)); }
Octets BitSegments(int count) { return Der(0x23, Repeated(Hex("03020041"), count)); }
Octets IndefiniteSegments(int count) { return Indefinite(kConstructedOcts, Repeated(Hex("040141"), count)); }
// 60 levels around all of them.
Octets DeepSegments(int count) {
  Octets all = Repeated(Hex("040141"), count);
  for (int i = 0; i < 60; ++i) all = Der(kConstructedOcts, all);
  return all;
}
Octets DeepBits(int count) {
  Octets all = Repeated(Hex("03020041"), count);
  for (int i = 0; i < 60; ++i) all = Der(0x23, all);
  return all;
}
Octets SetOfStrings(int count) {   // in descending order where they differ, so that sorting has to work
  Octets content;
  for (int i = count; i > 0; --i) {
    const Octets element = Der(4, {Octets{static_cast<unsigned char>(i >> 16), static_cast<unsigned char>(i >> 8),
                                          static_cast<unsigned char>(i)}});
    content.insert(content.end(), element.begin(), element.end());
  }
  return Der(kSet, content);
}
Octets SetOfEqualStrings(int count) { return Der(kSet, Repeated(Hex("040141"), count)); }
Octets SetOfAttributes(int count) { return Der(kSet, Repeated(Hex("300a06032a0304310304 0141"), count)); }
Octets Names(int count) { return Der(kSequence, Repeated(Hex("820141"), count)); }
Octets EmptyNames(int count) { return Der(kSequence, Repeated(Hex("8200"), count)); }
Octets EmptyPoints(int count) { return Der(kSequence, Repeated(Hex("3000"), count)); }
Octets Numbers(int count) { return Der(kSequence, Repeated(Hex("020101"), count)); }
// Values that might be extensions and are not: each is tried, then kept raw. Their lengths claim all
// that follows.
Octets FallbackValues(int count) {
  return Der(kSequence, {Hex("06022a03"), Der(kSet, Repeated(Hex("3008300606022a030500"), count))});
}
Octets OpenTypes(int count) { return Der(kSequence, Repeated(Hex("300706022a0304 0141"), count)); }
Octets IndefiniteLists(int count) { return Indefinite(kSequence, Repeated(Hex("3180 300706022a03 0c0141 0000"), count)); }
// The content of an open type, nested without limit.
Octets NestedRaw(int count) {
  Octets all = Hex("06022a03");
  for (int i = 0; i < count; ++i) all.insert(all.end(), {0x30, 0x80});
  all.insert(all.end(), static_cast<size_t>(2 * count), 0);
  return Der(kSequence, all);
}

constexpr double kMaxMemory = 40;        // times the input, while it is decoded
// Elements of two octets, the fewest there can be: the node, the CHOICE and the string of one take 112
// bytes, eight of each for its page.
constexpr double kMaxTinyMemory = 60;

struct Growth {
  const char *what;
  const sxAsnTypeInfo *type;
  Octets (*make)(int count);
  int count;                ///< parts in the smaller input; the larger one has four times as many
  bool decodes = true;
  double maxMemory = kMaxMemory;
};
const Growth kGrowths[] = {
    {"empty segments", &sxAsnOcts::kInfo, EmptySegments, 25000, false},
    {"short segments", &sxAsnOcts::kInfo, ShortSegments, 25000},
    {"segments of an indefinite length", &sxAsnOcts::kInfo, IndefiniteSegments, 25000},
    {"bit segments", &sxAsnBits::kInfo, BitSegments, 25000},
    {"segments below 60 levels", &sxAsnOcts::kInfo, DeepSegments, 5000},
    {"bit segments below 60 levels", &sxAsnBits::kInfo, DeepBits, 5000},
    {"a set to sort", &sxASN_IdentityProofSetOf::kInfo, SetOfStrings, 25000},
    {"a set of equals", &sxASN_IdentityProofSetOf::kInfo, SetOfEqualStrings, 25000},
    {"a set of attributes", &sxASN_SignedAttributes::kInfo, SetOfAttributes, 25000},
    {"choices", &sxASN_GeneralNames::kInfo, Names, 25000},
    {"empty choices", &sxASN_GeneralNames::kInfo, EmptyNames, 25000, true, kMaxTinyMemory},
    {"empty sequences", &sxASN_CRLDistPointsSyntax::kInfo, EmptyPoints, 25000, true, kMaxTinyMemory},
    {"numbers", &sxASN_NoticeReferenceSeqOf::kInfo, Numbers, 25000},
    {"values tried as extensions", &sxASN_Attribute::kInfo, FallbackValues, 12500},
    {"open types", &sxASN_Controls::kInfo, OpenTypes, 25000},
    {"lists of indefinite length", &sxASN_RDNSequence::kInfo, IndefiniteLists, 7500},
    {"a nested open type", &sxASN_AlgorithmIdentifier::kInfo, NestedRaw, 25000},
};

struct Cost {
  double seconds;   // of CPU time
  double memory;    // of decoding, in bytes for each octet
};

// Decodes, copies, encodes; the best of three.
Cost CostOf(const Growth &growth, const Octets &octets) {
  Cost cost = {1e9, 0};
  for (int i = 0; i < 3; ++i) {
    const std::clock_t start = std::clock();
    const HeapPeak peak;
    const std::unique_ptr<sxAsnType> value(growth.type->create());
    EXPECT_EQ(growth.decodes, sxASN_DecodeBuf(*value, Chars(octets), LenOf(octets)) == 0);
    cost.memory = static_cast<double>(peak.Bytes()) / static_cast<double>(octets.size());
    if (growth.decodes) {
      kxBinBuf der;
      EXPECT_EQ(0, sxASN_EncodeBuf(*value, der, 1));
      const std::unique_ptr<sxAsnType> copy(value->Dup());
    }
    cost.seconds = std::min(cost.seconds, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
  }
  return cost;
}

TEST(Robustness, CostGrowsWithTheInput) {
  constexpr double kMaxRatio = 8;        // four times the input: n log n comes to less than 5
  constexpr double kGranted = 0.01;      // seconds: short times tell little
  for (const Growth &growth : kGrowths) {
    SCOPED_TRACE(growth.what);
    const Cost small = CostOf(growth, growth.make(growth.count));
    const Octets octets = growth.make(4 * growth.count);
    const Cost large = CostOf(growth, octets);
    EXPECT_LT(large.seconds, kMaxRatio * small.seconds + kGranted);
    EXPECT_LT(large.memory, growth.maxMemory);
    std::printf("%-34s %8zu octets %8.2f ms, times %4.1f, memory times %4.1f\n", growth.what, octets.size(),
                large.seconds * 1e3, large.seconds / small.seconds, large.memory);
  }
}

// Messages within messages

// A confirmation inside as many messages; the headers are those of a real one.
Octets NestedMessages(int count) {
  sxASN_PKIMessage sample;
  EXPECT_EQ(0, DecodeOctets(ReadOctets(KXCERT_TEST_DATA "/asn1/golden/cmp-rejected-1.answer.PKIMessage.der"), sample));
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

struct Nesting {
  const char *what;
  const sxAsnTypeInfo *type;
  Octets (*make)(int count);
  int deepest;       // that decodes: a message takes 3 of the 64 levels and its header 7, a bag 2, ...
};
const Nesting kNestings[] = {
    {"messages", &sxASN_PKIMessage::kInfo, NestedMessages, 19},
    {"bags", &sxASN_CertBag::kInfo, NestedBags, 31},
    {"algorithms", &sxASN_AlgorithmIdentifier::kInfo, NestedMacs, 21},
};

TEST(Robustness, MessagesNestToTheLimit) {
  for (const Nesting &nesting : kNestings) {
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

// All that one level costs is paid once: the whole depth, many times over.
TEST(Robustness, NestedMessagesCostWhatTheirOctetsDo) {
  for (const Nesting &nesting : kNestings) {
    SCOPED_TRACE(nesting.what);
    const auto seconds = [&nesting](int depth) {
      const Octets octets = nesting.make(depth);
      const int rounds = 2000000 / LenOf(octets);   // as many octets at every depth
      double best = 1e9;
      for (int i = 0; i < 3; ++i) {
        const std::clock_t start = std::clock();
        for (int j = 0; j < rounds; ++j) {
          const std::unique_ptr<sxAsnType> value(nesting.type->create());
          if (sxASN_DecodeBuf(*value, Chars(octets), LenOf(octets)) != 0) return ADD_FAILURE(), best;
        }
        best = std::min(best, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
      }
      return best;
    };
    EXPECT_LT(seconds(nesting.deepest), 4 * seconds(1) + 0.01);
  }
}

}  // namespace
