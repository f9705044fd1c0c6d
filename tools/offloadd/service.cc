#include "service.h"

#include <event2/event.h>
#include <sys/socket.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <new>
#include <string>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/pkxl.h"
#include "kxcert/platform/workerPool.h"
#include "platform/localSocket.h"

namespace {

// Connections, well below the usual limit of descriptors, and those that one process may have of them. More are
// closed at once, and their callers go on without us.
constexpr int kMaxClients = 500;
constexpr int kMaxClientsOfProcess = 128;
constexpr int kPauseMs = 100;  // before accepting again when there are no descriptors
constexpr int kLeaveMs = 500;  // what workers may still take when the service is to end

template <auto Fn>
struct Free {
  template <class T>
  void operator()(T *object) const {
    Fn(object);
  }
};
using Event = std::unique_ptr<event, Free<event_free>>;

// One connection and what came by it. The loop's thread has it, then a worker, then the loop's again.
struct Client {
  explicit Client(int descriptor) : socket(descriptor, kPkxlTimeoutMs) { request.SetSensitive(true); }
  kxLocalSocket socket;
  kxBinBuf request;
  bool answered = false;
};
using ClientRef = std::shared_ptr<Client>;

class Service {
 public:
  explicit Service(int numThreads);
  int Run();

 private:
  class Work;
  // A client whose request is on its way.
  struct Reception {
    Service *service;
    ClientRef client;
    Event readable;
    std::list<Reception>::iterator self;
  };

  bool IsReady() const { return m_pool != nullptr && m_pool->NumThreads() > 0; }
  void Accept();
  void Pause();
  void Enter(int descriptor);
  void GoOn(Reception &reception);
  bool Await(Reception &reception);
  void TurnAway() { ++m_numTurnedAway; }
  void Leave(const Client &client);
  void Finished(const Client &client);
  void End();
  void TellCounts() const;

  const std::unique_ptr<event_base, Free<event_base_free>> m_base{event_base_new()};
  const std::unique_ptr<sxd_env, Free<sxd_env_destroy>> m_env{sxd_env_wrap(m_base.get())};
  const std::unique_ptr<RTComm, Free<RTComm_destroy>> m_comm{RTComm_create(m_env.get())};
  std::unique_ptr<RTApc> m_pool;
  const std::string m_path = pkxl_socket_path();
  int m_listener = -1;
  Event m_acceptable;
  std::list<Reception> m_receptions;
  std::map<int, int> m_numOfProcess;  // clients
  int m_numClients = 0;
  int m_numWorking = 0;  // of the clients: with the workers
  long m_numAnswered = 0;
  long m_numNotAnswered = 0;  // no whole request, one that cannot be read, or nobody there any more
  long m_numTurnedAway = 0;   // beyond what a process, or all of them, may have
  bool m_ends = false;
};

class Service::Work : public RTApcServant {
 public:
  Work(Service *service, ClientRef client) : m_service(service), m_client(std::move(client)) {}

  void task_handler() override {
    Client &client = *m_client;
    kxBinBuf answer;
    // Who has waited for the whole time has gone on without us.
    if (client.socket.LeftMs() > 0 && pkxl_serve(client.request, answer) == 0) {
      client.answered = client.socket.Send(answer.Data(), answer.Len());
    }
    client.request.Clear();
  }
  void result_handler(int, RTApc *) override { m_service->Finished(*m_client); }

  size_t hash() const override { return std::hash<const void *>()(m_client.get()); }
  bool operator==(const RTApcServant &other) const override {
    return m_client == static_cast<const Work &>(other).m_client;
  }
  RTApcServant *clone() const override { return new Work(*this); }

 private:
  Service *m_service;
  ClientRef m_client;  // by the clones
};

Service::Service(int numThreads) {
  if (RTComm_start(m_comm.get()) == 0) m_pool = std::make_unique<RTApc>(m_comm.get(), numThreads, -1);
}

void Service::Accept() {
  for (;;) {
    const int descriptor = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor >= 0) {
      Enter(descriptor);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      return;
    } else if (errno != EINTR && errno != ECONNABORTED) {
      return Pause();
    }
  }
}

// Without descriptors or memory the listener stays readable: asking again at once would help nobody.
void Service::Pause() {
  const auto resume = [](void *service) {
    const auto *const self = static_cast<const Service *>(service);
    if (!self->m_ends) event_add(self->m_acceptable.get(), nullptr);
  };
  if (T_event_sched_e(m_env.get(), kPauseMs, resume, this) == 0) event_del(m_acceptable.get());
}

void Service::Enter(int descriptor) try {
  const auto client = std::make_shared<Client>(descriptor);
  if (!client->socket.OK() || m_numClients >= kMaxClients) return TurnAway();
  int &numOfProcess = m_numOfProcess[client->socket.PeerProcess()];
  if (numOfProcess >= kMaxClientsOfProcess) return TurnAway();
  const auto reception = m_receptions.insert(m_receptions.end(), {this, client, nullptr, {}});
  reception->self = reception;
  const auto readable = [](evutil_socket_t, short, void *opaque) {
    auto *const waiting = static_cast<Reception *>(opaque);
    waiting->service->GoOn(*waiting);
  };
  reception->readable.reset(event_new(m_base.get(), client->socket.Descriptor(), EV_READ, readable, &*reception));
  ++numOfProcess;
  ++m_numClients;
  GoOn(*reception);  // mostly all is there
} catch (const std::bad_alloc &) {
  // Closed by now, or when its time is over.
}

