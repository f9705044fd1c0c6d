// kxcert-offloadd: does RSA and elliptic-curve operations for the processes of its user on this machine.
#include <sys/prctl.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <thread>

#include "kxcert/platform/version.h"
#include "kxcert/platform/workerPool.h"
#include "service.h"

int main(int argc, char **argv) {
  CLI::App app("Does key operations for the processes of its user on this machine, until SIGTERM.", "kxcert-offloadd");
  app.footer(
      "SIGUSR1 writes to standard error how many requests were answered. Exit codes: 0 ended by a signal, 2 usage,\n"
      "3 no socket, 4 internal.");
  app.set_version_flag("--version", std::string("kxcert-offloadd ") + kxVersion());
  int numThreads = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 64U));
  app.add_option("--threads", numThreads, "worker threads")
      ->check(CLI::Range(1, RTApc::kMaxThreads))
      ->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &e) { return app.exit(e) == 0 ? 0 : 2; }
  prctl(PR_SET_DUMPABLE, 0);  // keys pass through here: no core files, no tracing
  return Serve(numThreads);
}
