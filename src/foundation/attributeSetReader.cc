#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <unordered_set>

#include "foundation/attributeSet_imp.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/platform/log.h"
#include "platform/files.h"

// Recursive descent over
//   set    = "(" [word] members ")"        value = set | "(" word ")"
//   members = *( ":" word value ) | ":"    the lone colon only after a name
class sxsetReader {
 public:
  explicit sxsetReader(std::string_view text) : m_text(text) {}

  // Null when the text is not one set; Error() then says why.
  std::unique_ptr<sxset> Read() {
    auto set = std::make_unique<sxset>();
    SkipBlanks();
    if (!Expect('(', "a set begins with '('") || !ReadSetBody(set.get(), 1)) return nullptr;
    SkipBlanks();
    if (m_pos != m_text.size() && !Fail(m_pos, "nothing may follow the set")) return nullptr;
    return set;
  }
  const std::string &Error() const { return m_error; }

 private:
  char Peek() const { return m_pos < m_text.size() ? m_text[m_pos] : '\0'; }

  void SkipBlanks() {
    for (; m_pos < m_text.size(); ++m_pos) {
      const char c = m_text[m_pos];
      if (c == '#')
        m_pos = std::min(m_text.find('\n', m_pos), m_text.size() - 1);
      else if (c != ' ' && c != '\t' && c != '\r' && c != '\n')
        return;
    }
  }

  bool Expect(char c, const char *what) {
    if (Peek() != c) return Fail(m_pos, what);
    ++m_pos;
    return true;
  }

  // The text is never part of the message: it may be a secret.
  bool Fail(size_t at, const char *what) {
    const std::string_view before = m_text.substr(0, at);
    const size_t lineStart = before.rfind('\n') == before.npos ? 0 : before.rfind('\n') + 1;
    m_error = "line " + std::to_string(1 + std::count(before.begin(), before.end(), '\n')) + ", column " +
              std::to_string(1 + at - lineStart) + ": " + what;
    return false;
  }

  bool ReadWord(std::string *word) {
    if (Peek() == '"') return ReadQuoted(word);
    const size_t start = m_pos;
    while (m_pos < m_text.size() && IsBareSetChar(m_text[m_pos])) ++m_pos;
    word->assign(m_text.substr(start, m_pos - start));
    return m_pos != start || Fail(start, "a word is expected");
  }

  bool ReadQuoted(std::string *word) {
    const size_t start = m_pos++;
    size_t end = m_pos;
    while (end < m_text.size() && m_text[end] != '"') end += m_text[end] == '\\' ? 2U : 1U;
    if (end >= m_text.size()) return Fail(start, "the quotes are not closed");
    word->reserve(end - m_pos);  // no growth, which would leave a copy behind unwiped
    for (; m_pos < end; ++m_pos) {
      if (m_text[m_pos] == '\\') ++m_pos;
      if (m_text[m_pos] == '\0') return Fail(m_pos, "a NUL character");
      word->push_back(m_text[m_pos]);
    }
    ++m_pos;
    return true;
  }

  // After the opening parenthesis, for a set that may begin with its name.
  bool ReadSetBody(sxset *set, int depth) {
    SkipBlanks();
    if (Peek() != ':' && Peek() != ')' && !ReadWord(&set->m_name)) return false;
    return ReadMembers(set, depth);
  }

  bool ReadMembers(sxset *set, int depth) {
    std::unordered_set<std::string> names;  // so that many members take no longer than their text
    for (SkipBlanks(); Peek() != ')'; SkipBlanks()) {
      if (!Expect(':', "':' or ')' is expected")) return false;
      if (Peek() == ')' && !set->m_name.empty() && names.empty()) break;
      const size_t nameAt = m_pos;
      std::string name;
      if (!ReadWord(&name)) return false;
      if (!names.insert(name).second) return Fail(nameAt, "this name stands already");
      SkipBlanks();
      if (!ReadValue(set, std::move(name), depth)) return false;
    }
    ++m_pos;
    return true;
  }

  bool ReadValue(sxset *parent, std::string name, int depth) {
    const size_t start = m_pos;
    if (!Expect('(', "a value in parentheses is expected")) return false;
    SkipBlanks();
    std::string word;
    const bool hasWord = Peek() != ':' && Peek() != ')';
    if (hasWord && !ReadWord(&word)) return WipeText(&word), false;
    SkipBlanks();
    if (hasWord && Peek() == ')') {
      ++m_pos;
      parent->m_members.emplace_back(std::move(name), SxAtom(std::move(word)));
      WipeText(&word);
      return true;
    }
    if (depth >= kMaxSetNesting) return Fail(start, "sets are nested too deep");
    parent->m_members.emplace_back(std::move(name), SxAtom(sxset(word.c_str())));
    return ReadMembers(parent->m_members.back().second.Set(), depth + 1);
  }

  const std::string_view m_text;
  size_t m_pos = 0;
  std::string m_error;
};

namespace {

sxset *Refuse(const char *func, const std::string &reason, std::string *error) {
  if (error != nullptr) {
    *error = reason;
  } else {
    herror_func(0, 0, "%s: %s", func, reason.c_str());
  }
  return nullptr;
}

sxset *ReadText(const char *func, std::string_view text, std::string *error) {
  sxsetReader reader(text);
  std::unique_ptr<sxset> set = reader.Read();
  return set ? set.release() : Refuse(func, reader.Error(), error);
}

struct Descriptor {
  ~Descriptor() {
    if (number >= 0) kxFile_Close(number);
  }
  const int number;
};

// Null when all is read, else what is wrong. The text is sized once, so that no copy of it is left.
const char *ReadFile(const char *fileName, std::string *text) {
  kxFileInfo info;
  const Descriptor file{kxFile_OpenRegular(fileName, &info)};
  if (file.number < 0) {
    const char *const failure = std::strerror(errno);
    return kxFile_IsSpecial(fileName) ? "not a regular file" : failure;
  }
  if (info.size > kMaxSetFileLen) return "the file is too long";
  text->resize(static_cast<size_t>(info.size));
  const int64_t len = kxFile_Read(file.number, text->data(), text->size());
  if (len < 0) return std::strerror(errno);
  // It may have been cut meanwhile; the reader then finds the text incomplete.
  text->resize(static_cast<size_t>(len));
  return nullptr;
}

}  // namespace

sxset *sio_sread(const char *text, std::string *error) {
  if (text == nullptr) return Refuse("sio_sread", "no text", error);
  return ReadText("sio_sread", text, error);
}

sxset *sio_readx(const char *fileName, std::string *error) {
  if (fileName == nullptr) return Refuse("sio_readx", "no file name", error);
  std::string text;
  const char *failure = ReadFile(fileName, &text);
  sxset *set = failure == nullptr ? ReadText("sio_readx", text, error)
                                  : Refuse("sio_readx", std::string(fileName) + ": " + failure, error);
  WipeText(&text);  // keys are read by this way
  return set;
}
