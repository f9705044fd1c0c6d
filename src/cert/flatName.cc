#include "flatName.h"

#include "kxcert/asn1/modules/PKIX1Explicit88.h"

namespace {

// The alternative of a value with that identifier.
int ChoiceOf(int tag) {
  switch (tag) {
    case kDerTeletexString: return sxASN_AttributeValue::teletexStringCid;
    case kDerPrintableString: return sxASN_AttributeValue::printableStringCid;
    case kDerUniversalString: return sxASN_AttributeValue::universalStringCid;
    case kDerUtf8String: return sxASN_AttributeValue::utf8StringCid;
    case kDerBmpString: return sxASN_AttributeValue::bmpStringCid;
    case kDerIa5String: return sxASN_AttributeValue::ia5StringCid;
    case kDerOctetString: return sxASN_AttributeValue::octetStringCid;
    case kDerBitString: return sxASN_AttributeValue::bitStringCid;
    case kDerOid: return sxASN_AttributeValue::identifierCid;
    case kDerSequence: return sxASN_AttributeValue::extensionsCid;
    default: return sxASN_AttributeValue::otherCid;
  }
}

// A constructed string is the same alternative as a primitive one and has to be joined first.
bool IsConstructedString(int tag) {
  const int choice = (tag & kConstructed) != 0 ? ChoiceOf(tag & ~kConstructed) : sxASN_AttributeValue::otherCid;
  return choice != sxASN_AttributeValue::otherCid && choice != sxASN_AttributeValue::identifierCid;
}

}  // namespace

bool sxFlatName::Read(sxOctetView der, bool decoded) {
  m_avas.clear();
  m_numRdns = 0;
  sxDerReader all(der), name, rdn;
  if (!all.Enter(kDerSequence, &name) || !all.AtEnd()) return false;
  m_avas.reserve(8);
  for (; !name.AtEnd(); ++m_numRdns) {
    if (!name.Enter(kDerSet, &rdn) || !ReadRdn(rdn, decoded)) {
      m_avas.clear();
      m_numRdns = 0;
      return false;
    }
  }
  return true;
}

bool sxFlatName::ReadRdn(sxDerReader rdn, bool decoded) {
  sxDerReader ava;
  while (!rdn.AtEnd()) {
    if (!rdn.Enter(kDerSequence, &ava) || !ReadAva(ava, decoded)) return false;
  }
  return true;
}

bool sxFlatName::ReadAva(sxDerReader ava, bool decoded) {
  sxOctetView type;
  if (!ava.Take(kDerOid, &type) || type.empty()) return false;
  const auto typeLen = static_cast<uint32_t>(type.size());
  const sxOctetView asItCame = ava.Rest();
  sxDerElement value;
  if (!ava.Take(&value) || !ava.AtEnd() || IsConstructedString(value.tag)) {
    if (!decoded) return false;
    // The codec writes open types as they came in: indefinite lengths, identifiers of several octets.
    m_avas.push_back({m_numRdns, sxASN_AttributeValue::otherCid, type.data(), typeLen,
                      static_cast<uint32_t>(asItCame.size()), asItCame.data()});
    return true;
  }
  const int choice = ChoiceOf(value.tag);
  sxOctetView octets = value.content;
  if (choice == sxASN_AttributeValue::identifierCid && octets.empty()) return false;
  if (choice == sxASN_AttributeValue::bitStringCid) {
    if (octets.empty() || octets[0] > 7 || (octets.size() == 1 && octets[0] != 0)) return false;
    octets = octets.subspan(1);
  }
  m_avas.push_back({m_numRdns, choice, type.data(), typeLen, static_cast<uint32_t>(octets.size()), octets.data()});
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
