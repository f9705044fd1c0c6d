#include "kxcert/platform/localSocket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace {

int64_t NowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

bool SetAddress(const std::string &path, sockaddr_un *address) {
  *address = {};
  address->sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address->sun_path) return errno = ENAMETOOLONG, false;
  std::memcpy(address->sun_path, path.data(), path.size());
  return true;
}

int NewSocket() { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

bool Connect(int descriptor, const sockaddr_un &address) {
  return connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

}  // namespace

// Connecting to a local socket does not wait: either there is room in the queue or it fails.
kxLocalSocket::kxLocalSocket(const std::string &path, int timeoutMs)
    : m_descriptor(NewSocket()), m_deadlineMs(NowMs() + timeoutMs) {
  sockaddr_un address;
  if (!OK()) return;
  if (SetAddress(path, &address) && Connect(m_descriptor, address)) {
    CheckPeer();
  } else {
    Close();
  }
}

kxLocalSocket::kxLocalSocket(int descriptor, int timeoutMs)
    : m_descriptor(descriptor), m_deadlineMs(NowMs() + timeoutMs) {
  if (!OK()) return;
  const int flags = fcntl(descriptor, F_GETFL);
  if (flags < 0 || fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) != 0) {
    Close();
  } else {
    CheckPeer();
  }
}

kxLocalSocket::~kxLocalSocket() { Close(); }

bool kxLocalSocket::Close() {
  if (OK()) close(m_descriptor);
  m_descriptor = -1;
  return false;
}

void kxLocalSocket::CheckPeer() {
  ucred peer = {};
  socklen_t len = sizeof peer;
  const bool known = getsockopt(m_descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &len) == 0;
  if (!known || (peer.uid != 0 && peer.uid != geteuid())) Close();
}

bool kxLocalSocket::Wait(short events) {
  for (;;) {
    const int64_t leftMs = m_deadlineMs - NowMs();
    if (leftMs <= 0) return false;
    pollfd entry = {m_descriptor, events, 0};
    const int rc = poll(&entry, 1, static_cast<int>(leftMs));
    if (rc > 0) return true;
    if (rc < 0 && errno != EINTR) return false;
  }
}

bool kxLocalSocket::Send(const unsigned char *message, uint32_t messageLen) {
  if (!OK() || messageLen == 0 || messageLen > kMaxMessageLen) return Close();
  iovec parts[] = {{&messageLen, sizeof messageLen}, {const_cast<unsigned char *>(message), messageLen}};
  msghdr header = {};
  header.msg_iov = parts;
  header.msg_iovlen = 2;
  size_t left = sizeof messageLen + messageLen;
  while (left > 0) {
    const ssize_t sent = sendmsg(m_descriptor, &header, MSG_NOSIGNAL);
    if (sent < 0) {
      if (errno == EINTR || ((errno == EAGAIN || errno == EWOULDBLOCK) && Wait(POLLOUT))) continue;
      return Close();
    }
    left -= static_cast<size_t>(sent);
    size_t gone = static_cast<size_t>(sent);
    for (iovec &part : parts) {
      const size_t taken = gone < part.iov_len ? gone : part.iov_len;
      part.iov_base = static_cast<unsigned char *>(part.iov_base) + taken;
      part.iov_len -= taken;
      gone -= taken;
    }
  }
  return true;
}

bool kxLocalSocket::ReceiveLen(uint32_t *len) {
  if (!ReceiveOctets(reinterpret_cast<unsigned char *>(len), sizeof *len)) return false;
  return (*len > 0 && *len <= kMaxMessageLen) || Close();
}

bool kxLocalSocket::ReceiveOctets(unsigned char *octets, uint32_t len) {
  while (OK() && len > 0) {
    const ssize_t received = recv(m_descriptor, octets, len, 0);
    if (received > 0) {
      octets += received;
      len -= static_cast<uint32_t>(received);
      continue;
    }
    if (received < 0 && errno == EINTR) continue;
    if (received < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && Wait(POLLIN)) continue;
    return Close();
  }
  return OK();
}

int kxLocalSocket_Listen(const std::string &path) {
  sockaddr_un address;
  if (!SetAddress(path, &address)) return -1;
  struct stat entry = {};
  if (lstat(path.c_str(), &entry) == 0) {
    if (!S_ISSOCK(entry.st_mode)) return errno = EEXIST, -1;
    const int probe = NewSocket();
    if (probe < 0) return -1;
    const bool heard = Connect(probe, address) || errno != ECONNREFUSED;
    close(probe);
    if (heard) return errno = EADDRINUSE, -1;
    unlink(path.c_str());
  }
  const int listener = NewSocket();
  if (listener < 0) return -1;
  // The mode stands before anybody can connect: fchmod on the socket sets what bind creates.
  constexpr int kBacklog = 64;
  if (fchmod(listener, S_IRUSR | S_IWUSR) == 0 &&
      bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
      listen(listener, kBacklog) == 0) {
    return listener;
  }
  const int reason = errno;
  close(listener);
  return errno = reason, -1;
}
