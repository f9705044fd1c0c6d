/// @file
/// Facts: what a verb found out, as the JSON document will have it.
#ifndef KXCERT_TOOLS_KXCERT_FACTS_H_
#define KXCERT_TOOLS_KXCERT_FACTS_H_

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// A value, a list, or an object whose members keep their order. Whatever its text holds, it is written as
/// ASCII.
class Facts {
 public:
  struct Member;

  Facts() = default;  ///< null; becomes a list or an object with its first element
  Facts(std::nullptr_t) {}
  /// Codes are numbers; nothing else becomes a bool on its way here.
  template <class Number>
  requires(std::integral<Number> || std::is_enum_v<Number>) Facts(Number value)
      : m_kind(std::same_as<Number, bool> ? Kind::kBool : Kind::kNumber), m_number(static_cast<int64_t>(value)) {}
  Facts(std::string_view text) : m_kind(Kind::kText), m_text(text) {}
  Facts(const std::string &text) : Facts(std::string_view(text)) {}
  Facts(const char *text) : Facts(std::string_view(text == nullptr ? "" : text)) {}
  Facts(const std::vector<std::string> &texts);  ///< a list
  Facts(std::initializer_list<Member> members);  ///< an object
  static Facts array(std::initializer_list<Facts> elements = {});
  static Facts Parsed(const char *json);  ///< from the library's own documents

  /// The object's member of that name; a new one when there is none.
  Facts &operator[](std::string_view name);
  void erase(std::string_view name);  ///< of an object's members; none has that name: nothing
  void push_back(Facts element);      ///< to a list
  void update(const Facts &object);   ///< takes over its members
  size_t size() const { return m_elements.size(); }
  bool empty() const { return m_elements.empty(); }
  bool IsNull() const { return m_kind == Kind::kNull; }
  std::vector<Facts> &Elements() { return m_elements; }  ///< of a list

  const std::string &Text() const { return m_text; }  ///< of a text
  std::string Json() const;                           ///< indented by two

 private:
  enum class Kind { kNull, kBool, kNumber, kText, kList, kObject };
  friend class FactsWriter;

  Kind m_kind = Kind::kNull;
  int64_t m_number = 0;
  std::string m_text;
  std::vector<Facts> m_elements;
  std::vector<std::string> m_names;  // of an object's elements
};

struct Facts::Member {
  std::string name;
  Facts value;
};

#endif
