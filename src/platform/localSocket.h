/// @file
/// One message each way between processes of one machine, over a stream socket in the file system.
///
/// A message is its length (32 bits, this machine's byte order) and its octets. Every operation ends by
/// the time limit that the connection was made with. One thread uses a connection at a time.
#ifndef KXCERT_SRC_PLATFORM_LOCALSOCKET_H_
#define KXCERT_SRC_PLATFORM_LOCALSOCKET_H_

#include <cstdint>
#include <string>

class kxLocalSocket {
 public:
  static constexpr uint32_t kMaxMessageLen = 32 * 1024;
  enum Step { kFailed = -1, kMore, kDone };

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
    Step step = kMore;
    do step = ReceiveStep(resize);
    while (step == kMore && Wait(kReadable));
    return step == kDone;
  }
  /// As much of the same as is there, without waiting. kMore: to be called again when the descriptor is
  /// readable or the time is over, with a @p resize whose place is the same one.
  template <class Resize>
  Step ReceiveStep(Resize resize) {
    if (m_area == nullptr) {
      const Step step = ReceiveLen();
      if (step != kDone) return step;
      m_area = resize(m_areaLen);
    }
    return ReceiveArea();
  }

  int Descriptor() const { return m_descriptor; }    ///< lent, for waiting; negative while not OK()
  int PeerProcess() const { return m_peerProcess; }  ///< who connected, or made the socket
  int LeftMs() const;                                ///< until the time limit, or 0

 private:
  enum Readiness { kReadable, kWritable };

  Step ReceiveLen();
  Step ReceiveArea();
  Step ReceiveUpTo(unsigned char *octets, uint32_t len);
  bool Wait(Readiness readiness);
  void CheckPeer();
  bool Close();

  int m_descriptor;
  int64_t m_deadlineMs;
  int m_peerProcess = 0;
  uint32_t m_numReceived = 0;  // octets of the length, or of the area
  uint32_t m_areaLen = 0;
  unsigned char *m_area = nullptr;  // lent; null until the length is known
};

/// Makes a socket at @p path that only this process's user may connect to. One that nobody listens at any
/// more is replaced, anything else at the path is left alone. Processes that do this at once take turns, by a
/// lock on the file @p path.lock, which stays.
/// @return the listening descriptor, close-on-exec and not blocking, or -1 (errno says why)
int kxLocalSocket_Listen(const std::string &path);
/// Closes that descriptor, and removes the socket unless what is at @p path by now is another process's. In the
/// process that made it; nobody else accepts from the descriptor any more.
void kxLocalSocket_Unlisten(const std::string &path, int listener);

#endif
