#include "pbeWrite.h"

#include "pbeAlgorithms.h"

void WritePbeNumber(sxDerWriter &writer, int number) {
  const unsigned char octets[] = {0, static_cast<unsigned char>(number >> 24), static_cast<unsigned char>(number >> 16),
                                  static_cast<unsigned char>(number >> 8), static_cast<unsigned char>(number)};
  sxOctetView shortest = octets;
  while (shortest.size() > 1 && shortest[0] == 0 && shortest[1] < 0x80) shortest = shortest.subspan(1);
  writer.Element(kDerInteger, shortest);
}

// A pseudorandom function that is the default is left out.
void WritePbkdf2(sxDerWriter &writer, sx_md_type digest, int iterations, sxOctetView salt, int keyLen) {
  const int mark = writer.Mark();
  const char *name = nullptr;
  if (digest != sx_md_sha1) {
    writer.Header(kDerNull, 0);
    writer.Element(kDerOid, PbePrfOid(digest, &name));
    writer.Wrap(kDerSequence, mark);
  }
  if (keyLen > 0) WritePbeNumber(writer, keyLen);
  WritePbeNumber(writer, iterations);
  writer.Element(kDerOctetString, salt);
  writer.Wrap(kDerSequence, mark);
  writer.Element(kDerOid, kPbkdf2Oid);
  writer.Wrap(kDerSequence, mark);
}
