#include "keyOutput.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "keyPassword.h"
#include "kxcert/cert/pem.h"
#include "kxcert/foundation/attributeSet.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/keys/encryptedKeys.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/secureMemory.h"
#include "kxcert/platform/wholeFile.h"
#include "report.h"
#include "visibleText.h"

namespace {

// Of a key's attribute set: growing would leave copies behind that nobody wipes.
constexpr size_t kMaxSetTextLen = 1 << 16;

std::span<const unsigned char> OctetsOf(std::string_view text) {
  return {reinterpret_cast<const unsigned char *>(text.data()), text.size()};
}

// Past stdio, whose buffer nobody wipes.
bool WriteToStandardOutput(std::span<const unsigned char> octets) {
  std::fflush(stdout);
  while (!octets.empty()) {
    const ssize_t put = write(STDOUT_FILENO, octets.data(), octets.size());
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) return false;
    octets = octets.subspan(static_cast<size_t>(put));
  }
  return true;
}

bool EncodePem(const kxBinBuf &der, const std::string &label, sxString &text) {
  const std::string header = "-----BEGIN " + label + "-----\n", footer = "-----END " + label + "-----\n";
  return Base64Encode_PEM(header.c_str(), footer.c_str(), der, text) == 0;
}

bool WriteSet(sxPubKey &key, bool privatePart, const OutputOptions &options, Report &report) {
  const std::unique_ptr<sxset> set(sxExportKey_to_Set(&key, privatePart));
  if (set == nullptr) return report.Problem(kExitInternal, "", "the key has no such form"), false;
  SxStream text;
  text.Reserve(kMaxSetTextLen);
  set->Write(&text);
  text.Puts("\n");
  const bool written = WriteOctets(OctetsOf(text.Text()), options, report);
  KX_memset(const_cast<char *>(text.Text().data()), text.Text().size());  // the stream's own octets
  return written;
}

}  // namespace

bool CanBeReplaced(const std::string &path) {
  struct stat found;
  return stat(path.c_str(), &found) != 0 || S_ISREG(found.st_mode);
}

std::vector<OptionRow> OutputRows(OutputOptions &options) {
  return {{"--out", "write to this file instead of standard output", &options.file},
          {"--force", "replace what is there", &options.force}};
}

OptionRow FormRow(int &form) {
  return {"--form",
          "pem (PKCS #8, SubjectPublicKeyInfo), der (the same) or set (text of an attribute set); the default is pem",
          &form,
          false,
          nullptr,
          {{"set", kKeyForm_set}, {"pem", kKeyForm_pem}, {"der", kKeyForm_der}},
          "FORM"};
}

bool WriteOctets(std::span<const unsigned char> octets, const OutputOptions &options, Report &report) {
  if (options.file.empty()) {
    if (report.IsJson()) {
      return report.Problem(kExitUsage, "", "--json needs --out: the document holds nothing that may be secret"), false;
    }
    if (WriteToStandardOutput(octets)) return true;
    return report.Problem(kExitInputError, "standard output", std::strerror(errno)), false;
  }
  if (kxFile_WriteWhole(options.file.c_str(), octets.data(), octets.size(), options.force) == 0) return true;
  const int error = errno;
  report.Problem(kExitInputError, options.file,
                 error != EEXIST               ? std::string("cannot be written: ") + std::strerror(error)
                 : CanBeReplaced(options.file) ? "is there already; --force replaces it"
                                               : "is there already, and is no file that could be replaced");
  return false;
}

std::string PemText(const kxBinBuf &der, const std::string &label) {
  sxString text;
  return EncodePem(der, label, text) ? text.getstr() : "";
}

bool WritePem(const kxBinBuf &der, const std::string &label, const OutputOptions &options, Report &report) {
  sxString text;
  text.SetSensitive(der.IsSensitive());
  if (!EncodePem(der, label, text)) return report.Problem(kExitInternal, "", "no PEM can be made"), false;
  return WriteOctets(OctetsOf(text.getstr()), options, report);
}

OptionRow ObjectFormRow(int &form) {
  return {"--form", "of what is written", &form, false, nullptr, {{"pem", kObjectForm_pem}, {"der", kObjectForm_der}},
          "FORM"};
}

OptionRow DigestRow(int &digest) {
  return {
      "--digest", "sha256 unless given",
      &digest,    false,
      nullptr,    {{"sha1", sx_md_sha1}, {"sha256", sx_md_sha256}, {"sha384", sx_md_sha384}, {"sha512", sx_md_sha512}},
      "DIGEST"};
}

bool WriteObject(std::span<const unsigned char> der, const char *pemLabel, int form, const OutputOptions &options,
                 Report &report) {
  report.Document()["der"] = HexOf(der.data(), der.size());
  if (report.IsJson() && options.file.empty()) return true;
  if (form == kObjectForm_der) return WriteOctets(der, options, report);
  return WritePem(kxBinBuf(der.data(), static_cast<unsigned>(der.size())), pemLabel, options, report);
}

bool WriteKey(sxPubKey &key, bool privatePart, KeyForm form, const OutputOptions &options, Report &report,
              const KeyProtection *protection) {
  if (form == kKeyForm_set) return WriteSet(key, privatePart, options, report);
  kxBinBuf der;
  if (sxExportKeyInfo(&key, privatePart, der) != 0) {
    return report.Problem(kExitInputError, "", "the key has not all that this form holds; --form set may do"), false;
  }
  std::string label = privatePart ? "PRIVATE KEY" : "PUBLIC KEY";
  if (privatePart && protection != nullptr && protection->isOn) {
    const kxBinBuf &password = protection->password;
    label = "ENCRYPTED PRIVATE KEY";
    if (sxEncryptKeyInfo(protection->settings, {der.Data(), der.Len()}, {password.Data(), password.Len()}, der) != 0) {
      return report.Problem(kExitInternal, "", "the key cannot be encrypted"), false;
    }
  }
  return form == kKeyForm_der ? WriteOctets({der.Data(), der.Len()}, options, report)
                              : WritePem(der, label, options, report);
}
