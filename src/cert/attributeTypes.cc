#include "attributeTypes.h"

#include <strings.h>

#include <cstring>
#include <memory>

#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/platform/log.h"
#include "peerText.h"

namespace {

constexpr char kOidPrefix[] = "OID.";
constexpr size_t kOidPrefixLen = sizeof kOidPrefix - 1;
constexpr int kMaxDotted = 252;

// Dotted decimal: up to eleven arcs, without overflow checks; an empty arc list is accepted.
std::unique_ptr<sxAsnOid> ParseDotted(const char *text) {
  int arcs[kMaxOidArcs];
  for (int &arc : arcs) arc = -1;
  int numArcs = 0;
  const char *pos = text;
  while (*pos != '\0') {
    if (*pos < '0' || *pos > '9' || numArcs == kMaxOidArcs) {
      herror_func(0, 0, "sxNUM2OID: parse error at %s", pos);
      return nullptr;
    }
    unsigned int arc = 0;
    for (; *pos >= '0' && *pos <= '9'; ++pos) arc = arc * 10 + static_cast<unsigned int>(*pos - '0');
    arcs[numArcs++] = static_cast<int>(arc);
    if (*pos == '.') {
      ++pos;
    } else if (*pos != '\0') {
      herror_func(0, 0, "sxNUM2OID: parse error at %s", pos);
      return nullptr;
    }
  }
  auto oid = std::make_unique<sxAsnOid>();
  // Arcs are encoded here and not by Set, which takes signed arcs and announces eleven of them.
  unsigned char content[5 * kMaxOidArcs];
  int len = 0;
  const unsigned int first = numArcs > 0 ? static_cast<unsigned int>(arcs[0]) : 0;
  const unsigned int second = numArcs > 1 ? static_cast<unsigned int>(arcs[1]) : 0;
  sxAsnOid::EncVal(content, first * 40 + second, len);
  for (int i = 2; i < numArcs; ++i) sxAsnOid::EncVal(content, static_cast<unsigned int>(arcs[i]), len);
  oid->Set(content, len);
  return oid;
}

}  // namespace

const sxKeywordRow Str2OID_table[] = {
    {&sxASN_id_at_commonName, "CN"},
    {&sxASN_id_at_countryName, "C"},
    {&sxASN_id_at_stateOrProvinceName, "ST"},
    {&sxASN_id_at_organizationName, "O"},
    {&sxASN_id_at_organizationalUnitName, "OU"},
    {&sxASN_id_at_localityName, "L"},
    {&sxASN_id_at_title, "T"},
    {&sxASN_id_at_serialNumber, "serialNumber"},
    {&sxASN_id_at_streetAddress, "STREET"},
    {&sxASN_id_dc, "DC"},
    {&sxASN_emailAddress, "Email"},
    {&sxASN_id_uid, "UID"},
    {&sxASN_id_principalName, "principalName"},
    {nullptr, nullptr},
};

bool sxAppendKeyword(const unsigned char *content, int contentLen, std::string *text) {
  for (const sxKeywordRow *row = Str2OID_table; row->oid != nullptr; ++row) {
    if (row->oid->Len() == contentLen && std::memcmp(row->oid->Data(), content, static_cast<size_t>(contentLen)) == 0) {
      *text += row->keyword;
      return true;
    }
  }
  sxAsnOid oid;
  oid.Set(content, contentLen);
  char dotted[kMaxDotted + 1];
  if (oid.GetStr(dotted, sizeof dotted) != 0) return false;
  *text += kOidPrefix;
  *text += dotted;
  return true;
}

sxAsnOid *sxDN_Str2OID(const char *keyword) {
  if (keyword == nullptr) return nullptr;
  for (const sxKeywordRow *row = Str2OID_table; row->oid != nullptr; ++row) {
    if (strcasecmp(row->keyword, keyword) == 0) return static_cast<sxAsnOid *>(row->oid->Dup());
  }
  if (strncasecmp(keyword, kOidPrefix, kOidPrefixLen) != 0) return nullptr;
  return ParseDotted(keyword + kOidPrefixLen).release();
}

int sxDN_OID2Str(const sxAsnOid &type, char *buf, int len) {
  std::string text;
  if (buf == nullptr || !sxAppendKeyword(type.Data(), type.Len(), &text)) return -1;
  return sxHandOut("sxDN_OID2Str", text, buf, len) == 0 ? static_cast<int>(text.size()) : -1;
}
