/// @file
/// Report: a verb's answer on its way out, as text or as one JSON document.
///
/// Data goes to standard output, talk to standard error. Lines are written at once; with --json they are
/// dropped and the document is written at the end. Whatever text comes in, a terminal sees printable ASCII.
#ifndef KXCERT_TOOLS_KXCERT_REPORT_H_
#define KXCERT_TOOLS_KXCERT_REPORT_H_

#include <string>
#include <string_view>

#include "exitCode.h"
#include "facts.h"

class Report {
 public:
  static constexpr int kSchema = 1;  ///< of the JSON documents; grows when a member changes its meaning

  /// @param command  noun and verb, for the document; of a line that names no verb, what it names, or nothing
  Report(const std::string &command, bool json);

  void Line(std::string_view text = {});
  /// A line in green or red where standard output is a terminal.
  void Verdict(bool good, std::string_view text);

  /// Says on standard error, and in the document's "problems", what is wrong with an input.
  /// @param source  names the input; may be empty
  void Problem(ExitCode code, std::string_view source, std::string_view text);
  void Note(std::string_view source, std::string_view text);  ///< the same, but changes no exit code

  ExitCode Worst() const { return m_exitCode; }  ///< so far
  void Worsen(ExitCode code) {
    if (code > m_exitCode) m_exitCode = code;
  }
  Facts &Document() { return m_document; }
  bool IsJson() const { return m_json; }

  /// Writes what is left.
  ExitCode Finish();

 private:
  void Talk(std::string_view source, std::string_view text);

  Facts m_document;
  const bool m_json;
  const bool m_colour;
  ExitCode m_exitCode = kExitYes;
};

#endif
