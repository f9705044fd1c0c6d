/// @file
/// Texts on the heap that know how often they were destroyed, as keys and data of untyped containers.
#ifndef KXCERT_TESTS_SUPPORT_COUNTEDTEXT_H_
#define KXCERT_TESTS_SUPPORT_COUNTEDTEXT_H_

#include <cstring>
#include <string>

#include "kxcert/foundation/hashTable.h"
#include "support/script.h"

class CountedText {
 public:
  static void *New(const char *text) { return new CountedText(text); }   ///< for Destroy
  static void Destroy(void *text) {
    ++s_numDestroyed;
    delete static_cast<CountedText *>(text);
  }
  static unsigned Hash(const void *text) {
    const std::string &key = static_cast<const CountedText *>(text)->m_text;
    return hash_bytevalue(key.data(), static_cast<int>(key.size()));
  }
  static int Compare(const void *a, const void *b) { return std::strcmp(Text(a), Text(b)); }
  static const char *Text(const void *text) {
    return text == nullptr ? "(none)" : static_cast<const CountedText *>(text)->m_text.c_str();
  }

  explicit CountedText(const char *text) : m_text(text) {}   // on the stack: a key to look up with

  /// Steps "Text a", for a container to own, "Key a", which is the test's own, and "destroyed" since the last question.
  static Script Steps() {
    return Script()
        .On("Text", [](const char *text) { return static_cast<CountedText *>(New(text)); })
        .On("Key", [](const char *text) { return CountedText(text); })
        .On("destroyed", [] { return std::exchange(s_numDestroyed, 0); });
  }

  static inline int s_numDestroyed = 0;

 private:
  const std::string m_text;
};

#endif
