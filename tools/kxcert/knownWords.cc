#include "knownWords.h"

#include <algorithm>
#include <array>

#include "visibleText.h"

namespace {

constexpr size_t kMaxWord = 64;  // characters; what is longer is no misspelling

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Characters that have to be added, left out, replaced or swapped with their neighbour.
size_t Distance(std::string_view a, std::string_view b) {
  std::array<std::array<size_t, kMaxWord + 1>, kMaxWord + 1> rows;
  for (size_t i = 0; i <= a.size(); ++i) {
    for (size_t j = 0; j <= b.size(); ++j) {
      size_t &here = rows[i][j];
      if (i == 0 || j == 0) {
        here = i + j;
        continue;
      }
      const bool same = Lower(a[i - 1]) == Lower(b[j - 1]);
      here = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, rows[i - 1][j - 1] + (same ? 0 : 1)});
      const bool isSwapped = i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) && Lower(a[i - 2]) == Lower(b[j - 1]);
      if (isSwapped) here = std::min(here, rows[i - 2][j - 2] + 1);
    }
  }
  return rows[a.size()][b.size()];
}

// Half of the shorter word may differ; or one of them is how the other begins.
bool IsNear(std::string_view word, std::string_view known, size_t distance) {
  constexpr size_t kMinBegun = 3;
  const size_t shorter = std::min(word.size(), known.size());
  const bool isBegun = shorter >= kMinBegun && Distance(word.substr(0, shorter), known.substr(0, shorter)) == 0;
  return isBegun || 2 * distance <= shorter;
}

}  // namespace

std::string NearestWord(std::string_view word, const Words &known) {
  if (word.empty() || word.size() > kMaxWord) return "";
  std::string nearest;
  size_t least = SIZE_MAX;
  for (const std::string &candidate : known) {
    if (candidate.size() > kMaxWord) continue;
    const size_t distance = Distance(word, candidate);
    if (distance >= least || !IsNear(word, candidate, distance)) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

std::string UnknownWord(std::string_view kind, std::string_view word, const Words &known, std::string_view of) {
  std::string text = "unknown " + std::string(kind) + " \"" + VisibleLine(word) + "\"";
  if (!of.empty()) text += " of \"" + std::string(of) + "\"";
  const std::string nearest = NearestWord(word, known);
  if (!nearest.empty()) return text + ": did you mean \"" + nearest + "\"?";
  if (known.empty()) return text;
  return text + (known.size() == 1 ? ": there is " : ": there are ") + ListOf(known);
}

std::string ListOf(const Words &words) {
  if (words.size() < 2) return JoinedBy("", words);
  return JoinedBy(", ", Words(words.begin(), words.end() - 1)) + " and " + words.back();
}

std::string JoinedBy(std::string_view between, const Words &words) {
  std::string text;
  for (const std::string &word : words) {
    if (&word != words.data()) text += between;
    text += word;
  }
  return text;
}
