// Prints the library's verdict on each chain that standard input lists, one a line:
//   seconds since 1970 <tab> trusted files <tab> the end entity, then all files as they were sent
// The answer is a line with the code's name; UNREADABLE; or OTHER_LEAF when another certificate than
// the first one was taken for the end entity.
#include <iostream>
#include <sstream>
#include <string>

#include "support/chainJudge.h"

namespace {

std::string Verdict(const std::string &line) {
  ChainQuestion question;
  std::istringstream in(line);
  std::string field;
  for (int i = 0; std::getline(in, field, '\t'); ++i) {
    std::istringstream words(field);
    for (std::string word; words >> word;) {
      if (i == 0) question.nowSec = std::stoll(word);
      if (i == 1) question.anchors.push_back(word);
      if (i == 2) question.chain.push_back(word);
    }
  }
  if (question.chain.empty()) return "UNREADABLE";
  // The order in which they were sent matters; the name of the first one only says what is wanted.
  const std::string wanted = ReadCertFile(question.chain[0]);
  question.chain.erase(question.chain.begin());
  const ChainAnswer answer = JudgeChain(question);
  if (!answer.problem.empty()) return "UNREADABLE";
  if (answer.rc == sxValidation_OK && answer.path[0] != wanted) return "OTHER_LEAF";
  const char *name = CodeName(answer.rc);
  return name == nullptr ? std::to_string(answer.rc) : name;
}

}  // namespace

int main() {
  for (std::string line; std::getline(std::cin, line);) std::cout << Verdict(line) << '\n';
  return 0;
}
