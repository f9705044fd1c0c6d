#include "certInput.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>

#include "input.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "report.h"
#include "unknownParts.h"

namespace {

bool IsCertLabel(std::string_view label) { return label == "CERTIFICATE" || label == "X509 CERTIFICATE"; }

bool IsOddCertLabel(std::string_view label) { return !IsCertLabel(label) && label.ends_with("CERTIFICATE"); }

void ReadBlock(const Block &block, Report &report, std::vector<FoundCert> &certs) {
  if (!block.error.empty()) return report.Problem(kExitInputError, block.where, block.error);
  switch (KindOf(block)) {
    case BlockKind::kCrl: return report.Note(block.where, "a CRL; passed over");
    case BlockKind::kOther:
      // Others read one in such a block: passing it over could make the answer one about another certificate.
      if (IsOddCertLabel(block.label)) {
        return report.Problem(kExitInputError, block.where, "a PEM block \"" + block.label + "\" is not read here");
      }
      return report.Note(block.where, "a PEM block \"" + block.label + "\"; passed over");
    case BlockKind::kCertificate: break;
  }
  CertRef cert = MakeCert(block);
  if (cert->OK() != 1) {
    report.Problem(kExitInputError, block.where, "not a usable certificate: " + WhyNotUsable(*cert));
    return;
  }
  certs.push_back({std::move(cert), block.where});
}

// One file of a folder: certificates or nothing.
std::vector<FoundCert> ReadQuietly(const std::string &path) {
  std::vector<FoundCert> certs;
  for (const Block &block : ReadInput(path).blocks) {
    if (!block.error.empty() || KindOf(block) != BlockKind::kCertificate) continue;
    CertRef cert = MakeCert(block);
    if (cert->OK() == 1) certs.push_back({std::move(cert), block.where});
  }
  return certs;
}

std::vector<FoundCert> ReadFolder(const std::string &folder, Report &report) {
  std::vector<FoundCert> certs;
  std::vector<std::string> files;
  std::error_code error;
  for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    std::error_code ignored;
    if (it->is_regular_file(ignored)) files.push_back(it->path().string());
  }
  if (error) report.Problem(kExitInputError, folder, "cannot be listed: " + error.message());
  std::sort(files.begin(), files.end());  // the order of a folder is not the same everywhere
  int numOthers = 0;
  for (const std::string &file : files) {
    std::vector<FoundCert> found = ReadQuietly(file);
    numOthers += found.empty() ? 1 : 0;
    std::move(found.begin(), found.end(), std::back_inserter(certs));
  }
  if (numOthers > 0) report.Note(folder, std::to_string(numOthers) + " files without a certificate; passed over");
  if (certs.empty()) report.Problem(kExitInputError, folder, "no certificate in it");
  return certs;
}

}  // namespace

BlockKind KindOf(const Block &block) {
  if (IsCertLabel(block.label)) return BlockKind::kCertificate;
  if (block.label == "X509 CRL") return BlockKind::kCrl;
  if (!block.label.empty()) return BlockKind::kOther;
  const auto *octets = reinterpret_cast<const char *>(block.der.data());
  const int len = static_cast<int>(block.der.size());
  sxASN_Certificate cert;
  if (sxASN_DecodeBuf(cert, octets, len) == 0) return BlockKind::kCertificate;
  sxASN_CertificateList crl;
  return sxASN_DecodeBuf(crl, octets, len) == 0 ? BlockKind::kCrl : BlockKind::kCertificate;
}

CertRef MakeCert(const Block &block) {
  return CertRef(new sxCert(block.der.data(), static_cast<unsigned int>(block.der.size())));
}

std::string WhyNotUsable(const sxCert &cert) {
  const std::string error = cert.Error().getstr();
  sxASN_Certificate tree;
  if (error.find("key") == std::string::npos || cert.GetBuf() == nullptr ||
      sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(cert.GetBuf()), static_cast<int>(cert.BufLen())) != 0) {
    return error;
  }
  return error + " (" + AlgorithmText(*tree.tbsCertificate->subjectPublicKeyInfo->algorithm) + ")";
}

std::vector<FoundCert> ReadCerts(const std::string &path, Report &report) {
  std::vector<FoundCert> certs;
  const Input input = ReadInput(path);
  if (!input.error.empty()) {
    report.Problem(kExitInputError, input.name, input.error);
    return certs;
  }
  bool failed = false;
  for (const Block &block : input.blocks) {
    const size_t before = certs.size();
    ReadBlock(block, report, certs);
    failed = failed || (certs.size() == before && KindOf(block) == BlockKind::kCertificate);
  }
  if (certs.empty() && !failed) report.Problem(kExitInputError, input.name, "no certificate in it");
  return certs;
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
