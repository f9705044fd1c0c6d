// The plain functions over names: texts in, texts out.
#include <string>

#include "kxcert/asn1/oids.h"
#include "kxcert/platform/log.h"
#include "peerText.h"
#include "sxDN_imp.h"

namespace {

// The printed form when there is one and it is not empty, else null.
const char *PrintedOrNull(const sxDN &dn) {
  const char *text = dn.GetStr();
  return text != nullptr && *text != '\0' ? text : nullptr;
}

// Most specific first, as everywhere.
int ReadAttribute(const char *func, const char *dn, const sxAsnOid &type, char *buf, int len) {
  if (dn == nullptr || buf == nullptr || len < 1) return -1;
  return sxDN(dn).GetP()->GetRDN(func, type, buf, len);
}

}  // namespace

const char *sxDN_GetStr(sxDN *dn) { return dn == nullptr ? nullptr : dn->GetStr(); }

void sxDN_Free(sxDN *dn) { delete dn; }

sxDN *sxDN_DER_Decode(const unsigned char *der, int len) {
  if (der == nullptr || len < 1) return nullptr;
  auto dn = std::make_unique<sxDN>(der, len);
  if (!dn->GetP()->HasName()) {
    herror_func(0, 0, "sxDN_DER_Decode: error decoding DN");
    return nullptr;
  }
  return dn.release();
}

int sxDN_IsLegalDN(const char *text) { return text != nullptr && PrintedOrNull(sxDN(text)) != nullptr ? 1 : 0; }

int sxDN_add_CN(const char *dn, const char *cn, char *out, int outLen) {
  if (dn == nullptr || cn == nullptr || out == nullptr || outLen < 1) return -1;
  const sxDN old(dn);
  const char *printed = PrintedOrNull(old);
  if (printed == nullptr) return herror_func(0, 0, "sxDN_add_CN: dn is illegal"), -1;
  const sxDN longer((std::string(cn) + "," + printed).c_str());
  printed = PrintedOrNull(longer);
  if (printed == nullptr) return herror_func(0, 0, "sxDN_add_CN: new dn is illegal"), -1;
  if (sxHandOut("sxDN_add_CN", printed, out, outLen) == 0) return 0;
  return herror_func(0, 0, "sxDN_add_CN: new_dn len is too short"), -1;
}

int sxDN_remove_CN(const char *dn, char *out, int outLen) {
  if (dn == nullptr || out == nullptr || outLen < 1) return -1;
  sxDN name(dn);
  if (PrintedOrNull(name) == nullptr) return herror_func(0, 0, "sxDN_remove_CN: dn_s is not dn"), -1;
  name.RemoveCN();
  const char *printed = PrintedOrNull(name);
  if (printed == nullptr) return herror_func(0, 0, "sxDN_remove_CN: no dn after remove cn"), -1;
  if (sxHandOut("sxDN_remove_CN", printed, out, outLen) == 0) return 0;
  return herror_func(0, 0, "sxDN_remove_CN: new_dn  len is too short"), -1;
}

int sxDN_OU_from_string(const char *dn, char *buf, int len) {
  return ReadAttribute("sxDN_OU_from_string", dn, sxASN_id_at_organizationalUnitName, buf, len);
}

int sxDN_CN_from_string(const char *dn, char *buf, int len) {
  return ReadAttribute("sxDN_CN_from_string", dn, sxASN_id_at_commonName, buf, len);
}

int sxDN_contains_suffix(const char *dn, const char *suffix) {
  if (dn == nullptr || suffix == nullptr) return -1;
  return sxDN(dn).IsSub(sxDN(suffix)) ? 1 : 0;
}

int sxDN_cmp_strings(const char *a, const char *b) {
  return a != nullptr && b != nullptr && sxDN(a).Equal(sxDN(b)) ? 1 : 0;
}
