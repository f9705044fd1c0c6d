/// @file
/// RevocationWorld: a small PKI, its CRLs and who serves them, made by libcrypto from words.
#ifndef KXCERT_TESTS_SUPPORT_REVOCATIONWORLD_H_
#define KXCERT_TESTS_SUPPORT_REVOCATIONWORLD_H_

#include <map>
#include <mutex>
#include <memory>
#include <string>
#include <vector>

#include "kxcert/cert/sxCRLs.h"
#include "kxcert/platform/fetcher.h"
#include "kxcert/trust/revocation.h"
#include "support/fixedClock.h"
#include "support/testPki.h"

/// Serves what stands under a URL; counts who asks. "-" instead of octets: never answers.
class UrlFetcher : public kxFetcher {
 public:
  void Begin(const std::shared_ptr<kxFetchTask> &task) override;
  void Cancel(kxFetchTask &) override {}

  std::mutex guard;  // asked on the thread that fetches
  std::map<std::string, std::vector<unsigned char>> served;
  std::vector<std::string> asked;
  std::vector<std::shared_ptr<kxFetchTask>> held;
};

/// Words are "name=value". Extensions are written as OpenSSL's configuration has them, ";" for a new line of their
/// section, and "@O=x/CN=y" for a section that is a name.
class RevocationWorld {
 public:
  using Words = std::vector<std::string>;
  RevocationWorld();
  ~RevocationWorld();

  /// "by=ISSUER", "serial=HEX", "dp=...", "freshest=...", "ca", "usage=...", "ocsp=URL"
  void Cert(const std::string &name, const std::string &subject, const Words &words);
  /// Makes a CRL of a CA: "this=DAYS", "next=DAYS" or "next=-", "number=N", "base=N", "idp=...", "freshest=...",
  /// "unknown" (critical, of the list), "key=CERT" (who signs it), "revoke=HEX[,REASON[,@ISSUER]]", "damage"
  void Crl(const std::string &name, const std::string &ca, const Words &words);
  void Serve(const std::string &url, const std::string &crl);
  void Push(const std::string &crl);
  void AnswerHeld(const std::string &crl);  ///< those that were never to be answered
  /// "chain=leaf,ca", "root=NAME", "crlTo=N", "method=N", "ocsp=N", "crl=N", "at=DAYS", "size=N", "pool=...", "stay", "forced=URL"
  /// @return "code level"; then what was looked at, a line each
  std::string Check(const Words &words);
  /// What was asked for since the last time.
  std::string Asked();

  const TestCert &Of(const std::string &name) const { return *m_certs.at(name); }

  const std::shared_ptr<UrlFetcher> fetcher = std::make_shared<UrlFetcher>();
  FixedClock clock{kTestNow};

 private:
  std::map<std::string, std::unique_ptr<TestCert>> m_certs;
  std::map<std::string, std::vector<unsigned char>> m_crls;
};

#endif
