#include "support/badServer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <stdexcept>

#include "support/notation.h"

namespace {

std::vector<std::string> Split(const std::string &text, const std::string &separator) {
  std::vector<std::string> parts;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    const size_t first = std::min(text.find_first_not_of(' ', begin), end);
    parts.push_back(text.substr(first, end - first));
    begin = end + separator.size();
  }
  return parts;
}

std::string Lines(const std::string &text) {
  std::string lines;
  for (const char c : text) lines += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return lines;
}

}  // namespace

BadServer::BadServer(const std::string &steps) {
  for (const std::string &connection : Split(steps, "then ")) m_steps.push_back(Split(connection, "; "));
  m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof address;
  auto *const any = reinterpret_cast<sockaddr *>(&address);
  if (bind(m_listener, any, len) != 0 || listen(m_listener, 1024) != 0 || getsockname(m_listener, any, &len) != 0) {
    throw std::runtime_error("no server on loopback");
  }
  m_port = ntohs(address.sin_port);
  m_accepting = std::thread([this] { Accept(); });
}

BadServer::~BadServer() {
  m_isStopping = true;
  shutdown(m_listener, SHUT_RDWR);
  m_accepting.join();
  close(m_listener);
}

std::string BadServer::Received() const {
  const std::lock_guard lock(m_mutex);
  return m_received;
}

bool BadServer::Send(int socket, const std::string &octets) const {
  size_t sent = 0;
  while (sent < octets.size()) {
    const ssize_t now = send(socket, octets.data() + sent, octets.size() - sent, MSG_NOSIGNAL);
    if (now <= 0 && (errno != EAGAIN || m_isStopping)) return false;
    sent += static_cast<size_t>(std::max<ssize_t>(now, 0));
  }
  return true;
}

void BadServer::Accept() {
  std::vector<std::thread> threads;
  for (int socket; (socket = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
    const timeval soon{0, 20000};  // so that one that stops is noticed
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &soon, sizeof soon);
    const size_t number = std::min<size_t>(static_cast<size_t>(m_numConnections++), m_steps.size() - 1);
    threads.emplace_back([this, socket, number] { Serve(socket, m_steps[number]); });
  }
  for (std::thread &thread : threads) thread.join();
}

void BadServer::Serve(int socket, const Steps &steps) {
  for (const std::string &step : steps) {
    if (!Do(socket, step)) break;
  }
  close(socket);
}

bool BadServer::Do(int socket, const std::string &step) {
  const std::string verb = step.substr(0, step.find(' '));
  const std::string text = verb.size() < step.size() ? CaseText(step.substr(verb.size() + 1)) : "";
  if (verb == "say") return Send(socket, Lines(text));
  if (verb == "octets") return Send(socket, text);
  if (verb == "drip") {
    for (const char octet : Lines(text)) {
      if (m_isStopping || !Send(socket, std::string(1, octet))) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
  }
  if (verb == "flood") {
    while (!m_isStopping && Send(socket, Lines(text))) continue;
    return false;
  }
  if (verb == "reset") {
    const linger atOnce{1, 0};
    return setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce) == 0;
  }
  const bool isToEnd = verb == "wait";
  if (!isToEnd && verb != "read") throw std::runtime_error("no step: " + step);
  for (std::string all; !m_isStopping;) {
    pollfd readable{socket, POLLIN, 0};
    if (poll(&readable, 1, 20) <= 0) continue;
    char area[4096];
    const ssize_t got = recv(socket, area, sizeof area, 0);
    if (got <= 0) return false;
    all.append(area, static_cast<size_t>(got));
    if (isToEnd || (all[0] != '0' && all.find("\r\n\r\n") == std::string::npos)) continue;
    const std::lock_guard lock(m_mutex);
    m_received += all;
    return true;
  }
  return false;
}
