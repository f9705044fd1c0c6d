// kxcert p12 import: keys, certificates and CRLs of a PKCS #12 container, as files of PEM.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <set>

#include "certFacts.h"
#include "containerFacts.h"
#include "containerInput.h"
#include "filePlace.h"
#include "keyFacts.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/trust/pkcs12Keys.h"
#include "report.h"
#include "verb.h"
#include "visibleText.h"

namespace {

struct Options {
  std::string file, password, name;
  std::string folder, keyFile, certFile, chainFile;
  bool force = false;
  EncryptOptions encrypt;
};

// What goes to one file: a key, or objects behind one another.
struct Output {
  std::string file;
  std::vector<int> bags;
  bool wasThere = false;
};

class Import {
 public:
  Import(const Options &options, const sxPkcs12 &container, Report &report)
      : m_options(options), m_container(container), m_order(sxPkcs12_Order(container)), m_report(report) {}

  void Run() {
    if (!(m_options.folder.empty() ? PlanFiles() : PlanFolder())) return;
    KeyProtection protection;
    const bool hasKey =
        std::ranges::any_of(m_outputs, [this](const Output &output) { return KeyIn(output) != nullptr; });
    if (!ReadProtection(m_options.encrypt, hasKey, protection, m_report) || !CanWrite()) return;
    if (!WriteAll(protection)) return;
    Tell();
  }

 private:
  const sxPkcs12Bag &Bag(int number) const { return m_container.Bags()[static_cast<size_t>(number)]; }
  sxPubKey *KeyIn(const Output &output) const { return Bag(output.bags.front()).key; }

  bool Refuse(ExitCode code, const std::string &why) { return m_report.Problem(code, m_options.file, why), false; }
  void Plan(const std::string &file, std::vector<int> bags) {
    if (!file.empty() && !bags.empty()) m_outputs.push_back({file, std::move(bags)});
  }

  // Of every key, those without a certificate behind the others.
  std::vector<sxPkcs12Key> AllKeys() const {
    std::vector<sxPkcs12Key> keys = m_order.keys;
    for (const int number : m_order.otherKeys) keys.push_back({number, {}});
    return keys;
  }

  // One key, which may have to be named.
  bool PlanFiles() {
    std::vector<sxPkcs12Key> keys = AllKeys();
    if (!m_options.name.empty()) {
      std::erase_if(keys, [this](const sxPkcs12Key &key) { return Bag(key.key).name != m_options.name; });
    }
    const bool wantsKey = !m_options.keyFile.empty() || keys.empty();
    const bool hasLost = wantsKey && TellLostKeys(m_container, m_options.file, m_options.name, m_report);
    if (keys.empty()) {
      return !hasLost &&
             Refuse(kExitInputError, m_options.name.empty() ? "no key that is usable is in it; --out-dir takes the rest"
                                                            : "no key of that name is in it");
    }
    if (keys.size() > 1) {
      const std::string number = std::to_string(keys.size());
      return Refuse(kExitInputError, m_options.name.empty() ? number + " keys are in it: give --name or --out-dir"
                                                            : number + " keys have that name: give --out-dir");
    }
    const sxPkcs12Key &key = keys.front();
    if (key.chain.empty() && !m_options.certFile.empty())
      return Refuse(kExitInputError, "the key has no certificate in it");
    Plan(m_options.keyFile, {key.key});
    if (key.chain.empty()) return true;
    Plan(m_options.certFile, {key.chain.front()});
    if (key.chain.size() == 1 && !m_options.chainFile.empty()) {
      m_report.Note(m_options.file, "no issuer's certificate is in it; no file for the chain is written");
    }
    Plan(m_options.chainFile, {key.chain.begin() + 1, key.chain.end()});
    return true;
  }

  // Everything. Names of files are ours, whatever the names in the container.
  bool PlanFolder() {
    const std::vector<sxPkcs12Key> keys = AllKeys();
    for (size_t i = 0; i < keys.size(); ++i) {
      const std::string end = (keys.size() == 1 ? "" : "-" + std::to_string(i + 1)) + ".pem";
      Plan(InFolder("key" + end), {keys[i].key});
      if (keys[i].chain.empty()) continue;
      Plan(InFolder("cert" + end), {keys[i].chain.front()});
      Plan(InFolder("chain" + end), {keys[i].chain.begin() + 1, keys[i].chain.end()});
    }
    Plan(InFolder("other-certs.pem"), m_order.otherCerts);
    Plan(InFolder("crls.pem"), m_order.otherCrls);
    const bool hasLost = TellLostKeys(m_container, m_options.file, "", m_report);
    return !m_outputs.empty() || (!hasLost && Refuse(kExitInputError, "nothing that is written is in it"));
  }
  std::string InFolder(const std::string &name) const { return m_options.folder + "/" + name; }

