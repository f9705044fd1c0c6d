// Scripts of tests/data/trust: certificates, roots, keys, holders and caches by name, and what is done with them.
//
// A line is "verb | words | result | log"; "test" begins anew, with nothing but a fixed clock. "-" is null, or a
// hole among certificates; L0..L9 are ten of them. A result that is an object is its name.
#include <gmock/gmock.h>

#include <cstring>
#include <future>
#include <thread>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/signatureCache.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/platform/defaultEnv.h"
#include "kxcert/platform/eventEnv.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/trust/caCaches.h"
#include "kxcert/trust/chainJudge.h"
#include "kxcert/trust/fixChain.h"
#include "kxcert/trust/sortCerts.h"
#include "kxcert/trust/sxPKObjects.h"
#include "kxcert/trust/sxValidation.h"
#include "kxcert/trust/sxcert_black_list.h"
#include "platform/background.h"
#include "support/fileFetcher.h"
#include "support/fixedClock.h"
#include "support/hexOctets.h"
#include "support/rows.h"
#include "support/tempDir.h"
#include "support/testRoots.h"
#include "support/words.h"
#include "trust/rules.h"

namespace {

using std::to_string;

const char *OrNull(const std::string &word) { return word == "-" ? nullptr : word.c_str(); }
const unsigned char *IdOf(const std::string &word) { return reinterpret_cast<const unsigned char *>(OrNull(word)); }
int IdLenOf(const std::string &word) { return word == "-" ? 0 : static_cast<int>(word.size()); }
Words From(const Words &words, size_t first) { return Words(words.begin() + static_cast<long>(first), words.end()); }

std::string Verdict(int rc, int level) { return std::string(sxValidationName(rc)) + " at " + to_string(level); }

int Flags(const std::string &text) {
  static const std::map<std::string, int> kFlags = {
      {"path", 1}, {"signatures", 2}, {"path+signatures", 3}, {"names", 8}, {"no", 0},
      {"all", 15}, {"local", 11},     {"path+revocation", 5}};
  return kFlags.at(text);
}

sxDN NameFrom(const std::string &word) {
  if (word == "-") return sxDN();
  if (!word.starts_with("30{")) return sxDN(Plain(word).c_str());
  const Octets der = CaseOctets(word);
  return sxDN(der.data(), LenOf(der));
}

// What a function for revocation does with its callback, and was called with.
struct Revocation {
  enum How { kNow, kCallsBack, kCallsBackTwice, kFromThread, kNever } how = kNow;
  sxValidationCallback callback = nullptr;
  void *opaque = nullptr;
} g_revocation;

sxValidationRC Revoked(sxd_env *, sxRootCA *, sxCerts &, const ValidateParams &, sxValidationCallback callback,
                       void *opaque, int, int &level) {
  level = 0;
  g_revocation.callback = callback;
  g_revocation.opaque = opaque;
  const auto how = g_revocation.how;
  if (how == Revocation::kNow) return sxValidation_revoked;
  if (how == Revocation::kFromThread) std::thread([=] { callback(sxValidation_revoked, "", 0, 0, opaque); }).join();
  else if (how != Revocation::kNever) callback(sxValidation_revoked, "", 0, 0, opaque);
  if (how == Revocation::kCallsBackTwice) callback(sxValidation_OK, "", -1, 0, opaque);
  return sxValidation_async;
}

// When they go, nobody else must have kept a reference.
struct Certs : std::map<std::string, std::unique_ptr<TestCert>> {
  ~Certs() {
    for (const auto &[name, cert] : *this) {
      cert->Get()->IncRef();
      EXPECT_EQ(1, cert->Get()->DecRef()) << name;
    }
  }
};

class World {
 public:
  World() { s_world = this; }
  ~World() {
    sxCert_SetSubCAFunc(nullptr);
    sxCertValidate_SetRevocationFunc(nullptr);
    sxCertValidate_SetGracePeriod(kDefaultGraceSec);
    sxcert_black_list::free(m_list);
    kxFetcher_Set(nullptr);
    sxd_env_destroy(m_env);
    if (m_hasDatabase) IntermediateCA_db_remove();
  }

  void Do(const CaseRow &row) {
    const uint64_t before = NumLooked();
    m_log.Clear();
    EXPECT_EQ(Plain(row[2]), m_verbs.at(row[0])(Split(row[1])));
    EXPECT_TRUE(m_log.Has(Plain(row[3])) || row[3].empty());
    m_numLooked = NumLooked() - before;
  }

