#include "kxcert/asn1/sxAsnBuf.h"

#include <gmock/gmock.h>

#include "kxcert/asn1/sxAsnBufSet.h"
#include "support/caseFile.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

// A cursor over octets in a block of their own.
struct Reader {
  explicit Reader(const char *hex) : octets(CaseOctets(hex)) { buf.Init(octets.data(), LenOf(octets)); }
  Octets octets;
  sxAsnReadBuf buf;
  int count = 0;
};

struct Writer {
  explicit Writer(int size) : area(static_cast<size_t>(size) + 1) {   // null would only measure
    buf.Init(area.data(), size);
    buf.ReSet();
  }
  std::string Hex() const { return EncodeHex(buf.Curr(), static_cast<size_t>(buf.Written())); }
  Octets area;
  sxAsnWriteBuf buf;
};

TEST(sxAsnReadBuf, StaysWithinItsOctets) {
  const LogCapture log;
  Reader r("01 02 03");
  unsigned char copy[4] = {};
  EXPECT_EQ(1, r.buf.PeekByte());
  EXPECT_EQ(1, r.buf.GetByte());
  EXPECT_EQ(2, r.buf.CopyOut(copy, 3)) << "what remains, and nothing moves";
  EXPECT_EQ(1, r.buf.GetOffset());
  EXPECT_EQ(2, r.buf.CopyOut(copy, 2));
  EXPECT_EQ(3, copy[1]);
  EXPECT_EQ(0, r.buf.GetLen());
  EXPECT_EQ(-1, r.buf.PeekByte());
  EXPECT_EQ(-1, r.buf.GetByte());
  EXPECT_EQ(-1, r.buf.Back(4));
  EXPECT_EQ(1, r.buf.Back(3));
  EXPECT_EQ(2, r.buf.Skip(2));
  int len = 5;
  EXPECT_EQ(&r.octets[2], r.buf.GetSeg(&len));
  EXPECT_EQ(1, len);
  EXPECT_EQ(0, r.buf.Skip(1));
  r.buf.Init(nullptr, 4);
  EXPECT_EQ(0, r.buf.GetLen());
  EXPECT_THAT(log.Lines(), testing::ElementsAre("sxAsnReadBuf::PeekByte reached the end of buf",
                                                "sxAsnReadBuf::GetByte reached the end of buf",
                                                "sxAsnReadBuf::Back attempt to return 4 failed"));
}

TEST(sxAsnWriteBuf, FillsFromItsEnd) {
  const LogCapture log;
  Writer w(3);
  const unsigned char seg[] = {7, 8, 9, 10};
  EXPECT_EQ(1, w.buf.PutByte(1));
  EXPECT_EQ(-1, w.buf.PutSeg(seg, 3));
  EXPECT_TRUE(w.buf.Overflow());
  EXPECT_EQ(1, w.buf.PutSeg(seg, 2));
  EXPECT_EQ("070801", w.Hex());
  EXPECT_EQ(-1, w.buf.PutByte(2));
  EXPECT_THAT(log.Lines(), testing::ElementsAre("sxAsnWriteBuf::PutSeg reached the end of buf",
                                                "sxAsnWriteBuf::PutByte reached the end of buf"));
  w.buf.sortSets = 1;
  w.buf.ReSet();
  EXPECT_FALSE(w.buf.Overflow());
  EXPECT_EQ(0, w.buf.sortSets);
  EXPECT_EQ(0, w.buf.Written());

  EXPECT_EQ(-1, w.buf.PutSeg(seg, -3));
  w.buf.Unput(3);
  EXPECT_EQ(0, w.buf.Written());
  w.buf.Init(w.area.data() + 1, -1);
  w.buf.ReSet();
  EXPECT_EQ(-1, w.buf.PutByte(1));

  w.buf.Init(nullptr, 0);   // measures
  w.buf.ReSet();
  EXPECT_EQ(1, w.buf.PutByte(1));
  EXPECT_EQ(4, w.buf.PutSeg(seg, 4));
  EXPECT_FALSE(w.buf.Overflow());
}

// What encode wrote, in an area that holds it and in one that is an octet too small.
template <class Encode>
void CheckWrites(const std::string &hex, const std::string &failure, Encode encode) {
  const LogCapture log;
  const int len = static_cast<int>(hex.size() / 2);
  Writer w(8), tight(len > 0 ? len - 1 : 0);
  EXPECT_EQ(len > 0 ? len : -1, encode(w.buf));
  EXPECT_EQ(hex, w.Hex());
  EXPECT_EQ(-1, encode(tight.buf));
  EXPECT_TRUE(log.Has(failure)) << testing::PrintToString(log.Lines());
}

