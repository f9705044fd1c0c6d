#include "support/chainJudge.h"

#include <memory>

#include "kxcert/cert/certFile.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/trust/sortCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/trust/chainJudge.h"
#include "kxcert/trust/fixChain.h"
#include "kxcert/trust/sxCertifiedKey.h"
#include "kxcert/trust/sxKeyHolder.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxcert_black_list.h"
#include "support/fixedClock.h"

namespace {

constexpr int kChecks = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;

struct FreeObject {
  void operator()(sxPKobj *obj) const { sxFreePKobj(obj); }
  void operator()(sxSigned *obj) const { sxFreeSigned(obj); }
  void operator()(sxcert_black_list *list) const { sxcert_black_list::free(list); }
};
template <class T>
using Ref = std::unique_ptr<T, FreeObject>;
using CertRef = Ref<sxCert>;

CertRef LoadCert(const std::string &file) {
  kxBinBuf octets;
  if (sxCert_AsnBufFromFile(file.c_str(), octets, nullptr) != 0) return nullptr;
  return CertRef(sxCert_Decode(octets.Data(), static_cast<int>(octets.Len())));
}

std::string DerOf(const sxCert &cert) {
  return std::string(reinterpret_cast<const char *>(cert.GetBuf()), cert.BufLen());
}

// What one question needs; a file that cannot be read stops the loading and is named.
class Court {
 public:
  explicit Court(const ChainQuestion &question)
      : m_question(question),
        m_holder(question.intermediates.empty() ? sxKeyHolder_New()
                                                : sxKeyHolder_with_cache(4, 0, sxKeyHolder_cachedIntermediates)) {}

  bool Load() {
    if (!LoadCerts(m_question.chain, m_chain) || !LoadRoots() || !LoadOwnKey()) return false;
    for (const std::string &file : m_question.intermediates) {
      const CertRef cert = LoadCert(file);
      if (cert == nullptr || m_holder->AddIntermediateCA(cert.get()) != 0) return Fail(file);
    }
    m_params.Set_cert_start_grace(m_question.startGraceSec);
    m_params.Set_cert_end_grace(m_question.endGraceSec);
    if (m_question.blackList.empty()) return true;
    m_blackList.reset(new sxcert_black_list);
    for (const std::string &serial : m_question.blackList) {
      if (m_blackList->AddFromString(sxString(serial.c_str())) != 0) return Fail(serial);
    }
    m_params.Set_BlackList(m_blackList.get());
    return true;
  }

  ChainAnswer JudgeNamed() {
    sxCerts sorted;
    sxCerts_Sort(m_chain, sorted);
    const CertRef named = m_question.endEntity.empty() ? nullptr : LoadCert(m_question.endEntity);
    sxChainVerdict verdict;
    sxChainQuestion question;
    question.endEntity = named != nullptr ? named.get() : sorted.Get(0);
    question.pool = &m_chain;
    question.holder = m_holder.get();
    question.params = m_params;
    question.flags = kChecks;
    question.time = m_question.nowSec;
    ChainAnswer answer;
    answer.rc = sxJudgeChain(question, verdict);
    answer.level = verdict.level;
    answer.text = verdict.text.getstr();
    for (int i = 0; i <= verdict.path.Top(); ++i) answer.path.push_back(DerOf(*verdict.path.Get(i)));
    if (answer.path.empty() || answer.path[0] != DerOf(*question.endEntity)) answer.problem = "end entity exchanged";
    return answer;
  }

  ChainAnswer Judge() {
    ChainAnswer answer;
    sxCerts path;
    sxRootCA *root = nullptr;
    if (m_question.fix) {
      path = m_chain;
      if (m_question.sort) sxCerts_Sort(path);
      root = sxCert_FixChain(&path, *m_holder);
    } else {
      root = m_holder->IsChainTrusted(m_chain, path);
    }
    if (root == nullptr) return answer;
    const FixedClock clock(m_question.nowSec);
    char text[1024];
    answer.rc = sxCert_ValCerts(root, &path, nullptr, &answer.expirationSec, m_params, text, sizeof text, &answer.level,
                                nullptr, nullptr, kChecks);
    answer.text = text;
    answer.chainExpirationSec = sxGetChainExpiration(path);
    const sxCert *blamed = path.Get(answer.level);
    if (blamed != nullptr) answer.subject = blamed->Subject()->GetStr();
    for (int i = 0; i <= path.Top(); ++i) answer.path.push_back(DerOf(*path.Get(i)));
    return answer;
  }

  const std::string &Problem() const { return m_problem; }

