// The interpreter of SEQUENCE OF (X.690, 8.10) and SET OF (8.12), and the list operations.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "element.h"
#include "kxcert/asn1/sxAsnBufSet.h"
#include "kxcert/asn1/sxAsnConstructed.h"
#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"

namespace {

constexpr sxAsnTexts kTexts = {
    "%s::BDecContent attempt to decocded length failed",
    "%s::BDecContent: attempt to decoded contnet failed",
    "%s::BDecContent Unexpected Tag",
    "%s::BDecContent: attempt to decoded Eoc failed",
    "%s::BDecContent ERROR - Length discrepancy. offset = %d",
    "%s::BEncContent: attempt to encoded %s failed",
    "%s:EncContent attempt to encoded length failed",
    " %s::BEncContent attempt to encoded tag failed",
};

struct Written {
  const unsigned char *octets;
  int len;
};

bool SortsBefore(const Written &a, const Written &b) {
  const int order = std::memcmp(a.octets, b.octets, static_cast<size_t>(std::min(a.len, b.len)));
  return order != 0 ? order < 0 : a.len < b.len;
}

}  // namespace

sxAsnList::~sxAsnList() = default;

void sxAsnList::Clear() {
  m_elems.Clear();
  m_curr = kNoCursor;
}

// The cursor stays on its element.
void sxAsnList::Insert(int at, sxAsnType *elem) {
  m_elems.Insert(at, std::unique_ptr<sxAsnType>(elem));
  if (m_curr >= at) ++m_curr;
}

sxAsnType *sxAsnList::InsertNew(int at) {
  sxAsnType *const elem = Info()->elems[0].type->create();
  Insert(at, elem);
  m_curr = at;
  return elem;
}

void sxAsnList::SetCurrElmt(int index) { m_curr = Count() == 0 ? kNoCursor : std::clamp(index, 0, Count() - 1); }

void sxAsnList::RemoveCurrFromList() {
  if (m_curr == kNoCursor) return;
  const int last = Count() - 1;
  m_elems.Remove(m_curr);
  if (last == 0 || (m_curr > 0 && m_curr < last)) {
    m_curr = kNoCursor;  // after a middle one as well: intended, callers set it anew
  } else if (m_curr == last) {
    --m_curr;
  }
}

int sxAsnList::CopyFrom(const sxAsnType &other) {
  if (&other == this) return 0;
  if (other.Info() != Info()) return -1;
  sxAsnElemArray copies;  // all of them before the old ones go: either list may be a part of the other
  for (const sxAsnType *elem : static_cast<const sxAsnList &>(other).m_elems) {
    copies.Insert(copies.Count(), std::unique_ptr<sxAsnType>(elem->Dup()));
  }
  m_elems.Swap(copies);
  m_curr = kNoCursor;
  return 0;
}

int sxAsnList::DecContent(sxAsnReadBuf &buf, unsigned int, int len, int &bytesDecoded) {
  const sxAsnTypeInfo &info = *Info();
  const sxAsnElem &elem = info.elems[0];
  sxAsnElemArray old;  // until the end: the octets may lie within it
  if (Count() > 0) old.Swap(m_elems);
  m_curr = kNoCursor;
  if (len == 0 || (len < 0 && len != kIndefiniteLen)) return 1;
  const sxAsnLevel level(buf);
  if (!level.Ok()) {
    herror_func(0, 0, "%s::BDecContent: more than %d levels. offset = %d", info.name, kMaxNesting, buf.GetOffset());
    return -1;
  }
  int counter = 0;
  // Elements that overshoot a definite length end the list without an error; whoever holds the list
  // sees that more octets were taken than the length said.
  while (len == kIndefiniteLen || counter < len) {
    const sxAsnHeader start = {buf.Curr(), counter, 0};
    const int tag = BDecTag(buf, counter);
    if (tag == 0 && len == kIndefiniteLen) {
      if (buf.GetByte() != 0) {
        herror_func(0, 0, kTexts.decodeEoc, info.name);
        return -1;
      }
      ++counter;
      break;
    }
    const sxAsnHeader header = {start.start, start.startCount, static_cast<unsigned int>(tag)};
    if (tag <= 0 || !sxAsnElemAccepts(elem, header.tag)) {
      herror_func(0, 0, kTexts.unexpectedTag, info.name);
      return -1;
    }
    if (sxAsnDecodeElem(elem, *InsertNew(Count()), buf, header, info.name, kTexts, counter) < 0) return -1;
  }
  bytesDecoded += counter;
  return 1;
}

int sxAsnList::EncodeElem(sxAsnType &elem, sxAsnWriteBuf &buf) {
  return sxAsnEncodeElem(Info()->elems[0], elem, buf, Info()->name, kTexts);
}

int sxAsnList::EncContent(sxAsnWriteBuf &buf) {
  const bool sorts = Info()->kind == sxAsnKind::kSetOf && buf.sortSets >= 1 && !buf.Measures();
  if (sorts && Count() > 1) return EncodeSorted(buf);
  int total = 0;
  for (int i = Count() - 1; i >= 0; --i) {  // the buffer fills backwards
    const int len = EncodeElem(*m_elems[i], buf);
    if (len < 0) return -1;
    total += len;
  }
  return total;
}

// Writes the elements as they stand. Mostly they were decoded from DER and so are in order already; if
// not, the octets just written are sorted. Elements are encoded once in either case: sets hold sets.
int sxAsnList::EncodeSorted(sxAsnWriteBuf &buf) {
  std::vector<Written> elements;  // from the last to the first
  elements.reserve(static_cast<size_t>(Count()));
  int total = 0;
  int longest = 0;
  bool inOrder = true;
  for (int i = Count() - 1; i >= 0; --i) {
    const int len = EncodeElem(*m_elems[i], buf);
    if (len < 0) return -1;
    total += len;
    longest = std::max(longest, len);
    elements.push_back({buf.Curr(), len});
    inOrder = inOrder && (elements.size() == 1 || !SortsBefore(elements[elements.size() - 2], elements.back()));
  }
  if (inOrder) return total;
  sxAsnBufSet set(Count(), longest);
  for (auto element = elements.rbegin(); element != elements.rend(); ++element) {
    if (set.Scratch().PutSeg(element->octets, element->len) < 0) return -1;
    set.FinishBuf();
  }
  buf.Unput(total);
  return set.Encode(buf);
}

int sxAsnList::Describe(SxStream &out, int indent) const {
  char spaces[40];
  StrIndent(indent, spaces, sizeof spaces);
  out.Printf("%s%s OF { \n", spaces, Info()->kind == sxAsnKind::kSetOf ? "SET" : "SEQUENCE");
  for (const sxAsnType *elem : m_elems) {
    out.Printf("%s  %s   ", spaces, Info()->elems[0].name);
    elem->Describe(out, indent + 1);
  }
  out.Puts("\n");
  out.Printf("%s}\n", spaces);
  return 0;
}
