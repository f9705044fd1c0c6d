// What the resolver says of some names, in all of the tests' program: whoever looks them up comes by here.
#include <dlfcn.h>
#include <netdb.h>

#include <chrono>
#include <string>
#include <thread>

extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints, addrinfo **result) {
  static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  const std::string name = node == nullptr ? "" : node;
  if (name == "loopback.example") node = "127.0.0.1";
  if (name == "unknown.example") return EAI_NONAME;
  if (name == "slow.example") {
    std::this_thread::sleep_for(std::chrono::seconds(10));
    return EAI_AGAIN;
  }
  return real(node, service, hints, result);
}
