/// @file
/// BadServer: a server on loopback that does, connection after connection, what a line of text says.
#ifndef KXCERT_TESTS_SUPPORT_BADSERVER_H_
#define KXCERT_TESTS_SUPPORT_BADSERVER_H_

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Steps between "; ", in the notation of CaseText; behind "then" stand those of the next connection, the last ones
/// serve all that follow:
///   read            what comes until an empty line, or once anything when it is no text
///   say TEXT        "\n" becomes CR LF
///   octets TEXT     as they are
///   drip TEXT       an octet every 20 ms      flood TEXT   again and again, until the other side closes
///   wait            until the other side closes
///   reset           instead of closing
class BadServer {
 public:
  explicit BadServer(const std::string &steps);
  ~BadServer();
  BadServer(const BadServer &) = delete;
  BadServer &operator=(const BadServer &) = delete;

  /// "127.0.0.1:PORT"
  std::string Name() const { return "127.0.0.1:" + std::to_string(m_port); }
  int NumConnections() const { return m_numConnections; }
  std::string Received() const;  ///< on all connections, by "read"

 private:
  using Steps = std::vector<std::string>;
  void Accept();
  bool Send(int socket, const std::string &octets) const;
  void Serve(int socket, const Steps &steps);
  bool Do(int socket, const std::string &step);

  std::vector<Steps> m_steps;
  int m_listener = -1, m_port = 0;
  std::atomic<int> m_numConnections{0};
  std::atomic<bool> m_isStopping{false};
  mutable std::mutex m_mutex;
  std::string m_received;
  std::thread m_accepting;
};

#endif
