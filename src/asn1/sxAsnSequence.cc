// The interpreter of SEQUENCE (X.690, 8.9) and SET (8.11).
#include <memory>

#include "element.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnConstructed.h"
#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"

namespace {

constexpr sxAsnTexts kTexts = {
    "%s::BDecContent: attempt to decoded length failed",
    "%s::BDecContent: attempt to decoded %s Content failed",
    "%s::BDecContent Unexpected Tag offset = %d",
    "%s::BDecContent: attempt to decoded Eoc failed",
    "%s::BDecContent ERROR - Length discrepancy on sequence. offset = %d",
    "%s::BEncContent: attempt to encoded %s Content failed",
    "%s::BEncContent: attempt to encoded %s Content failed",
    "%s::BEncContent: attempt to encoded %s Content failed",
};

// The only two places where an element pointer is handled without its class. All generated classes
// derive singly from sxAsnType, so that a typed pointer and its base share one representation.
sxAsnType *GetSlot(const sxAsnType &self, const sxAsnElem &elem) {
  sxAsnType *value = nullptr;
  std::memcpy(&value, reinterpret_cast<const char *>(&self) + elem.offset, sizeof value);
  return value;
}
void SetSlot(sxAsnType &self, const sxAsnElem &elem, sxAsnType *value) {
  std::memcpy(reinterpret_cast<char *>(&self) + elem.offset, &value, sizeof value);
}

void SwapSlots(sxAsnType &a, sxAsnType &b, const sxAsnTypeInfo &info) {
  for (int i = 0; i < info.numElems; ++i) {
    sxAsnType *const value = GetSlot(a, info.elems[i]);
    SetSlot(a, info.elems[i], GetSlot(b, info.elems[i]));
    SetSlot(b, info.elems[i], value);
  }
}

// Empties the value. What it held lives on in what is returned, null when there was nothing.
std::unique_ptr<sxAsnType> TakeElems(sxAsnType &self, const sxAsnTypeInfo &info) {
  int i = 0;
  while (i < info.numElems && GetSlot(self, info.elems[i]) == nullptr) ++i;
  if (i == info.numElems) return nullptr;
  std::unique_ptr<sxAsnType> taken(info.create());
  SwapSlots(self, *taken, info);
  return taken;
}

int MissingElem(const sxAsnTypeInfo &info, const sxAsnReadBuf &buf) {
  herror_func(0, 0, "%s::BDecContent ERROR - SEQUENCE is missing non-optional elmt. offset = %d", info.name,
              buf.GetOffset());
  return -1;
}

int Discrepancy(const sxAsnTypeInfo &info, const sxAsnReadBuf &buf) {
  herror_func(0, 0, kTexts.discrepancy, info.name, buf.GetOffset());
  return -1;
}

int EocFailed(const sxAsnTypeInfo &info) {
  herror_func(0, 0, kTexts.decodeEoc, info.name);
  return -1;
}

// The second octet of an end-of-contents marker whose first was read as a tag.
int FinishEoc(const sxAsnTypeInfo &info, sxAsnReadBuf &buf, int &counter) {
  if (buf.GetByte() != 0) return EocFailed(info);
  ++counter;
  return 1;
}

}  // namespace

void sxAsnCopyElems(const sxAsnType &from, sxAsnType &to) {
  const sxAsnTypeInfo &info = *from.Info();
  for (int i = 0; i < info.numElems; ++i) {
    const sxAsnType *value = GetSlot(from, info.elems[i]);
    if (value != nullptr) SetSlot(to, info.elems[i], value->Dup());
  }
}

void sxAsnSequence::DestroyElems(sxAsnType &self, const sxAsnTypeInfo &info) {
  for (int i = 0; i < info.numElems; ++i) delete GetSlot(self, info.elems[i]);
}

int sxAsnSequence::CopyFrom(const sxAsnType &other) {
  if (&other == this) return 0;
  const sxAsnTypeInfo &info = *Info();
  if (other.Info() != &info) return -1;
  // All copies before the old elements go: either value may be a part of the other.
  const std::unique_ptr<sxAsnType> copy(info.create());  // NOLINT(clang-analyzer-core.NullDereference): has one
  sxAsnCopyElems(other, *copy);
  SwapSlots(*this, *copy, info);
  return 0;
}

int sxAsnSequence::DecContent(sxAsnReadBuf &buf, unsigned int, int len, int &bytesDecoded) {
  const sxAsnLevel level(buf);
  if (!level.Ok()) {
    herror_func(0, 0, "%s::BDecContent: more than %d levels. offset = %d", Info()->name, kMaxNesting, buf.GetOffset());
    return -1;
  }
  const std::unique_ptr<sxAsnType> old = TakeElems(*this, *Info());  // until the end: the octets may lie within
  int counter = 0;
  const int rc =
      Info()->kind == sxAsnKind::kSet ? DecodeInAnyOrder(buf, len, counter) : DecodeInOrder(buf, len, counter);
  if (rc < 0) return -1;
  bytesDecoded += counter;
  return 1;
}

