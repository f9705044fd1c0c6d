#include "support/script.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

// At blanks outside quotes and braces.
std::vector<std::string> WordsOf(const std::string &line) {
  std::vector<std::string> words;
  bool quoted = false, begins = true;
  int depth = 0;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"' && (i == 0 || line[i - 1] != '\\')) quoted = !quoted;
    if (!quoted) depth += (line[i] == '{') - (line[i] == '}');
    const bool blank = line[i] == ' ' && !quoted && depth == 0;
    if (!blank && begins) words.emplace_back();
    if (!blank) words.back() += line[i];
    begins = blank;
  }
  return words;
}

}  // namespace

void Script::Run(const std::string &file) {
  for (CaseRow row : CaseRows(file, 3, 1)) {
    SCOPED_TRACE(testing::PrintToString(row));
    for (std::string &cell : row.cells) {
      cell = cell.substr(0, cell.find("  #"));   // a reason
      cell.erase(cell.find_last_not_of(' ') + 1);
    }
    if (row[0].starts_with('[')) {
      Forget();
      continue;
    }
    LogCapture log;
    EXPECT_EQ(Plain(row[1]), WithPath(Step(WithPath(row[0], true)), false));
    ExpectLogged(row[2], WithPath(Joined(log), false));
  }
  Forget();
}

Script &Script::In(const TempDir &dir) {
  m_dir = dir.Path();
  return On("write", [&dir](const char *file, const std::string &text) { dir.Write(file, text); })
      .On("contents", [&dir](const char *file) { return dir.Read(file); })
      .On("pipe", [&dir](const char *file) { return mkfifo(dir.File(file).c_str(), 0600); })
      .On("unlink", [&dir](const char *file) { return unlink(dir.File(file).c_str()); })
      .On("exists", [](const std::string &path) { return fs::exists(path); })
      .On("mode", [](const std::string &path) { return static_cast<int>(fs::status(path).permissions()); })
      .On("chmod", [](const std::string &path, int mode) { fs::permissions(path, static_cast<fs::perms>(mode)); })
      .On("link", [](const std::string &target, const std::string &path) { fs::create_symlink(target, path); });
}

std::string Script::WithPath(std::string text, bool toPath) const {
  const std::string from = toPath ? "DIR" : m_dir, to = toPath ? m_dir : "DIR";
  for (size_t at = 0; !m_dir.empty() && (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::string Script::Step(const std::string &line) {
  Words words = WordsOf(line);
  m_newName = words.size() > 2 && words[1] == "=" ? words[0] : "";
  if (!m_newName.empty()) words.erase(words.begin(), words.begin() + 2);
  if (words[0] == "drop") return m_objects.erase(words.at(1)) == 1 ? "" : "no such object";
  const size_t dot = words[0].find('.');
  if (dot != std::string::npos && m_objects.contains(words[0].substr(0, dot))) {   // "b.Append" is "Append b"
    words.insert(words.begin() + 1, words[0].substr(0, dot));
    words[0].erase(0, dot + 1);
  }
  const auto verb = m_verbs.find(words[0]);
  if (verb == m_verbs.end()) throw std::runtime_error(words[0] + " is no verb");
  words.erase(words.begin());
  return verb->second(*this, words);
}

void Script::Forget() {
  m_objects.clear();
  m_texts.clear();
}

const char *Script::Kept(const std::string &word) {
  return word == "null" ? nullptr : m_texts.emplace_back(Plain(word)).c_str();
}

const unsigned char *Script::KeptOctets(const std::string &word) {
  return word == "null" ? nullptr
                        : reinterpret_cast<const unsigned char *>(m_texts.emplace_back(CaseText(word)).data());
}

void *Script::Find(const std::string &name, const std::type_info &type) const {
  const auto found = m_objects.find(name);
  if (found == m_objects.end() || *found->second.type != type) throw std::runtime_error(name + ": no such object");
  return found->second.at;
}

std::string Script::Named(const Object &object) {
  if (!m_newName.empty()) {
    m_objects[m_newName] = object;
    return object.at == nullptr ? "null" : "";
  }
  if (object.at == nullptr) return "null";
  const auto known = std::find_if(m_objects.begin(), m_objects.end(), [&object](const auto &named) {
    return named.second.at == object.at && *named.second.type == *object.type;
  });
  return known == m_objects.end() ? "?" : known->first;
}
