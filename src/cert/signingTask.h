/// @file
/// Signing on the workers of the key tasks, with the answer on the loop's thread.
#ifndef KXCERT_SRC_CERT_SIGNINGTASK_H_
#define KXCERT_SRC_CERT_SIGNINGTASK_H_

#include <memory>
#include <utility>

#include "keys/tasks/poolWork.h"
#include "kxcert/cert/sxSigned.h"
#include "kxcert/keys/keyTasks.h"
#include "platform/owned.h"

/// @tparam ToSign  has Object *Sign(), once and on any thread, and bool MayLeaveThread() const
template <class ToSign, class Object>
class SigningWork : public PoolWork {
 public:
  using Callback = void (*)(void *opaque, int rc, Object *made);

  SigningWork(std::shared_ptr<ToSign> toSign, Callback callback, void *opaque)
      : m_toSign(std::move(toSign)), m_callback(callback), m_opaque(opaque) {
    // A key that is kept elsewhere belongs to this thread.
    if (!m_toSign->MayLeaveThread()) Sign();
  }

  void Run() override {
    if (!m_isDone) Sign();
  }
  void End(bool didRun) override {
    if (!didRun) return m_callback(m_opaque, TASK_TIMEOUT, nullptr);
    Object *const made = m_made.release();
    m_callback(m_opaque, made == nullptr ? TASK_SIGNING_ERROR : TASK_SUCCESS, made);
  }

 private:
  void Sign() {
    m_isDone = true;
    m_made.reset(m_toSign->Sign());
  }

  const std::shared_ptr<ToSign> m_toSign;
  const Callback m_callback;
  void *const m_opaque;
  bool m_isDone = false;  // of Run, which a late worker may still be at
  sxOwned<Object, sxFreeSigned> m_made;
};

/// @return as QueuePoolWork
template <class ToSign, class Object>
int sxQueueSigning(std::shared_ptr<ToSign> toSign, void (*callback)(void *, int, Object *), void *opaque) {
  // A key that is kept elsewhere signs at once: not what nobody would get.
  if (const int rc = CanQueuePoolWork(); rc != 0) return rc;
  return QueuePoolWork(std::make_shared<SigningWork<ToSign, Object>>(std::move(toSign), callback, opaque));
}

#endif
