/// @file
/// The sockets of transfers, and what came in on each.
#ifndef KXCERT_SRC_FETCH_SOCKETS_H_
#define KXCERT_SRC_FETCH_SOCKETS_H_

#include <cstdint>
#include <map>

struct curl_sockaddr;

/// Outlives the connections, which libcurl may close after their transfer is gone. One thread.
class Sockets {
 public:
  using User = const void *;

  /// @return the socket, or -1
  int Open(const curl_sockaddr &address, User user);
  int Close(int socket);
  /// Sockets that are still open then belong to nobody.
  void Forget(User user);
  /// Octets that came in on all open sockets of a user's, counted by the system: also those that a library keeps
  /// because their message is not complete.
  uint64_t Received(User user) const;

 private:
  std::map<int, User> m_users;
};

#endif