// Decodes the element at its place, which is empty, after its identifier was read.
int sxAsnSequence::DecodeSlot(sxAsnReadBuf &buf, int i, unsigned int tag, const unsigned char *start, int startCount,
                              int &counter) {
  const sxAsnTypeInfo &info = *Info();
  const sxAsnElem &elem = info.elems[i];
  sxAsnType *const value = elem.type->create();
  SetSlot(*this, elem, value);
  if (elem.definedBy >= 0) {
    auto *open = static_cast<sxAsnAny *>(value);
    const sxAsnElem &selector = info.elems[elem.definedBy];
    const sxAsnType *key = GetSlot(*this, selector);
    if (key != nullptr && selector.type == &sxAsnOid::kInfo) {
      open->SetTypeByOid(*static_cast<const sxAsnOid *>(key));
    } else if (key != nullptr) {
      open->SetTypeByInt(*static_cast<const sxAsnInt *>(key));
    }
  }
  return sxAsnDecodeElem(elem, *value, buf, {start, startCount, tag}, info.name, kTexts, counter);
}

int sxAsnSequence::DecodeInOrder(sxAsnReadBuf &buf, int len, int &counter) {
  const sxAsnTypeInfo &info = *Info();
  int next = 0;  // first element that was neither decoded nor passed over
  while (next < info.numElems) {
    if (len >= 0 && counter >= len) break;
    const unsigned char *const start = buf.Curr();
    const int startCount = counter;
    const int tag = BDecTag(buf, counter);
    if (tag == 0 && len == kIndefiniteLen) {
      for (; next < info.numElems; ++next) {
        if (!info.elems[next].optional) return MissingElem(info, buf);
      }
      return FinishEoc(info, buf, counter);
    }
    // The tag alone decides which of the elements this is.
    while (next < info.numElems && (tag < 0 || !sxAsnElemAccepts(info.elems[next], static_cast<unsigned int>(tag)))) {
      if (!info.elems[next].optional) return MissingElem(info, buf);
      ++next;
    }
    if (next == info.numElems) return len == kIndefiniteLen ? EocFailed(info) : Discrepancy(info, buf);
    if (DecodeSlot(buf, next, static_cast<unsigned int>(tag), start, startCount, counter) < 0) return -1;
    ++next;
  }
  for (; next < info.numElems; ++next) {
    if (!info.elems[next].optional) return MissingElem(info, buf);
  }
  if (len == kIndefiniteLen) return BDecEoc(buf, counter) < 0 ? EocFailed(info) : 1;
  return counter == len ? 1 : Discrepancy(info, buf);
}

int sxAsnSequence::DecodeInAnyOrder(sxAsnReadBuf &buf, int len, int &counter) {
  const sxAsnTypeInfo &info = *Info();
  bool ended = false;
  while (len < 0 ? !ended : counter < len) {
    const unsigned char *const start = buf.Curr();
    const int startCount = counter;
    const int tag = BDecTag(buf, counter);
    if (tag == 0 && len == kIndefiniteLen) {
      if (FinishEoc(info, buf, counter) < 0) return -1;
      ended = true;
      continue;
    }
    int i = 0;
    while (i < info.numElems && (tag < 0 || GetSlot(*this, info.elems[i]) != nullptr ||
                                 !sxAsnElemAccepts(info.elems[i], static_cast<unsigned int>(tag)))) {
      ++i;
    }
    if (i == info.numElems) return len == kIndefiniteLen ? EocFailed(info) : Discrepancy(info, buf);
    if (DecodeSlot(buf, i, static_cast<unsigned int>(tag), start, startCount, counter) < 0) return -1;
  }
  for (int i = 0; i < info.numElems; ++i) {
    if (!info.elems[i].optional && GetSlot(*this, info.elems[i]) == nullptr) return MissingElem(info, buf);
  }
  return len == kIndefiniteLen || counter == len ? 1 : Discrepancy(info, buf);
}

int sxAsnSequence::EncContent(sxAsnWriteBuf &buf) {
  const sxAsnTypeInfo &info = *Info();
  int total = 0;
  for (int i = info.numElems - 1; i >= 0; --i) {  // the buffer fills backwards
    sxAsnType *const value = GetSlot(*this, info.elems[i]);
    if (value == nullptr) continue;
    const int len = sxAsnEncodeElem(info.elems[i], *value, buf, info.name, kTexts);
    if (len < 0) return -1;
    total += len;
  }
  return total;
}

int sxAsnSequence::Describe(SxStream &out, int indent) const {
  char spaces[40];
  StrIndent(indent, spaces, sizeof spaces);
  const sxAsnTypeInfo &info = *Info();
  out.Printf("%sSEQUENCE { \n", spaces);  // a SET as well: the texts are one
  for (int i = 0; i < info.numElems; ++i) {
    const sxAsnType *value = GetSlot(*this, info.elems[i]);
    if (value == nullptr) {
      out.Printf("%s  %s  -- void --\n", spaces, info.elems[i].name);
    } else {
      out.Printf("%s  %s   ", spaces, info.elems[i].name);
      value->Describe(out, indent + 1);
    }
  }
  out.Puts("\n");
  out.Printf("%s}\n", spaces);
  return 0;
}
