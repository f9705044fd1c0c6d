/// @file
/// JsonText: a JSON document on its way out (RFC 8259).
#ifndef KXCERT_SRC_FOUNDATION_JSONTEXT_H_
#define KXCERT_SRC_FOUNDATION_JSONTEXT_H_

#include <cstdint>
#include <string>
#include <string_view>

/// Members come in the order of the calls. Whoever calls keeps to the grammar: a key in an object, null for
/// the document itself and within an array. Text may be anyone's: quotes, backslashes and control characters
/// are escaped, and each octet that is not part of valid UTF-8 becomes U+FFFD.
class JsonText {
 public:
  void BeginObject(const char *key = nullptr) { Begin(key, '{'); }
  void EndObject() { End('}'); }
  void BeginArray(const char *key = nullptr) { Begin(key, '['); }
  void EndArray() { End(']'); }
  void Text(const char *key, std::string_view text);
  void Number(const char *key, int64_t value);
  void Bool(const char *key, bool value);
  void Null(const char *key);

  const std::string &Get() const { return m_text; }

 private:
  void Begin(const char *key, char bracket);
  void End(char bracket);
  void Key(const char *key);  // with the comma before it; null: the comma alone
  void Quote(std::string_view text);

  std::string m_text;
  bool m_isFirst = true;  // in what was begun last
};

#endif
