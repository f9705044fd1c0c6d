#include "completion.h"

#include <algorithm>
#include <cstring>

namespace {

bool IsArgument(const OptionRow &row) { return row.name[0] != '-'; }
bool TakesValue(const OptionRow &row) {
  return !std::holds_alternative<bool *>(row.target) && std::strchr(row.name, '{') == nullptr;
}
bool TakesMany(const OptionRow &row) { return std::holds_alternative<std::vector<std::string> *>(row.target); }

const OptionRow *FindOption(const Verb &verb, std::string_view name) {
  for (const OptionRow &row : verb.options) {
    if (!IsArgument(row) && OptionName(row) == name) return &row;
  }
  return nullptr;
}

// The argument that stands behind @p number others.
const OptionRow *FindArgument(const Verb &verb, size_t number) {
  for (const OptionRow &row : verb.options) {
    if (IsArgument(row) && (TakesMany(row) || number-- == 0)) return &row;
  }
  return nullptr;
}

Words WordsOfVerb(const Verb &verb, std::span<const std::string> before) {
  size_t numArguments = 0;
  std::string last;                  // argument
  const OptionRow *asked = nullptr;  // the option whose value comes next
  for (size_t i = 0; i < before.size(); ++i) {
    if (asked != nullptr && before[i] != "=") {  // shells cut "--set=audit" at the sign
      asked = nullptr;
    } else if (asked == nullptr && before[i].starts_with('-')) {
      const OptionRow *const option = FindOption(verb, before[i]);
      const bool hasSign = i + 1 < before.size() && before[i + 1] == "=";
      if (option != nullptr && (TakesValue(*option) || hasSign)) asked = option;
    } else if (asked == nullptr) {
      ++numArguments;
      last = before[i];
    }
  }
  if (asked != nullptr) return ValueWords(*asked);
  Words words = OptionWords(verb);
  if (const OptionRow *const argument = FindArgument(verb, numArguments)) {
    Words values = argument->wordsBehind == nullptr ? ValueWords(*argument) : argument->wordsBehind(last);
    std::ranges::move(values, std::back_inserter(words));
  }
  return words;
}

}  // namespace

Words NounWords(std::span<const NounRow> nouns) {
  Words words;
  for (const NounRow &noun : nouns) words.emplace_back(noun.name);
  return words;
}

Words VerbWords(std::span<const VerbRow> verbs, std::string_view noun) {
  Words words;
  for (const VerbRow &verb : verbs) {
    if (noun == verb.noun) words.emplace_back(verb.name);
  }
  return words;
}

std::string OptionName(const OptionRow &row) {
  const std::string name = row.name;
  return name.substr(0, name.find('{'));
}

Words OptionWords(const Verb &verb) {
  Words words;
  for (const OptionRow &row : verb.options) {
    if (!IsArgument(row)) words.push_back(OptionName(row));
  }
  for (const char *const word : {kJson, kHelp, kVersion}) words.emplace_back(word);
  return words;
}

Words ValueWords(const OptionRow &row) {
  Words words;
  for (const OptionChoice &choice : row.choices) words.emplace_back(choice.name);
  return row.words == nullptr ? words : row.words();
}

Words WordsAfter(std::span<const std::string> before, std::span<const NounRow> nouns, std::span<const VerbRow> verbs) {
  Words words;
  if (before.empty()) {
    words = NounWords(nouns);
  } else if (before.size() == 1) {
    words = VerbWords(verbs, before[0]);
  } else {
    for (const VerbRow &verb : verbs) {
      if (before[0] == verb.noun && before[1] == verb.name) return WordsOfVerb(verb.make(), before.subspan(2));
    }
    return {};
  }
  if (!words.empty()) words.insert(words.end(), {kHelp, kVersion});
  return words;
}
