// The interpreter of CHOICE (X.690, 8.13).
#include <memory>
#include <utility>

#include "element.h"
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
    "%s::BDecContent ERROR - Length discrepancy on choice. offset = %d",
    "%s::BEncContent: attempt to encoded %s Content failed",
    "%s::BEncContent: attempt to encoded %s Content failed",
    "%s::BEncContent: attempt to encoded %s Content failed",
};

}  // namespace

void sxAsnChoice::Clean() {
  delete m_value;
  m_value = nullptr;
}

void sxAsnChoice::Choose(int choiceId, const sxAsnType &value) {
  sxAsnType *const copy = value.Dup();  // before the old value goes: it may hold the argument
  Clean();
  m_choiceId = choiceId;
  m_value = copy;
}

sxAsnType *sxAsnChoice::GetType(const char *name) {
  if (sxAsnType *self = sxAsnType::GetType(name); self != nullptr) return self;
  return m_value != nullptr ? m_value->GetType(name) : nullptr;
}

int sxAsnChoice::CopyFrom(const sxAsnType &other) {
  if (&other == this) return 0;
  if (other.Info() != Info()) return -1;
  const auto &from = static_cast<const sxAsnChoice &>(other);
  if (from.m_value != nullptr) {
    Choose(from.m_choiceId, *from.m_value);
  } else {
    m_choiceId = from.m_choiceId;
    Clean();  // last: it may hold the other
  }
  return 0;
}

int sxAsnChoice::BDec(sxAsnReadBuf &buf, int &bytesDecoded) {
  const char *name = Info()->name;
  const int tag = BDecTag(buf, bytesDecoded);
  const int len = tag < 0 ? -1 : BDecLen(buf, bytesDecoded);
  if (len < 0 && len != kIndefiniteLen) {
    herror_func(0, 0, "%s::BDec: attempt to decoded length failed", name);
    return -1;
  }
  if (DecContent(buf, static_cast<unsigned int>(tag), len, bytesDecoded) < 0) {
    herror_func(0, 0, "%s::BDec: attempt to decoded Content failed", name);
    return -1;
  }
  return 1;
}

int sxAsnChoice::DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) {
  const sxAsnTypeInfo &info = *Info();
  const std::unique_ptr<sxAsnType> old(std::exchange(m_value, nullptr));  // the octets may lie within it
  const sxAsnLevel level(buf);
  if (!level.Ok()) {
    herror_func(0, 0, "%s::BDecContent: more than %d levels. offset = %d", info.name, kMaxNesting, buf.GetOffset());
    return -1;
  }
  int alternative = 0;
  while (alternative < info.numElems && !sxAsnElemAccepts(info.elems[alternative], tag)) ++alternative;
  if (alternative == info.numElems) {
    herror_func(0, 0, "%s::BDecContent ERROR - unexpected tag in CHOICE offset = %d", info.name, buf.GetOffset());
    return -1;
  }
  const int rc = info.elems[alternative].fallBack ? DecodeOrKeepRaw(buf, alternative, tag, len, bytesDecoded)
                                                  : DecodeAlternative(buf, alternative, tag, len, bytesDecoded);
  if (rc < 0) return -1;
  return info.zeroResult ? 0 : 1;
}

// The identifier alone does not tell this alternative from content of another type. The raw element
// comes first: it is what stays when the attempt fails, and its end bounds the attempt. Lengths inside
// may claim all that follows, and copying that for each of many elements would take quadratic time.
int sxAsnChoice::DecodeOrKeepRaw(sxAsnReadBuf &buf, int alternative, unsigned int tag, int len, int &bytesDecoded) {
  const unsigned char *const content = buf.Curr();
  const int startCount = bytesDecoded;
  const int last = Info()->numElems - 1;
  if (DecodeAlternative(buf, last, tag, len, bytesDecoded) < 0) return -1;
  std::unique_ptr<sxAsnType> raw(std::exchange(m_value, nullptr));
  const unsigned char *const end = buf.Curr();
  const unsigned char *const bufEnd = buf.End();
  buf.SetEnd(end);
  buf.Rewind(content);
  int count = startCount;
  const int rc = DecodeAlternative(buf, alternative, tag, len, count);
  buf.SetEnd(bufEnd);
  if (rc >= 0 && count == bytesDecoded) return 0;
  buf.Rewind(end);
  Clean();
  m_choiceId = last;
  m_value = raw.release();
  return 0;
}

// The identifier and length were read by the caller; the value's content, or the element inside an
// explicit tag, follows.
int sxAsnChoice::DecodeAlternative(sxAsnReadBuf &buf, int alternative, unsigned int tag, int len, int &bytesDecoded) {
  const sxAsnTypeInfo &info = *Info();
  const sxAsnElem &elem = info.elems[alternative];
  Clean();
  m_choiceId = alternative;
  m_value = elem.type->create();
  if (elem.tagging == sxAsnElem::kExplicit) {
    return sxAsnDecodeExplicit(elem, *m_value, buf, len, info.name, kTexts, bytesDecoded);
  }
  int rc = 0;
  if (elem.type->kind == sxAsnKind::kAny) {
    // It keeps identifier and length, which the caller has counted already.
    const int headerLen = static_cast<int>(buf.Curr() - buf.Element());
    int count = 0;
    buf.Rewind(buf.Element());
    rc = m_value->BDec(buf, count);
    bytesDecoded += count - headerLen;
  } else {
    rc = m_value->BDecContent(buf, tag, len, bytesDecoded);
  }
  if (rc < 0) {
    herror_func(0, 0, kTexts.decodeContent, info.name, elem.name);
    return -1;
  }
  return 0;
}

int sxAsnChoice::BEnc(sxAsnWriteBuf &buf) {
  const int len = EncContent(buf);
  if (len < 0) herror_func(0, 0, "%s::BEnc: attempt to encoded  content failed", Info()->name);
  return len;
}

int sxAsnChoice::EncContent(sxAsnWriteBuf &buf) {
  const sxAsnTypeInfo &info = *Info();
  const sxAsnElem &elem = info.elems[m_choiceId];
  if (m_value != nullptr) return sxAsnEncodeElem(elem, *m_value, buf, info.name, kTexts);
  herror_func(0, 0, kTexts.encodeContent, info.name, elem.name);
  return -1;
}

int sxAsnChoice::Describe(SxStream &out, int indent) const {
  char spaces[40];
  StrIndent(indent, spaces, sizeof spaces);
  const char *name = Info()->elems[m_choiceId].name;
  if (m_value == nullptr) {
    out.Printf("%s  %s  -- void --\n", spaces, name);
    return 0;
  }
  out.Printf("%s  %s   ", spaces, name);
  return m_value->Describe(out, indent);
}