 private:
  using Verb = std::function<std::string(const Words &)>;

  static uint64_t NumLooked() { return sxSignatureCache_Stats().hits + sxSignatureCache_Stats().misses; }

  sxCert *Cert(const std::string &name) const { return name == "-" ? nullptr : m_certs.at(name)->Get(); }
  const sxDN *Subject(const std::string &name) const { return name == "-" ? nullptr : Cert(name)->Subject(); }
  template <class T>
  T *Object(const std::string &name) const {
    return name == "-" ? nullptr : static_cast<T *>(m_objects.at(name).get());
  }
  sxRootCA *Root(const std::string &name) const { return Object<sxRootCA>(name); }

  sxCerts Set(const Words &words, int capacity = 0) const {
    sxCerts set(capacity);
    std::vector<int> holes;
    for (const std::string &word : words) {
      if (const size_t dots = word.find(".."); dots != std::string::npos) {
        for (int i = std::stoi(word.substr(1)); i <= std::stoi(word.substr(dots + 3)); ++i) {
          set.Add(m_certs.at("L" + to_string(i))->Ref());
        }
      } else {
        if (word == "-") holes.push_back(set.Top() + 1);
        set.Add(m_certs.at(word == "-" ? words[0] : word)->Ref());
      }
    }
    for (const int hole : holes) set.Del(hole);
    return set;
  }

  // "leaf'" is another object with its octets.
  std::string NameOf(const sxSigned *cert) const {
    for (const auto &[name, known] : m_certs) {
      if (known->Get() == cert) return name;
    }
    for (const auto &[name, known] : m_certs) {
      if (cert != nullptr && DerOf(*known->Get()) == Octets(cert->GetBuf(), cert->GetBuf() + cert->BufLen())) {
        return name + "'";
      }
    }
    return "-";
  }
  std::string NameOf(const sxPKobj *object) const {
    for (const auto &[name, known] : m_objects) {
      if (known.get() == object) return name;
    }
    return "-";
  }
  std::string NamesOf(const sxCerts &certs) const {
    if (certs.Count() > 9) return to_string(certs.Count()) + " certificates";
    Words names;
    for (const sxCert *cert : Members(certs)) names.push_back(NameOf(cert));
    return Joined(names, " ");
  }
  template <class Iterator>
  std::string NamesIn(Iterator &&it) const {
    Words names;
    for (; it.Curr() != nullptr; it.Next()) names.push_back(NameOf(it.Curr()));
    for (int i = 0; i < 20; ++i) it.Next();   // the end is where it stays
    EXPECT_EQ(nullptr, it.Curr());
    return Joined(names, " ");
  }
  static std::string Joined(const Words &words, const std::string &between) {
    std::string all;
    for (const std::string &word : words) all += (all.empty() ? "" : between) + word;
    return all;
  }

  // name subject, ca, critical, by=, keyOf=, issuer=, serial=, end= in seconds from now, basic=, usage=, access=
  std::string NewCert(Words words) {
    TestCertOptions options;
    const bool isCA = std::erase(words, "ca") > 0;
    options.criticalUnknown = std::erase(words, "critical") > 0;
    const std::string by = Take(words, "by="), keyOf = Take(words, "keyOf="), issuer = Take(words, "issuer=");
    options.keyOf = keyOf.empty() ? nullptr : m_certs.at(keyOf).get();
    options.issuerName = issuer.empty() ? nullptr : issuer.c_str();
    options.serial = Take(words, "serial=", "01");
    options.notAfter = kTestNow + std::stoi(Take(words, "end=", "31536000"));
    if (isCA) options = CaOptions(options);
    options.basicConstraints = Take(words, "basic=", options.basicConstraints);
    options.keyUsage = Take(words, "usage=", options.keyUsage);
    options.access = Plain(Take(words, "access="));
    const TestCert *above = by.empty() ? nullptr : m_certs.at(by).get();
    m_certs[words.at(0)] = std::make_unique<TestCert>(Plain(words.at(1)), above, options);
    return "";
  }

