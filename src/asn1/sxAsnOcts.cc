#include "kxcert/asn1/sxAsnOcts.h"

#include <vector>

#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "primitive.h"

constinit const sxAsnTypeInfo sxAsnOcts::kInfo = sxAsnStringInfo("sxAsnOcts", 4, sxAsnCreate<sxAsnOcts>);

#define KXCERT_ASN1_STRING_INFO(Class, tag) \
  constinit const sxAsnTypeInfo Class::kInfo = sxAsnStringInfo(#Class, tag, sxAsnCreate<Class>)
KXCERT_ASN1_STRING_INFO(sxAsnObjectDescriptor, 7);
KXCERT_ASN1_STRING_INFO(sxAsnUTF8String, 12);
KXCERT_ASN1_STRING_INFO(sxAsnNumericString, 18);
KXCERT_ASN1_STRING_INFO(sxAsnPrintableString, 19);
KXCERT_ASN1_STRING_INFO(sxAsnTeletexString, 20);
KXCERT_ASN1_STRING_INFO(sxAsnT61String, 20);
KXCERT_ASN1_STRING_INFO(sxAsnVideotexString, 21);
KXCERT_ASN1_STRING_INFO(sxAsnIA5String, 22);
KXCERT_ASN1_STRING_INFO(sxAsnUTCTime, 23);
KXCERT_ASN1_STRING_INFO(sxAsnGeneralizedTime, 24);
KXCERT_ASN1_STRING_INFO(sxAsnGraphicString, 25);
KXCERT_ASN1_STRING_INFO(sxAsnVisibleString, 26);
KXCERT_ASN1_STRING_INFO(sxAsnISO646String, 26);
KXCERT_ASN1_STRING_INFO(sxAsnGeneralString, 27);
KXCERT_ASN1_STRING_INFO(sxAsnUniversalString, 28);
KXCERT_ASN1_STRING_INFO(sxAsnBMPString, 30);

namespace {

constexpr int kEmpty = -2;

// The identifier, or -1, or kEmpty: no contents follow.
int ReadHeader(const sxAsnTypeInfo &info, sxAsnReadBuf &buf, int &len, int &bytesDecoded) {
  const int tag = BDecTag(buf, bytesDecoded);
  if (tag != info.tag && tag != (info.tag | kConstructed)) {
    herror_func(0, 0, "%s::BDec wrong tag before offset = %d", info.name, buf.GetOffset());
    return -1;
  }
  if (buf.GetLen() > 0 && buf.PeekByte() == 0) {
    // The length octet is consumed and not counted: intended, see the header. Who checks the count of
    // octets (sxASN_DecodeBuf) refuses such an element; open types count for themselves.
    buf.GetByte();
    return kEmpty;
  }
  len = BDecLen(buf, bytesDecoded);
  if (len >= 0 || len == kIndefiniteLen) return tag;
  herror_func(0, 0, "%s::BDec failed to decoded length before offset = %d", info.name, buf.GetOffset());
  return -1;
}

// The content octets of the primitive form, lent, or null.
const unsigned char *TakePrimitive(sxAsnReadBuf &buf, int len, int &bytesDecoded) {
  if (len < 0) {
    herror_func(0, 0, "sxAsnOcts::BDecContent indefinite length is not permitted for non-constructed octet");
    return nullptr;
  }
  if (len > buf.GetLen()) {
    herror_func(0, 0, "sxAsnOcts::BDecContent:  can't get data from buffer before offset = %d", buf.GetOffset());
    return nullptr;
  }
  bytesDecoded += len;
  return buf.GetSeg(&len);
}

// Appends the segments of a constructed string, nested ones too. All levels share one vector, which
// grows with the octets that there are and not with what lengths claim.
int JoinSegments(sxAsnReadBuf &buf, int len, int &bytesDecoded, std::vector<unsigned char> *joined) {
  const sxAsnLevel level(buf);
  if (!level.Ok()) {
    herror_func(0, 0, "sxAsnOcts::BDecConsOcts: more than %d levels. offset = %d", kMaxNesting, buf.GetOffset());
    return -1;
  }
  const bool indefinite = len == kIndefiniteLen;
  if (indefinite) {
    len = RawLen(buf, 1) - 2;  // without the end-of-contents octets
    if (len < 0) {
      herror_func(0, 0, "sxAsnOcts::BDEcConsOcts failed to get the length of octet for indefinite length");
      return -1;
    }
  }
  if (len < 0 || len > buf.GetLen()) {
    herror_func(0, 0, "sxAsnOcts::BDecConsOcts: no length that fits (%d). offset = %d", len, buf.GetOffset());
    return -1;
  }
  // A segment of length 0 counts one octet less than it takes, so that the loop may read on behind the
  // contents, within the buffer.
  const int startCount = bytesDecoded;
  const size_t start = joined->size();
  while (bytesDecoded - startCount < len) {
    int segmentLen = 0;
    const int tag = ReadHeader(sxAsnOcts::kInfo, buf, segmentLen, bytesDecoded);
    if (tag == kEmpty) continue;
    if (tag < 0) return -1;
    const size_t before = joined->size();
    if ((tag & kConstructed) != 0) {
      if (JoinSegments(buf, segmentLen, bytesDecoded, joined) < 0) return -1;
    } else {
      const unsigned char *octets = TakePrimitive(buf, segmentLen, bytesDecoded);
      if (octets == nullptr) return -1;
      joined->insert(joined->end(), octets, octets + segmentLen);
    }
    if (joined->size() - start > static_cast<size_t>(len)) {
      herror_func(0, 0, "sxAsnOcts::BDecConsOcts included string length (%u) is too big",
                  static_cast<unsigned int>(joined->size() - before));
      return -1;
    }
  }
  if (indefinite && BDecEoc(buf, bytesDecoded) < 0) {
    herror_func(0, 0, "sxAsnOcts:BDecConsOcts attempt to decoded Eoc of indefifnite octet failed");
    return -1;
  }
  return 1;
}

}  // namespace

// Outside the header, as what it calls is not exported.
sxAsnOcts::sxAsnOcts(const sxAsnOcts &other) = default;
sxAsnOcts &sxAsnOcts::operator=(const sxAsnOcts &other) = default;

sxAsnOcts::sxAsnOcts(const unsigned char *text) { Set(reinterpret_cast<const char *>(text)); }

void sxAsnOcts::Set(const char *text) {
  Set(reinterpret_cast<const unsigned char *>(text), text == nullptr ? 0 : static_cast<int>(std::strlen(text)));
}

void sxAsnOcts::Set(const unsigned char *octets, int len) { m_octets.Assign(octets, octets == nullptr ? 0 : len); }

sxAsnType *sxAsnOcts::GetType(const char *name) {
  return name != nullptr && std::strcmp(name, kInfo.name) == 0 ? this : sxAsnType::GetType(name);
}

int sxAsnOcts::BDec(sxAsnReadBuf &buf, int &bytesDecoded) {
  const sxAsnTypeInfo &info = *Info();
  int len = 0;
  const int tag = ReadHeader(info, buf, len, bytesDecoded);
  if (tag == kEmpty) {
    m_octets.Clear();
    return 1;
  }
  if (tag < 0 || DecContent(buf, static_cast<unsigned int>(tag), len, bytesDecoded) < 0) return -1;
  return &info == &kInfo ? 1 : 0;
}

int sxAsnOcts::DecContent(sxAsnReadBuf &buf, unsigned int tag, int len, int &bytesDecoded) {
  if ((tag & kConstructed) == 0) {
    const unsigned char *octets = TakePrimitive(buf, len, bytesDecoded);
    if (octets == nullptr) return -1;
    m_octets.Assign(octets, len);
    return 1;
  }
  std::vector<unsigned char> joined;
  if (JoinSegments(buf, len, bytesDecoded, &joined) < 0) return -1;
  m_octets.Assign(joined.data(), static_cast<int>(joined.size()));
  return 1;
}

int sxAsnOcts::EncContent(sxAsnWriteBuf &buf) { return buf.PutSeg(Data(), Len()) < 0 ? -1 : Len(); }

int sxAsnOcts::Describe(SxStream &out, int indent) const {
  if (Len() == 0) {
    out.Puts("sxAsnOcts::Print no octet to print, buffer empty");
    return -1;
  }
  out.Puts("Octet String");
  HexPrint(out, Data(), Len(), indent);
  PrintStr(out, Data(), Len(), indent);
  return 0;
}
