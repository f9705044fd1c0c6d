// Validations that answer later. One of them lives from the call to its answer, held by what will end it: a call
// posted to the loop, or the table of those that wait for revocation. When the environment goes, both let it go.
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/platform/log.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxValidation.h"
#include "kxcert/trust/sxcert_black_list.h"
#include "platform/eventEnv_imp.h"
#include "platform/owned.h"
#include "trust/revocationHook.h"
#include "trust/sharedRef.h"

namespace {

constexpr char kTopic[] = "VALIDATE";
constexpr char kFunc[] = "sxCert_ValCertsA_e";
constexpr int kMaxText = 16384;           // three names of 4096 octets fit
constexpr int kRevocationGraceMs = 5000;  // beyond its own limit; then nobody waits any more

using BlackListRef = sxOwned<sxcert_black_list, sxcert_black_list::free>;

BlackListRef SavedBlackList(const ValidateParams &params) {
  sxcert_black_list *list = params.Get_BlackList();
  if (list != nullptr) sxcert_black_list::save(list);
  return BlackListRef(list);
}

class Validation;

// The revocation function gets a number, not a pointer: it may answer late, twice or never.
struct Waiting {
  sxMutex mutex;
  uintptr_t lastTicket GUARDED_BY(mutex) = 0;
  std::map<uintptr_t, std::shared_ptr<Validation>> validations GUARDED_BY(mutex);
};

Waiting &TheWaiting() {
  static auto *const waiting = new Waiting;  // answers may come while static objects go
  return *waiting;
}

// Everything but what the table does belongs to the loop's thread.
class Validation final : public kxEventClient, public std::enable_shared_from_this<Validation> {
 public:
  Validation(std::shared_ptr<kxEventLoop> loop, sxRootCA *root, const sxCerts *chain, const ValidateParams &params,
             sxValidationCallback callback, void *opaque, int flags)
      : m_loop(std::move(loop)),
        m_root(root),
        m_hasChain(chain != nullptr),
        m_params(params),
        m_blackList(SavedBlackList(params)),
        m_callback(callback),
        m_opaque(opaque),
        m_flags(flags) {
    if (chain != nullptr) m_chain = m_shown = *chain;
  }

  void Run() {
    m_loop->AddClient(weak_from_this());
    m_ticket = TakeTicket();
    // NOLINTNEXTLINE(performance-no-int-to-ptr): nobody reads what it points to
    void *const ticket = reinterpret_cast<void *>(m_ticket);
    int level = -1;
    const sxValidationRC rc =
        sxCert_ValCerts_e(m_loop->Env(), m_root.get(), m_hasChain ? &m_shown : nullptr, nullptr, &m_expiration,
                          m_params, nullptr, 0, &level, TakeAnswer, ticket, m_flags);
    if (rc != sxValidation_async) {
      Take(m_ticket);
      return Answer(rc, level);
    }
    m_level = level;
    const std::weak_ptr<Validation> weak = weak_from_this();
    m_loop->Post(kRevocationTimeoutMs + kRevocationGraceMs, [weak] {
      if (const std::shared_ptr<Validation> late = weak.lock()) late->GiveUp();
    });
  }

  // Its answer may be on its way already: then there is no such ticket any more.
  void GiveUp() {
    if (Take(m_ticket) == nullptr) return;
    tderrorFunc(kTopic, 1, 0, "%s: the revocation function did not answer", kFunc);
    Answer(sxValidation_unknownStatus, m_level);
  }

  void EnvironmentGone() override {
    m_callback = nullptr;
    Take(m_ticket);
  }

 private:
  uintptr_t TakeTicket() {
    Waiting &waiting = TheWaiting();
    const sxLock lock(waiting.mutex);
    waiting.validations[++waiting.lastTicket] = shared_from_this();
    return waiting.lastTicket;
  }

  static std::shared_ptr<Validation> Take(uintptr_t ticket) {
    Waiting &waiting = TheWaiting();
    const sxLock lock(waiting.mutex);
    const auto found = waiting.validations.find(ticket);
    if (found == waiting.validations.end()) return nullptr;
    std::shared_ptr<Validation> taken = std::move(found->second);
    waiting.validations.erase(found);
    return taken;
  }

  // What the revocation function calls, on whatever thread.
  static void TakeAnswer(sxValidationRC rc, const char *, int level, long, void *ticket) {
    const std::shared_ptr<Validation> validation = Take(reinterpret_cast<uintptr_t>(ticket));
    if (validation == nullptr) return tderrorFunc(kTopic, 3, 0, "%s: an answer that nobody waits for", kFunc);
    rc = sxTrust_RevocationAnswer(rc, validation->m_chain, level);
    validation->m_loop->Post(0, [validation, rc, level] { validation->Answer(rc, level); });
  }

  void Answer(sxValidationRC rc, int level) {
    const sxValidationCallback callback = std::exchange(m_callback, nullptr);
    if (callback == nullptr) return;
    std::vector<char> text(kMaxText);
    const int shown = rc == sxValidation_OK ? -1 : level;
    sxCert_ValErrToStr(&m_chain, rc, shown, text.data(), kMaxText);
    if (rc != sxValidation_OK) tderrorFunc(kTopic, 3, 0, "sxCert_ValCerts: %s", text.data());
    callback(rc, text.data(), shown, m_expiration, m_opaque);
  }

  const std::shared_ptr<kxEventLoop> m_loop;
  const SharedRef<sxRootCA> m_root;
  sxCerts m_chain;
  sxCerts m_shown;  // which a revocation function may change
  const bool m_hasChain;
  const ValidateParams m_params;
  const BlackListRef m_blackList;
  sxValidationCallback m_callback;  // null once it was called or is not to be
  void *const m_opaque;
  const int m_flags;
  uintptr_t m_ticket = 0;
  int m_level = -1;
  long m_expiration = -1;
};

sxValidationRC Begin(const std::shared_ptr<kxEventLoop> &loop, sxRootCA *root, sxCerts *chain, sxCRLs *crls,
                     const ValidateParams &params, sxValidationCallback callback, void *opaque, int flags) {
  if (loop == nullptr || callback == nullptr) {
    return tderrorFunc(kTopic, 1, 0, "%s: no environment, or no callback", kFunc), sxValidation_badInput;
  }
  if (root != nullptr && chain != nullptr && crls != nullptr) sxTrust_PushCRLs(*crls, *root);
  const auto validation = std::make_shared<Validation>(loop, root, chain, params, callback, opaque, flags);
  return loop->Post(0, [validation] { validation->Run(); }) == 0 ? sxValidation_async : sxValidation_badInput;
}

}  // namespace

sxValidationRC sxCert_ValCertsA_e(sxd_env *env, sxRootCA *root, sxCerts *chain, sxCRLs *crls,
                                  const ValidateParams &params, sxValidationCallback callback, void *opaque,
                                  int flags) {
  return Begin(env != nullptr ? env->Loop() : nullptr, root, chain, crls, params, callback, opaque, flags);
}

sxValidationRC sxCert_ValCertsA(sxRootCA *root, sxCerts *chain, sxCRLs *crls, const ValidateParams &params,
                                sxValidationCallback callback, void *opaque, int flags) {
  return Begin(kxEventLoop::Default(), root, chain, crls, params, callback, opaque, flags);
}
