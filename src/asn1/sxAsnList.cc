// The interpreter of SEQUENCE OF (X.690, 8.10) and SET OF (8.12), and the list operations.
#include <algorithm>
#include <cstring>
#include <vector>

#include "element.h"
#include "kxcert/asn1/sxAsnBufSet.h"
#include "kxcert/asn1/sxAsnConstructed.h"
#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/textStream.h"

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

void sxAsnList::Clear() {
  while (m_first != nullptr) {
    Node *const node = m_first;
    m_first = node->next;
    delete node->elem;
    sxAsnType::operator delete(node, sizeof(Node));
  }
  m_curr = m_last = nullptr;
  m_count = 0;
}

sxAsnType *sxAsnList::NewElem() const { return Info()->elems[0].type->create(); }

sxAsnType *sxAsnList::LinkAfter(Node *node, sxAsnType *elem) {
  Node *const next = node != nullptr ? node->next : m_first;
  auto *linked = new (sxAsnType::operator new(sizeof(Node))) Node{next, node, elem};
  (node != nullptr ? node->next : m_first) = linked;
  (next != nullptr ? next->prev : m_last) = linked;
  ++m_count;
  return elem;
}

sxAsnType *sxAsnList::LinkBefore(Node *node, sxAsnType *elem) {
  return LinkAfter(node != nullptr ? node->prev : m_last, elem);
}

sxAsnType *sxAsnList::MakeCurrent(sxAsnType *linked, Node *node) {
  m_curr = node;
  return linked;
}

sxAsnType *sxAsnList::AppendElem() {
  sxAsnType *const linked = LinkAfter(m_last, NewElem());
  return MakeCurrent(linked, m_last);
}

sxAsnType *sxAsnList::PrependElem() {
  sxAsnType *const linked = LinkAfter(nullptr, NewElem());
  return MakeCurrent(linked, m_first);
}

sxAsnType *sxAsnList::InsertElemAfter() {
  if (m_curr == nullptr) return AppendElem();
  sxAsnType *const linked = LinkAfter(m_curr, NewElem());
  return MakeCurrent(linked, m_curr->next);
}

sxAsnType *sxAsnList::InsertElemBefore() {
  if (m_curr == nullptr) return PrependElem();
  sxAsnType *const linked = LinkAfter(m_curr->prev, NewElem());
  return MakeCurrent(linked, m_curr->prev);
}

void sxAsnList::SetCurrElmt(int index) {
  m_curr = m_first;
  for (int i = 0; i < index && m_curr != nullptr && m_curr->next != nullptr; ++i) m_curr = m_curr->next;
}

int sxAsnList::GetCurrElmtIndex() const {
  if (m_curr == nullptr) return m_count;
  int index = 0;
  for (const Node *node = m_first; node != m_curr; node = node->next) ++index;
  return index;
}

void sxAsnList::RemoveCurrFromList() {
  if (m_curr == nullptr) return;
  Node *const gone = m_curr;
  m_curr = gone == m_first ? gone->next : gone == m_last ? gone->prev : nullptr;
  (gone->prev != nullptr ? gone->prev->next : m_first) = gone->next;
  (gone->next != nullptr ? gone->next->prev : m_last) = gone->prev;
  --m_count;
  delete gone->elem;
  sxAsnType::operator delete(gone, sizeof(Node));
}

sxAsnType *sxAsnList::Dup() const {
  sxAsnType *copy = Clone();
  copy->CopyFrom(*this);
  return copy;
}

int sxAsnList::CopyFrom(const sxAsnType &other) {
  if (&other == this) return 0;
  Clear();
  for (const Node *node = static_cast<const sxAsnList &>(other).m_first; node != nullptr; node = node->next) {
    LinkAfter(m_last, node->elem->Dup());
  }
  return 0;
}

