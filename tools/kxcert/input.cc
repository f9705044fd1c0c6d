#include "input.h"

#include <cstdio>
#include <memory>
#include <string_view>

#include "kxcert/cert/loadFiles.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "report.h"

namespace {

constexpr char kReadBefore[] = "standard input can be read only once";

bool TakeStandardInput() {
  static bool taken = false;
  const bool first = !taken;
  taken = true;
  return first;
}

// What a shell's <(...) is called: whoever writes it means a pipe. Elsewhere one is no file to wait for.
bool IsOpenDescriptor(const std::string &path) { return path.starts_with("/dev/fd/"); }

struct CloseStream {
  void operator()(std::FILE *stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

Stream OpenDescriptor(const std::string &path) {
  return Stream(IsOpenDescriptor(path) ? std::fopen(path.c_str(), "rb") : nullptr);
}

// Passed over without harm to the answer. Where others read a certificate that is not so: the answer would be
// about another one.
bool IsHarmless(const sxLoadItem &item) {
  switch (item.skip) {
    case sxLoadSkip::kLabel: return !item.label.ends_with("CERTIFICATE");
    case sxLoadSkip::kUnwanted: return true;
    case sxLoadSkip::kUnknown: return item.place.member > 0;
    default: return false;
  }
}

std::string NoteText(const sxLoadItem &item) {
  if (item.skip == sxLoadSkip::kUnwanted && item.kind == sxLoadKind::kCrl) return "a CRL; passed over";
  if (!item.label.empty() && item.place.member == 0) return "a PEM block \"" + item.label + "\"; passed over";
  return item.reason;
}

}  // namespace

std::string InputName(const std::string &path) { return path == "-" ? "(standard input)" : path; }

std::string ReadOctets(const std::string &path, kxBinBuf &out) {
  if (const Stream pipe = OpenDescriptor(path)) return sxReadInput(pipe.get(), out);
  if (path != "-") return sxReadInput(path.c_str(), out);
  return TakeStandardInput() ? sxReadInput(stdin, out) : kReadBefore;
}

bool LoadInput(const std::string &path, sxLoader &loader, Report &report) {
  if (const Stream pipe = OpenDescriptor(path)) {
    loader.AddStream(pipe.get(), path.c_str());
  } else if (path != "-") {
    loader.AddFile(path.c_str());
  } else if (TakeStandardInput()) {
    loader.AddStream(stdin, InputName(path).c_str());
  } else {
    report.Problem(kExitInputError, InputName(path), kReadBefore);
    return false;
  }
  return true;
}

bool TellSkipped(const sxLoadItem &item, Report &report) {
  const std::string where = item.place.Text();
  if (IsHarmless(item)) return report.Note(where, NoteText(item)), false;
  const char *const prefix = item.skip == sxLoadSkip::kCutShort ? "not a usable certificate: " : "";
  report.Problem(kExitInputError, where, prefix + item.reason);
  return true;
}
