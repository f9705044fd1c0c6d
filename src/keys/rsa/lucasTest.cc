#include "lucasTest.h"

#include <utility>

namespace {

// 1 when n is the square of a whole number, 0 when not, -1 when libcrypto refused. Newton's iteration from
// above falls until it has reached the root's whole part.
int IsSquare(const BIGNUM *n, BN_CTX *ctx) {
  BigNumFrame frame(ctx);
  BIGNUM *root = frame.New(), *next = frame.New();
  if (next == nullptr || !BN_set_bit(root, (BN_num_bits(n) + 1) / 2)) return -1;
  for (;;) {
    if (!BN_div(next, nullptr, n, root, ctx) || !BN_add(next, next, root) || !BN_rshift1(next, next)) { return -1; }
    if (BN_cmp(next, root) >= 0) break;
    std::swap(next, root);
  }
  if (!BN_sqr(next, root, ctx)) return -1;
  return BN_cmp(next, n) == 0 ? 1 : 0;
}

// 1: *d is set. 0: n is composite, because a D has a factor in common with it. -1: libcrypto refused.
// For a square the search would not end.
int FindDiscriminant(const BIGNUM *n, BIGNUM *d, BN_CTX *ctx) {
  for (BN_ULONG magnitude = 5;; magnitude += 2) {
    if (!BN_set_word(d, magnitude)) return -1;
    BN_set_negative(d, magnitude % 4 == 3);
    const int symbol = BN_kronecker(d, n, ctx);
    if (symbol == -2) return -1;
    if (symbol == -1) return 1;
    // Only a prime n comes to a multiple of itself before it comes to one of its factors.
    if (symbol == 0 && BN_ucmp(d, n) < 0) return 0;
  }
}

// The terms U(k) and V(k) for one k that grows from 1, modulo n, as Montgomery residues.
class LucasTerms {
 public:
  LucasTerms(const BIGNUM *n, BN_CTX *ctx) : m_n(n), m_ctx(ctx), m_mont(BN_MONT_CTX_new()), m_frame(ctx) {}

  bool Start(const BIGNUM *discriminant) {
    for (Pair *pair : {&m_term, &m_doubled, &m_next}) {
      pair->u = m_frame.New();
      pair->v = m_frame.New();
    }
    m_d = m_frame.New();
    m_product = m_frame.New();
    return m_mont != nullptr && m_product != nullptr && BN_MONT_CTX_set(m_mont.get(), m_n, m_ctx) &&
           BN_nnmod(m_d, discriminant, m_n, m_ctx) && BN_to_montgomery(m_d, m_d, m_mont.get(), m_ctx) &&
           BN_to_montgomery(m_term.u, BN_value_one(), m_mont.get(), m_ctx) && BN_copy(m_term.v, m_term.u) != nullptr;
  }

  // k becomes 2 k + bit. Both are computed whichever is kept: the bits are those of a secret prime.
  bool Advance(int bit) {
    if (!Double() || !Increment()) return false;
    std::swap(m_term, bit != 0 ? m_next : m_doubled);
    return true;
  }

  bool UIsZero() const { return BN_is_zero(m_term.u); }
  bool VIsZero() const { return BN_is_zero(m_term.v); }

 private:
  struct Pair {
    BIGNUM *u = nullptr, *v = nullptr;
  };

  bool Multiply(BIGNUM *result, const BIGNUM *a, const BIGNUM *b) {
    return BN_mod_mul_montgomery(result, a, b, m_mont.get(), m_ctx);
  }
  bool AddAndHalve(BIGNUM *result, const BIGNUM *a, const BIGNUM *b) {
    return BN_mod_add_quick(result, a, b, m_n) && (!BN_is_odd(result) || BN_add(result, result, m_n)) &&
           BN_rshift1(result, result);
  }
  // U(2k) = U V, V(2k) = (V V + D U U) / 2
  bool Double() {
    return Multiply(m_doubled.u, m_term.u, m_term.v) && Multiply(m_product, m_term.u, m_term.u) &&
           Multiply(m_product, m_product, m_d) && Multiply(m_doubled.v, m_term.v, m_term.v) &&
           AddAndHalve(m_doubled.v, m_doubled.v, m_product);
  }
  // U(k+1) = (U + V) / 2, V(k+1) = (V + D U) / 2
  bool Increment() {
    return AddAndHalve(m_next.u, m_doubled.u, m_doubled.v) && Multiply(m_product, m_doubled.u, m_d) &&
           AddAndHalve(m_next.v, m_doubled.v, m_product);
  }

  const BIGNUM *m_n;
  BN_CTX *m_ctx;
  MontContext m_mont;
  BigNumFrame m_frame;
  Pair m_term, m_doubled, m_next;
  BIGNUM *m_d = nullptr, *m_product = nullptr;
};

}  // namespace

int StrongLucasTest(const BIGNUM *n, BN_CTX *ctx) {
  if (BN_is_negative(n) || !BN_is_odd(n) || BN_is_one(n)) return 0;
  BigNumFrame frame(ctx);
  BIGNUM *discriminant = frame.New(), *index = frame.New();
  if (index == nullptr) return -1;
  const int square = IsSquare(n, ctx);
  if (square != 0) return square < 0 ? -1 : 0;
  const int found = FindDiscriminant(n, discriminant, ctx);
  if (found <= 0) return found;

  // n + 1 = k 2^s with k odd. A prime n divides U(k) or one of V(k), V(2k), ... V(2^(s-1) k).
  if (!BN_add(index, n, BN_value_one())) return -1;
  int s = 0;
  while (!BN_is_bit_set(index, s)) ++s;
  LucasTerms terms(n, ctx);
  if (!terms.Start(discriminant)) return -1;
  for (int i = BN_num_bits(index) - 2; i >= s; --i) {
    if (!terms.Advance(BN_is_bit_set(index, i))) return -1;
  }
  if (terms.UIsZero() || terms.VIsZero()) return 1;
  for (int i = 1; i < s; ++i) {
    if (!terms.Advance(0)) return -1;
    if (terms.VIsZero()) return 1;
  }
  return 0;
}