int sxAsnList::BDec(sxAsnReadBuf &buf, int &bytesDecoded) {
  const sxAsnTypeInfo &info = *Info();
  const int tag = BDecTag(buf, bytesDecoded);
  if (tag != info.tag) {
    herror_func(0, 0, "%s::BDec: ERROR - wrong tag offset = %d", info.name, buf.GetOffset());
    return -1;
  }
  const int len = BDecLen(buf, bytesDecoded);
  if (len < 0 && len != kIndefiniteLen) {
    herror_func(0, 0, "%s::BDec: attempt to decoded length failed", info.name);
    return -1;
  }
  if (DecContent(buf, static_cast<unsigned int>(tag), len, bytesDecoded) < 0) {
    herror_func(0, 0, "%s::BDec: attempt to decoded Content failed", info.name);
    return -1;
  }
  return 1;
}

int sxAsnList::DecContent(sxAsnReadBuf &buf, unsigned int, int len, int &bytesDecoded) {
  const sxAsnTypeInfo &info = *Info();
  const sxAsnElem &elem = info.elems[0];
  Clear();
  if (len == 0 || (len < 0 && len != kIndefiniteLen)) return 1;
  const sxAsnLevel level(buf);
  if (!level.Ok()) {
    herror_func(0, 0, "%s::BDecContent: more than %d levels. offset = %d", info.name, kMaxNesting,
                buf.GetOffset());
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
    if (sxAsnDecodeElem(elem, *AppendElem(), buf, header, info.name, kTexts, counter) < 0) return -1;
  }
  bytesDecoded += counter;
  return 1;
}

int sxAsnList::BEnc(sxAsnWriteBuf &buf) {
  const char *name = Info()->name;
  const int contentLen = EncContent(buf);
  if (contentLen < 0) return herror_func(0, 0, "%s::BEnc: attempt to encoded  content failed", name), -1;
  const int lenLen = BEncDefLen(buf, contentLen);
  if (lenLen < 0) return herror_func(0, 0, "%s::BEnc: attempt to encoded length failed", name), -1;
  const int tagLen = BEncTag(buf, kUniversal, kConstructed, Info()->tag & 0x1F);
  if (tagLen < 0) return herror_func(0, 0, "%s::BEnc: attempt to encoded tag failed", name), -1;
  return contentLen + lenLen + tagLen;
}

int sxAsnList::EncodeNode(const Node &node, sxAsnWriteBuf &buf) {
  return sxAsnEncodeElem(Info()->elems[0], *node.elem, buf, Info()->name, kTexts);
}

int sxAsnList::EncContent(sxAsnWriteBuf &buf) {
  const bool sorts = Info()->kind == sxAsnKind::kSetOf && buf.sortSets >= 1 && !buf.Measures();
  if (sorts && m_count > 1) return EncodeSorted(buf);
  int total = 0;
  for (const Node *node = m_last; node != nullptr; node = node->prev) {   // the buffer fills backwards
    const int len = EncodeNode(*node, buf);
    if (len < 0) return -1;
    total += len;
  }
  return total;
}

// Writes the elements as they stand. Mostly they were decoded from DER and so are in order already; if
// not, the octets just written are sorted. Elements are encoded once in either case: sets hold sets.
int sxAsnList::EncodeSorted(sxAsnWriteBuf &buf) {
  std::vector<Written> elements;   // from the last to the first
  elements.reserve(static_cast<size_t>(m_count));
  int total = 0;
  int longest = 0;
  bool inOrder = true;
  for (const Node *node = m_last; node != nullptr; node = node->prev) {
    const int len = EncodeNode(*node, buf);
    if (len < 0) return -1;
    total += len;
    longest = std::max(longest, len);
    elements.push_back({buf.Curr(), len});
    inOrder = inOrder && (elements.size() == 1 || !SortsBefore(elements[elements.size() - 2], elements.back()));
  }
  if (inOrder) return total;
  sxAsnBufSet set(m_count, longest);
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
  for (const Node *node = m_first; node != nullptr; node = node->next) {
    out.Printf("%s  %s   ", spaces, Info()->elems[0].name);
    node->elem->Describe(out, indent + 1);
  }
  out.Puts("\n");
  out.Printf("%s}\n", spaces);
  return 0;
}
