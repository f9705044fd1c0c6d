// The plain functions over names: texts in, texts out.
#include <cstring>
#include <string>

#include "kxcert/platform/log.h"
#include "sxDN_imp.h"

namespace {

// The printed form when there is one and it is not empty, else null.
const char *PrintedOrNull(const sxDN &dn) {
  const char *text = dn.GetStr();
  return text != nullptr && *text != '\0' ? text : nullptr;
}

int CopyOut(const char *text, char *out, int outLen) {
  const size_t len = std::strlen(text);
  if (len >= static_cast<size_t>(outLen)) return -1;
  std::memcpy(out, text, len + 1);
  return 0;
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

int sxDN_IsLegalDN(const char *text) {
  return text != nullptr && PrintedOrNull(sxDN(text)) != nullptr ? 1 : 0;
}

int sxDN_add_CN(const char *dn, const char *cn, char *out, int outLen) {
  if (dn == nullptr || cn == nullptr || out == nullptr || outLen < 1) return -1;
  const sxDN old(dn);
  const char *printed = PrintedOrNull(old);
  if (printed == nullptr) return herror_func(0, 0, "sxDN_add_CN: dn is illegal"), -1;
  const sxDN longer((std::string(cn) + "," + printed).c_str());
  printed = PrintedOrNull(longer);
  if (printed == nullptr) return herror_func(0, 0, "sxDN_add_CN: new dn is illegal"), -1;
  if (CopyOut(printed, out, outLen) == 0) return 0;
  return herror_func(0, 0, "sxDN_add_CN: new_dn len is too short"), -1;
}

int sxDN_remove_CN(const char *dn, char *out, int outLen) {
  if (dn == nullptr || out == nullptr || outLen < 1) return -1;
  sxDN name(dn);
  if (PrintedOrNull(name) == nullptr) return herror_func(0, 0, "sxDN_remove_CN: dn_s is not dn"), -1;
  name.RemoveCN();
  const char *printed = PrintedOrNull(name);
  if (printed == nullptr) return herror_func(0, 0, "sxDN_remove_CN: no dn after remove cn"), -1;
  if (CopyOut(printed, out, outLen) == 0) return 0;
  return herror_func(0, 0, "sxDN_remove_CN: new_dn  len is too short"), -1;
}

int sxDN_OU_from_string(const char *dn, char *buf, int len) {
  return dn == nullptr || buf == nullptr || len < 1 ? -1 : sxDN(dn).GetOU(buf, len);
}

int sxDN_CN_from_string(const char *dn, char *buf, int len) {
  return dn == nullptr || buf == nullptr || len < 1 ? -1 : sxDN(dn).GetCN(buf, len);
}

int sxDN_contains_suffix(const char *dn, const char *suffix) {
  if (dn == nullptr || suffix == nullptr) return -1;
  return sxDN(dn).IsSub(sxDN(suffix)) ? 1 : 0;
}

int sxDN_cmp_strings(const char *a, const char *b) {
  return a != nullptr && b != nullptr && sxDN(a).Equal(sxDN(b)) ? 1 : 0;
}
