// What the resolver says of some names, in all of the tests' program: whoever looks them up comes by here.
#include "support/namesOfTests.h"

#include <dlfcn.h>
#include <netdb.h>

#include <chrono>
#include <string>
#include <thread>

std::atomic<int> g_numLateLookUps = 0;

extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints, addrinfo **result) {
  static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  const std::string name = node == nullptr ? "" : node;
  if (name == "loopback.example") node = "127.0.0.1";
  if (name == "unknown.example") return EAI_NONAME;
  if (name == "late.example") {
    ++g_numLateLookUps;
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    node = "127.0.0.1";
  }
  if (name == "slow.example") {
    std::this_thread::sleep_for(std::chrono::seconds(10));
    return EAI_AGAIN;
  }
  return real(node, service, hints, result);
}
