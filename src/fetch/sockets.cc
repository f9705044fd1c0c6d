#include "fetch/sockets.h"

#include <curl/curl.h>
#include <linux/tcp.h>  // the C library's own header has no count of octets
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

int Sockets::Open(const curl_sockaddr &address, User user) {
  const int opened = socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
  if (opened >= 0) m_users[opened] = user;
  return opened;
}

int Sockets::Close(int socket) {
  m_users.erase(socket);
  return close(socket);
}

void Sockets::Forget(User user) {
  for (auto &entry : m_users) {
    if (entry.second == user) entry.second = nullptr;
  }
}

uint64_t Sockets::Received(User user) const {
  uint64_t received = 0;
  for (const auto &[socket, of] : m_users) {
    tcp_info info{};
    socklen_t len = sizeof info;
    if (of == user && getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &len) == 0) received += info.tcpi_bytes_received;
  }
  return received;
}
