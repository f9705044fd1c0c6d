#include "nameQuestion.h"

#include <memory>

#include "certFacts.h"
#include "nameInput.h"
#include "report.h"

namespace {

struct Arguments {
  std::string first;
  std::string second;
};

void Run(const NameQuestion &question, const Arguments &arguments, Report &report) {
  std::optional<sxDN> names[2];
  const std::string *const texts[2] = {&arguments.first, &arguments.second};
  for (int i = 0; i < 2; ++i) {
    std::string reason;
    names[i] = ReadName(*texts[i], &reason);
    if (!names[i].has_value()) report.Problem(kExitNo, *texts[i], "not a legal name" + reason);
  }
  if (!names[0].has_value() || !names[1].has_value()) return;
  const bool yes = question.ask(*names[0], *names[1]);
  report.Document()["names"] = Facts::array({NameText(&*names[0]), NameText(&*names[1])});
  report.Document()[question.member] = yes;
  report.Verdict(yes, yes ? question.yes : question.no);
  if (!yes) report.Worsen(kExitNo);
}

}  // namespace

Verb AskAboutNames(const NameQuestion &question) {
  const auto arguments = std::make_shared<Arguments>();
  return {{{question.first, "a name as text or as DER in hexadecimal", &arguments->first, true},
           {question.second, "another one", &arguments->second, true}},
          [question, arguments](Report &report) { Run(question, *arguments, report); }};
}
