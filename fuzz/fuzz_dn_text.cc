// Texts of names. What parses has a text and an encoding; the encoding is the same name again, and
// so is the text, unless it holds what printing and parsing treat differently by intent
// (nameRoundTrip.h).
#include <cstdint>
#include <string>

#include "check.h"
#include "nameRoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string input(reinterpret_cast<const char *>(data), size);
  const char *const text = input.c_str();  // up to its first NUL
  const sxDN dn(text);
  const char *const printed = dn.GetStr();
  KX_ASSERT((dn.GetName() == nullptr) == (printed == nullptr));  // every value of a text has one
  KX_ASSERT((sxDN_IsLegalDN(text) == 1) == (printed != nullptr && *printed != '\0'));
  if (printed == nullptr) return 0;
  KX_ASSERT(dn.GetStr_ascii() != nullptr);
  KX_ASSERT(dn.Equal(dn) && dn.IsSub(dn));

  unsigned char *der = nullptr;
  int derLen = 0;
  if (dn.DerEncode(&der, &derLen) == 0) {
    const sxDN decoded(der, derLen);
    KX_ASSERT(decoded.Equal(dn) && decoded.Hash() == dn.Hash());
  }
  if (!NameRoundTrips(dn)) return 0;
  const sxDN again(printed);
  KX_ASSERT(again.Equal(dn) && again.Hash() == dn.Hash());
  KX_ASSERT(std::string(printed) == again.GetStr());
  return 0;
}
