#include "kxcert/foundation/sxString.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "kxcert/platform/secureMemory.h"
#include "platform/pageLocks.h"

namespace {

std::string_view View(const char *text) { return text == nullptr ? std::string_view() : text; }
std::string_view View(const sxString &text) { return {text.getstr(), static_cast<size_t>(text.length())}; }

int CheckedLen(size_t len) {
  if (len > INT_MAX) throw std::bad_alloc();
  return static_cast<int>(len);
}

int TextLen(const char *text) { return CheckedLen(View(text).size()); }

}  // namespace

sxString::sxString(const char *text) { ConstructorHelper(text, -1, false); }
sxString::sxString(const char *text, int len) { ConstructorHelper(text, len, false); }
sxString::sxString(const char *text, int len, bool sensitive) { ConstructorHelper(text, len, sensitive); }
sxString::sxString(const sxString &other) { ConstructorHelper(other.m_text, other.m_len, other.m_sensitive); }
sxString::~sxString() { SafeDelete(); }

void sxString::ConstructorHelper(const char *text, int len, bool sensitive) {
  m_sensitive = sensitive;
  Set(text, len == -1 ? TextLen(text) : len);
}

void sxString::Set(const char *text, int len) {
  if (len < 0) len = 0;
  char *block = nullptr;
  if (text != nullptr) {
    block = new char[static_cast<size_t>(len) + 1];
    if (m_sensitive) kxMem_Lock(block, static_cast<size_t>(len) + 1);
    std::memcpy(block, text, static_cast<size_t>(len));
    block[len] = '\0';
  }
  SafeDelete();  // only now: text may lie in the old block
  m_text = block;
  m_len = block == nullptr ? 0 : len;
}

void sxString::Set(const char *text) { Set(text, TextLen(text)); }

sxString &sxString::operator=(const sxString &other) {
  if (this == &other || (m_text != nullptr && m_text == other.m_text)) return *this;
  SafeDelete();
  ConstructorHelper(other.m_text, other.m_len, other.m_sensitive);
  return *this;
}

sxString &sxString::operator=(sxString &&other) noexcept {
  if (this == &other) return *this;
  SafeDelete();
  m_text = std::exchange(other.m_text, nullptr);
  m_len = std::exchange(other.m_len, 0);
  m_sensitive = other.m_sensitive;
  return *this;
}

sxString &sxString::operator+=(const sxString &other) {
  const bool sensitive = m_sensitive || other.m_sensitive;
  const size_t len = static_cast<size_t>(m_len) + static_cast<size_t>(other.m_len);
  const int newLen = CheckedLen(len);
  auto *block = new char[len + 1];
  if (sensitive) kxMem_Lock(block, len + 1);
  if (m_len > 0) std::memcpy(block, m_text, static_cast<size_t>(m_len));
  if (other.m_len > 0) std::memcpy(block + m_len, other.m_text, static_cast<size_t>(other.m_len));
  block[len] = '\0';
  SafeDelete();
  m_text = block;
  m_len = newLen;
  m_sensitive = sensitive;
  return *this;
}

void sxString::ToLower() {
  for (int i = 0; i < m_len; ++i) {
    m_text[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(m_text[i])));
  }
}

void sxString::print() const { std::puts(m_text == nullptr ? "" : m_text); }

void sxString::Zero() {
  if (m_text != nullptr && m_len > 0) KX_memset(m_text, static_cast<size_t>(m_len));
}

void sxString::SafeDelete() {
  if (m_text != nullptr && m_sensitive) {
    Zero();
    kxMem_Unlock(m_text, static_cast<size_t>(m_len) + 1);
  }
  delete[] m_text;
  m_text = nullptr;
  m_len = 0;
}

void sxString::SetSensitive(bool on) {
  if (m_text != nullptr && on != m_sensitive) {
    const size_t blockLen = static_cast<size_t>(m_len) + 1;
    on ? kxMem_Lock(m_text, blockLen) : kxMem_Unlock(m_text, blockLen);
  }
  m_sensitive = on;
}

sxString operator+(const sxString &left, const char *right) { return left + sxString(right); }

sxString operator+(const sxString &left, const sxString &right) {
  sxString sum(left);
  sum += right;
  return sum;
}

bool operator==(const sxString &left, const sxString &right) { return View(left) == View(right); }
bool operator!=(const sxString &left, const sxString &right) { return View(left) != View(right); }
bool operator==(const sxString &left, const char *right) { return View(left) == View(right); }
bool operator!=(const sxString &left, const char *right) { return View(left) != View(right); }
bool operator==(const char *left, const sxString &right) { return View(left) == View(right); }
bool operator!=(const char *left, const sxString &right) { return View(left) != View(right); }
