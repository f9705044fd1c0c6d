/// @file
/// Cells that are words between blanks, some of them options.
#ifndef KXCERT_TESTS_SUPPORT_WORDS_H_
#define KXCERT_TESTS_SUPPORT_WORDS_H_

#include <sstream>
#include <string>
#include <vector>

using Words = std::vector<std::string>;

inline Words Split(const std::string &text) {
  std::istringstream in(text);
  Words words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

/// Removes the words that begin so; returns what follows there.
inline Words TakeAll(Words &words, const std::string &option) {
  Words values, others;
  for (const std::string &word : words) {
    if (word.starts_with(option)) values.push_back(word.substr(option.size()));
    else others.push_back(word);
  }
  words = others;
  return values;
}
inline std::string Take(Words &words, const std::string &option, const std::string &otherwise = "") {
  const Words values = TakeAll(words, option);
  return values.empty() ? otherwise : values[0];
}

#endif