 private:
  bool Fail(const std::string &what) {
    m_problem = what;
    return false;
  }

  bool LoadCerts(const std::vector<std::string> &files, sxCerts &certs) {
    for (const std::string &file : files) {
      CertRef cert = LoadCert(file);
      if (cert == nullptr) return Fail(file);
      certs.Add(cert.release());
    }
    return true;
  }

  bool LoadRoots() {
    for (const std::string &file : m_question.anchors) {
      const CertRef cert = LoadCert(file);
      if (cert == nullptr) return Fail(file);
      std::unique_ptr<sxGeneralNames> permitted;
      if (m_firstRoot == nullptr && !m_question.constraints.empty()) {
        permitted = std::make_unique<sxGeneralNames>();
        for (const std::string &text : m_question.constraints) {
          const sxDN dn(text.c_str());
          const sxGeneralName name(&dn);
          permitted->Add(&name);
        }
      }
      Ref<sxRootCA> root(new sxRootCA(nullptr, cert.get(), 0, sxCaType_other, 0, nullptr, 0, permitted.release(), 0));
      if (m_holder->AddCA(root.get()) != 0) return Fail(file);
      if (m_firstRoot == nullptr) m_firstRoot = std::move(root);
    }
    if (m_question.additional.empty() || m_firstRoot == nullptr) return true;
    auto additional = std::make_unique<sxCerts>();
    if (!LoadCerts(m_question.additional, *additional)) return false;
    m_firstRoot->SetAdditionalCerts(additional.release());
    return true;
  }

  bool LoadOwnKey() {
    if (m_question.ownChain.empty()) return true;
    sxCerts own;
    if (!LoadCerts(m_question.ownChain, own)) return false;
    const Ref<sxCertifiedKey> key(new sxCertifiedKey("own", own, m_firstRoot.get(), nullptr, 0, nullptr, 0));
    return m_holder->AddCertKey(key.get()) == 0 || Fail("own key");
  }

  const ChainQuestion &m_question;
  std::string m_problem;
  Ref<sxcert_black_list> m_blackList;
  ValidateParams m_params;
  const Ref<sxKeyHolder> m_holder;
  Ref<sxRootCA> m_firstRoot;
  sxCerts m_chain;
};

}  // namespace

const std::vector<ChainCode> &ChainCodes() {
  static const std::vector<ChainCode> codes = {
      {sxValidation_OK, "OK", "validate certificate OK."},
      {sxValidation_notYetValid, "NOT_VALID_YET", "The certificate is not valid yet."},
      {sxValidation_expired, "EXPIRED", "Certificate expired."},
      {sxValidation_unhandledCritExt, "UNHANDLED_CRITICAL", "Unhandled critical extension."},
      {sxValidation_blackListed, "BLACK_LISTED", "Certificate found in Certificate Black List."},
      {sxValidation_notTrusted, "NOT_TRUSTED", "Certificate Chain is not signed by a Trusted CA."},
      {sxValidation_issuerIsNoCA, "ISSUER_IS_NO_CA", "Certificate issuer is not a CA."},
      {sxValidation_pathLenExceeded, "PATH_LENGTH_EXCEEDED",
       "The certificate's path length constraint has been exceeded. (err -995)."},
      {sxValidation_inconsistentChain, "INCONSISTENT", "Certificate chain is inconsistent."},
      {sxValidation_badSignature, "BAD_SIGNATURE", "Bad certificate signature."},
      {sxValidation_wrongKeyUsage, "WRONG_KEY_USAGE", "Wrong certificate key usage."},
      {sxValidation_nameConstraints, "NAME_CONSTRAINTS", "Certificate name constraints failed."},
  };
  return codes;
}

const char *CodeName(sxValidationRC rc) {
  for (const ChainCode &code : ChainCodes())  if (code.rc == rc) return code.name;
  return nullptr;
}

bool CodeOfName(const std::string &name, sxValidationRC *rc) {
  for (const ChainCode &code : ChainCodes()) {
    if (name != code.name) continue;
    *rc = code.rc;
    return true;
  }
  return false;
}

std::string ReadCertFile(const std::string &file) {
  const CertRef cert = LoadCert(file);
  return cert == nullptr ? std::string() : DerOf(*cert);
}

ChainAnswer JudgeChain(const ChainQuestion &question) {
  Court court(question);
  if (court.Load()) return question.named ? court.JudgeNamed() : court.Judge();
  ChainAnswer answer;
  answer.problem = court.Problem().empty() ? "nothing to read" : court.Problem();
  return answer;
}
