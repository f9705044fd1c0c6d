#include "kxcert/enroll/kxControls.h"

#include "cert/sxExtension_imp.h"
#include "foundation/textOutput.h"
#include "kxcert/asn1/modules/EnrollmentMessageSyntax.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/foundation/textStream.h"

constinit const sxAsnOid sxASN_id_regCtrl_oldCertID({1, 3, 6, 1, 5, 5, 7, 5, 1, 5});
constinit const sxAsnOid sxASN_id_cmc_cMCStatusInfo({1, 3, 6, 1, 5, 5, 7, 7, 1});
constinit const sxAsnOid sxASN_id_cmc_identification({1, 3, 6, 1, 5, 5, 7, 7, 2});
constinit const sxAsnOid sxASN_id_cmc_identityProof({1, 3, 6, 1, 5, 5, 7, 7, 3});

namespace {

// The only value of an attribute's SET OF; null when there are none or several, or the value is of another class.
template <class Set>
auto *Only(const sxAsnType &value) {
  const auto *const set = value.Info() == &Set::kInfo ? static_cast<const Set *>(&value) : nullptr;
  return set == nullptr || set->Count() != 1 ? nullptr : &*set->begin();
}

kxControl *NewStatusInfo(const sxAsnType &value) {
  const sxASN_CMCStatusInfo *const tree = Only<sxASN_CMCStatusInfoSetOf>(value);
  return tree == nullptr ? nullptr : new kxCMCStatusInfo(*tree);
}

kxControl *NewIdentification(const sxAsnType &value) {
  const sxAsnUTF8String *const text = Only<sxASN_IdentificationSetOf>(value);
  if (text == nullptr) return nullptr;
  return new kxCMCIdentification({reinterpret_cast<const char *>(text->Data()), static_cast<size_t>(text->Len())});
}

kxControl *NewIdentProof(const sxAsnType &value) {
  const sxAsnOcts *const octets = Only<sxASN_IdentityProofSetOf>(value);
  if (octets == nullptr) return nullptr;
  return new kxCMCIdentProof(kxBinBuf(octets->Data(), static_cast<unsigned int>(octets->Len())));
}

// No class is registered for this type, so that the codec has kept its octets.
kxControl *NewOldCertId(const sxAsnType &value) {
  sxASN_CertId tree;
  if (value.Info() == &sxASN_CertId::kInfo) {
    tree.CopyFrom(value);
  } else {
    if (value.Info() != &sxAsnRawAny::kInfo) return nullptr;
    const auto &raw = static_cast<const sxAsnRawAny &>(value);
    if (sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(raw.Data()), raw.Len()) != 0) return nullptr;
  }
  return new kxOldCertId(tree);
}

struct KindRow {
  const sxAsnOid *type;
  kxControl *(*make)(const sxAsnType &value);  ///< null: the value is not of that kind
};
constexpr KindRow kKinds[] = {
    {&sxASN_id_regCtrl_oldCertID, NewOldCertId},
    {&sxASN_id_cmc_cMCStatusInfo, NewStatusInfo},
    {&sxASN_id_cmc_identification, NewIdentification},
    {&sxASN_id_cmc_identityProof, NewIdentProof},
};

kxControl *NewControl(const sxAsnOid &type, const sxAsnType &value) {
  for (const KindRow &row : kKinds) {
    kxControl *const control = row.type->OidEquiv(type) ? row.make(value) : nullptr;
    if (control != nullptr) return control;
  }
  return new kxOtherControl(value);
}

}  // namespace

void kxControl::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void kxControl::Herror() const { sxHerrorOf(*this, 0); }

kxControlsList &kxControlsList::operator=(const kxControlsList &other) {
  if (this != &other) *this = kxControlsList(other);
  return *this;
}

kxControlsList &kxControlsList::operator=(kxControlsList &&other) noexcept {
  std::swap(m_first, other.m_first);
  std::swap(m_last, other.m_last);
  return *this;
}

void kxControlsList::Clear() {
  m_last = nullptr;
  while (m_first != nullptr) {
    const std::unique_ptr<Item> item(m_first);
    m_first = item->next;
  }
}

void kxControlsList::Add(const sxAsnOid &type, kxControl *control) {
  if (control == nullptr) return;
  std::unique_ptr<kxControl> owned(control);
  auto *const item = new Item{type, std::move(owned), nullptr};
  (m_last == nullptr ? m_first : m_last->next) = item;
  m_last = item;
}

const kxControl *kxControlsList::Find(const sxAsnOid &type) const {
  for (const Item *item = m_first; item != nullptr; item = item->next) {
    if (item->type.OidEquiv(type)) return item->control.get();
  }
  return nullptr;
}

kxControlsList &kxControlsList::operator+=(const kxControlsList &other) {
  const Item *const last = other.m_last;  // what is appended here may be behind it
  for (const Item *item = other.m_first; item != nullptr; item = item->next) {
    Add(item->type, item->control->Clone());
    if (item == last) break;
  }
  return *this;
}

void kxControlsList::Set(const sxASN_Controls *controls) {
  kxControlsList read;
  if (controls != nullptr) {
    for (const sxASN_AttributeTypeAndValue1 &control : *controls) {
      const sxAsnType *const value = control.value == nullptr ? nullptr : control.value->Value();
      if (control.type != nullptr && value != nullptr) read.Add(*control.type, NewControl(*control.type, *value));
    }
  }
  *this = std::move(read);
}

sxASN_Controls *kxControlsList::NewTree() const {
  if (IsEmpty()) return nullptr;
  auto controls = std::make_unique<sxASN_Controls>();
  for (const Item *item = m_first; item != nullptr; item = item->next) {
    sxASN_AttributeTypeAndValue1 &control = *controls->Append();
    control.type = new sxAsnOid(item->type);
    control.value = new sxAsnAny(item->type, item->control->NewValue());
  }
  return controls.release();
}

void kxControlsList::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  for (const Item *item = m_first; item != nullptr; item = item->next) {
    out->Indent(indent);
    out->Printf("Control %s:\n", sxOidText(item->type).c_str());
    item->control->Sprint(out, indent + 1);
  }
}

void kxControlsList::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void kxControlsList::Herror() const { sxHerrorOf(*this, 0); }
