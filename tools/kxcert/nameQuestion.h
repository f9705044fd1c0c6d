/// @file
/// Questions about two names that are answered with yes or no.
#ifndef KXCERT_TOOLS_KXCERT_NAMEQUESTION_H_
#define KXCERT_TOOLS_KXCERT_NAMEQUESTION_H_

#include "verb.h"

class sxDN;

struct NameQuestion {
  const char *first;  ///< the arguments, as usage names them
  const char *second;
  const char *member;  ///< the answer in the JSON document
  const char *yes;
  const char *no;
  bool (*ask)(const sxDN &first, const sxDN &second);
};

Verb AskAboutNames(const NameQuestion &question);

#endif
