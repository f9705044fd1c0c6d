// Leaf and intermediate against a root among 140: trust, dates, constraints, signatures.
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/x509_vfy.h>

#include <chrono>
#include <memory>

#include "kxcert/cert/signatureCache.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/trust/chainJudge.h"
#include "kxcert/trust/sxKeyHolder.h"
#include "kxcert/trust/sxRootCA.h"
#include "kxcert/trust/sxValidation.h"
#include "support.h"

namespace {

struct FreeObj {
  template <class T>
  void operator()(T *obj) const {
    sxFreePKobj(obj);
  }
};
struct FreeCert {
  void operator()(sxCert *cert) const { sxCert_Free(cert); }
};
using CertRef = std::unique_ptr<sxCert, FreeCert>;

sxCert *Decode(const Octets &der) { return sxCert_Decode(der.data(), static_cast<int>(der.size())); }

std::unique_ptr<sxKeyHolder, FreeObj> NewHolder(const Octets &ownRoot) {
  std::unique_ptr<sxKeyHolder, FreeObj> holder(sxKeyHolder_New());
  const auto add = [&holder](const Octets &der) {
    const CertRef cert(Decode(der));
    if (cert == nullptr) return;
    auto *root = new sxRootCA(nullptr, cert.get(), 0, sxCaType_other, 0, nullptr, 0, nullptr, 0);
    holder->AddCA(root);
    sxFreePKobj(root);
  };
  for (const Octets &der : OtherRoots()) add(der);
  add(ownRoot);
  return holder;
}

bool Validate(sxKeyHolder &holder, const sxCerts &chain) {
  sxCerts trusted;
  sxRootCA *root = holder.IsChainTrusted(chain, trusted);
  static const ValidateParams params;
  int level = 0;
  long expiration = 0;
  return root != nullptr &&
         sxCert_ValCerts(root, &trusted, nullptr, &expiration, params, nullptr, 0, &level, nullptr, nullptr,
                         sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints) == sxValidation_OK;
}

void Fill(sxCerts *chain, const BenchChain &octets) {
  chain->Add(Decode(octets.leaf));
  chain->Add(Decode(octets.intermediate));
}

enum class Memory { kCleared, kWarm };
enum class From { kObjects, kOctets };

void Ours(benchmark::State &state, const BenchChain &octets, From from, Memory memory) {
  const auto holder = NewHolder(octets.root);
  sxCerts parsed;
  Fill(&parsed, octets);
  const CountsAllocations counts(state);
  sxSignatureCache_SetSize(64);
  for (auto _ : state) {
    if (memory == Memory::kCleared) sxSignatureCache_Clear();  // not timed, as is what goes afterwards
    const auto start = std::chrono::steady_clock::now();
    sxCerts chain;
    if (from == From::kOctets) Fill(&chain, octets);
    const bool valid = Validate(*holder, from == From::kObjects ? parsed : chain);
    chain.ClearAll();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (!valid) state.SkipWithError("not valid");
  }
}

// One question about a chain whose signatures are known: the verdict, its findings, and what strict rules add to them.
void Judge(benchmark::State &state, const BenchChain &octets, const char *deciding, const char *notes) {
  const auto holder = NewHolder(octets.root);
  sxCerts pool;
  Fill(&pool, octets);
  sxChainQuestion question;
  question.endEntity = pool.Get(0);
  question.pool = &pool;
  question.holder = holder.get();
  question.flags = sxValidate_path | sxValidate_signatures | sxValidate_nameConstraints;
  question.wantsFindings = true;
  sxRuleSet_Find(deciding, &question.strict.deciding);
  sxRuleSet_Find(notes, &question.strict.notes);
  const CountsAllocations counts(state);
  for (auto _ : state) {
    sxChainVerdict verdict;
    if (sxJudgeChain(question, verdict) != sxValidation_OK) state.SkipWithError("not valid");
  }
}

// The two signature operations alone, digests included, with the keys warm.
void Bare(benchmark::State &state, const BenchChain &octets) {
  const auto load = [](const Octets &der) {
    const unsigned char *pos = der.data();
    return d2i_X509(nullptr, &pos, static_cast<long>(der.size()));
  };
  X509 *root = load(octets.root);
  X509 *intermediate = load(octets.intermediate);
  X509 *leaf = load(octets.leaf);
  for (auto _ : state) {
    if (X509_verify(leaf, X509_get0_pubkey(intermediate)) != 1 ||
        X509_verify(intermediate, X509_get0_pubkey(root)) != 1) {
      state.SkipWithError("not valid");
    }
  }
  X509_free(leaf);
  X509_free(intermediate);
  X509_free(root);
}

// The same operations through the key interface: what validation cannot be faster than.
void BareOurs(benchmark::State &state, const BenchChain &octets) {
  const CertRef root(Decode(octets.root));
  const CertRef intermediate(Decode(octets.intermediate));
  const CertRef leaf(Decode(octets.leaf));
  sxSignatureCache_SetSize(0);
  for (auto _ : state) {
    if (leaf->VerifySig(intermediate->PubKey()) != 0 || intermediate->VerifySig(root->PubKey()) != 0) {
      state.SkipWithError("not valid");
    }
  }
  sxSignatureCache_SetSize(64);
}

void Libcrypto(benchmark::State &state, const BenchChain &octets, From from) {
  const auto load = [](const Octets &der) {
    const unsigned char *pos = der.data();
    return d2i_X509(nullptr, &pos, static_cast<long>(der.size()));
  };
  X509_STORE *store = X509_STORE_new();
  for (const Octets &der : OtherRoots()) {
    X509 *other = load(der);
    X509_STORE_add_cert(store, other);
    X509_free(other);
  }
  X509 *root = load(octets.root);
  X509_STORE_add_cert(store, root);
  X509 *parsedLeaf = load(octets.leaf);
  X509 *parsedIntermediate = load(octets.intermediate);
  const CountsAllocations counts(state);
  for (auto _ : state) {
    X509 *leaf = from == From::kOctets ? load(octets.leaf) : parsedLeaf;
    X509 *intermediate = from == From::kOctets ? load(octets.intermediate) : parsedIntermediate;
    STACK_OF(X509) *untrusted = sk_X509_new_null();
    sk_X509_push(untrusted, intermediate);
    X509_STORE_CTX *context = X509_STORE_CTX_new();
    X509_STORE_CTX_init(context, store, leaf, untrusted);
    if (X509_verify_cert(context) != 1) state.SkipWithError("not valid");
    X509_STORE_CTX_free(context);
    sk_X509_free(untrusted);
    if (from == From::kOctets) {
      X509_free(leaf);
      X509_free(intermediate);
    }
  }
  X509_free(parsedLeaf);
  X509_free(parsedIntermediate);
  X509_free(root);
  X509_STORE_free(store);
}

void NameLookup(benchmark::State &state, const BenchChain &octets) {
  const auto holder = NewHolder(octets.root);
  const CertRef root(Decode(octets.root));
  for (auto _ : state) {
    const sxDN issuer(*root->Subject());  // a name that comes fresh, its hash not known yet
    if (holder->RootCA_Lookup(issuer) == nullptr) state.SkipWithError("not found");
  }
}

void NameLookupLibcrypto(benchmark::State &state, const BenchChain &octets) {
  X509_STORE *store = X509_STORE_new();
  const auto add = [store](const Octets &der) {
    const unsigned char *pos = der.data();
    X509 *cert = d2i_X509(nullptr, &pos, static_cast<long>(der.size()));
    X509_STORE_add_cert(store, cert);
    X509_free(cert);
  };
  for (const Octets &der : OtherRoots()) add(der);
  add(octets.root);
  const unsigned char *pos = octets.root.data();
  X509 *root = d2i_X509(nullptr, &pos, static_cast<long>(octets.root.size()));
  X509_STORE_CTX *context = X509_STORE_CTX_new();
  X509_STORE_CTX_init(context, store, nullptr, nullptr);
  for (auto _ : state) {
    X509_NAME *issuer = X509_NAME_dup(X509_get_subject_name(root));
    X509_OBJECT *found = X509_STORE_CTX_get_obj_by_subject(context, X509_LU_X509, issuer);
    if (found == nullptr) state.SkipWithError("not found");
    X509_OBJECT_free(found);
    X509_NAME_free(issuer);
  }
  X509_STORE_CTX_free(context);
  X509_free(root);
  X509_STORE_free(store);
}

const int kRegistered = [] {
  for (const std::string kind : {"rsa", "ec"}) {
    static std::vector<BenchChain *> chains;  // lent to the benchmarks for the process
    chains.push_back(new BenchChain(kind));
    const BenchChain &chain = *chains.back();
    const auto add = [](const std::string &name, auto func, auto &&...args) {
      return benchmark::RegisterBenchmark(name.c_str(), func, args...);
    };
    const std::string objects = "validate-objects/" + kind;
    add(objects + "/bare", BareOurs, chain);
    add(objects + "/bare-libcrypto", Bare, chain);
    add(objects + "/libcrypto", Libcrypto, chain, From::kObjects);
    add(objects + "/first", Ours, chain, From::kObjects, Memory::kCleared)->UseManualTime();
    add(objects + "/repeated", Ours, chain, From::kObjects, Memory::kWarm)->UseManualTime();
    const std::string judge = "judge/" + kind;
    add(judge + "/findings", Judge, chain, "gateway", "gateway");
    add(judge + "/with-notes", Judge, chain, "gateway", "rfc5280");
    add(judge + "/strict", Judge, chain, "rfc5280", "gateway");
    const std::string octets = "validate-octets/" + kind;
    add(octets + "/libcrypto", Libcrypto, chain, From::kOctets);
    add(octets + "/first", Ours, chain, From::kOctets, Memory::kCleared)->UseManualTime();
    add(octets + "/repeated", Ours, chain, From::kOctets, Memory::kWarm)->UseManualTime();
    add("name-lookup/" + kind + "/libcrypto", NameLookupLibcrypto, chain);
    add("name-lookup/" + kind + "/ours", NameLookup, chain);
  }
  return 0;
}();

}  // namespace