  // Before anything is written: all of them, or none.
  bool CanWrite() {
    bool can = true;
    std::set<FilePlace> places;
    for (const Output &output : m_outputs) {
      if (!places.insert(PlaceOf(output.file)).second) {
        return Refuse(kExitUsage, "two outputs are one file: " + output.file);
      }
      if (IsInput(output.file, m_options.file)) {
        return Refuse(kExitUsage, "an output would replace it: " + output.file);
      }
    }
    for (Output &output : m_outputs) {
      struct stat found;
      output.wasThere = lstat(output.file.c_str(), &found) == 0;
      if (!output.wasThere) continue;
      if (m_options.force && CanBeReplaced(output.file)) continue;
      m_report.Problem(kExitInputError, output.file,
                       m_options.force ? "is no file that could be replaced" : "is there already; --force replaces it");
      can = false;
    }
    return can;
  }

  bool WriteAll(const KeyProtection &protection) {
    for (size_t i = 0; i < m_outputs.size(); ++i) {
      if (Write(m_outputs[i], protection)) continue;
      for (size_t done = 0; done < i; ++done) TakeBack(m_outputs[done]);
      return false;
    }
    return true;
  }

  // What was replaced is gone, but what is new is of no use alone.
  void TakeBack(const Output &output) {
    if (output.wasThere) return m_report.Note(output.file, "was replaced before that failed");
    if (unlink(output.file.c_str()) != 0) {
      m_report.Problem(kExitInputError, output.file, "is new, and cannot be removed again");
    }
  }

  bool Write(const Output &output, const KeyProtection &protection) {
    const OutputOptions options = {output.file, m_options.force};
    if (sxPubKey *const key = KeyIn(output)) return WriteKey(*key, true, kKeyForm_pem, options, m_report, &protection);
    std::string all;
    for (const int number : output.bags) {
      const sxPkcs12Bag &bag = Bag(number);
      const sxSigned *const object = bag.cert != nullptr ? static_cast<const sxSigned *>(bag.cert) : bag.crl;
      all += PemText(kxBinBuf(object->GetBuf(), object->BufLen()), bag.cert != nullptr ? "CERTIFICATE" : "X509 CRL");
    }
    return WriteOctets({reinterpret_cast<const unsigned char *>(all.data()), all.size()}, options, m_report);
  }

  void Tell() {
    Facts files = Facts::array();
    for (const Output &output : m_outputs) {
      for (const int number : output.bags) {
        files.push_back({{"file", output.file}, {"bag", BagFacts(Bag(number))}});
        m_report.Line(VisibleLine(output.file) + ": " + BagTitle(Bag(number)));
      }
    }
    m_report.Document()["written"] = std::move(files);
    Facts left = Facts::array();
    for (const int number : LeftOver()) {
      const sxPkcs12Bag &bag = Bag(number);
      left.push_back(BagFacts(bag));
      m_report.Line(std::string("left over: ") + sxPkcs12_KindText(bag.kind) + " " +
                    (bag.result == sxPkcs12_ok ? BagTitle(bag) : VisibleLine(bag.why)));
    }
    m_report.Document()["leftOver"] = std::move(left);
    if (m_order.isCut) m_report.Note(m_options.file, "more signatures than are verified; a chain may be too short");
  }

  std::vector<int> LeftOver() const {
    std::vector<bool> isWritten(m_container.Bags().size());
    for (const Output &output : m_outputs) {
      for (const int number : output.bags) isWritten[static_cast<size_t>(number)] = true;
    }
    std::vector<int> left;
    for (size_t i = 0; i < isWritten.size(); ++i) {
      if (!isWritten[i] && m_container.Bags()[i].kind != sxPkcs12Kind::kSafe) left.push_back(static_cast<int>(i));
    }
    return left;
  }

  const Options &m_options;
  const sxPkcs12 &m_container;
  const sxPkcs12Order m_order;
  Report &m_report;
  std::vector<Output> m_outputs;
};

void Run(const Options &options, Report &report) {
  const bool hasFiles = !options.keyFile.empty() || !options.certFile.empty() || !options.chainFile.empty();
  if (hasFiles != options.folder.empty()) {
    return report.Problem(kExitUsage, "", "give --out-dir; or any of --key-out, --cert-out and --chain-out");
  }
  if (!options.folder.empty() && !options.name.empty()) {
    return report.Problem(kExitUsage, "", "--out-dir takes every key, whatever its name");
  }
  const std::unique_ptr<sxPkcs12> container = ReadContainer(options.file, report);
  if (container == nullptr) return;
  if (OpenContainer(*container, options.file, options.password, Ask::kTerminal, report)) {
    Import(options, *container, report).Run();
  }
}

}  // namespace

Verb P12Import() {
  const auto options = std::make_shared<Options>();
  Verb verb = {{{"FILE", "the container, DER or PEM; - is standard input", &options->file, true},
                ContainerPasswordRow(options->password),
                {"--out-dir", "write everything to files of this folder: key.pem, cert.pem, chain.pem and more",
                 &options->folder},
                {"--key-out", "write the key to this file", &options->keyFile},
                {"--cert-out", "write its certificate to this file", &options->certFile},
                {"--chain-out", "write the certificates of its issuers to this file", &options->chainFile},
                {"--name", "the key with this friendly name, where there are several", &options->name},
                {"--force", "replace what is there", &options->force}},
               [options](Report &report) { Run(*options, report); }};
  std::ranges::move(EncryptRows(options->encrypt), std::back_inserter(verb.options));
  return verb;
}
