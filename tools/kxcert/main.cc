// kxcert NOUN VERB: finds the verb, runs it, and says with the exit code how it ended.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "commandLine.h"
#include "kxcert/signedfile/fileSignVerify.h"
#include "report.h"
#include "timeText.h"
#include "visibleText.h"

namespace {

constexpr NounRow kNouns[] = {
    {"cert", "Certificates and CRLs"},
    {"chain", "Chains of certificates"},
    {"crl", "Lists of revoked certificates"},
    {"crmf", "Certificate request messages"},
    {"db", "Databases of certificates and CRLs"},
    {"file", "Signed files"},
    {"key", "RSA, elliptic-curve and Diffie-Hellman keys"},
    {"name", "Distinguished names"},
    {"ocsp", "Revocation as responders tell it"},
    {"p12", "PKCS #12 containers of keys and certificates"},
    {"req", "Certification requests (PKCS #10)"},
};

constexpr VerbRow kVerbs[] = {
    {"cert", "print", "Print certificates and CRLs", CertPrint},
    {"cert", "asn1", "Print any ASN.1 type as a tree, or check its encoding", CertAsn1},
    {"cert", "issue", "Issue a certificate, from a request or a key", CertIssue},
    {"cert", "renew", "Issue a certificate once more, with new dates", CertRenew},
    {"chain", "verify", "Decide whether a chain is valid, and say why", ChainVerify},
    {"crl", "print", "Print CRLs and their entries", CrlPrint},
    {"crl", "verify", "Decide whether a CRL is valid, and say what it covers", CrlVerify},
    {"crl", "find", "Look for certificates in a CRL", CrlFind},
    {"crl", "new", "Make a CRL, from an older one or anew", CrlNew},
    {"crmf", "new", "Make a certificate request message", CrmfNew},
    {"crmf", "show", "Print certificate request messages, and judge them", CrmfShow},
    {"db", "list", "List the records of a database", DbList},
    {"db", "show", "Print records of a database", DbShow},
    {"db", "add", "Add certificates or a CRL to a database", DbAdd},
    {"db", "rm", "Remove records by their keys", DbRemove},
    {"db", "gc", "Remove what has expired", DbCollect},
    {"db", "check", "Say what in a database is of no use, and remove it", DbCheck},
    {"file", "sign", "Sign a file, in it or beside it", FileSignVerb},
    {"file", "verify", "Decide whether a file is signed, and no older than another", FileVerifyVerb},
    {"key", "gen", "Make a key", KeyGen},
    {"key", "show", "Tell what keys are", KeyShow},
    {"key", "convert", "Write a key in another form", KeyConvert},
    {"key", "sign", "Sign the digest of a file", KeySign},
    {"key", "verify", "Decide whether a signature is a key's", KeyVerify},
    {"key", "derive", "Compute the secret that two keys share", KeyDerive},
    {"name", "parse", "Print names as text and DER", NameParse},
    {"name", "compare", "Tell whether two names are equal", NameCompare},
    {"name", "suffix", "Tell whether a name ends with another one", NameSuffix},
    {"ocsp", "ask", "Ask responders whether certificates are revoked", OcspAsk},
    {"ocsp", "print", "Print OCSP responses", OcspPrint},
    {"p12", "show", "Tell what is in a container", P12Show},
    {"p12", "import", "Write keys and certificates of a container to files", P12Import},
    {"p12", "export", "Make a container of a key and its certificates", P12Export},
    {"req", "new", "Make a certification request", ReqNew},
    {"req", "show", "Print certification requests", ReqShow},
    {"req", "verify", "Decide whether requests are signed with the keys that they are about", ReqVerify},
};

int Run(int argc, char **argv) {
  int exitCode = kExitYes;
  const std::optional<Choice> choice = ReadCommandLine(argc, argv, kNouns, kVerbs, &exitCode);
  if (!choice.has_value()) return exitCode;
  Report report(choice->command, choice->json);
  try {
    choice->run(report);
  } catch (const std::exception &error) {  // the document is whole all the same
    report.Problem(kExitInternal, "", std::string("internal error: ") + error.what());
  }
  return report.Finish();
}

// Keys and passwords pass through here. A limit of 1 is the one that a handler of core files is bound to as well.
void WriteNoCore() {
  rlimit limit;
  if (getrlimit(RLIMIT_CORE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max < 1 ? limit.rlim_max : 1;
  setrlimit(RLIMIT_CORE, &limit);
}

// What is opened would else become standard output. Where one of the three was closed, to use it fails as before.
void KeepStandardStreams() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) != -1) continue;
    const int taken = open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    if (taken != fd && taken >= 0) close(taken);
  }
}

}  // namespace

int main(int argc, char **argv) {
  KeepStandardStreams();
  WriteNoCore();
  UseUtc();
  std::signal(SIGXFSZ, SIG_IGN);  // so that what cannot be written is said, and what is half done is taken back
  fsv_refuse_zero_time(true);     // no verb takes a signature whose time is not signed
  try {
    return Run(argc, argv);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "kxcert: internal error: %s\n", VisibleLine(error.what()).c_str());
    return kExitInternal;
  }
}
