#include "generalNameForms.h"

#include <algorithm>
#include <bit>
#include <string_view>

#include "issueRules.h"
#include "kxcert/foundation/address.h"
#include "nameSyntax.h"
#include "strictDer.h"

namespace {

constexpr size_t kIp4Len = 4, kIp6Len = 16;

std::string_view TextOf(sxOctetView octets) { return {reinterpret_cast<const char *>(octets.data()), octets.size()}; }

//   AnotherName ::= SEQUENCE { type-id OBJECT IDENTIFIER, value [0] EXPLICIT ANY }
bool IsOther(sxOctetView content) {
  sxDerReader fields(content), value;
  sxOctetView type;
  sxDerElement any;
  return fields.Take(kDerOid, &type) && fields.Enter(DerContextConstructed(0), &value) && fields.AtEnd() &&
         value.Take(&any) && value.AtEnd();
}

//   EDIPartyName ::= SEQUENCE { nameAssigner [0] DirectoryString OPTIONAL, partyName [1] DirectoryString }
bool IsEdiParty(sxOctetView content) {
  sxDerReader fields(content);
  const auto takeString = [&fields](int tag) {
    sxDerReader inside;
    sxDerElement string;
    return fields.Enter(tag, &inside) && inside.Take(&string) && inside.AtEnd() && !string.content.empty();
  };
  if (fields.NextIs(DerContextConstructed(0)) && !takeString(DerContextConstructed(0))) return false;
  return takeString(DerContextConstructed(1)) && fields.AtEnd();
}

// RFC 4632, 3.1: ones, then zeros.
bool IsMask(sxOctetView mask) {
  bool hasEnded = false;
  for (const unsigned char octet : mask) {
    const int ones = std::countl_one(octet);
    if (hasEnded ? octet != 0 : static_cast<unsigned char>(octet << ones) != 0) return false;
    hasEnded |= octet != 0xFF;
  }
  return true;
}

bool IsAddress(sxOctetView octets, sxNameUse use) {
  if (use == sxNameUse::kName) return octets.size() == kIp4Len || octets.size() == kIp6Len;
  if (octets.size() != 2 * kIp4Len && octets.size() != 2 * kIp6Len) return false;
  return IsMask(octets.subspan(octets.size() / 2));
}

struct KindRow {
  bool isConstructed;
  const char *fault;
};
// By kind. An ORAddress begins with a SEQUENCE (RFC 5280, A.1).
constexpr KindRow kKinds[] = {
    {true, "an other name that is none"},
    {false, "a mail address that is none"},
    {false, "a DNS name that is none"},
    {true, "an X.400 address that is none"},
    {true, "a directory name that is none, or empty"},
    {true, "an EDI party name that is none"},
    {false, "a URI that is not absolute, or has no host"},
    {false, "an address that is none"},
    {false, "a registered identifier that is none"},
};
static_assert(sizeof kKinds / sizeof kKinds[0] == static_cast<size_t>(sxNameKind::kOid) + 1);

}  // namespace

bool sxIsNameOfKind(sxNameKind kind, sxOctetView content, sxNameUse use) {
  const bool isBase = use == sxNameUse::kBase;
  const std::string_view text = TextOf(content);
  switch (kind) {
    case sxNameKind::kEmail: return isBase ? sxIsNameBase(text) : sxIsMailbox(text);
    case sxNameKind::kDns: return isBase ? sxIsNameBase(text) : sxIsDnsName(text);
    case sxNameKind::kUri: return isBase ? sxIsNameBase(text) : sxIsAbsoluteUri(text);
    case sxNameKind::kDn: return (isBase || !sxIsEmptyName(content)) && sxIsNameForm(content);
    case sxNameKind::kIp: return IsAddress(content, use);
    case sxNameKind::kOid: return sxIsStrictContent(kDerOid, content);
    case sxNameKind::kOther: return IsOther(content);
    case sxNameKind::kX400: return sxDerReader(content).NextIs(kDerSequence);
    case sxNameKind::kEdi: return IsEdiParty(content);
  }
  return false;
}

const char *sxNameFault(const sxDerElement &name, sxNameUse use) {
  const int number = name.tag & ~kConstructed & ~kContext;
  if ((name.tag & kPrivate) != kContext || number > static_cast<int>(sxNameKind::kOid)) return "a name of no kind";
  const KindRow &row = kKinds[number];
  const bool isOne = row.isConstructed == ((name.tag & kConstructed) != 0) &&
                     sxIsNameOfKind(static_cast<sxNameKind>(number), name.content, use);
  return isOne ? nullptr : row.fault;
}

std::string sxAddressText(sxOctetView octets) {
  if (octets.size() == kIp6Len) {
    in6_addr_kxt address{};
    std::ranges::copy(octets, address.octets);
    char text[kAddr6TextLen];
    return praddr6(address, text, sizeof text);
  }
  std::string text;
  for (const unsigned char octet : octets) text += (text.empty() ? "" : ".") + std::to_string(octet);
  return text;
}
