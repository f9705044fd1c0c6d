#include "keyPassword.h"

#include <algorithm>

#include "report.h"
#include "secretInput.h"
#include "terminalSecret.h"
#include "visibleText.h"

namespace {

constexpr int kMinIterations = 1000;  // RFC 8018, 4.2

struct CipherRow {
  const char *name;
  sxPbeCipher cipher;
};
constexpr CipherRow kCiphers[] = {{"aes256", sxPbe_aes256}, {"aes128", sxPbe_aes128}, {"3des", sxPbe_3des}};

const CipherRow *FindCipher(const std::string &name) {
  const auto *const found = std::ranges::find_if(kCiphers, [&name](const CipherRow &row) { return name == row.name; });
  return found == std::end(kCiphers) ? nullptr : found;
}

Words CipherWords() {
  Words words;
  for (const CipherRow &row : kCiphers) words.emplace_back(row.name);
  return words;
}

std::string CheckCipher(const std::string &name) {
  return FindCipher(name) != nullptr ? "" : UnknownWord("cipher", name, CipherWords());
}

// Twice: nobody sees what is typed.
std::string AskNewPassword(kxBinBuf &out) {
  kxBinBuf again;
  if (!HasTerminal()) return "there is no terminal to ask for the new password; --new-password says where it is";
  std::string error = AskTerminal("new password: ", out);
  if (error.empty() && out.IsEmpty()) return "the new password is empty";
  if (error.empty()) error = AskTerminal("the same again: ", again);
  if (error.empty() && !out.Equal(again)) error = "the two passwords differ";
  return error;
}

}  // namespace

OptionRow PasswordRow(std::string &source, const char *name) {
  return {name,
          "where the password of an encrypted key is: file:PATH, env:NAME or fd:NUMBER; else the terminal is asked",
          &source, false, CheckSecretSource};
}

bool KeyPassword::Give(const sxLoadPlace &place, kxBinBuf &out) {
  if (!m_isRead && !m_isTold) {
    if (m_source.empty() && !HasTerminal()) return false;
    const std::string error = m_source.empty()
                                  ? AskTerminal("password of " + VisibleLine(place.Text()) + ": ", m_password)
                                  : ReadSecret(m_source, m_password, SecretLen::kMayBeEmpty);
    m_isRead = error.empty();
    m_isTold = !m_isRead;
    if (m_isTold) m_report.Problem(kExitInputError, "", error);
  }
  if (!m_isRead) return false;
  out = m_password;
  return true;
}

std::vector<OptionRow> EncryptRows(EncryptOptions &options) {
  return {
      WithWords({"--encrypt{aes256}", "encrypt the private key: =aes256 (the default), =aes128 or =3des",
                 &options.cipher, false, CheckCipher},
                CipherWords),
      {"--new-password", "where the password for --encrypt is: file:PATH, env:NAME or fd:NUMBER; else it is asked for",
       &options.password, false, CheckSecretSource},
      {"--iterations", "of the key derivation for --encrypt (50000)", &options.iterations}};
}

std::string ReadNewPassword(const std::string &source, kxBinBuf &out) {
  return source.empty() ? AskNewPassword(out) : ReadSecret(source, out);
}

bool ReadProtection(const EncryptOptions &options, bool canBe, KeyProtection &protection, Report &report) {
  const auto refuse = [&report](ExitCode code, const std::string &why) { return report.Problem(code, "", why), false; };
  protection.isOn = !options.cipher.empty();
  if (!protection.isOn) {
    const bool isAsked = !options.password.empty() || options.iterations >= 0;
    return !isAsked || refuse(kExitUsage, "--new-password and --iterations need --encrypt");
  }
  if (!canBe) return refuse(kExitUsage, "--encrypt is for private keys as pem or der");
  const int iterations = options.iterations < 0 ? kUsualPbeIterations : options.iterations;
  if (iterations < kMinIterations || static_cast<uint64_t>(iterations) > kMaxPbeIterations) {
    return refuse(kExitUsage, "--iterations is from " + std::to_string(kMinIterations) + " to " +
                                  std::to_string(kMaxPbeIterations));
  }
  protection.settings.cipher = FindCipher(options.cipher)->cipher;
  protection.settings.iterations = iterations;
  const std::string error = ReadNewPassword(options.password, protection.password);
  return error.empty() || refuse(kExitInputError, error);
}
