/// @file
/// PublishOnce: a value that is computed on first use and may be read from any thread.
///
/// Several threads may compute it at once; one result is published and the others are thrown away.
#ifndef KXCERT_SRC_FOUNDATION_PUBLISHONCE_H_
#define KXCERT_SRC_FOUNDATION_PUBLISHONCE_H_

#include <atomic>
#include <memory>

template <class T>
class PublishOnce {
 public:
  PublishOnce() = default;
  ~PublishOnce() { Reset(); }
  PublishOnce(const PublishOnce &) = delete;
  PublishOnce &operator=(const PublishOnce &) = delete;

  /// What was published, else what @p make returns (a unique_ptr; null is not published and the next
  /// call tries again). Lent until Reset.
  template <class Make>
  T *Get(Make make) const {
    if (T *known = m_value.load(std::memory_order_acquire); known != nullptr) return known;
    std::unique_ptr<T> made = make();  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): m_value owns what is released
    T *expected = nullptr;
    if (made == nullptr || !m_value.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel)) {
      return expected;
    }
    return made.release();
  }
  T *Known() const { return m_value.load(std::memory_order_acquire); }

  void Reset() { delete m_value.exchange(nullptr); }  ///< only while no one reads

 private:
  mutable std::atomic<T *> m_value{nullptr};  // owned
};

#endif
