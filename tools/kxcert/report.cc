#include "report.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "visibleText.h"

namespace {

// https://no-color.org: set and not empty means no colour.
bool WantsColour() {
  const char *noColour = std::getenv("NO_COLOR");
  const char *terminal = std::getenv("TERM");
  return (noColour == nullptr || *noColour == '\0') && terminal != nullptr && std::strcmp(terminal, "dumb") != 0 &&
         isatty(STDOUT_FILENO) != 0;
}

void Write(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

}  // namespace

Report::Report(const std::string &command, bool json) : m_json(json), m_colour(!json && WantsColour()) {
  m_document["schema"] = kSchema;
  m_document["command"] = command.empty() ? Facts(nullptr) : Facts(command);
}

void Report::Line(std::string_view text) {
  if (m_json) return;
  Write(VisibleText(text));
  Write("\n");
}

void Report::Verdict(bool good, std::string_view text) {
  if (m_colour) Write(good ? "\x1b[1;32m" : "\x1b[1;31m");
  if (!m_json) Write(VisibleLine(text));
  if (m_colour) Write("\x1b[0m");
  Line();
}

void Report::Talk(std::string_view source, std::string_view text) {
  std::fflush(stdout);  // so that both read in order where they go to one place
  const std::string shown = VisibleLine(text);
  if (source.empty()) {
    std::fprintf(stderr, "kxcert: %s\n", shown.c_str());
  } else {
    std::fprintf(stderr, "kxcert: %s: %s\n", VisibleLine(source).c_str(), shown.c_str());
  }
}

void Report::Problem(ExitCode code, std::string_view source, std::string_view text) {
  Worsen(code);
  Talk(source, text);
  m_document["problems"].push_back({{"input", VisibleLine(source)}, {"text", VisibleLine(text)}});
}

void Report::Note(std::string_view source, std::string_view text) {
  Talk(source, text);
  m_document["notes"].push_back({{"input", VisibleLine(source)}, {"text", VisibleLine(text)}});
}

ExitCode Report::Finish() {
  if (m_json) {
    m_document["exitCode"] = static_cast<int>(m_exitCode);
    Write(m_document.Json());
    Write("\n");
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    Worsen(kExitInputError);
    Talk("standard output", "cannot be written");
  }
  return m_exitCode;
}
