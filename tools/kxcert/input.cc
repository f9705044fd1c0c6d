#include "input.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>
#include <string_view>

#include "kxcert/cert/inputBlocks.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/secureMemory.h"
#include "report.h"
#include "visibleText.h"

namespace {

constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";
// What a shell's <(...) is called: whoever writes it means a pipe. Elsewhere one is no file to wait for.
bool IsOpenDescriptor(const std::string &path) { return path.starts_with("/dev/fd/"); }

// What is read may be keys; lists are too long to be locked in memory as well, as a sensitive buffer is.
struct WipedBuf {
  WipedBuf() = default;
  ~WipedBuf() { KX_memset(buf.Data(), buf.Len()); }
  WipedBuf(const WipedBuf &) = delete;
  WipedBuf &operator=(const WipedBuf &) = delete;
  kxBinBuf buf;
};

struct CloseStream {
  void operator()(std::FILE *stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

Stream OpenDescriptor(const std::string &path) {
  return Stream(IsOpenDescriptor(path) ? std::fopen(path.c_str(), "rb") : nullptr);
}

// However its author spelt it; what was cut may have said so.
bool MeansCertificate(std::string label) {
  if (label.size() >= kMaxPemLabelLen) return true;
  std::ranges::transform(label, label.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return TrimEnd(label).ends_with("CERTIFICATE");
}

std::string NoteText(const sxLoadItem &item) {
  if (item.skip == sxLoadSkip::kUnwanted && item.kind == sxLoadKind::kCrl) return "a CRL; passed over";
  if (!item.label.empty() && item.place.member == 0) return "a PEM block \"" + item.label + "\"; passed over";
  return item.reason;
}

}  // namespace

bool TakeStandardInput() {
  static bool taken = false;
  const bool first = !taken;
  taken = true;
  return first;
}

std::string InputName(const std::string &path) { return path == "-" ? "(standard input)" : path; }

std::string ReadOctets(const std::string &path, kxBinBuf &out) {
  if (const Stream pipe = OpenDescriptor(path)) return sxReadInput(pipe.get(), out);
  if (path != "-") return sxReadInput(path.c_str(), out);
  return TakeStandardInput() ? sxReadInput(stdin, out) : kStandardInputTaken;
}

size_t BlockLen(std::span<const unsigned char> input) {
  const std::string_view block(reinterpret_cast<const char *>(input.data()), input.size());
  const size_t footer = block.find(kEnd);
  const size_t dashes = footer == std::string_view::npos ? footer : block.find(kDashes, footer + kEnd.size());
  return dashes == std::string_view::npos ? block.size() : dashes + kDashes.size();
}

std::vector<PartBeside> PartsBesidePem(std::span<const unsigned char> input) {
  const std::string_view text(reinterpret_cast<const char *>(input.data()), input.size());
  std::vector<PartBeside> parts;
  const auto add = [&](size_t from, size_t to) {
    from = std::min(text.find_first_not_of(" \t\r\n", from), to);
    if (from < to) parts.push_back({from, input.subspan(from, to - from)});
  };
  sxInputBlocks blocks(input.data(), input.size());
  size_t begin = 0, last = std::string_view::npos;  // of the part, and of the block before it
  const auto endBlock = [&](size_t next) { begin = last + BlockLen(input.subspan(last, next - last)); };
  for (sxInputBlock block; blocks.Next(block); last = block.offset) {
    if (block.line == 0) return {};
    if (last != std::string_view::npos) endBlock(block.offset);
    add(begin, block.offset);
  }
  if (last != std::string_view::npos) endBlock(text.size());
  add(begin, text.size());
  return parts;
}

void TellPartsBesidePem(const std::string &name, std::span<const unsigned char> input, Report &report) {
  const auto isNoText = [](unsigned char c) { return c < ' ' && std::isspace(c) == 0; };
  for (const PartBeside &part : PartsBesidePem(input)) {
    if (std::ranges::none_of(part.octets, isNoText)) continue;
    report.Note(name + " offset " + std::to_string(part.offset),
                std::to_string(part.octets.size()) + " octets that are no PEM; passed over");
  }
}

void ReadBlocks(const std::string &path, Report &report,
                const std::function<void(const std::string &where, std::span<const unsigned char> octets)> &take) {
  const std::string name = InputName(path);
  WipedBuf wiped;
  kxBinBuf &octets = wiped.buf;
  const std::string error = ReadOctets(path, octets);
  if (!error.empty()) return report.Problem(kExitInputError, name, error);
  sxInputBlocks blocks(octets.Data(), octets.Len());
  bool any = false;
  size_t numBad = 0;
  for (sxInputBlock block; blocks.Next(block); any = true) {
    const sxLoadPlace place = {name.c_str(), block.number, 0, block.offset, block.line};
    const std::string where = VisibleLine(place.Text());
    if (block.error == nullptr) {
      take(where, block.octets);
    } else if (++numBad <= SkippedParts::kMaxToldOfFile) {
      report.Problem(kExitInputError, where, block.error);
    }
  }
  if (numBad > SkippedParts::kMaxToldOfFile) {
    report.Note(name, Counted(numBad - SkippedParts::kMaxToldOfFile, "more part") + " passed over");
  }
  if (!any) report.Problem(kExitInputError, name, "is empty");
  TellPartsBesidePem(name, {octets.Data(), octets.Len()}, report);
}

bool IsHarmless(const sxLoadItem &item) {
  switch (item.skip) {
    case sxLoadSkip::kLabel:
    case sxLoadSkip::kUnwanted: return !MeansCertificate(item.label);
    case sxLoadSkip::kUnknown: return item.place.member > 0;
    default: return false;
  }
}

bool LoadInput(const std::string &path, sxLoader &loader, Report &report) {
  if (const Stream pipe = OpenDescriptor(path)) {
    loader.AddStream(pipe.get(), path.c_str());
  } else if (path != "-") {
    loader.AddFile(path.c_str());
  } else if (TakeStandardInput()) {
    loader.AddStream(stdin, InputName(path).c_str());
  } else {
    report.Problem(kExitInputError, InputName(path), kStandardInputTaken);
    return false;
  }
  return true;
}

void ReadObjects(const std::string &path, unsigned wanted, const char *noun, Report &report,
                 const std::function<void(const sxLoadItem &item)> &take) {
  sxLoader loader(wanted);
  if (!LoadInput(path, loader, report)) return;
  SkippedParts skipped(report);
  bool isAny = false;
  for (const sxLoadItem &item : loader.Items()) {
    if (item.skip == sxLoadSkip::kNot) {
      take(item);
      isAny = true;
    } else if (skipped.Tell(item)) {
      isAny = true;
    }
  }
  if (!isAny) report.Problem(kExitInputError, InputName(path), "no " + std::string(noun) + " in it");
}

void SkippedParts::EndFile() {
  if (m_num > kMaxToldOfFile) {
    m_report.Note(m_file, Counted(static_cast<size_t>(m_num - kMaxToldOfFile), "more part") + " passed over");
  }
  m_num = 0;
}

bool SkippedParts::HasRoom(const sxLoadItem &item) {
  if (item.place.file != m_file) EndFile();
  m_file = item.place.file;
  return ++m_num <= kMaxToldOfFile;
}

bool SkippedParts::Tell(const sxLoadItem &item) {
  const bool told = HasRoom(item);
  const std::string where = item.place.Text();
  if (IsHarmless(item)) {
    if (told) m_report.Note(where, NoteText(item));
    return false;
  }
  const char *const prefix = item.skip == sxLoadSkip::kCutShort ? "not a usable certificate: " : "";
  if (told) m_report.Problem(kExitInputError, where, prefix + item.reason);
  m_report.Worsen(kExitInputError);
  return true;
}

void SkippedParts::TellAsNote(const sxLoadItem &item) {
  if (HasRoom(item)) m_report.Note(item.place.Text(), item.reason);
}
