// kxcert file sign and file verify: files that carry a signature, or have one beside them.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

#include "keyFacts.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "kxcert/signedfile/fileSign.h"
#include "kxcert/signedfile/fileSignVerify.h"
#include "logLines.h"
#include "report.h"
#include "timeText.h"
#include "verb.h"

namespace {

constexpr size_t kChunk = 65536;

struct Options {
  std::string file;
  std::string key;
  std::string password;
  std::string sigFile;
  std::string oldFile;
  std::string out;
  std::string at;
  bool force = false;
};

const char *OrNull(const std::string &text) { return text.empty() ? nullptr : text.c_str(); }

std::string CheckSignedTime(const std::string &text) {
  int64_t seconds = 0;
  return ParseTime(text, &seconds) && seconds == 0 ? "a time of zero is not signed" : CheckTime(text);
}

FoundKey ReadFittingKey(const Options &options, KeyPart part, Report &report) {
  FoundKey found = ReadKey(options.key, part, report, options.password);
  if (found.key == nullptr || fsg_key_fits(found.key.get(), part == KeyPart::kPrivate)) return found;
  report.Problem(kExitInputError, found.where, KeyName(*found.key) + "; files are signed with keys of secp521r1");
  found.key.reset();
  return found;
}

void Sign(const Options &options, Report &report) {
  if (!options.sigFile.empty() && !options.out.empty()) {
    return report.Problem(kExitUsage, "", "--sig and --out are two places for one signature");
  }
  const FoundKey found = ReadFittingKey(options, KeyPart::kPrivate, report);
  if (found.key == nullptr) return;
  int64_t seconds = std::time(nullptr);
  if (!options.at.empty() && !ParseTime(options.at, &seconds)) return;
  const auto time = static_cast<uint64_t>(seconds);
  const int rc = options.sigFile.empty()
                     ? FileSign(options.file.c_str(), OrNull(options.out), found.key.get(), time, options.force)
                     : FileSign2(options.file.c_str(), options.sigFile.c_str(), found.key.get(), time, options.force);
  report.Document()["file"] = options.file;
  report.Document()["code"] = rc;
  report.Document()["time"] = PrintTime(seconds);
  report.Document()["key"] = KeyFacts(*found.key, true);
  if (rc == FSG_OK) return report.Line("signed, as of " + PrintTime(seconds));
  const std::string target = options.sigFile + options.out;  // one of them at most
  const bool couldForce = rc == FSG_SIGNED || (rc == FSG_EXISTS && CanBeReplaced(target));
  const bool isAboutResult = (rc == FSG_EXISTS || rc == FSG_WRITE_FAILED) && !target.empty();
  report.Problem(kExitInputError, isAboutResult ? target : options.file,
                 std::string(FSG_RC_to_str(rc)) + (couldForce && !options.force ? "; --force replaces that" : ""));
}

// Files that cannot be read leave the question open.
ExitCode ExitOf(int rc) {
  switch (rc) {
    case FSV_OK: return kExitYes;
    case FSV_FILE_NOT_FOUND:
    case FSV_NO_KEY:
    case FSV_READ_FAILED: return kExitInputError;
    default: return kExitNo;
  }
}

int VerifyFile(const Options &options, sxPubKey *key) {
  const char *const file = options.file.c_str(), *const old = OrNull(options.oldFile);
  if (key != nullptr) return FileVerifyWithKey(file, OrNull(options.sigFile), old, key);
  return options.sigFile.empty() ? FileSignVerify(file, old, nullptr)
                                 : FileSignVerify2(file, options.sigFile.c_str(), old, nullptr);
}

// Whether a file is one that the library reads. @return "" or what is wrong
std::string WhyUnread(const std::string &path, bool toItsEnd) {
  struct stat found;
  // Opening some devices is to use them, so that what it is is asked before.
  if (stat(path.c_str(), &found) != 0)
    return errno == ENOENT ? FSV_RC_to_str(FSV_FILE_NOT_FOUND) : std::strerror(errno);
  if (!S_ISREG(found.st_mode)) return "is no regular file";
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return std::strerror(errno);
  std::vector<char> chunk(kChunk);
  ssize_t got = 0;
  while (toItsEnd && ((got = read(fd, chunk.data(), chunk.size())) > 0 || (got < 0 && errno == EINTR))) {}
  std::string wrong = got < 0 ? std::strerror(errno) : "";
  close(fd);
  return wrong;
}

// @return false: a problem with one of them at least, which has been told
bool CanBeRead(const std::vector<std::string> &paths, bool toTheirEnds, Report &report) {
  bool all = true;
  for (const std::string &path : paths) {
    const std::string wrong = WhyUnread(path, toTheirEnds);
    if (wrong.empty()) continue;
    report.Problem(kExitInputError, path, wrong);
    all = false;
  }
  return all;
}

// The question stays open. The library does not say which of the files is at fault.
void TellUnread(const std::vector<std::string> &paths, int rc, Report &report) {
  if (!CanBeRead(paths, true, report)) return;
  std::string names;
  for (const std::string &path : paths) names += (names.empty() ? "" : " or ") + path;
  report.Problem(kExitInputError, names, FSV_RC_to_str(rc));  // what failed does so no more
}

void Verify(const Options &options, Report &report) {
  FoundKey found;
  report.Document()["file"] = options.file;
  std::vector<std::string> paths = {options.file};
  for (const std::string *path : {&options.sigFile, &options.oldFile}) {
    if (!path->empty()) paths.push_back(*path);
  }
  if (!CanBeRead(paths, false, report)) return;
  if (!options.key.empty()) {
    found = ReadFittingKey(options, KeyPart::kAny, report);
    if (found.key == nullptr) return;
  }
  const int rc = VerifyFile(options, found.key.get());
  report.Document()["code"] = rc;
  const ExitCode exitCode = ExitOf(rc);
  if (exitCode == kExitInputError) return TellUnread(paths, rc, report);
  report.Document()["valid"] = rc == FSV_OK;
  const std::string answer = rc == FSV_OK ? "signed, and not older than what it replaces" : FSV_RC_to_str(rc);
  report.Verdict(rc == FSV_OK, rc == FSV_OK && options.oldFile.empty() ? "signed" : answer);
  report.Worsen(exitCode);
}

}  // namespace

Verb FileSignVerb() {
  const auto options = std::make_shared<Options>();
  return {{{"FILE", "the file; without --sig a text, which gets the signature at its head", &options->file, true},
           {"--key", "a private key of P-521, as attribute set, PEM or DER", &options->key, true},
           PasswordRow(options->password),
           {"--sig", "write the signature to this file instead", &options->sigFile},
           {"--out", "write the signed text to this file, and leave FILE as it is", &options->out},
           {"--at", "sign as of this time", &options->at, false, CheckSignedTime},
           {"--force", "replace a signature, or a file, that is there", &options->force}},
          [options](Report &report) { Sign(*options, report); }};
}

Verb FileVerifyVerb() {
  const auto options = std::make_shared<Options>();
  return {{{"FILE", "the file", &options->file, true},
           {"--key", "a key of P-521, as attribute set, PEM or DER; else the built-in one", &options->key},
           {"--sig", "the file that has the signature", &options->sigFile},
           {"--old", "what FILE is to replace, or with --sig its signature: it must not be later", &options->oldFile}},
          [options](Report &report) { Verify(*options, report); }};
}