  // L0 to Ln, each issued by the one before
  std::string NewLadder(const Words &words) {
    for (int i = 0; i <= std::stoi(words[0]); ++i) {
      NewCert({"L" + to_string(i), "O=Ladder/CN=" + to_string(i), "ca",
               "by=" + (i == 0 ? words[1] : "L" + to_string(i - 1))});
    }
    return "";
  }

  // L0 to Ln, whose issuer each has a URL of its own
  std::string NewAskers(const Words &words) {
    for (int i = 0; i <= std::stoi(words[0]); ++i) {
      const std::string n = to_string(i);
      const std::string access = "access=caIssuers;URI:http://ca.example/" + n;
      NewCert({"L" + n, "CN=" + n, "by=" + words[1], "keyOf=" + words[2], access});
    }
    return "";
  }

  // file certificates: the only one as DER, else PEM
  std::string Serve(const Words &words) const {
    std::string all;
    for (const std::string &name : From(words, 1)) {
      const Octets der = DerOf(*Cert(name));
      all += words.size() == 2 ? StringOf(der) : Pem(der);
    }
    m_dir.Write(words[0], all);
    return "";
  }

  std::string UseFetcher(const std::string &how) {
    const auto answers = how == "never" ? FileFetcher::kNever : FileFetcher::kAtOnce;
    m_fetcher = std::make_shared<FileFetcher>(m_dir.Path(), answers);
    kxFetcher_Set(m_fetcher);
    return "";
  }

  // root flags certificates, or null
  std::string ValCertsA(const Words &words) {
    sxCerts chain = Set(words[2] == "null" ? Words() : From(words, 2));
    sxCerts *const given = words[2] == "null" ? nullptr : &chain;
    const int flags = Flags(words[1]);
    const sxValidationRC rc =
        m_usesDefault ? sxCert_ValCertsA(Root(words[0]), given, nullptr, m_params, TakeVerdict, this, flags)
                      : sxCert_ValCertsA_e(m_env, Root(words[0]), given, nullptr, m_params, TakeVerdict, this, flags);
    EXPECT_EQ("", m_answers) << "within the call";
    return rc == sxValidation_async ? "async" : sxValidationName(rc);
  }
  static void TakeVerdict(sxValidationRC rc, const char *text, int level, long expiration, void *opaque) {
    auto &world = *static_cast<World *>(opaque);
    const std::string line(text, std::strcspn(text, "\n"));
    const std::string left = rc == sxValidation_OK ? " " + to_string(expiration - kTestNow) : "";
    world.m_answers += "(" + Verdict(rc, level) + ": " + line + left + ")";
    EXPECT_EQ(std::this_thread::get_id(), world.m_thread);
    sxd_env_stop(world.m_env);
  }
  // Runs the loop until the first, and on.
  std::string Answers(int maxMs) {
    EXPECT_EQ(0, sxd_env_run_for(m_env, maxMs));
    EXPECT_EQ(0, sxd_env_run_for(m_env, 5));
    return std::exchange(m_answers, "");
  }
  // The loop, and what it left to the background.
  std::string Run() {
    const int rc = sxd_env_run_for(m_env, 100);
    std::promise<void> done;
    EXPECT_TRUE(kxBackground_Post([&done] { done.set_value(); }));
    done.get_future().wait();
    return to_string(rc);
  }
  // By others than this.
  std::string IsHeld(const std::string &name) const {
    Cert(name)->IncRef();
    return Cert(name)->DecRef() > 1 ? "yes" : "no";
  }

  // name certificate, loose: outside the holder, name=, id=, type=, crlTo=, permits=, names of the constraint
  std::string NewRoot(Words words) {
    auto constraints = std::make_unique<sxGeneralNames>();
    for (const std::string &text : TakeAll(words, "permits=")) {
      const sxDN dn(text.c_str());
      const sxGeneralName mail(sxGN_email, text.c_str(), static_cast<int>(text.size())), tree(&dn);
      constraints->Add(text.find('@') != std::string::npos ? &mail : &tree);
    }
    const std::string name = Take(words, "name=", "-"), id = Take(words, "id=", "-");
    const auto type = static_cast<SxCaType>(std::stoi(Take(words, "type=", "0")));
    const bool isLoose = std::erase(words, "loose") > 0;
    auto *root = new sxRootCA(OrNull(name == "empty" ? "" : name), Cert(words.at(1)), 3, type, 9, IdOf(id),
                              IdLenOf(id), constraints.release(), 60);
    m_objects[words[0]].reset(root);
    return isLoose ? "" : to_string(m_holder->AddCA(root));
  }

