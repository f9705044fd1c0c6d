#include "platform/localSocket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
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

// Between looking at a path and changing it nobody else may do the same.
class PathLock {
 public:
  explicit PathLock(const std::string &path)
      : m_descriptor(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR)) {
    constexpr int kLimitMs = 2000, kPauseMs = 5;
    const int64_t endMs = NowMs() + kLimitMs;
    while (m_descriptor >= 0 && flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
      const int reason = errno;
      if ((reason == EWOULDBLOCK || reason == EINTR) && NowMs() < endMs) {
        poll(nullptr, 0, kPauseMs);
        continue;
      }
      close(m_descriptor);
      m_descriptor = -1;
      errno = reason;
    }
  }
  ~PathLock() {
    const int reason = errno;
    if (m_descriptor >= 0) close(m_descriptor);
    errno = reason;
  }
  PathLock(const PathLock &) = delete;
  PathLock &operator=(const PathLock &) = delete;
  bool OK() const { return m_descriptor >= 0; }

 private:
  int m_descriptor;
};

int NewSocket() { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

bool Connect(int descriptor, const sockaddr_un &address) {
  return connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

bool GetPeer(int descriptor, ucred *peer) {
  socklen_t len = sizeof *peer;
  return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, peer, &len) == 0;
}

// Whether who connects to the path is heard by this process.
bool LeadsHere(const sockaddr_un &address, int listener) {
  constexpr int kMaxTries = 16;
  const int probe = NewSocket();
  bool connected = false;
  for (int i = 0; probe >= 0 && !connected && i < kMaxTries; ++i) {
    connected = Connect(probe, address);
    if (!connected && errno != EAGAIN) break;
    int waiting = -1;  // the queue is full: of those that nobody will hear any more
    while (!connected && (waiting = accept(listener, nullptr, nullptr)) >= 0) close(waiting);
  }
  ucred peer = {};
  const bool here = connected && GetPeer(probe, &peer) && peer.pid == getpid();
  if (probe >= 0) close(probe);
  return here;
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
  if (!GetPeer(m_descriptor, &peer) || (peer.uid != 0 && peer.uid != geteuid())) Close();
  m_peerProcess = peer.pid;
}

int kxLocalSocket::LeftMs() const { return static_cast<int>(std::max<int64_t>(0, m_deadlineMs - NowMs())); }

bool kxLocalSocket::Wait(Readiness readiness) {
  while (const int leftMs = LeftMs()) {
    pollfd entry = {m_descriptor, static_cast<short>(readiness == kReadable ? POLLIN : POLLOUT), 0};
    const int rc = poll(&entry, 1, leftMs);
    if (rc > 0) return true;
    if (rc < 0 && errno != EINTR) break;
  }
  return Close();
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
      if (errno == EINTR || ((errno == EAGAIN || errno == EWOULDBLOCK) && Wait(kWritable))) continue;
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

kxLocalSocket::Step kxLocalSocket::ReceiveLen() {
  const Step step = ReceiveUpTo(reinterpret_cast<unsigned char *>(&m_areaLen), sizeof m_areaLen);
  if (step == kDone && (m_areaLen == 0 || m_areaLen > kMaxMessageLen)) return Close(), kFailed;
  return step;
}

kxLocalSocket::Step kxLocalSocket::ReceiveArea() {
  if (m_area == nullptr) return Close(), kFailed;
  const Step step = ReceiveUpTo(m_area, m_areaLen);
  if (step == kDone) m_area = nullptr;
  return step;
}

// Goes on behind what was received already.
kxLocalSocket::Step kxLocalSocket::ReceiveUpTo(unsigned char *octets, uint32_t len) {
  while (OK() && m_numReceived < len) {
    const ssize_t received = recv(m_descriptor, octets + m_numReceived, len - m_numReceived, 0);
    if (received > 0) {
      m_numReceived += static_cast<uint32_t>(received);
      continue;
    }
    if (received < 0 && errno == EINTR) continue;
    if (received < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && LeftMs() > 0) return kMore;
    Close();
  }
  m_numReceived = 0;
  return OK() ? kDone : kFailed;
}

int kxLocalSocket_Listen(const std::string &path) {
  sockaddr_un address;
  if (!SetAddress(path, &address)) return -1;
  const PathLock lock(path);
  if (!lock.OK()) return -1;
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

void kxLocalSocket_Unlisten(const std::string &path, int listener) {
  sockaddr_un address;
  if (listener < 0) return;
  {
    const PathLock lock(path);  // without it the socket stays, for the next one to replace
    if (SetAddress(path, &address) && lock.OK() && LeadsHere(address, listener)) unlink(path.c_str());
  }
  close(listener);
}
