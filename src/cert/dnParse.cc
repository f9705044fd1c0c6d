// Text to names: the tokenizer, value types, and the parser over them.
#include <cstring>
#include <memory>
#include <vector>

#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/registry.h"
#include "kxcert/platform/log.h"
#include "sxDN_imp.h"

namespace {

constexpr int kMaxAssertions = 5;  // of one RDN

bool IsSpace(char c) { return c == ' ' || c == '\n'; }

bool IsPrintable(char c) {  // without regard to the locale
  if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) return true;
  // The double quote is no PrintableString character of X.680; it counts here by intent.
  return c != '\0' && std::strchr("'\"()+,-./:=? ", c) != nullptr;
}

// Reads the assertions of one RDN; see the header for what is rewritten where.
class Tokenizer {
 public:
  Tokenizer(char *text, char **keys, char **values, int *count)
      : m_in(text), m_out(text), m_keys(keys), m_values(values), m_count(count), m_max(*count) {
    *count = 0;
  }

  char *Run() {
    char previous = '\0';
    for (; *m_in != '\0'; ++m_in) {
      const char c = *m_in;
      // The test looks at the octet before in the input, so that an escaped backslash escapes too:
      // intended, see docs/formats/dnText.md.
      const bool escaped = previous == '\\';
      previous = c;
      if (m_state == State::kAfterPair) return m_in;
      if (!Take(c, escaped)) return nullptr;
    }
    return AtEnd() ? m_in : nullptr;
  }

 private:
  enum class State { kBeforeKey, kKey, kAfterKey, kBeforeValue, kValue, kQuoted, kAfterQuoted, kAfterPair };

  bool Take(char c, bool escaped) {
    switch (m_state) {
      case State::kBeforeKey: return IsSpace(c) || StartKey(c);
      case State::kKey: return InKey(c);
      case State::kAfterKey:
        if (c == '=') m_state = State::kBeforeValue;
        return c == '=' || IsSpace(c);
      case State::kBeforeValue: return IsSpace(c) || StartValue(c);
      case State::kValue: return InValue(c, escaped);
      case State::kQuoted: return InQuoted(c, escaped);
      case State::kAfterQuoted:
        m_state = c == ',' ? State::kAfterPair : State::kBeforeKey;  // anything else is dropped
        return true;
      case State::kAfterPair: break;
    }
    return true;
  }

  bool AtEnd() {
    if (m_state == State::kValue) *m_out = '\0';  // not trimmed here
    return m_state == State::kValue || m_state == State::kBeforeKey || m_state == State::kAfterQuoted ||
           m_state == State::kAfterPair;
  }

  bool StartKey(char c) {
    if (*m_count >= m_max) {
      herror_func(0, 0, "dn_explode_prefix: Too many assertions in prefix. %d %d", *m_count, m_max);
      return false;
    }
    m_keys[*m_count] = m_out = m_in;
    m_state = State::kKey;
    return InKey(c);  // "=" here makes an empty keyword, which no type has
  }

  bool InKey(char c) {
    if (c != '=' && !IsSpace(c)) {
      *m_out++ = c;
      return true;
    }
    *m_out = '\0';
    m_state = c == '=' ? State::kBeforeValue : State::kAfterKey;
    return true;
  }

  bool StartValue(char c) {
    // A quoted value is stored from the quote's own place on, so that writing never passes reading.
    m_values[(*m_count)++] = m_out = m_in;
    m_state = c == '"' ? State::kQuoted : State::kValue;
    if (c != '"') Store(c, false);  // also a comma: unquoted values are never empty
    return true;
  }

  void Store(char c, bool escaped) {
    if (escaped) --m_out;  // replaces the stored backslash
    *m_out++ = c;
  }

  bool InValue(char c, bool escaped) {
    if (escaped || (c != ',' && c != ';' && c != '+')) {
      Store(c, escaped);
      return true;
    }
    char *const value = m_values[*m_count - 1];
    while (m_out > value && IsSpace(m_out[-1])) --m_out;
    *m_out = '\0';
    // The semicolon, too, parts assertions of one RDN: intended.
    m_state = c == ',' ? State::kAfterPair : State::kBeforeKey;
    return true;
  }