  // name root certificates, name=, id=
  std::string NewKey(Words words) {
    const std::string name = Take(words, "name=", "-"), id = Take(words, "id=", "-");
    auto *key = new sxCertifiedKey(OrNull(name), Set(From(words, 2)), Root(words.at(1)), nullptr, 0, IdOf(id),
                                   IdLenOf(id));
    m_objects[words[0]].reset(key);
    return to_string(m_holder->AddCertKey(key));
  }

  // name, size, mode: a new one, or that of the name
  std::string UseHolder(const Words &words) {
    auto &holder = m_objects[words[0]];
    if (holder == nullptr) {
      holder.reset(words.size() == 1 ? sxKeyHolder_New()
                                     : sxKeyHolder_with_cache(std::stoi(words.at(1)), 0, std::stoi(words.at(2))));
    }
    m_holder = static_cast<sxKeyHolder *>(holder.get());
    return "";
  }

  std::string Sorted(const Words &words) {
    sxKeyHolder *const sorted = sxKeyHolder_Sort(Object<sxKeyHolder>(words[0]));
    if (sorted == nullptr) return "-";
    m_objects[words[0] + "-sorted"].reset(sorted);
    m_holder = sorted;
    return "";
  }

  std::string DefaultKey() {
    const PkRef<sxKeyHolder> sorted(sxKeyHolder_Sort(m_holder));
    EXPECT_EQ(m_holder->CertKeyByDefault(), sorted->CertKeyByDefault());
    return NameOf(m_holder->CertKeyByDefault());
  }

  std::string Trusted(const Words &words) const {
    TrustType type = TrustType_none;
    const std::string root = NameOf(m_holder->IsCertTrusted(*Cert(words[0]), type));
    return root + (type == TrustType_trustedCA ? " trusted" : type == TrustType_signedByCA ? " signed" : "");
  }

  std::string Identities(const Words &words) const {
    const sxDN first = NameFrom(words[0]), second = NameFrom(words[1]);
    const CA_Identity a(first), b(second);
    const int order = CA_Identity::Compare(&a, &b);
    EXPECT_EQ(-order, CA_Identity::Compare(&b, &a));
    EXPECT_EQ(order == 0, CA_Identity::Hash(&a) == CA_Identity::Hash(&b));
    return order < 0 ? "less" : order == 0 ? "equal" : "greater";
  }

  std::string Fix(const Words &words) const {
    sxCerts chain = Set(words[0] == "none" ? Words() : words);
    EXPECT_EQ(nullptr, sxCert_FixChain(nullptr, *m_holder));
    EXPECT_EQ(nullptr, sxCert_FixChainC(&chain, nullptr));
    const std::string root = NameOf(sxCert_FixChainC(&chain, m_holder));
    return root + ": " + NamesOf(chain);
  }

  // room for the common name, room for the whole one, certificates
  std::string User(const Words &words) const {
    sxCerts chain = Set(From(words, 2));
    std::vector<char> cn(6000, '\0'), dn(6000, '\0');
    const int rc = sxCert_UseCN2FetchUser(&chain, m_holder, cn.data(), std::stoi(words[0]), dn.data(),
                                          std::stoi(words[1]));
    return rc == 1 ? std::string(cn.data()) + " / " + dn.data() : to_string(rc);
  }

  // Which ones the function adds, or "refuses", or "null" for no function.
  std::string SetSubCAs(const Words &words) {
    m_subCAs = words;
    sxCert_SetSubCAFunc(words[0] == "null" ? nullptr : +[](sxCerts &chain) {
      ++s_world->m_numAsked;
      if (s_world->m_subCAs[0] == "refuses") return -1;
      for (const std::string &name : s_world->m_subCAs) chain.Add(s_world->m_certs.at(name)->Ref());
      return 0;
    });
    return "";
  }

  // root level type certificates, as the chain that is out becomes
  std::string Canonize(const Words &words) {
    m_holder->CanonizeChain(Root(words[0]), Set(From(words, 3)), m_out, std::stoi(words[1]),
                            words[2] == "trusted" ? TrustType_trustedCA
                                                  : words[2] == "signed" ? TrustType_signedByCA : TrustType_none);
    return NamesOf(m_out);
  }

