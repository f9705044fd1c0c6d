#include "kxcert/asn1/sxAsnBuf.h"

#include <gmock/gmock.h>

#include "kxcert/asn1/sxAsnBufSet.h"
#include "support/hexOctets.h"
#include "support/logCapture.h"

namespace {

// A cursor over octets in a block of their own.
struct Reader {
  explicit Reader(const char *hex) : octets(DecodeHex(hex)) {
    buf.Init(octets.data(), static_cast<int>(octets.size()));
  }
  std::vector<unsigned char> octets;
  sxAsnReadBuf buf;
  int count = 0;
};

struct Writer {
  explicit Writer(int size) : area(static_cast<size_t>(size) + 1) {   // null would only measure
    buf.Init(area.data(), size);
    buf.ReSet();
  }
  std::string Hex() const { return EncodeHex(buf.Curr(), static_cast<size_t>(buf.Written())); }
  std::vector<unsigned char> area;
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

// The failure is that of a write that does not fit.
constexpr struct { int tagClass; int form; int code; const char *hex; const char *failure; } kTagCases[] = {
    {kUniversal, kConstructed, 16, "30", " error can't write to buf code < 31"},
    {kPrivate, kConstructed, 30, "fe", " error can't write to buf code < 31"},
    {kContext, kPrimitive, 31, "9f1f", " error can't write to buf code < 0x7f "},
    {kApplication, kPrimitive, 126, "5f7e", " error can't write to buf code < 0x7f "},
    {kContext, kPrimitive, 127, "9f807f", " error can't write to buf code <= 0x3fff"},
    {kContext, kPrimitive, 16383, "9fff7f", " error can't write to buf code <= 0x3fff"},
    {kContext, kConstructed, 16384, "bf818000", " error can't write to buf code <= 0x1fffff "},
    {kContext, kConstructed, 2097151, "bfffff7f", " error can't write to buf code <= 0x1fffff "},
    {kContext, kConstructed, 2097152, "", ": code too long"},
    {kContext, kConstructed, -1, "", ": code too long"},
};

TEST(Tag, WritesAndReadsEveryLength) {
  for (const auto &c : kTagCases) {
    SCOPED_TRACE(c.code);
    const LogCapture log;
    Writer w(8);
    const int len = static_cast<int>(std::string(c.hex).size() / 2);
    EXPECT_EQ(len > 0 ? len : -1, BEncTag(w.buf, c.tagClass, c.form, c.code));
    EXPECT_EQ(c.hex, w.Hex());
    if (len > 0) {
      Reader r(c.hex);
      unsigned expected = 0;   // the octets, the first lowest
      for (int i = len - 1; i >= 0; --i) expected = expected << 8 | r.octets[static_cast<size_t>(i)];
      EXPECT_EQ(static_cast<int>(expected), BDecTag(r.buf, r.count));
      EXPECT_EQ(len, r.count);
      Writer tight(len - 1);
      EXPECT_EQ(-1, BEncTag(tight.buf, c.tagClass, c.form, c.code));
    }
    EXPECT_TRUE(log.Has(std::string("asn-tag BEncTag") + c.failure));
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

constexpr struct { const char *what; const char *hex; int len; int count; const char *failure; } kLenCases[] = {
    {"nothing", "", -1, 0, "BDecLen: Decoded couldn't get byte offset = 0"},
    {"none", "00", 0, 1, nullptr},
    {"all that follows", "02 0000", 2, 1, nullptr},
    {"one more than follows", "03 0000", 3, 1, "BDecLen: length exceeds buffer"},
    {"indefinite", "80", kIndefiniteLen, 1, nullptr},
    {"longer than needed", "8101 00", 1, 2, nullptr},
    {"four octets", "8400000001 00", 1, 5, nullptr},
    {"four octets, too long", "8400000002 00", -1, 5, "BDecLen: length exceeds buffer"},
    {"five octets", "850000000001 00", -1, 1, "BDecLen: length overflow before offset = 1"},
    {"cut short", "8201", -1, 2, "BDec: decoded couldn't get data offset = 2"},
    {"negative", "8480000000", INT32_MIN, 5, nullptr},
    {"negative, the indefinite form's number", "84fffffffe", kIndefiniteLen, 5, nullptr},
};

TEST(Length, Reads) {
  for (const auto &c : kLenCases) {
    SCOPED_TRACE(c.what);
    const LogCapture log;
    Reader r(c.hex);
    EXPECT_EQ(c.failure != nullptr ? -1 : c.len, BDecLen(r.buf, r.count));
    EXPECT_EQ(c.count, r.count);
    EXPECT_TRUE(c.failure == nullptr || log.Has(c.failure));
  }
}

constexpr struct { int len; const char *hex; const char *failure; } kEncLenCases[] = {
    {0, "00", "BEncDefLen can't put byte to buf len < 0x80 "},
    {0x7F, "7f", "BEncDefLen can't put byte to buf len < 0x80 "},
    {0x80, "8180", "BEncDefLen can't put byte to buf len < 0x100 "},
    {0xFF, "81ff", "BEncDefLen can't put byte to buf len < 0x100 "},
    {0x100, "820100", "BEncDefLen can't put byte to buf  len < 0x10000"},
    {0xFFFF, "82ffff", "BEncDefLen can't put byte to buf  len < 0x10000"},
    {0x10000, "83010000", "BEncDefLen can't put byte in buf  len < 0x1000000"},
    {0xFFFFFF, "83ffffff", "BEncDefLen can't put byte in buf  len < 0x1000000"},
    {0x1000000, "", "BEncDefLen can't find match if"},
    {-1, "", "BEncDefLen can't find match if"},
};

TEST(Length, WritesTheFewestOctets) {
  for (const auto &c : kEncLenCases) {
    SCOPED_TRACE(c.len);
    const LogCapture log;
    Writer w(8);
    const int len = static_cast<int>(std::string(c.hex).size() / 2);
    EXPECT_EQ(len > 0 ? len : -1, BEncDefLen(w.buf, c.len));
    EXPECT_EQ(c.hex, w.Hex());
    Writer tight(len > 0 ? len - 1 : 0);
    EXPECT_EQ(-1, BEncDefLen(tight.buf, c.len));
    EXPECT_TRUE(log.Has(c.failure));
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

constexpr struct { const char *what; const char *hex; int all; int len; } kRawLenCases[] = {
    {"one element", "3003020105 05", 0, 5},
    {"contents up to the marker", "040141 0401 42 0000 05", 1, 8},
    {"no contents", "0000", 1, 2},
    {"an indefinite length inside", "2480 0000 0000", 1, -1},
    {"half a marker", "040141 00", 1, -1},
    {"a marker with a second octet", "0001", 1, -1},
    {"no marker", "040141", 1, -1},
    {"an identifier that is too long", "1fffffff 00 0000", 1, -1},
};

TEST(RawLen, MeasuresWithoutMoving) {
  for (const auto &c : kRawLenCases) {
    SCOPED_TRACE(c.what);
    Reader r(c.hex);
    EXPECT_EQ(c.len, RawLen(r.buf, c.all));
    EXPECT_TRUE(c.len < 0 || r.buf.GetOffset() == 0);
  }
}

void AddTo(sxAsnBufSet *set, const char *hex) {
  const std::vector<unsigned char> octets = DecodeHex(hex);
  set->Scratch().PutSeg(octets.data(), static_cast<int>(octets.size()));
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
