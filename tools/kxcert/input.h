/// @file
/// Input: the files that arguments name, and standard input for "-".
#ifndef KXCERT_TOOLS_KXCERT_INPUT_H_
#define KXCERT_TOOLS_KXCERT_INPUT_H_

#include <functional>
#include <span>
#include <string>
#include <vector>

class kxBinBuf;
class Report;
class sxLoader;
struct sxLoadItem;

std::string InputName(const std::string &path);  ///< for messages: "(standard input)" for "-"

/// Whoever reads standard input asks first: it can be read only once. @return false: it was taken before
bool TakeStandardInput();
constexpr char kStandardInputTaken[] = "standard input can be read only once";

/// Reads everything. Standard input can be read only once. @return empty, or why it failed
std::string ReadOctets(const std::string &path, kxBinBuf &out);

/// How many octets the PEM block has that stands first; all of them when it has no end.
size_t BlockLen(std::span<const unsigned char> input);

/// A part of an input that is in none of its PEM blocks; without the blanks that it begins with, and not empty.
struct PartBeside {
  size_t offset;  ///< octets before it in the input
  std::span<const unsigned char> octets;
};
/// What stands before, between and behind PEM blocks: text that explains them, mostly. Where there are none: nothing.
std::vector<PartBeside> PartsBesidePem(std::span<const unsigned char> input);

/// Notes those parts that are no text: who joined files meant them to be read.
void TellPartsBesidePem(const std::string &name, std::span<const unsigned char> input, Report &report);

/// Every block of one file, with the place it came from. What cannot be read, a block that is none and an empty file are
/// problems; parts beside PEM blocks are noted.
void ReadBlocks(const std::string &path, Report &report,
                const std::function<void(const std::string &where, std::span<const unsigned char> octets)> &take);

/// Loads one file. @return false when the loader has no item about it; a problem is then reported
bool LoadInput(const std::string &path, sxLoader &loader, Report &report);

/// Every object of one file that is asked for. What else is in the file is a note; what cannot be read, or a file without
/// such an object, is a problem.
/// @param wanted  one of sxLoadWanted
/// @param noun    what is asked for: "CRL"
void ReadObjects(const std::string &path, unsigned wanted, const char *noun, Report &report,
                 const std::function<void(const sxLoadItem &item)> &take);

/// Says what was passed over and why: of the first parts of each file, then how many more there are.
class SkippedParts {
 public:
  static constexpr int kMaxToldOfFile = 50;

  explicit SkippedParts(Report &report) : m_report(report) {}
  ~SkippedParts() { EndFile(); }
  SkippedParts(const SkippedParts &) = delete;
  SkippedParts &operator=(const SkippedParts &) = delete;

  /// A problem where it may be what was meant, else a note. @return whether it is a problem
  bool Tell(const sxLoadItem &item);
  void TellAsNote(const sxLoadItem &item);  ///< where what is beside it serves all the same

 private:
  bool HasRoom(const sxLoadItem &item);
  void EndFile();

  Report &m_report;
  const char *m_file = nullptr;  // lent by the loader, which outlives this
  int m_num = 0;
};

/// Whether it is passed over without harm to the answer. Where others read a certificate that is not so: the answer
/// would be about another one.
bool IsHarmless(const sxLoadItem &item);

#endif