void Service::GoOn(Reception &reception) {
  const ClientRef client = reception.client;
  auto step = kxLocalSocket::kFailed;
  try {
    step = client->socket.ReceiveStep(
        [&client](uint32_t len) { return client->request.Set(len), client->request.Data(); });
  } catch (const std::bad_alloc &) {
    // As if it had hung up.
  }
  if (step == kxLocalSocket::kMore && Await(reception)) return;
  m_receptions.erase(reception.self);
  if (step == kxLocalSocket::kDone && m_pool->Queue(Work(this, client), -1) == 0) {
    ++m_numWorking;
  } else {
    ++m_numNotAnswered;
    Leave(*client);
  }
}

bool Service::Await(Reception &reception) {
  const int leftMs = reception.client->socket.LeftMs();
  const timeval left = {leftMs / 1000, leftMs % 1000 * 1000};
  return reception.readable != nullptr && event_add(reception.readable.get(), &left) == 0;
}

void Service::Leave(const Client &client) {
  --m_numClients;
  const auto entry = m_numOfProcess.find(client.socket.PeerProcess());
  if (--entry->second == 0) m_numOfProcess.erase(entry);
}

void Service::Finished(const Client &client) {
  Leave(client);
  --m_numWorking;
  ++(client.answered ? m_numAnswered : m_numNotAnswered);
  if (m_ends && m_numWorking == 0) sxd_env_stop(m_env.get());
}

// Nobody new comes, who has not asked yet is let go, and those that wait for an answer get it if it is soon. A
// second signal does not wait for that either.
void Service::End() {
  const auto stop = [](void *env) { sxd_env_stop(static_cast<sxd_env *>(env)); };
  const bool again = m_ends;
  m_ends = true;
  if (!again) {
    event_del(m_acceptable.get());
    m_receptions.clear();
    kxLocalSocket_Unlisten(m_path, m_listener);
  }
  if (again || m_numWorking == 0 || T_event_sched_e(m_env.get(), kLeaveMs, stop, m_env.get()) != 0) stop(m_env.get());
}

// How an administrator sees that the service is used: at SIGUSR1, and when it ends.
void Service::TellCounts() const {
  std::fprintf(stderr, "kxcert-offloadd: answered %ld requests, not answered %ld, turned away %ld\n", m_numAnswered,
               m_numNotAnswered, m_numTurnedAway);
}

// From the first moment that the socket can be seen, signals end the service in order.
int Service::Run() {
  if (!IsReady()) return 4;
  const auto signalled = [](evutil_socket_t, short, void *service) { static_cast<Service *>(service)->End(); };
  const auto acceptable = [](evutil_socket_t, short, void *service) { static_cast<Service *>(service)->Accept(); };
  const Event term(event_new(m_base.get(), SIGTERM, EV_SIGNAL | EV_PERSIST, signalled, this));
  const Event interrupt(event_new(m_base.get(), SIGINT, EV_SIGNAL | EV_PERSIST, signalled, this));
  const Event hangUp(event_new(m_base.get(), SIGHUP, EV_SIGNAL | EV_PERSIST, signalled, this));  // of its terminal
  const auto asked = [](evutil_socket_t, short, void *service) { static_cast<Service *>(service)->TellCounts(); };
  const Event counts(event_new(m_base.get(), SIGUSR1, EV_SIGNAL | EV_PERSIST, asked, this));
  struct sigaction before;
  const bool staysAtHangUp = sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;  // nohup
  for (const Event *event : {&term, &interrupt, &hangUp, &counts}) {
    if (event == &hangUp && staysAtHangUp) continue;
    if (event_add(event->get(), nullptr) != 0) return 4;
  }
  m_listener = kxLocalSocket_Listen(m_path);
  if (m_listener < 0) {
    std::fprintf(stderr, "kxcert-offloadd: %s: %s\n", m_path.c_str(),
                 errno == EADDRINUSE ? "another service runs already" : std::strerror(errno));
    return 3;
  }
  m_acceptable.reset(event_new(m_base.get(), m_listener, EV_READ | EV_PERSIST, acceptable, this));
  if (event_add(m_acceptable.get(), nullptr) != 0) return kxLocalSocket_Unlisten(m_path, m_listener), 4;
  std::fprintf(stderr, "kxcert-offloadd: %d threads, listening at %s\n", m_pool->NumThreads(), m_path.c_str());
  const int rc = sxd_env_run(m_env.get()) == 0 ? 0 : 4;
  if (rc == 0) TellCounts();
  if (m_numWorking > 0) std::_Exit(rc);  // the pool would wait for what its workers do
  return rc;
}

}  // namespace

int Serve(int numThreads) { return Service(numThreads).Run(); }
