/// @file
/// One message each way between processes of one machine, over a stream socket in the file system.
///
/// A message is its length (32 bits, this machine's byte order) and its octets. Every operation ends by
/// the time limit that the connection was made with. One thread uses a connection at a time.
#ifndef KXCERT_PLATFORM_LOCALSOCKET_H_
#define KXCERT_PLATFORM_LOCALSOCKET_H_

#include <cstdint>
#include <string>

#include "kxcert/platform/export.h"

class KXCERT_EXPORT kxLocalSocket {
 public:
  static constexpr uint32_t kMaxMessageLen = 128 * 1024;

  /// Connects to the socket at @p path. Not OK() when nobody listens there by the time limit, or who
  /// does runs as neither this process's user nor root.
  kxLocalSocket(const std::string &path, int timeoutMs);
  /// Takes over an accepted descriptor, with the same rule for who is at the other end.
  kxLocalSocket(int descriptor, int timeoutMs);
  ~kxLocalSocket();
  kxLocalSocket(const kxLocalSocket &) = delete;
  kxLocalSocket &operator=(const kxLocalSocket &) = delete;

  bool OK() const { return m_descriptor >= 0; }

  /// Each returns false, and the connection is not OK() any more, on trouble, at the time limit, and for
  /// a message of no octets or of more than kMaxMessageLen.
  bool Send(const unsigned char *message, uint32_t messageLen);
  /// @param[out] area  resized to the length announced, then filled; @p resize returns the place
  template <class Resize>
  bool Receive(Resize resize) {
    uint32_t len = 0;
    return ReceiveLen(&len) && ReceiveOctets(resize(len), len);
  }

 private:
  bool ReceiveLen(uint32_t *len);
  bool ReceiveOctets(unsigned char *octets, uint32_t len);
  bool Wait(short events);
  void CheckPeer();
  bool Close();

  int m_descriptor;
  int64_t m_deadlineMs;
};

/// Makes a socket at @p path that only this process's user may connect to. One that nobody listens at any
/// more is replaced, anything else at the path is left alone.
/// @return the listening descriptor, close-on-exec and not blocking, or -1 (errno says why)
KXCERT_EXPORT int kxLocalSocket_Listen(const std::string &path);

#endif