TEST(Tag, WritesAndReadsEveryLength) {
  for (const CaseRow &row : CaseRows("asn1/tags.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row) + " " + row[1]);
    const Octets kind = CaseOctets(row[0]), octets = CaseOctets(row[2]);
    CheckWrites(row[2], "asn-tag BEncTag" + CaseText(row[3]),
                [&](sxAsnWriteBuf &buf) { return BEncTag(buf, kind[0], kind[1], std::stoi(row[1])); });
    if (octets.empty()) continue;
    Reader r(row[2].c_str());
    unsigned expected = 0;   // the octets, the first lowest
    for (size_t i = octets.size(); i > 0; --i) expected = expected << 8 | octets[i - 1];
    EXPECT_EQ(static_cast<int>(expected), BDecTag(r.buf, r.count));
    EXPECT_EQ(LenOf(octets), r.count);
  }
}

TEST(Tag, RefusesWhatHasNoEnd) {
  const LogCapture log;
  for (const char *hex : {"", "1f", "1f81", "1f8181", "1f81818101"}) {
    Reader r(hex);
    EXPECT_EQ(-1, BDecTag(r.buf, r.count)) << hex;
  }
  EXPECT_TRUE(log.Has("asn-tag BDecTag error tag value to long before  offset = 4"));
}

TEST(Length, Reads) {
  for (const CaseRow &row : CaseRows("asn1/lengths.txt", 5, 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    const LogCapture log;
    Reader r(row[1].c_str());
    EXPECT_EQ(std::stol(row[2]), BDecLen(r.buf, r.count));
    EXPECT_EQ(std::stoi(row[3]), r.count);
    EXPECT_TRUE(row[4].empty() ? log.Lines().empty() : log.Has(row[4])) << testing::PrintToString(log.Lines());
  }
}

TEST(Length, WritesTheFewestOctets) {
  for (const CaseRow &row : CaseRows("asn1/shortestLengths.txt", 3)) {
    SCOPED_TRACE(testing::PrintToString(row));
    CheckWrites(row[1], CaseText(row[2]), [&](sxAsnWriteBuf &buf) { return BEncDefLen(buf, std::stoi(row[0])); });
  }
}

TEST(EndOfContents, ReadsAndWrites) {
  const LogCapture log;
  Reader r("0000 0001 00");
  EXPECT_EQ(1, BDecEoc(r.buf, r.count));
  EXPECT_EQ(-1, BDecEoc(r.buf, r.count));
  EXPECT_EQ(-1, BDecEoc(r.buf, r.count)) << "cut short";
  EXPECT_EQ(2, r.count);
  EXPECT_TRUE(log.Has("Non zero byte in EOC or end of data reached before offset = 4"));
  EXPECT_EQ(1, BEoc(&r.octets[0]));
  EXPECT_EQ(-1, BEoc(&r.octets[2]));
  Writer w(3);
  EXPECT_EQ(2, BEncEoc(w.buf));
  EXPECT_EQ(1, BEncIndefLen(w.buf));
  EXPECT_EQ("800000", w.Hex());
  EXPECT_EQ(-1, BEncEoc(w.buf));
  EXPECT_EQ(-1, BEncIndefLen(w.buf));
  EXPECT_TRUE(log.Has("sxAsnLen failed to encoded Eoc "));
  EXPECT_TRUE(log.Has("BEncIndefLen can't write to buffer"));
}

TEST(RawLen, MeasuresWithoutMoving) {
  for (const CaseRow &row : CaseRows("asn1/rawLengths.txt", 4)) {
    SCOPED_TRACE(testing::PrintToString(row));
    Reader r(row[1].c_str());
    const int len = RawLen(r.buf, std::stoi(row[2]));
    EXPECT_EQ(std::stoi(row[3]), len);
    EXPECT_TRUE(len < 0 || r.buf.GetOffset() == 0);
  }
}

void AddTo(sxAsnBufSet *set, const char *hex) {
  const Octets octets = CaseOctets(hex);
  set->Scratch().PutSeg(octets.data(), LenOf(octets));
  set->FinishBuf();
}

TEST(sxAsnBufSet, SortsByOctetsAndPrefixesFirst) {
  sxAsnBufSet set(5, 4);
  for (const char *hex : {"310141", "310140", "80", "3101", "310141"}) AddTo(&set, hex);
  EXPECT_EQ(1, set.Scratch().sortSets);
  Writer w(16);
  EXPECT_EQ(12, set.Encode(w.buf));
  EXPECT_EQ("3101" "310140" "310141" "310141" "80", w.Hex());
}

TEST(sxAsnBufSet, FailsWhenAnElementWasLost) {
  const LogCapture log;
  Writer w(16);
  sxAsnBufSet full(1, 4);
  AddTo(&full, "01");
  AddTo(&full, "02");
  EXPECT_EQ(-1, full.Encode(w.buf));
  sxAsnBufSet narrow(2, 2);
  AddTo(&narrow, "010203");
  AddTo(&narrow, "01");
  EXPECT_EQ(-1, narrow.Encode(w.buf));
  EXPECT_TRUE(log.Has("sxAsnBufSet::Encoded writeError"));
  sxAsnBufSet set(2, 4);
  AddTo(&set, "0102");
  Writer tight(1);
  EXPECT_EQ(-1, set.Encode(tight.buf));
  EXPECT_TRUE(log.Has("sxAsnBufSet::Encoded attempt to put segmant failed"));
}

}  // namespace
