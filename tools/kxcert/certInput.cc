#include "certInput.h"

#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>

#include "input.h"
#include "kxcert/cert/loadFiles.h"
#include "report.h"
#include "visibleText.h"

namespace {

void Take(const sxLoadItem &item, std::vector<FoundCert> &certs) {
  sxCert_Save(item.cert);
  certs.push_back({CertRef(item.cert), VisibleLine(item.place.Text())});
}

using FileNames = std::set<const char *>;

FileNames FilesWithCerts(const sxLoader &loader) {
  FileNames files;
  for (const sxLoadItem &item : loader.Items()) {
    if (item.cert != nullptr) files.insert(item.place.file);
  }
  return files;
}

// Files, not items: a bundle may hold a certificate among other things.
int NumFilesWithout(const sxLoader &loader, const std::string &folder, const FileNames &filesWith) {
  FileNames files;
  for (const sxLoadItem &item : loader.Items()) {
    const bool isFile = item.skip != sxLoadSkip::kNoFile && item.skip != sxLoadSkip::kUnreadable;
    if (isFile && folder != item.place.file) files.insert(item.place.file);
  }
  return static_cast<int>(files.size() - filesWith.size());
}

std::vector<FoundCert> ReadFolder(const std::string &folder, Report &report) {
  sxLoader loader(sxLoad_certs);
  loader.AddFolder(folder.c_str());
  const FileNames filesWith = FilesWithCerts(loader);
  SkippedParts skipped(report);
  for (const sxLoadItem &item : loader.Items()) {
    if (item.skip == sxLoadSkip::kNot) continue;
    if (folder == item.place.file || item.skip == sxLoadSkip::kTooMuch) {
      skipped.Tell(item);
    } else if (item.skip == sxLoadSkip::kUnreadable || (filesWith.contains(item.place.file) && !IsHarmless(item))) {
      skipped.TellAsNote(item);  // what is beside it is trusted all the same
    }
  }
  const int numOthers = NumFilesWithout(loader, folder, filesWith);
  if (numOthers > 0)
    report.Note(folder, Counted(static_cast<size_t>(numOthers), "file") + " without a certificate; passed over");
  std::vector<FoundCert> certs;
  for (const sxLoadItem &item : loader.Items()) {
    if (item.cert != nullptr) Take(item, certs);
  }
  if (certs.empty()) report.Problem(kExitInputError, folder, "no certificate in it");
  return certs;
}

}  // namespace

std::vector<FoundCert> ReadCerts(const std::string &path, Report &report) {
  std::vector<FoundCert> certs;
  ReadObjects(path, sxLoad_certs, "certificate", report, [&certs](const sxLoadItem &item) { Take(item, certs); });
  return certs;
}

FoundCert ReadOneCert(const std::string &path, Report &report) {
  std::vector<FoundCert> found = ReadCerts(path, report);
  if (found.size() == 1) return std::move(found.front());
  if (found.size() > 1) report.Problem(kExitInputError, InputName(path), "several certificates; one is needed");
  return {};
}

std::vector<FoundCert> ReadTrust(const std::vector<std::string> &paths, Report &report) {
  std::vector<FoundCert> certs;
  std::set<std::string_view> seen;  // views of the certificates' own octets
  for (const std::string &path : paths) {
    std::error_code ignored;
    const bool folder = path != "-" && std::filesystem::is_directory(path, ignored);
    for (FoundCert &found : folder ? ReadFolder(path, report) : ReadCerts(path, report)) {
      const auto *octets = reinterpret_cast<const char *>(found.cert->GetBuf());
      if (seen.insert({octets, found.cert->BufLen()}).second) certs.push_back(std::move(found));
    }
  }
  return certs;
}
