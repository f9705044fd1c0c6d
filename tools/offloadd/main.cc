// kxcert-offloadd: does RSA and elliptic-curve operations for the processes of its user on this machine.
// Each connection brings one request and takes one answer; no key outlives its answer.
#include <event2/event.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/pkxl.h"
#include "kxcert/platform/localSocket.h"
#include "kxcert/platform/workerPool.h"

namespace {

// Connections, well below the usual limit of descriptors; more are closed at once, and their callers go on
// without us.
constexpr int kMaxWaiting = 500;
int g_numWaiting = 0;
long g_numAnswered = 0;

// The exchange of one connection, on a worker.
class Exchange : public RTApcServant {
 public:
  explicit Exchange(int descriptor) : m_service(std::make_shared<kxLocalSocket>(descriptor, kPkxlTimeoutMs)) {}

  void task_handler() override {
    kxBinBuf request, answer;
    request.SetSensitive(true);
    const auto resize = [&request](uint32_t len) {
      request.Set(len);
      return request.Data();
    };
    m_answered = m_service->Receive(resize) && pkxl_serve(request, answer) == 0 &&
                 m_service->Send(answer.Data(), answer.Len());
  }
  void result_handler(int, RTApc *) override {
    --g_numWaiting;
    g_numAnswered += m_answered;
  }

  size_t hash() const override { return std::hash<const void *>()(m_service.get()); }
  bool operator==(const RTApcServant &other) const override {
    return m_service == static_cast<const Exchange &>(other).m_service;
  }
  RTApcServant *clone() const override { return new Exchange(*this); }

 private:
  std::shared_ptr<kxLocalSocket> m_service;   // by the clones
  bool m_answered = false;
};

void Accept(evutil_socket_t listener, short, void *pool) {
  for (;;) {
    const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0 && errno == EINTR) continue;
    if (descriptor < 0) return;
    const Exchange exchange(descriptor);
    if (g_numWaiting < kMaxWaiting && static_cast<RTApc *>(pool)->Queue(exchange, -1) == 0) ++g_numWaiting;
  }
}

template <auto Fn>
struct Free {
  template <class T>
  void operator()(T *object) const { Fn(object); }
};

// From the first moment that the socket can be seen, signals end the service in order.
int Serve(int numThreads) {
  const std::unique_ptr<event_base, Free<event_base_free>> base(event_base_new());
  const std::unique_ptr<sxd_env, Free<sxd_env_destroy>> env(sxd_env_wrap(base.get()));
  const std::unique_ptr<RTComm, Free<RTComm_destroy>> comm(RTComm_create(env.get()));
  if (RTComm_start(comm.get()) != 0) return 4;
  RTApc pool(comm.get(), numThreads, -1);
  using Event = std::unique_ptr<event, Free<event_free>>;
  const auto stop = [](evutil_socket_t, short, void *loop) { sxd_env_stop(static_cast<sxd_env *>(loop)); };
  const Event term(event_new(base.get(), SIGTERM, EV_SIGNAL | EV_PERSIST, stop, env.get()));
  const Event interrupt(event_new(base.get(), SIGINT, EV_SIGNAL | EV_PERSIST, stop, env.get()));
  if (pool.NumThreads() == 0 || event_add(term.get(), nullptr) != 0 || event_add(interrupt.get(), nullptr) != 0) return 4;

  const std::string path = pkxl_socket_path();
  const int listener = kxLocalSocket_Listen(path);
  if (listener < 0) {
    std::fprintf(stderr, "kxcert-offloadd: %s: %s\n", path.c_str(),
                 errno == EADDRINUSE ? "another service runs already" : std::strerror(errno));
    return 3;
  }
  int rc = 4;
  {
    const Event accept(event_new(base.get(), listener, EV_READ | EV_PERSIST, Accept, &pool));
    if (event_add(accept.get(), nullptr) == 0) {
      std::fprintf(stderr, "kxcert-offloadd: %d threads, listening at %s\n", pool.NumThreads(), path.c_str());
      rc = sxd_env_run(env.get()) == 0 ? 0 : 4;
    }
  }
  unlink(path.c_str());                  // nobody new comes; those that wait are answered as the pool ends
  close(listener);
  return rc;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Does key operations for the processes of its user on this machine, until SIGTERM.", "kxcert-offloadd");
  int numThreads = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 64U));
  app.add_option("--threads", numThreads, "worker threads")->check(CLI::Range(1, RTApc::kMaxThreads))->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &e) {
    return app.exit(e) == 0 ? 0 : 2;
  }
  prctl(PR_SET_DUMPABLE, 0);             // keys pass through here: no core files, no tracing
  const int rc = Serve(numThreads);
  if (rc == 0) std::fprintf(stderr, "kxcert-offloadd: answered %ld requests\n", g_numAnswered);
  return rc;
}
