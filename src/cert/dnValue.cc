#include "dnValue.h"

#include "foundation/fnv.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/platform/log.h"
#include "peerText.h"
#include "platform/textForms.h"

namespace {

constexpr std::string_view kEscaped = ",+=\n<>#;";

// One look-up for each octet of every printed name.
struct EscapedTable {
  bool is[256] = {};
  constexpr EscapedTable() {
    for (const char c : kEscaped) is[static_cast<unsigned char>(c)] = true;
  }
};
constexpr EscapedTable kIsEscaped;

int FoldCase(unsigned char octet) { return octet >= 'A' && octet <= 'Z' ? octet + ('a' - 'A') : octet; }

void AppendUtf8(unsigned unit, std::string *text) {
  if (unit < 0x80) {
    *text += static_cast<char>(unit);
  } else if (unit < 0x800) {
    *text += {static_cast<char>(0xC0 | unit >> 6), static_cast<char>(0x80 | (unit & 0x3F))};
  } else {  // surrogates are units like any other
    *text += {static_cast<char>(0xE0 | unit >> 12), static_cast<char>(0x80 | (unit >> 6 & 0x3F)),
              static_cast<char>(0x80 | (unit & 0x3F))};
  }
}

// The characters of a text as comparisons see them: folded, spaces at the ends dropped, each run of
// spaces one space.
class FoldedText {
 public:
  explicit FoldedText(std::string_view text) : m_pos(text.data()), m_end(text.data() + text.size()) {
    while (m_pos < m_end && *m_pos == ' ') ++m_pos;
    while (m_end > m_pos && m_end[-1] == ' ') --m_end;
  }
  int Next() {  // -1 at the end
    if (m_pos == m_end) return -1;
    const int folded = FoldCase(static_cast<unsigned char>(*m_pos++));
    if (folded == ' ') {
      while (*m_pos == ' ') ++m_pos;  // stops: the last character is not a space
    }
    return folded;
  }

 private:
  const char *m_pos;
  const char *m_end;
};

}  // namespace

bool sxValueOctets(const sxAva &ava, sxValueText *out) {
  out->octets = {reinterpret_cast<const char *>(ava.value), ava.valueLen};
  out->raw = false;
  switch (ava.choice) {
    case sxASN_AttributeValue::teletexStringCid:
    case sxASN_AttributeValue::printableStringCid:
    case sxASN_AttributeValue::utf8StringCid:
    case sxASN_AttributeValue::ia5StringCid: return true;
    case sxASN_AttributeValue::bmpStringCid:
      if (ava.valueLen % 2 != 0) {
        herror_func(0, 0, "sxBMPString2UTF8 odd length %d", static_cast<int>(ava.valueLen));
        out->raw = true;
        return true;
      }
      for (uint32_t i = 0; i < ava.valueLen; i += 2) {
        AppendUtf8(static_cast<unsigned>(ava.value[i]) << 8 | ava.value[i + 1], &out->converted);
      }
      out->octets = out->converted;
      return true;
    case sxASN_AttributeValue::universalStringCid: out->raw = true; return true;
    case sxASN_AttributeValue::bitStringCid:
      tderrorFunc("CERT", 5, 0, "sxAvaStr: choice type bitStringCid: %d", ava.choice);
      out->raw = true;
      return true;
    default: herror_func(0, 0, "sxAvaStr: unknown choice type %d", ava.choice); return false;
  }
}

bool sxValueHoldsNul(const sxAva &ava) {
  sxValueText value;
  return sxValueOctets(ava, &value) && !value.raw && sxHoldsNul(value.octets);
}

bool sxAppendValue(const sxAva &ava, bool ascii, std::string *text) {
  sxValueText value;
  if (!sxValueOctets(ava, &value)) return false;
  bool hex = value.raw || sxHoldsNul(value.octets);
  if (ascii && !hex) {
    for (const char c : value.octets)
      hex |= static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7F;
  }
  if (hex) {
    *text += '#';
    for (const char c : value.octets) kxAppendHex(text, static_cast<unsigned char>(c));
    return true;
  }
  // Backslash, quote and spaces at the ends stay as they are: intended, though the parser reads them
  // differently. data/cert/names.txt holds it.
  size_t done = 0;
  for (size_t i = 0; i < value.octets.size(); ++i) {
    if (!kIsEscaped.is[static_cast<unsigned char>(value.octets[i])]) continue;
    text->append(value.octets, done, i - done);
    *text += '\\';
    done = i;
  }
  text->append(value.octets, done);
  return true;
}

bool sxAttrValEqual(const sxAva &a, const sxAva &b) {
  sxValueText left;
  sxValueText right;
  if (!sxValueOctets(a, &left) || !sxValueOctets(b, &right) || left.raw != right.raw) return false;
  if (left.raw) {
    if (a.choice != b.choice || left.octets.size() != right.octets.size()) return false;
    for (size_t i = 0; i < left.octets.size(); ++i) {
      if (FoldCase(static_cast<unsigned char>(left.octets[i])) !=
          FoldCase(static_cast<unsigned char>(right.octets[i]))) {
        return false;
      }
    }
    return true;
  }
  if (left.octets == right.octets) return true;
  FoldedText one(left.octets);
  FoldedText other(right.octets);
  for (;;) {
    const int c = one.Next();
    if (c != other.Next()) return false;
    if (c < 0) return true;
  }
}

uint64_t sxAttrValHash(const sxAva &ava) {
  kxFnv1a<uint64_t> hash;
  sxValueText value;
  if (!sxValueOctets(ava, &value)) return hash.value;
  if (value.raw) {
    hash.Add(static_cast<unsigned>(0x100 + ava.choice));
    for (const char c : value.octets) hash.Add(static_cast<unsigned>(FoldCase(static_cast<unsigned char>(c))));
    return hash.value;
  }
  FoldedText text(value.octets);
  for (int c = text.Next(); c >= 0; c = text.Next()) hash.Add(static_cast<unsigned>(c));
  return hash.value;
}

bool sxAppendValueKey(const sxAva &ava, std::string *key) {
  sxValueText value;
  if (!sxValueOctets(ava, &value)) return false;
  if (value.raw) {
    *key += {'#', static_cast<char>(ava.choice)};
    for (const char c : value.octets) *key += static_cast<char>(FoldCase(static_cast<unsigned char>(c)));
    return true;
  }
  *key += '"';
  FoldedText text(value.octets);
  for (int c = text.Next(); c >= 0; c = text.Next()) *key += static_cast<char>(c);
  return true;
}
