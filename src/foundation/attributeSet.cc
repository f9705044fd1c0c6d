#include "kxcert/foundation/attributeSet.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>

#include "foundation/attributeSet_imp.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/platform/secureMemory.h"

namespace {

constexpr int kMaxBinaryLen = (INT32_MAX - 1) / 2;  // its digits and a NUL are counted by an int

const char *OrEmpty(const char *text) { return text == nullptr ? "" : text; }

void WriteWord(std::string_view word, SxStream *out) {
  if (!word.empty() && std::all_of(word.begin(), word.end(), IsBareSetChar)) {
    out->Put(word);
    return;
  }
  out->Put("\"");
  for (const char &c : word) {
    if (c == '"' || c == '\\') out->Put("\\");
    out->Put({&c, 1});
  }
  out->Put("\"");
}

}  // namespace

void WipeText(std::string *text) {
  text->resize(text->capacity());
  KX_memset(text->data(), text->size());
  text->clear();
}

// ASCII only, whatever the locale says.
bool IsBareSetChar(char c) {
  if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) return true;
  return c != '\0' && std::strchr("._-+/@", c) != nullptr;
}

SxAtom::SxAtom(std::string text) {
  m_text.swap(text);
  WipeText(&text);
}
SxAtom::SxAtom(const sxset &inner) : m_set(std::make_unique<sxset>(inner)) {}
SxAtom::SxAtom(const SxAtom &other)
    : m_text(other.m_text), m_set(other.m_set ? std::make_unique<sxset>(*other.m_set) : nullptr) {}
SxAtom::SxAtom(SxAtom &&other) noexcept : m_set(std::move(other.m_set)) {
  m_text.swap(other.m_text);
  WipeText(&other.m_text);
}
SxAtom::~SxAtom() { WipeText(&m_text); }

SxAtom &SxAtom::operator=(SxAtom other) noexcept {
  WipeText(&m_text);  // a shorter text would overwrite the beginning only
  m_text.swap(other.m_text);
  m_set.swap(other.m_set);
  return *this;
}

const char *SxAtom::Text() const { return m_set ? nullptr : m_text.c_str(); }

bool SxAtom::GetInt(long long *value) const {
  if (m_set || value == nullptr) return false;
  const char *end = m_text.data() + m_text.size();
  long long read = 0;
  const auto result = std::from_chars(m_text.data(), end, read);
  if (result.ec != std::errc() || result.ptr != end) return false;
  *value = read;
  return true;
}

bool SxAtom::GetBinary(std::vector<unsigned char> *octets) const {
  if (m_set || octets == nullptr || m_text.size() > INT32_MAX) return false;
  const int textLen = static_cast<int>(m_text.size());
  std::vector<unsigned char> read(m_text.size() / 2);
  if (textLen != 0 && string_to_bytes(m_text.data(), textLen, read.data(), textLen / 2) != 0) return false;
  octets->swap(read);
  return true;
}

bool SxAtom::operator==(const SxAtom &other) const {
  if (m_set && other.m_set) return *m_set == *other.m_set;
  return !m_set && !other.m_set && m_text == other.m_text;
}

sxset::sxset(const char *name) : m_name(OrEmpty(name)) {}

sxset &sxset::operator=(sxset other) noexcept {
  m_name.swap(other.m_name);
  m_members.swap(other.m_members);
  return *this;
}

const char *sxset::MemberName(int i) const {
  return i < 0 || i >= Count() ? nullptr : m_members[static_cast<size_t>(i)].first.c_str();
}

const SxAtom *sxset::Member(int i) const {
  return i < 0 || i >= Count() ? nullptr : &m_members[static_cast<size_t>(i)].second;
}

const SxAtom *sxset::Find(const char *name) const {
  if (name == nullptr) return nullptr;
  for (const auto &[memberName, value] : m_members) {
    if (memberName == name) return &value;
  }
  return nullptr;
}

SxAtom *sxset::Find(const char *name) { return const_cast<SxAtom *>(std::as_const(*this).Find(name)); }

const sxset *sxset::FindSet(const char *name) const {
  const SxAtom *found = Find(name);
  return found == nullptr ? nullptr : found->Set();
}

sxset *sxset::FindSet(const char *name) { return const_cast<sxset *>(std::as_const(*this).FindSet(name)); }

const char *sxset::FindText(const char *name) const {
  const SxAtom *found = Find(name);
  return found == nullptr ? nullptr : found->Text();
}

bool sxset::FindInt(const char *name, long long *value) const {
  const SxAtom *found = Find(name);
  return found != nullptr && found->GetInt(value);
}

bool sxset::FindBinary(const char *name, std::vector<unsigned char> *octets) const {
  const SxAtom *found = Find(name);
  return found != nullptr && found->GetBinary(octets);
}

void sxset::Put(const char *name, SxAtom value) {
  if (SxAtom *found = Find(OrEmpty(name))) {
    *found = std::move(value);
  } else {
    m_members.emplace_back(OrEmpty(name), std::move(value));
  }
}

void sxset::SetText(const char *name, const char *text) { Put(name, SxAtom(std::string(OrEmpty(text)))); }

void sxset::SetInt(const char *name, long long value) { Put(name, SxAtom(std::to_string(value))); }

void sxset::SetBinary(const char *name, const unsigned char *data, int dataLen) {
  if (data == nullptr || dataLen <= 0 || dataLen > kMaxBinaryLen) return SetText(name, "");
  std::string text(static_cast<size_t>(dataLen) * 2 + 1, '\0');
  bytes_to_string(data, dataLen, text.data(), static_cast<int>(text.size()));
  text.pop_back();  // the NUL
  SetText(name, text.c_str());
  WipeText(&text);
}

void sxset::SetSet(const char *name, const sxset &inner) { Put(name, SxAtom(inner)); }

bool sxset::Remove(const char *name) {
  if (name == nullptr) return false;
  const auto isIt = [name](const auto &member) { return member.first == name; };
  const auto found = std::find_if(m_members.begin(), m_members.end(), isIt);
  if (found == m_members.end()) return false;
  m_members.erase(found);  // the name may lie in there, and is not looked at again
  return true;
}

bool sxset::operator==(const sxset &other) const { return m_name == other.m_name && m_members == other.m_members; }

void sxset::Write(SxStream *out) const {
  if (out == nullptr) return;
  out->Put("(");
  if (!m_name.empty()) WriteWord(m_name, out);
  if (!m_name.empty() && m_members.empty()) out->Put(" :");  // without it this would be a text
  for (const auto &[name, value] : m_members) {
    out->Put(&name == &m_members.front().first && m_name.empty() ? ":" : " :");
    WriteWord(name, out);
    out->Put(" ");
    if (const sxset *inner = value.Set()) {
      inner->Write(out);
    } else {
      out->Put("(");
      WriteWord(value.Text(), out);
      out->Put(")");
    }
  }
  out->Put(")");
}