  // certificate, time as start-1, end+60 or now+0, grace at the start and at the end
  std::string Validate(const Words &words) {
    const sxCert *const cert = Cert(words[0]);
    const size_t sign = words[1].find_first_of("+-");
    const std::string from = words[1].substr(0, sign);
    const int64_t start = from == "now" ? kTestNow : from == "start" ? cert->notBefore() : cert->notAfter();
    m_params.Set_cert_start_grace(words.size() > 2 ? std::stoi(words[2]) : -1);
    m_params.Set_cert_end_grace(words.size() > 3 ? std::stoi(words[3]) : -1);
    const int64_t now = start + std::stoi(words[1].substr(sign));
    return sxValidationName(sxValidateCert(cert, static_cast<long>(now), m_params));
  }

  std::string Path(const Words &words) const {
    int level = 99;
    long expiration = 0;
    const sxValidationRC rc = sxValidatePath(Set(words), level, expiration);
    return rc == sxValidation_OK ? "until " + to_string(expiration - kTestNow) : Verdict(rc, level);
  }

  // root, flags, certificates
  std::string ValCerts(const Words &words) const {
    const bool isNull = words.size() > 2 && words[2] == "-";
    sxCerts chain = Set(isNull ? Words() : From(words, 2));
    char text[512] = "old";
    int level = 99;
    long expiration = 0;
    const sxValidationRC rc =
        sxCert_ValCerts(Root(words[0]), isNull ? nullptr : &chain, nullptr, &expiration, ValidateParams(), text,
                        sizeof text, &level, nullptr, nullptr, Flags(words[1]));
    return Verdict(rc, level) + ": " + OnOneLine(text);
  }

  // end entity, flags, pool
  std::string Judge(const Words &words) {
    const sxCerts pool = Set(words[2] == "none" || words[2] == "null" ? Words() : From(words, 2));
    sxChainQuestion question;
    question.endEntity = Cert(words[0]);
    question.pool = words[2] == "null" ? nullptr : &pool;
    question.holder = m_holder;
    question.flags = Flags(words[1]);
    question.time = kTestNow;
    sxChainVerdict verdict;
    EXPECT_EQ(sxJudgeChain(question, verdict), verdict.code);
    m_tried.clear();
    for (const sxTriedPath &path : verdict.tried) {
      m_tried.push_back(to_string(path.code) + " at " + to_string(path.level) + ": " + path.ended);
    }
    return Verdict(verdict.code, verdict.level) + ": " + NamesOf(verdict.path);
  }

  std::string AddSerial(const Words &words) {
    const Octets octets = DecodeHex(words[0].c_str());
    sxAsnInt serial;
    serial.Set(octets.data(), static_cast<unsigned>(octets.size()));
    return to_string(m_list->Add(serial));
  }

  std::string Slots() const {
    int numSlots = 0;
    EXPECT_FALSE(m_slots.IsInRange(-1));
    while (m_slots.IsInRange(numSlots)) ++numSlots;
    EXPECT_EQ(nullptr, m_slots.Get(m_slots.Count()));
    return to_string(numSlots) + " slots: " + NamesIn(sxRootCA_iterator(m_slots));
  }

  static inline World *s_world = nullptr;

  LogCapture m_log;
  FixedClock m_clock{kTestNow};
  Certs m_certs;
  std::map<std::string, PkRef<sxPKobj>> m_objects;
  sxKeyHolder *m_holder = nullptr;
  RootCA_Cache m_rootCache{4, 0};
  CA_Cert_Cache m_certCache{2, 100};
  sxPKObjects m_slots;
  sxcert_black_list *m_list = new sxcert_black_list(0);
  ValidateParams m_params;
  sxCerts m_out;
  Words m_subCAs, m_tried;
  int m_numAsked = 0;
  uint64_t m_numLooked = 0;
  const TempDir m_dir;
  bool m_hasDatabase = false, m_usesDefault = false;
  std::shared_ptr<FileFetcher> m_fetcher;
  sxd_env *m_env = sxd_env_create();
  const std::thread::id m_thread = std::this_thread::get_id();
  std::string m_answers;

