/// @file
/// What is told of OCSP responses and of what came of asking, a line and a member of the document at once.
#ifndef KXCERT_TOOLS_KXCERT_OCSPFACTS_H_
#define KXCERT_TOOLS_KXCERT_OCSPFACTS_H_

#include <span>
#include <string>

#include "facts.h"

class Report;
struct sxOcspAnswer;
struct sxOcspAsked;
struct sxOcspResponse;

/// Lines under a headline, each with the member of the same meaning.
class FactLines {
 public:
  /// @param indent  TABs before each line
  FactLines(Report &report, int indent) : m_report(report), m_indent(static_cast<size_t>(indent)) {}

  /// @param text  ASCII
  void Add(const char *label, const char *member, const std::string &text) { AddAs(label, member, text, text); }
  void AddAs(const char *label, const char *member, const std::string &text, Facts fact);
  void AddTime(const char *label, const char *member, int64_t seconds);  ///< null where there is none
  Facts &All() { return m_facts; }

 private:
  Report &m_report;
  const size_t m_indent;
  Facts m_facts;
};

/// Every field as it stands; the signature is not looked at.
void TellResponse(const sxOcspResponse &response, Report &report, Facts &facts);
/// What was judged.
void TellAnswer(const sxOcspAnswer &answer, Report &report, Facts &facts);
void TellAsked(std::span<const sxOcspAsked> asked, Report &report, Facts &facts);

#endif
