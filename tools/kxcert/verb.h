/// @file
/// What a verb is to the program: rows that declare its options, and what it does.
#ifndef KXCERT_TOOLS_KXCERT_VERB_H_
#define KXCERT_TOOLS_KXCERT_VERB_H_

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "knownWords.h"

class Report;

struct OptionChoice {
  const char *name;
  int value;
};

struct OptionRow {
  /// "FILE" for an argument, "--level" for an option; "--encrypt{aes256}" for one that may stand alone, which then means
  /// that text, and otherwise is given it as in "--encrypt=3des"
  const char *name;
  const char *help;
  /// Where it goes: a flag; a number that is not negative; a text; texts, of which an option takes one each
  /// time that it is given, and an argument all that there are.
  std::variant<bool *, int *, std::string *, std::vector<std::string> *> target;
  bool required = false;
  std::string (*check)(const std::string &text) = nullptr;  ///< of a text: "", or what is wrong with it
  std::vector<OptionChoice> choices = {};                   ///< of a number: what may be written for it
  const char *choiceName = "";                              ///< usage names one of these so
  Words (*words)() = nullptr;                               ///< of a text: what @c check knows by name, for completion
  Words (*wordsBehind)(const std::string &argument) = nullptr;  ///< of an argument: instead, by the one before it
};

inline OptionRow WithWords(OptionRow row, Words (*words)()) {
  row.words = words;
  return row;
}

/// @c run and the rows share what the options are read into.
struct Verb {
  std::vector<OptionRow> options;
  std::function<void(Report &)> run;                ///< after the options were read
  std::function<const char *()> missing = nullptr;  ///< what must be given as well, or null
};

Verb CertAsn1();
Verb CertIssue();
Verb CertPrint();
Verb CertRenew();
Verb ChainVerify();
Verb CrlFind();
Verb CrlNew();
Verb CrlPrint();
Verb CrlVerify();
Verb CrmfNew();
Verb CrmfShow();
Verb DbAdd();
Verb DbCheck();
Verb DbCollect();
Verb DbList();
Verb DbRemove();
Verb DbShow();
Verb FileSignVerb();
Verb FileVerifyVerb();
Verb KeyConvert();
Verb KeyDerive();
Verb KeyGen();
Verb KeyShow();
Verb KeySign();
Verb KeyVerify();
Verb NameCompare();
Verb NameParse();
Verb NameSuffix();
Verb OcspAsk();
Verb OcspPrint();
Verb P12Export();
Verb P12Import();
Verb P12Show();
Verb ReqNew();
Verb ReqShow();
Verb ReqVerify();

#endif