  const std::map<std::string, Verb> m_verbs = {
      {"cert", [this](auto &w) { return NewCert(w); }},
      {"ladder", [this](auto &w) { return NewLadder(w); }},
      {"askers", [this](auto &w) { return NewAskers(w); }},
      {"root", [this](auto &w) { return NewRoot(w); }},
      {"key", [this](auto &w) { return NewKey(w); }},
      {"holder", [this](auto &w) { return UseHolder(w); }},
      {"advance", [this](auto &w) { m_clock.Advance(std::stoi(w[0])); return ""; }},
      {"looked", [this](auto &) { return to_string(m_numLooked); }},

      {"CAByDN", [this](auto &w) { return NameOf(m_holder->CAByDN(Subject(w[0]))); }},
      {"CAByName", [this](auto &w) { return NameOf(m_holder->CAByName(OrNull(w[0]))); }},
      {"CAByID", [this](auto &w) { return NameOf(m_holder->CAByID(IdOf(Plain(w[0])), IdLenOf(Plain(w[0])))); }},
      {"RootCA_Lookup", [this](auto &w) { return NameOf(m_holder->RootCA_Lookup(*Subject(w[0]))); }},
      {"RemoveCA", [this](auto &w) { return to_string(m_holder->RemoveCA(Root(w[0]))); }},
      {"RootCAs", [this](auto &) { return NamesIn(*std::unique_ptr<sxRootCA_iterator>(m_holder->RootCAs())); }},
      {"CertKeyByDN", [this](auto &w) { return NameOf(m_holder->CertKeyByDN(Subject(w[0]))); }},
      {"CertKeyBySubCA", [this](auto &w) { return NameOf(m_holder->CertKeyBySubCA(*Subject(w[0]))); }},
      {"CertKeyByCADN", [this](auto &w) { return NameOf(m_holder->CertKeyByCADN(Subject(w[0]))); }},
      {"CertKeyByName", [this](auto &w) { return NameOf(m_holder->CertKeyByName(OrNull(w[0]))); }},
      {"CertKeyByID", [this](auto &w) { return NameOf(m_holder->CertKeyByID(IdOf(w[0]), IdLenOf(w[0]))); }},
      {"CertKeyByDefault", [this](auto &) { return DefaultKey(); }},
      {"RemoveCertKey", [this](auto &w) { return to_string(m_holder->RemoveCertKey(Object<sxCertifiedKey>(w[0]))); }},
      {"CertKeys", [this](auto &) { return NamesIn(*std::unique_ptr<sxCertKey_iterator>(m_holder->CertKeys())); }},
      {"has", [this](auto &) {
         return std::string(m_holder->HasRootCAs() ? "roots" : "") + (m_holder->HasKeys() ? " keys" : "");
       }},
      {"+=", [this](auto &w) { *m_holder += *Object<sxKeyHolder>(w[0]); return ""; }},
      {"Sort", [this](auto &w) { return Sorted(w); }},
      {"AddIntermediateCA", [this](auto &w) { return to_string(m_holder->AddIntermediateCA(Cert(w[0]))); }},
      {"GetIntermediateCA", [this](auto &w) { return NameOf(m_holder->GetIntermediateCA(*Subject(w[0]))); }},
      {"RemoveIntermediateCA", [this](auto &w) { return to_string(m_holder->RemoveIntermediateCA(Cert(w[0]))); }},
      {"IntermediateCAsCount", [this](auto &) { return to_string(m_holder->IntermediateCAsCount()); }},

      {"database", [this](auto &) {
         m_hasDatabase = true;
         return to_string(IntermediateCA_db_set_path(m_dir.Path().c_str()));
       }},
      {"store", [this](auto &w) {   // under whose name, what
         return to_string(g_IntermediateCA_db.Store(*Subject(w[0]), Cert(w[1]), kTestNow + 9));
       }},
      {"serve", [this](auto &w) { return Serve(w); }},
      {"fetcher", [this](auto &w) { return UseFetcher(w[0]); }},
      {"fetched", [this](auto &) { return Joined(std::exchange(m_fetcher->asked, {}), " "); }},
      {"numFetched", [this](auto &) { return to_string(m_fetcher->asked.size()); }},
      {"numCancelled", [this](auto &) { return to_string(m_fetcher->cancelled.size()); }},
      {"Get_Issuers_of_chain", [this](auto &w) { return to_string(m_holder->Get_Issuers_of_chain(Set(w))); }},
      {"defaultEnvironment", [this](auto &) { m_usesDefault = true; sxd_env_set_default(m_env); return ""; }},
      {"endEnvironment", [this](auto &) { sxd_env_destroy(std::exchange(m_env, nullptr)); return ""; }},
      {"run", [this](auto &) { return Run(); }},

      {"ValCertsA", [this](auto &w) { return ValCertsA(w); }},
      {"answers", [this](auto &w) { return Answers(w.empty() ? 20000 : std::stoi(w[0])); }},
      {"revocation", [](auto &w) {
         g_revocation.how = static_cast<Revocation::How>(std::stoi(w[0]));
         sxCertValidate_SetRevocationFunc(Revoked);
         return "";
       }},
      {"lateAnswer", [](auto &w) {
         g_revocation.callback(static_cast<sxValidationRC>(std::stoi(w[0])), "", 0, 0, g_revocation.opaque);
         return "";
       }},
      {"isHeld", [this](auto &w) { return IsHeld(w[0]); }},
      {"freeBlackList", [this](auto &) {
         return to_string(sxcert_black_list::free(std::exchange(m_list, new sxcert_black_list(0))));
       }},

      {"identities", [this](auto &w) { return Identities(w); }},
      {"valid", [](auto &w) { return CA_Identity(NameFrom(w[0])).Valid() ? "yes" : "no"; }},
      {"rootCache.Add", [this](auto &w) { return to_string(m_rootCache.Add(Root(w[0]))); }},
      {"rootCache.Delete", [this](auto &w) { return to_string(m_rootCache.Delete(Root(w[0]))); }},
      {"rootCache.Get", [this](auto &w) { return NameOf(m_rootCache.Get(*Root(w[0])->DN())); }},
      {"rootCache.Count", [this](auto &) { return to_string(m_rootCache.Count()); }},
      {"certCache.add", [this](auto &w) { return to_string(m_certCache.add_CA_cert(Cert(w[0]))); }},
      {"certCache.delete", [this](auto &w) { return to_string(m_certCache.delete_CA_cert(Cert(w[0]))); }},
      {"certCache.get", [this](auto &w) { return NameOf(m_certCache.get_CA_cert(*Subject(w[0]))); }},
      {"certCache.get_Save", [this](auto &w) { return NameOf(m_certCache.get_CA_cert_Save(*Subject(w[0]))); }},
      {"certCache.Count", [this](auto &) { return to_string(m_certCache.Count()); }},
      {"free", [this](auto &w) { sxCert_Free(Cert(w[0])); return ""; }},

      {"Name", [this](auto &w) { const char *name = Root(w[0])->Name(); return name == nullptr ? "-" : name; }},
      {"Herror", [this](auto &w) { Root(w[0])->Herror(); return Joined(m_log.Lines(), " / "); }},
      {"hasNoId", [this](auto &w) {
         const sxRootCA &root = *Root(w[0]);
         return root.DN() == nullptr && root.IdLen() == 0 && !root.HasId(root.Id(), root.IdLen()) ? "yes" : "no";
       }},
      {"SetAdditionalCerts", [this](auto &w) {
         auto *additional = new sxCerts(Set(From(w, 1)));
         for (int again = 0; again < 2; ++again) Root(w[0])->SetAdditionalCerts(additional);
         return "";
       }},
      {"CertBySignee", [this](auto &w) { return NameOf(Root(w[0])->CertBySignee(Cert(w[1]))); }},
      {"slots.Add", [this](auto &w) { return to_string(m_slots.Add(Root(w[0]))); }},
      {"slots.Delete", [this](auto &w) { return to_string(m_slots.Delete(Root(w[0]))); }},
      {"slots", [this](auto &) { return Slots(); }},

      {"AddSerial", [this](auto &w) { return AddSerial(w); }},
      {"AddFromString", [this](auto &w) {
         return to_string(m_list->AddFromString(w[0] == "-" ? sxString() : sxString(Plain(w[0]).c_str())));
       }},
      {"AddSerialOf", [this](auto &w) { return to_string(m_list->Add(*Cert(w[0])->SerialNum())); }},
      {"IsExist", [this](auto &w) { return m_list->IsExist(*Cert(w[0])) ? "yes" : "no"; }},
      {"Size", [this](auto &) { return to_string(m_list->Size()); }},
      {"Set_BlackList", [this](auto &) { m_params.Set_BlackList(m_list); return ""; }},

      {"IsChainTrusted", [this](auto &w) {
         const std::string root = NameOf(m_holder->IsChainTrusted(Set(w), m_out));
         return root + ": " + NamesOf(m_out);
       }},
      {"out", [this](auto &w) { m_out = Set(w); return ""; }},
      {"IsCertTrusted", [this](auto &w) { return Trusted(w); }},
      {"IsCertTrustedCA", [this](auto &w) { return to_string(m_holder->IsCertTrustedCA(Root(w[0]), *Cert(w[1]))); }},
      {"IsSignedByTrustedCA", [this](auto &w) {
         return to_string(m_holder->IsSignedByTrustedCA(Root(w[0]), *Cert(w[1])));
       }},
      {"CanonizeChain", [this](auto &w) { return Canonize(w); }},
      {"TruncateChain", [this](auto &w) { m_holder->TruncateChain(m_out, std::stoi(w[0])); return NamesOf(m_out); }},
      {"CopyChain", [this](auto &w) {
         const int rc = m_holder->CopyChain(Set(w, 5), m_out);
         return to_string(rc) + ": " + NamesOf(m_out);
       }},
      {"SortCerts", [this](auto &w) {
         sxCerts certs = Set(w);
         const int rc = sxCerts_Sort(certs);
         return to_string(rc) + ": " + NamesOf(certs);
       }},
      {"SortCertsInto", [this](auto &w) {
         const int rc = sxCerts_Sort(Set(w), m_out);
         return to_string(rc) + ": " + NamesOf(m_out);
       }},
      {"FixChain", [this](auto &w) { return Fix(w); }},
      {"SubCAs", [this](auto &w) { return SetSubCAs(w); }},
      {"asked", [this](auto &) { return to_string(m_numAsked); }},
      {"SetUseCN2FetchUser", [this](auto &w) { Root(w[0])->SetUseCN2FetchUser(true); return ""; }},
      {"UseCN2FetchUser", [this](auto &w) { return User(w); }},

      {"SetGracePeriod", [](auto &w) {
         sxCertValidate_SetGracePeriod(static_cast<unsigned>(std::stoi(w[0])));
         return "";
       }},
      {"GetDefaultGracePeriod", [](auto &) { return to_string(sxCertValidate_GetDefaultGracePeriod()); }},
      {"ValidateCert", [this](auto &w) { return Validate(w); }},
      {"ValidatePath", [this](auto &w) { return Path(w); }},
      {"ValidateSignatures", [this](auto &w) {
         int level = 99;
         const sxValidationRC rc = sxValidateSignatures(Set(w), level);
         return Verdict(rc, level);
       }},
      {"GetChainExpiration", [this](auto &w) { return to_string(sxGetChainExpiration(Set(w))); }},
      {"ValidateNameConstraints", [this](auto &w) {
         return sxValidationName(sxValidateNameConstraints(Root(w[0]), Cert(w[1])));
       }},
      {"ValCerts", [this](auto &w) { return ValCerts(w); }},
      {"ValErrToStr", [this](auto &w) {
         char text[1024];
         const sxCerts chain = Set(w[2] == "-" ? Words() : From(w, 2));
         EXPECT_EQ(0, sxCert_ValErrToStr(w[2] == "-" ? nullptr : &chain, std::stoi(w[0]), std::stoi(w[1]), text,
                                         sizeof text));
         return OnOneLine(text);
       }},
      {"JudgeChain", [this](auto &w) { return Judge(w); }},
      {"tried", [this](auto &) { return Joined(m_tried, " / "); }},
  };
};

struct TrustSteps : testing::TestWithParam<const char *> {};

TEST_P(TrustSteps, GoAsTheScriptSays) {
  auto world = std::make_unique<World>();
  for (const CaseRow &row : CaseRows(std::string("trust/") + GetParam() + ".txt", 4, 2)) {
    SCOPED_TRACE(testing::PrintToString(row) + " " + row[1]);
    if (row[0] != "test") {
      world->Do(row);
      continue;
    }
    world.reset();   // before there is another one
    world = std::make_unique<World>();
  }
}

INSTANTIATE_TEST_SUITE_P(Data, TrustSteps,
                         testing::Values("holders", "roots", "chains", "validation", "issuers", "later"),
                         [](const auto &file) { return std::string(file.param); });

}  // namespace
