#include "facts.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

class FactsWriter {
 public:
  static nlohmann::ordered_json Tree(const Facts &facts);
  static Facts FactsOf(const nlohmann::ordered_json &tree);
};

nlohmann::ordered_json FactsWriter::Tree(const Facts &facts) {
  switch (facts.m_kind) {
    case Facts::Kind::kNull: break;
    case Facts::Kind::kBool: return facts.m_number != 0;
    case Facts::Kind::kNumber: return facts.m_number;
    case Facts::Kind::kText: return facts.m_text;
    case Facts::Kind::kList: {
      auto list = nlohmann::ordered_json::array();
      for (const Facts &element : facts.m_elements) list.push_back(Tree(element));
      return list;
    }
    case Facts::Kind::kObject: {
      auto object = nlohmann::ordered_json::object();
      for (size_t i = 0; i < facts.size(); ++i) object[facts.m_names[i]] = Tree(facts.m_elements[i]);
      return object;
    }
  }
  return nullptr;
}

Facts FactsWriter::FactsOf(const nlohmann::ordered_json &tree) {
  Facts facts;
  if (tree.is_boolean()) return tree.get<bool>();
  if (tree.is_number()) return tree.get<int64_t>();
  if (tree.is_string()) return tree.get<std::string>();
  if (tree.is_array()) facts = Facts::array();
  if (tree.is_object()) facts = Facts(std::initializer_list<Facts::Member>());
  for (const auto &item : tree.items()) {
    if (tree.is_array()) facts.push_back(FactsOf(item.value()));
    if (tree.is_object()) facts[item.key()] = FactsOf(item.value());
  }
  return facts;
}

Facts Facts::Parsed(const char *json) { return FactsWriter::FactsOf(nlohmann::ordered_json::parse(json)); }

Facts::Facts(std::initializer_list<Member> members) : m_kind(Kind::kObject) {
  for (const Member &member : members) {
    m_names.push_back(member.name);
    m_elements.push_back(member.value);
  }
}

Facts::Facts(const std::vector<std::string> &texts) : m_kind(Kind::kList), m_elements(texts.begin(), texts.end()) {}

Facts Facts::array(std::initializer_list<Facts> elements) {
  Facts list;
  list.m_kind = Kind::kList;
  list.m_elements = elements;
  return list;
}

Facts &Facts::operator[](std::string_view name) {
  m_kind = Kind::kObject;
  const auto found = std::find(m_names.begin(), m_names.end(), name);
  if (found != m_names.end()) return m_elements[static_cast<size_t>(found - m_names.begin())];
  m_names.emplace_back(name);
  return m_elements.emplace_back();
}

void Facts::erase(std::string_view name) {
  const auto found = std::find(m_names.begin(), m_names.end(), name);
  if (found == m_names.end()) return;
  m_elements.erase(m_elements.begin() + (found - m_names.begin()));
  m_names.erase(found);
}

void Facts::push_back(Facts element) {
  m_kind = Kind::kList;
  m_elements.push_back(std::move(element));
}

void Facts::update(const Facts &object) {
  for (size_t i = 0; i < object.size(); ++i) (*this)[object.m_names[i]] = object.m_elements[i];
}

std::string Facts::Json() const {
  return FactsWriter::Tree(*this).dump(2, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}