  bool InQuoted(char c, bool escaped) {
    if (escaped || c != '"') {
      Store(c, escaped);
      return true;
    }
    *m_out = '\0';
    m_state = State::kAfterQuoted;
    return true;
  }

  char *m_in;
  char *m_out;
  char **m_keys;
  char **m_values;
  int *m_count;
  const int m_max;
  State m_state = State::kBeforeKey;
};

// Appends one assertion to an RDN. False for an unknown keyword or a value that cannot be made.
bool AppendAva(const char *key, const char *value, sxASN_RelativeDistinguishedName *rdn) {
  std::unique_ptr<sxAsnOid> type(sxDN_Str2OID(key));
  if (type == nullptr) return false;
  std::unique_ptr<sxASN_AttributeValue> made(sxStr2AttrVal(*type, value));
  if (made == nullptr) return false;
  sxASN_AttributeTypeAndValue *ava = rdn->Append();
  ava->type = type.release();
  ava->value = made.release();
  return true;
}

int ReadDirectoryStringChoice() {
  constexpr const char *kFunc = "get_bc_ds_choiceID";
  constexpr int kDefault = sxASN_AttributeValue::utf8StringCid;
  NvpRegKey *key = NvpRegCreateKey(NvpRegGlobalEntry_HKEY_LOCAL_MACHINE(), "SOFTWARE\\Norvane\\Tarnel");
  if (key == nullptr) {
    herror_func(0, 0, "%s: Failed to open registry;  using default", kFunc);
    return kDefault;
  }
  unsigned value = 0;
  const int rc = NvpRegQueryValueEx(key, "bc_DirectoryString_choiceID", &value);
  NvpRegCloseKey(key);
  if (rc != 0 || value == 0) return kDefault;
  if (value == 1) return sxASN_AttributeValue::teletexStringCid;
  herror_func(0, 0, "%s: Invalid value in registry; using default", kFunc);
  return kDefault;
}

}  // namespace

char *kxdn_explode_prefix(char *text, char **keys, char **values, int *count) {
  if (text == nullptr || keys == nullptr || values == nullptr || count == nullptr) return nullptr;
  return Tokenizer(text, keys, values, count).Run();
}

int get_bc_ds_choiceID() {
  static const int choice = ReadDirectoryStringChoice();
  return choice;
}

sxASN_AttributeValue *sxStr2AttrVal(const sxAsnOid &type, const char *text) {
  if (text == nullptr) return nullptr;
  auto value = std::make_unique<sxASN_AttributeValue>();
  const auto *octets = reinterpret_cast<const unsigned char *>(text);
  bool printable = true;
  for (const char *c = text; *c != '\0'; ++c) printable = printable && IsPrintable(*c);
  if (type.OidEquiv(sxASN_emailAddress) || type.OidEquiv(sxASN_id_dc)) {
    value->Set_ia5String(sxAsnIA5String(octets));
  } else if (printable) {
    value->Set_printableString(sxAsnPrintableString(octets));
  } else if (get_bc_ds_choiceID() == sxASN_AttributeValue::teletexStringCid) {
    value->Set_teletexString(sxAsnTeletexString(octets));
  } else {
    value->Set_utf8String(sxAsnUTF8String(octets));
  }
  if (value->Value() == nullptr) {
    herror_func(0, 0, "sxStr2AttrVal: create new sxASN_AttributeValue failed");
    return nullptr;
  }
  return value.release();
}

std::unique_ptr<sxASN_RDNSequence> sxParseDN(const char *text) {
  if (text == nullptr) return nullptr;
  std::vector<char> copy(text, text + std::strlen(text) + 1);  // the tokenizer writes into it
  auto name = std::make_unique<sxASN_RDNSequence>();
  char *rest = copy.data();
  while (*rest != '\0') {
    char *keys[kMaxAssertions];
    char *values[kMaxAssertions];
    int count = kMaxAssertions;
    rest = kxdn_explode_prefix(rest, keys, values, &count);
    if (rest == nullptr || count == 0) return nullptr;
    sxASN_RelativeDistinguishedName *rdn = name->Prepend();  // text begins with the most specific
    for (int i = 0; i < count; ++i) {
      if (!AppendAva(keys[i], values[i], rdn)) return nullptr;
    }
  }
  return name;
}
