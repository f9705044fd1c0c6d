#include "kxcert/enroll/crmfMessages.h"

#include "asn1/der.h"

namespace {

// Bodies whose content is CertReqMessages, by the number of their tag (RFC 4210, 5.1.2).
struct BodyRow {
  int number;
  const char *name;
};
constexpr BodyRow kBodies[] = {{0, "ir"}, {2, "cr"}, {7, "kur"}, {9, "krr"}, {13, "ccr"}};

const BodyRow *FindBody(int tag) {
  for (const BodyRow &row : kBodies) {
    if (DerContextConstructed(row.number) == tag) return &row;
  }
  return nullptr;
}

// By their first two elements: a list begins with a message, a message with a request, which begins with a number
// and a template; a CMP message with a header, which begins with a number and a name.
enum class Kind { kNone, kMessage, kList, kCmp };

Kind KindOf(sxDerReader content) {
  sxDerReader first;
  sxDerElement number;
  if (!content.Enter(kDerSequence, &first)) return Kind::kNone;
  if (first.NextIs(kDerSequence)) return Kind::kList;
  if (!first.Take(kDerInteger, &number)) return Kind::kNone;
  return first.NextIs(kDerSequence) ? Kind::kMessage : Kind::kCmp;
}

}  // namespace

kxCrmfMessages::kxCrmfMessages(const unsigned char *der, int len) {
  sxDerReader all(sxView(der, len)), content;
  m_error = "no certificate request message";
  if (!all.Enter(kDerSequence, &content) || !all.AtEnd()) return;
  switch (KindOf(content)) {
    case Kind::kNone: return;
    case Kind::kMessage: m_messages.push_back(sxView(der, len)); break;
    case Kind::kList:
      if (!Split(content.Rest())) return;
      break;
    case Kind::kCmp: {
      sxDerElement header, body;
      sxDerReader list;
      if (!content.Take(&header) || !content.Take(&body)) return;
      const BodyRow *const row = FindBody(body.tag);
      if (row == nullptr) {
        m_error = "a CMP message without certificate requests";
        return;
      }
      sxDerReader inside(body.content);
      if (!inside.Enter(kDerSequence, &list) || !inside.AtEnd() || !Split(list.Rest())) return;
      m_carrier = row->name;
    }
  }
  m_error = "";
}

bool kxCrmfMessages::Split(sxOctetView list) {
  sxDerElement message;
  for (sxDerReader each(list); !each.AtEnd();) {
    if (Count() == kMaxCrmfMessages) m_error = "too many certificate request messages";
    if (Count() == kMaxCrmfMessages || !each.Take(kDerSequence, &message)) return m_messages.clear(), false;
    m_messages.push_back(message.whole);
  }
  return Count() > 0;
}

std::span<const unsigned char> kxCrmfMessages::Get(int i) const {
  return i < 0 || i >= Count() ? sxOctetView() : m_messages[static_cast<size_t>(i)];
}
