// The device extensions, under the product's own arc: a UTF8String each.
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/asn1/sxAsnOcts.h"
#include "kxcert/foundation/textStream.h"
#include "sxExtension_imp.h"

namespace {

struct DeviceRow {
  const sxAsnOid *oid;
  const char *title;
};

constexpr DeviceRow kDeviceRows[] = {
    // by e_DeviceDataType
    {&sxASN_id_pki_extension_device_id, "Device Id"},
    {&sxASN_id_pki_extension_device_type, "Device Type"},
    {&sxASN_id_pki_extension_device_name, "Device Name"},
};
static_assert(sizeof kDeviceRows / sizeof kDeviceRows[0] == e_DeviceName + 1);

}  // namespace

class sxExtDeviceData_imp : public sxExtension_imp {
 public:
  static constexpr const char *kName = "Device Data";

  sxExtDeviceData_imp(e_DeviceDataType type, const sxAsnUTF8String &text) : m_type(type), m_text(text) {}

  const char *ExtName() const override { return kName; }
  void Herror() const override { sxExtension_imp::Herror(); }
  void Fprint(FILE *out, int indent) const override { sxExtension_imp::Fprint(out, indent); }
  void Sprint(SxStream *out, int indent) const override;
  sxExtension_imp *Clone() const override { return new sxExtDeviceData_imp(*this); }
  sxExtension *NewHandle() override { return new sxExtDeviceData(std::unique_ptr<sxExtDeviceData_imp>(this)); }

  e_DeviceDataType Type() const { return m_type; }
  const sxAsnUTF8String &Text() const { return m_text; }

 private:
  e_DeviceDataType m_type;
  sxAsnUTF8String m_text;
};

namespace {

const sxExtDeviceData_imp &Imp(const sxExtension &ext) { return static_cast<const sxExtDeviceData_imp &>(*ext.GetP()); }

sxAsnUTF8String Utf8(const char *text) {
  sxAsnUTF8String value;
  value.Set(text);
  return value;
}

}  // namespace

void sxExtDeviceData_imp::Sprint(SxStream *out, int indent) const {
  out->Indent(indent);
  out->Printf("%s: ", kDeviceRows[m_type].title);
  for (int i = 0; i < m_text.Len(); ++i) {  // control characters would end the text or the line
    const char c = static_cast<char>(m_text.Data()[i]);
    const bool isControl = m_text.Data()[i] < 0x20 || m_text.Data()[i] == 0x7F;
    out->Put(isControl ? std::string_view(".") : std::string_view(&c, 1));
  }
  out->Put("\n");
}

sxExtension *sxParseDeviceData(const sxASN_Extension &ext, int &understood) {
  int type = e_DeviceId;
  while (type < e_DeviceName && !kDeviceRows[type].oid->OidEquiv(*ext.extnID)) ++type;
  sxAsnUTF8String value;
  if (sxParseExtension(value, &ext) != 0) return nullptr;
  understood = 1;
  return (new sxExtDeviceData_imp(static_cast<e_DeviceDataType>(type), value))->NewHandle();
}

sxASN_Extension *sxComposeDeviceData(const sxExtension &ext, int critical) {
  if (!sxExtensionIs(ext, sxExtDeviceData_imp::kName)) return nullptr;
  sxAsnUTF8String value(Imp(ext).Text());
  return sxNewExtension(value, *kDeviceRows[Imp(ext).Type()].oid, critical);
}

sxExtDeviceData::sxExtDeviceData(e_DeviceDataType type, const char *text)
    : sxExtension(new sxExtDeviceData_imp(type, Utf8(text))) {}
sxExtDeviceData::sxExtDeviceData(std::unique_ptr<sxExtDeviceData_imp> imp) : sxExtension(imp.release()) {}
e_DeviceDataType sxExtDeviceData::Type() const { return Imp(*this).Type(); }
const sxAsnUTF8String *sxExtDeviceData::getAsAsn1Utf8String() const { return &Imp(*this).Text(); }
