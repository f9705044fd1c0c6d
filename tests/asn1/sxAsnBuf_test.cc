// Cursors over octets, identifiers, lengths, and the sorting of a SET OF.
#include "kxcert/asn1/sxAsnBuf.h"

#include "kxcert/asn1/sxAsnBufSet.h"
#include "support/script.h"

namespace {

// A cursor over octets in a block of their own.
struct Reader {
  explicit Reader(const Octets &all) : octets(all) { buf.Init(octets.data(), LenOf(octets)); }
  std::string And(int result) const { return std::to_string(result) + " " + std::to_string(count); }
  const Octets octets;
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

// What encode writes into an area that holds it; one that is an octet too small is refused.
template <class Encode>
std::string Written(Encode encode) {
  Writer w(8);
  const int len = encode(w.buf);
  EXPECT_EQ(w.buf.Written() == 0 ? -1 : w.buf.Written(), len);
  Writer tight(len > 0 ? len - 1 : 0);
  EXPECT_EQ(-1, encode(tight.buf));
  return w.Hex();
}

// With what is read again: its octets as a number, the first lowest.
std::string Tag(const Octets &kind, int code) {
  const std::string hex = Written([&](sxAsnWriteBuf &buf) { return BEncTag(buf, kind[0], kind[1], code); });
  Reader r(CaseOctets(hex));
  unsigned number = 0;
  for (size_t i = r.octets.size(); i > 0; --i) number = number << 8 | r.octets[i - 1];
  EXPECT_TRUE(hex.empty() || (BDecTag(r.buf, r.count) == static_cast<int>(number) && r.count == LenOf(r.octets)));
  return hex;
}

TEST(sxAsnBuf, DoesWhatTheStepsSay) {
  Script()
      .On("Reader", [](const Octets &octets) { return std::make_unique<Reader>(octets); })
      .On("init", [](Reader &r, const unsigned char *octets, int len) { r.buf.Init(octets, len); })
      .On("peek", [](Reader &r) { return r.buf.PeekByte(); })
      .On("get", [](Reader &r) { return r.buf.GetByte(); })
      .On("back", [](Reader &r, int n) { return r.buf.Back(n); })
      .On("skip", [](Reader &r, int n) { return r.buf.Skip(n); })
      .On("offset", [](Reader &r) { return r.buf.GetOffset(); })
      .On("left", [](Reader &r) { return r.buf.GetLen(); })
      .On("copyOut", [](Reader &r, int n) {
        unsigned char copy[4] = {};
        EXPECT_GE(4, n);
        const int len = r.buf.CopyOut(copy, n);
        return EncodeHex(copy, static_cast<size_t>(len));
      })
      .On("seg", [](Reader &r, int len) {
        const unsigned char *const seg = r.buf.GetSeg(&len);
        return EncodeHex(seg, static_cast<size_t>(len)) + " at " + std::to_string(seg - r.octets.data());
      })
      .On("decTag", [](Reader &r) { return BDecTag(r.buf, r.count); })
      .On("decEoc", [](Reader &r) { return BDecEoc(r.buf, r.count); })
      .On("count", [](Reader &r) { return r.count; })
      .On("eocAt", [](Reader &r, size_t at) { return BEoc(&r.octets[at]); })
      .On("length", [](const Octets &octets) {
        Reader r(octets);
        const int len = BDecLen(r.buf, r.count);
        return r.And(len);
      })
      .On("rawLen", [](const Octets &octets, int toMarker) {
        Reader r(octets);
        const int len = RawLen(r.buf, toMarker);
        EXPECT_TRUE(len < 0 || r.buf.GetOffset() == 0);
        return len;
      })
      .On("Writer", [](int size) { return std::make_unique<Writer>(size); })
      .On("initArea", [](Writer &w, int len) {
        w.buf.Init(w.area.data() + 1, len);
        w.buf.ReSet();
      })
      .On("initNone", [](Writer &w) {   // measures
        w.buf.Init(nullptr, 0);
        w.buf.ReSet();
      })
      .On("put", [](Writer &w, int octet) { return w.buf.PutByte(static_cast<unsigned char>(octet)); })
      .On("putSeg", [](Writer &w, const unsigned char *octets, int len) { return w.buf.PutSeg(octets, len); })
      .On("unput", [](Writer &w, int n) { w.buf.Unput(n); })
      .On("hex", &Writer::Hex)
      .On("overflow", [](Writer &w) { return w.buf.Overflow(); })
      .On("sortSets", [](Writer &w) { return w.buf.sortSets; })
      .On("setSort", [](Writer &w) { w.buf.sortSets = 1; })
      .On("reset", [](Writer &w) { w.buf.ReSet(); })
      .On("encEoc", [](Writer &w) { return BEncEoc(w.buf); })
      .On("encIndefLen", [](Writer &w) { return BEncIndefLen(w.buf); })
      .On("tag", Tag)
      .On("defLen", [](int len) { return Written([len](sxAsnWriteBuf &buf) { return BEncDefLen(buf, len); }); })
      .On("Set", [](int numElems, int size) { return std::make_unique<sxAsnBufSet>(numElems, size); })
      .On("add", [](sxAsnBufSet &set, const Octets &octets) {
        set.Scratch().PutSeg(octets.data(), LenOf(octets));
        set.FinishBuf();
      })
      .On("scratchSorts", [](sxAsnBufSet &set) { return set.Scratch().sortSets; })
      .On("encode", [](sxAsnBufSet &set, Writer &w) { return set.Encode(w.buf); })
      .Run("asn1/sxAsnBuf.steps");
}

}  // namespace
