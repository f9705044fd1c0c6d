#include "fetch/address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

namespace {

// What stands in the first bits of an address (RFC 6890 and the registries that it founds).
struct Network {
  std::array<unsigned char, 12> octets;
  int numBits;
  const char *what;
  enum { kNever, kPrivate, kHoldsIPv4 } how;
  size_t at = 0;  // where the IPv4 address stands that is really asked
};

constexpr char kPrivateNet[] = "an address of a private network";
constexpr char kSpecial[] = "an address of a network for a special purpose";
constexpr char kLoopback[] = "a loopback address";
constexpr char kLinkLocal[] = "a link-local address";
constexpr char kMulticast[] = "a multicast address";
constexpr char kUnspecified[] = "an unspecified address";
constexpr char kReserved[] = "a reserved address";

constexpr Network kIPv4[] = {
    {{0}, 8, kUnspecified, Network::kNever},            // RFC 791, 3.2
    {{10}, 8, kPrivateNet, Network::kPrivate},          // RFC 1918
    {{100, 64}, 10, kPrivateNet, Network::kPrivate},    // RFC 6598
    {{127}, 8, kLoopback, Network::kPrivate},           // RFC 1122, 3.2.1.3
    {{169, 254}, 16, kLinkLocal, Network::kPrivate},    // RFC 3927
    {{172, 16}, 12, kPrivateNet, Network::kPrivate},    // RFC 1918
    {{192, 0, 0}, 24, kSpecial, Network::kPrivate},     // RFC 6890, 2.1
    {{192, 0, 2}, 24, kSpecial, Network::kPrivate},     // RFC 5737
    {{192, 88, 99}, 24, kSpecial, Network::kPrivate},   // RFC 7526
    {{192, 168}, 16, kPrivateNet, Network::kPrivate},   // RFC 1918
    {{198, 18}, 15, kSpecial, Network::kPrivate},       // RFC 2544
    {{198, 51, 100}, 24, kSpecial, Network::kPrivate},  // RFC 5737
    {{203, 0, 113}, 24, kSpecial, Network::kPrivate},   // RFC 5737
    {{224}, 4, kMulticast, Network::kNever},            // RFC 1112, 4
    {{240}, 4, kReserved, Network::kNever},             // RFC 1112, 4; the broadcast address, too
};

// The first row that fits counts.
constexpr Network kIPv6[] = {
    {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff}, 96, nullptr, Network::kHoldsIPv4, 12},  // mapped, RFC 4291, 2.5.5.2
    {{0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff}, 96, nullptr, Network::kHoldsIPv4, 12},        // translated, RFC 2765
    {{0, 0x64, 0xff, 0x9b}, 96, nullptr, Network::kHoldsIPv4, 12},                       // RFC 6052, 2.1
    {{0, 0x64, 0xff, 0x9b, 0, 1}, 48, kPrivateNet, Network::kPrivate},                   // RFC 8215
    {{0x20, 0x02}, 16, nullptr, Network::kHoldsIPv4, 2},                                 // RFC 3056, 2
    {{0x20, 0x01, 0x0d, 0xb8}, 32, kSpecial, Network::kPrivate},                         // RFC 3849
    {{0x20, 0x01, 0}, 23, kSpecial, Network::kPrivate},                                  // RFC 2928; Teredo, too
    {{0x01, 0}, 64, kSpecial, Network::kPrivate},                                        // RFC 6666
    {{0xfc}, 7, kPrivateNet, Network::kPrivate},                                         // RFC 4193
    {{0xfe, 0x80}, 10, kLinkLocal, Network::kPrivate},                                   // RFC 4291, 2.5.6
    {{0xfe, 0xc0}, 10, kPrivateNet, Network::kPrivate},                                  // RFC 3879
    {{0xff}, 8, kMulticast, Network::kNever},                                            // RFC 4291, 2.7
    {{}, 96, nullptr, Network::kHoldsIPv4, 12},  // compatible, RFC 4291, 2.5.5.1; :: and ::1 are judged before
};

bool IsIn(std::span<const unsigned char> address, const Network &network) {
  const auto numWhole = static_cast<size_t>(network.numBits / 8);
  if (!std::equal(address.begin(), address.begin() + static_cast<std::ptrdiff_t>(numWhole), network.octets.begin())) {
    return false;
  }
  const int rest = network.numBits % 8;
  return rest == 0 || (address[numWhole] ^ network.octets[numWhole]) >> (8 - rest) == 0;
}

const char *WhyNotIn(std::span<const unsigned char> address, std::span<const Network> networks, bool allowPrivate) {
  for (const Network &network : networks) {
    if (!IsIn(address, network)) continue;
    if (network.how == Network::kHoldsIPv4) return WhyNotIn(address.subspan(network.at, 4), kIPv4, allowPrivate);
    return network.how == Network::kPrivate && allowPrivate ? nullptr : network.what;
  }
  return nullptr;
}

const char *WhyNotIPv6(std::span<const unsigned char, 16> address, bool allowPrivate) {
  const bool isSmall = std::ranges::all_of(address.first<15>(), [](unsigned char octet) { return octet == 0; });
  if (isSmall && address[15] == 0) return kUnspecified;
  if (isSmall && address[15] == 1) return allowPrivate ? nullptr : kLoopback;
  return WhyNotIn(address, kIPv6, allowPrivate);
}

}  // namespace

const char *kxFetch_WhyNot(const sockaddr &address, bool allowPrivate) {
  if (address.sa_family == AF_INET) {
    sockaddr_in in{};
    std::memcpy(&in, &address, sizeof in);
    unsigned char octets[4];
    std::memcpy(octets, &in.sin_addr, sizeof octets);
    return WhyNotIn(octets, kIPv4, allowPrivate);
  }
  if (address.sa_family != AF_INET6) return "an address of no network";
  sockaddr_in6 in{};
  std::memcpy(&in, &address, sizeof in);
  return WhyNotIPv6(in.sin6_addr.s6_addr, allowPrivate);
}

bool kxFetch_ReadNumber(std::string &host) {
  const std::string plain = host.substr(0, host.find_last_not_of('.') + 1);
  const std::string last = plain.substr(plain.rfind('.') + 1);  // all of it when there is no dot
  const bool isHex = last.starts_with("0x") && last.find_first_not_of("0123456789abcdef", 2) == std::string::npos;
  if (last.empty() || host.find(':') != std::string::npos) return true;
  if (!isHex && last.find_first_not_of("0123456789") != std::string::npos) return true;
  in_addr address{};
  char text[INET_ADDRSTRLEN];
  if (inet_aton(plain.c_str(), &address) == 0 || inet_ntop(AF_INET, &address, text, sizeof text) == nullptr)
    return false;
  host = text;
  return true;
}

const char *kxFetch_WhyNot(const std::string &host, bool allowPrivate) {
  unsigned char octets[16];
  const std::string plain = host.substr(0, host.find('%'));  // without a zone
  if (inet_pton(AF_INET, plain.c_str(), octets) == 1) return WhyNotIn(std::span(octets).first(4), kIPv4, allowPrivate);
  if (inet_pton(AF_INET6, plain.c_str(), octets) == 1) return WhyNotIPv6(octets, allowPrivate);
  const std::string name = host.substr(0, host.find_last_not_of('.') + 1);
  const bool isOwn = name == "localhost" || name.ends_with(".localhost");  // RFC 6761, 6.3
  return isOwn && !allowPrivate ? "the machine itself" : nullptr;
}
