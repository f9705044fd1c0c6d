#include "plainFields.h"

#include "kxcert/asn1/sxAsnAny.h"

// The rules of the codec's primitive types.
bool sxTakePlainInteger(sxDerReader &from, sxOctetView *number) {
  return from.Take(kDerInteger, number) && !number->empty();
}
bool sxTakePlainOid(sxDerReader &from, sxOctetView *oid) { return from.Take(kDerOid, oid) && !oid->empty(); }
bool sxTakePlainBits(sxDerReader &from, int tag, sxOctetView *bits) {
  return from.Take(tag, bits) && !bits->empty() && (*bits)[0] <= 7 && (bits->size() > 1 || (*bits)[0] == 0);
}

bool sxTakePlainTime(sxDerReader &from, sxPlainTime *time) {
  sxDerElement text;
  if (!from.Take(kDerUtcTime, &text) && !from.Take(kDerGeneralizedTime, &text)) return false;
  *time = {text.tag, text.content};
  return true;
}

bool sxTakePlainAlgorithm(sxDerReader &from, bool decoded, sxPlainAlgorithm *algorithm) {
  sxDerReader inside;
  if (!from.Enter(kDerSequence, &inside) || !sxTakePlainOid(inside, &algorithm->oid)) return false;
  if (inside.AtEnd()) return true;
  if (decoded) {
    algorithm->parameters = inside.Rest();
    return true;
  }
  // Parameters that are registered under this identifier must decode as their type.
  sxAsnOid type;
  type.Set(algorithm->oid.data(), sxLen(algorithm->oid));
  sxDerElement parameters;
  if (!inside.Take(&parameters) || !inside.AtEnd()) return false;
  algorithm->parameters = parameters.whole;
  return sxAsnAny::FindByOid(type) == nullptr;
}

bool sxTakePlainName(sxDerReader &from, bool decoded, sxOctetView *name, sxFlatName *flat) {
  sxDerElement sequence;
  if (!from.Take(kDerSequence, &sequence)) return false;
  *name = sequence.whole;
  return flat->Read(sequence.whole, decoded);
}

bool sxTakePlainKey(sxDerReader &from, bool decoded, sxPlainAlgorithm *algorithm, sxOctetView *bits) {
  sxDerReader inside;
  sxOctetView string;
  if (!from.Enter(kDerSequence, &inside) || !sxTakePlainAlgorithm(inside, decoded, algorithm) ||
      !sxTakePlainBits(inside, kDerBitString, &string) || !inside.AtEnd()) {
    return false;
  }
  const bool wholeOctets = string[0] == 0;
  if (wholeOctets) *bits = string.subspan(1);
  return true;
}

bool sxTakePlainExtensions(sxDerReader &from, int tag, sxOctetView *extensions) {
  sxDerReader inside;
  if (!from.Enter(tag, &inside) || !inside.Take(kDerSequence, extensions) || !inside.AtEnd()) return false;
  sxPlainExtension ext;
  for (sxDerReader each(*extensions); !each.AtEnd();) {
    if (!sxTakePlainExtension(each, &ext)) return false;
  }
  return true;
}

//   Extension ::= SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
bool sxTakePlainExtension(sxDerReader &extensions, sxPlainExtension *ext) {
  sxDerReader inside;
  sxOctetView critical;
  if (!extensions.Enter(kDerSequence, &inside) || !sxTakePlainOid(inside, &ext->oid)) return false;
  ext->critical = false;
  ext->saysIt = inside.NextIs(kDerBoolean);
  if (ext->saysIt) {
    if (!inside.Take(kDerBoolean, &critical) || critical.size() != 1) return false;
    ext->critical = critical[0] != 0;
  }
  return inside.Take(kDerOctetString, &ext->value) && inside.AtEnd();
}

int sxPlainVersion(sxOctetView number) {
  uint32_t value = number[0] >= 0x80 ? UINT32_MAX : 0;  // the low 32 bits, as GetShortVal
  for (const unsigned char octet : number) value = value << 8 | octet;
  return static_cast<int>(value + 1);
}
