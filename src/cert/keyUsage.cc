// KeyUsage (RFC 5280, 4.2.1.3).
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/textStream.h"
#include "sxExtension_imp.h"

namespace {

constexpr int kMaxUsageBits = 32;  // of the number; further bits of an extension are dropped

constexpr const char *kUsages[] = {
    "digitalSignature", "nonRepudiation", "keyEncipherment", "dataEncipherment", "keyAgreement",
    "keyCertSign",      "cRLSign",        "encipherOnly",    "decipherOnly",
};
static_assert(sizeof kUsages / sizeof kUsages[0] == sxKU_decipherOnly + 1);

}  // namespace

class sxKeyUsage_imp : public sxExtension_imp {
 public:
  static constexpr const char *kName = "Key Usage";

  explicit sxKeyUsage_imp(unsigned int bits) : m_bits(bits) {}

  const char *ExtName() const override { return kName; }
  void Herror() const override { sxExtension_imp::Herror(); }
  void Fprint(FILE *out, int indent) const override { sxExtension_imp::Fprint(out, indent); }
  void Sprint(SxStream *out, int indent) const override;
  sxExtension_imp *Clone() const override { return new sxKeyUsage_imp(*this); }
  sxExtension *NewHandle() override { return new sxKeyUsage(std::unique_ptr<sxKeyUsage_imp>(this)); }

  unsigned int KeyUsageBits() const { return m_bits; }

 private:
  unsigned int m_bits;  // bit n is keyUsage bit n
};

namespace {

const sxKeyUsage_imp &Imp(const sxExtension &ext) { return static_cast<const sxKeyUsage_imp &>(*ext.GetP()); }

}  // namespace

void sxKeyUsage_imp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s:", kName);
  const char *separator = " ";
  for (int bit = 0; bit <= sxKU_decipherOnly; ++bit) {
    if ((m_bits >> bit & 1) == 0) continue;
    out->Put(separator);
    out->Put(kUsages[bit]);
    separator = ",";
  }
  out->Put("\n");
}

sxExtension *sxParseKeyUsage(const sxASN_Extension &ext, int &understood) {
  sxASN_KeyUsage value;
  if (sxParseExtension(value, &ext) != 0) return nullptr;
  unsigned int bits = 0;
  for (int bit = 0; bit < value.BitLen() && bit < kMaxUsageBits; ++bit) {
    if (value.GetBit(bit) == 1) bits |= 1U << bit;
  }
  understood = 1;
  return new sxKeyUsage(bits);
}

sxASN_Extension *sxComposeKeyUsage(const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, sxKeyUsage_imp::kName)) return nullptr;
  const unsigned int bits = Imp(ext).KeyUsageBits();
  int bitLen = kMaxUsageBits;
  while (bitLen > 0 && (bits >> (bitLen - 1) & 1) == 0) --bitLen;  // X.690 11.2.2: no trailing zero bits
  sxASN_KeyUsage value(bitLen);
  for (int bit = 0; bit < bitLen; ++bit) {
    if ((bits >> bit & 1) != 0) value.SetBit(bit);
  }
  return sxNewExtension(value, sxASN_id_ce_keyUsage, critical);
}

sxKeyUsage::sxKeyUsage(unsigned int bits) : sxExtension(new sxKeyUsage_imp(bits)) {}
sxKeyUsage::sxKeyUsage(std::unique_ptr<sxKeyUsage_imp> imp) : sxExtension(imp.release()) {}
unsigned int sxKeyUsage::KeyUsageBits() const { return Imp(*this).KeyUsageBits(); }
const char *sxKeyUsage::KeyusageStr(int bit) { return kUsages[bit]; }
