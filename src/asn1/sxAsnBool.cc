#include "kxcert/asn1/sxAsnBool.h"

#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "primitive.h"

constinit const sxAsnTypeInfo sxAsnBool::kInfo = sxAsnPrimitiveInfo("sxAsnBool", 1, sxAsnCreate<sxAsnBool>);
constinit const sxAsnTypeInfo sxAsnNull::kInfo = sxAsnPrimitiveInfo("sxAsnNull", 5, sxAsnCreate<sxAsnNull>);

int sxAsnBool::DecContent(sxAsnReadBuf &buf, unsigned int, int len, int &bytesDecoded) {
  if (len != 1) return herror_func(0, 0, "AsnBool::BDecContent:  boolean value too long."), -1;
  const int octet = buf.GetByte();
  if (octet < 0) return -1;
  ++bytesDecoded;
  m_value = octet != 0 ? 1 : 0;  // X.690 8.2.2; DER's FF alone is not asked for
  return 1;
}

int sxAsnBool::EncContent(sxAsnWriteBuf &buf) { return buf.PutByte(m_value != 0 ? 0xFF : 0x00); }

int sxAsnBool::Describe(SxStream &out, int) const {
  out.Puts(m_value != 0 ? "TRUE\n" : "FALSE\n");
  return 0;
}

int sxAsnNull::BDec(sxAsnReadBuf &buf, int &bytesDecoded) {
  // Any tag is let through, see the header; data/asn1/decode.txt holds it.
  const int tag = BDecTag(buf, bytesDecoded);
  if (tag != Info()->tag) herror_func(0, 0, "sxAsnNull::Bdec wrong tag before offset = %d", buf.GetOffset());
  return DecContent(buf, static_cast<unsigned int>(tag), BDecLen(buf, bytesDecoded), bytesDecoded);
}

int sxAsnNull::DecContent(sxAsnReadBuf &buf, unsigned int, int len, int &) {
  if (len == 0) return 1;
  herror_func(0, 0, "sxAsnNull::BDec failed to decoded length before  offset = %d", buf.GetOffset());
  return -1;
}

int sxAsnNull::Describe(SxStream &out, int) const {
  out.Puts("NULL\n");
  return 0;
}
