#include "flatName.h"

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "plainDer.h"

namespace {

constexpr int kSequence = 0x30;
constexpr int kSet = 0x31;
constexpr int kOid = 0x06;
constexpr int kBitString = 0x03;

// The alternative of a value with that identifier.
int ChoiceOf(int tag) {
  switch (tag) {
    case 0x14: return sxASN_AttributeValue::teletexStringCid;
    case 0x13: return sxASN_AttributeValue::printableStringCid;
    case 0x1C: return sxASN_AttributeValue::universalStringCid;
    case 0x0C: return sxASN_AttributeValue::utf8StringCid;
    case 0x1E: return sxASN_AttributeValue::bmpStringCid;
    case 0x16: return sxASN_AttributeValue::ia5StringCid;
    case 0x04: return sxASN_AttributeValue::octetStringCid;
    case kBitString: return sxASN_AttributeValue::bitStringCid;
    case kOid: return sxASN_AttributeValue::identifierCid;
    case kSequence: return sxASN_AttributeValue::extensionsCid;
    default: return sxASN_AttributeValue::otherCid;
  }
}

// A constructed string is the same alternative as a primitive one and has to be joined first.
bool IsConstructedString(int tag) {
  const int choice = (tag & 0x20) != 0 ? ChoiceOf(tag & ~0x20) : sxASN_AttributeValue::otherCid;
  return choice != sxASN_AttributeValue::otherCid && choice != sxASN_AttributeValue::identifierCid;
}

}  // namespace

bool sxFlatName::Read(const unsigned char *der, uint32_t len, bool decoded) {
  m_avas.clear();
  m_numRdns = 0;
  const unsigned char *pos = der;
  const unsigned char *const end = der + len;
  sxPlainElement name;
  if (!sxReadPlain(pos, end, kSequence, &name) || pos != end) return false;
  m_avas.reserve(8);
  sxPlainElement rdn;
  for (pos = name.content.data; pos < name.content.End(); ++m_numRdns) {
    if (!sxReadPlain(pos, name.content.End(), kSet, &rdn) || !ReadRdn(rdn.content.data, rdn.content.End(), decoded)) {
      m_avas.clear();
      m_numRdns = 0;
      return false;
    }
  }
  return true;
}

bool sxFlatName::ReadRdn(const unsigned char *pos, const unsigned char *end, bool decoded) {
  sxPlainElement ava;
  while (pos < end) {
    if (!sxReadPlain(pos, end, kSequence, &ava) || !ReadAva(ava.content.data, ava.content.End(), decoded)) {
      return false;
    }
  }
  return true;
}

bool sxFlatName::ReadAva(const unsigned char *pos, const unsigned char *end, bool decoded) {
  sxPlainElement type;
  sxPlainElement value;
  if (!sxReadPlain(pos, end, kOid, &type) || type.content.len == 0) return false;
  const unsigned char *const valueStart = pos;
  if (!sxReadPlain(pos, end, &value) || pos != end || IsConstructedString(value.tag)) {
    if (!decoded) return false;
    // The codec writes open types as they came in: indefinite lengths, identifiers of several octets.
    m_avas.push_back({m_numRdns, sxASN_AttributeValue::otherCid, type.content.data, type.content.len,
                      static_cast<uint32_t>(end - valueStart), valueStart});
    return true;
  }
  const int choice = ChoiceOf(value.tag);
  if (choice == sxASN_AttributeValue::identifierCid && value.content.len == 0) return false;
  if (choice == sxASN_AttributeValue::bitStringCid) {
    const sxSpan &bits = value.content;
    if (bits.len == 0 || bits.data[0] > 7 || (bits.len == 1 && bits.data[0] != 0)) return false;
    value.content = {bits.data + 1, bits.len - 1};
  }
  m_avas.push_back({m_numRdns, choice, type.content.data, type.content.len, value.content.len, value.content.data});
  return true;
}

sxFlatName::Range sxFlatName::Next(const Range &previous, uint32_t rdn) const {
  Range range = {previous.end, previous.end};
  while (range.end < End().end && range.end->rdn == rdn) ++range.end;
  return range;
}

sxFlatName::Range sxFlatName::Previous(const Range &next, uint32_t rdn) const {
  Range range = {next.begin, next.begin};
  while (range.begin > Start().begin && range.begin[-1].rdn == rdn) --range.begin;
  return range;
}
