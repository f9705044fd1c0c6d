/// @file
/// sxString: an owned character string that always ends in NUL.
///
/// Built from null it has no text at all (getstr() is null, length 0). A sensitive string is locked in
/// memory and wiped before its block is released. A value; no locking. Texts may lie within the string
/// that takes them. More characters than an int counts are memory that there is not: std::bad_alloc.
#ifndef KXCERT_FOUNDATION_SXSTRING_H_
#define KXCERT_FOUNDATION_SXSTRING_H_

#include <utility>

#include "kxcert/platform/export.h"

class KXCERT_EXPORT sxString {
 public:
  sxString() = default;
  sxString(const char *text);           // NOLINT: converts by intent
  sxString(const char *text, int len);  ///< len -1: up to the NUL
  sxString(const char *text, int len, bool sensitive);
  sxString(const sxString &other);  ///< text and the sensitive flag
  /// Leaves the other one without text; its flag stays.
  sxString(sxString &&other) noexcept
      : m_text(std::exchange(other.m_text, nullptr)),
        m_len(std::exchange(other.m_len, 0)),
        m_sensitive(other.m_sensitive) {}
  ~sxString();

  void Set(const char *text, int len);  ///< null: no text, length 0; negative: an empty one
  void Set(const char *text);
  sxString &operator=(const sxString &other);
  sxString &operator=(sxString &&other) noexcept;  ///< the same; drops the old text
  sxString &operator+=(const sxString &other);     ///< sensitive if either was

  operator const char *() const { return m_text; }  // NOLINT: converts by intent
  const char *getstr() const { return m_text; }     ///< borrowed until the next change
  int length() const { return m_len; }
  bool IsSensitive() const { return m_sensitive; }

  void ToLower();      ///< tolower, in place
  void print() const;  ///< text and a line feed to standard output
  void Zero();         ///< wipes the text; the length stays
  void SafeDelete();   ///< wipes if sensitive, releases the block
  void SetSensitive(bool on);

 private:
  void ConstructorHelper(const char *text, int len, bool sensitive);

  char *m_text = nullptr;  // owned, m_len + 1 bytes
  int m_len = 0;
  bool m_sensitive = false;
};

KXCERT_EXPORT sxString operator+(const sxString &left, const char *right);
KXCERT_EXPORT sxString operator+(const sxString &left, const sxString &right);

/// Equal lengths and characters; null is as long as the empty text.
KXCERT_EXPORT bool operator==(const sxString &left, const sxString &right);
KXCERT_EXPORT bool operator!=(const sxString &left, const sxString &right);
KXCERT_EXPORT bool operator==(const sxString &left, const char *right);
KXCERT_EXPORT bool operator!=(const sxString &left, const char *right);
KXCERT_EXPORT bool operator==(const char *left, const sxString &right);
KXCERT_EXPORT bool operator!=(const char *left, const sxString &right);

#endif
