/// @file
/// One exchange with one server.
#ifndef KXCERT_SRC_FETCH_HOP_H_
#define KXCERT_SRC_FETCH_HOP_H_

#include <curl/curl.h>

#include <memory>
#include <string>
#include <string_view>

#include "fetch/answerOctets.h"
#include "fetch/contentLength.h"
#include "fetch/ldapSearch.h"
#include "fetch/sockets.h"
#include "fetch/target.h"
#include "platform/owned.h"

/// How an exchange ended.
struct HopEnd {
  kxFetchResult result = kxFetch_failed;
  std::string reason;  ///< with the server's name, unless the result is kxFetch_OK or kxFetch_unchanged
  std::shared_ptr<const unsigned char> octets;
  size_t len = 0;
  kxFetchVersion version;
  std::string location;        ///< where the server sends on to, when not empty
  bool isRemembered = false;   ///< there was none: an earlier one failed
  bool isOurs = false;         ///< it failed for reasons of this side, and may be asked at any time
  bool wasReached = false;     ///< the server took the connection, with TLS where that is asked
  bool wasServerDown = false;  ///< it did not: there is no use in asking it for something else
};

/// Of one thread, that of its multi handle. Settings, sockets and room outlive it.
class Hop {
 public:
  /// @param proxy  "" for none
  Hop(const kxFetchSettings &settings, std::shared_ptr<const kxFetchRequest> request, const Target &target,
      const std::string &proxy, Sockets &sockets, AnswerRoom &room);
  ~Hop();
  Hop(const Hop &) = delete;
  Hop &operator=(const Hop &) = delete;

  /// Begins it. Connecting may take as much time as the settings say, all else as long as it is not ended.
  /// @param maxLen  octets of the answer; see SetMaxLen
  bool Start(CURLM *multi, size_t maxLen);
  /// Another one counts for what is to come.
  void SetMaxLen(size_t maxLen);

  /// libcurl is done with it. @return false: it still has something to do, Step does that
  bool IsDone(CURLcode code);
  /// Some of it, without waiting. @return it is done
  bool Step() { return m_search != nullptr && m_search->Step(); }
  bool IsStepping() const { return m_search != nullptr; }
  /// There is something that Step can do now.
  bool HasMore() const { return m_search != nullptr && m_search->HasMore(); }

  CURL *Handle() const { return m_easy.get(); }
  const Target &Whom() const { return m_target; }
  /// More came in than any answer within the limits takes.
  bool IsOverrun() const;
  /// The name is being looked up, which goes on for some time after the hop is gone.
  bool IsLookingUp() const;
  /// libcurl knows when that ends.
  bool IsWithCurl() const { return m_isWithCurl; }
  /// Nobody waits for it: it goes no further than the name, which libcurl keeps for the next who asks for it.
  void GiveUp() { m_isGivenUp = true; }

  HopEnd Finish(CURLcode code);
  HopEnd Fail(kxFetchResult result, const std::string &why);  ///< it is ended from outside
  HopEnd TimeOut();                                           ///< its time is up

 private:
  static size_t OnHeader(char *octets, size_t size, size_t count, void *hop);
  static size_t OnBody(char *octets, size_t size, size_t count, void *hop);
  static curl_socket_t OnOpen(void *hop, curlsocktype purpose, curl_sockaddr *address);
  static int OnClose(void *sockets, curl_socket_t socket);

  void SetOptions();
  void SetHttpOptions();
  void SetLdapOptions();
  template <class T>
  void Set(CURLoption option, T value) {
    m_isSet = curl_easy_setopt(m_easy.get(), option, value) == CURLE_OK && m_isSet;
  }
  void AddHeader(const std::string &line);
  bool TakeHeader(std::string_view line);
  bool Take(const char *octets, size_t len);
  bool Stop(kxFetchResult result, const std::string &why);
  long Status() const;
  std::string Field(const char *name) const;
  bool IsRedirect() const;
  bool IsConnected() const;
  HopEnd OfHttp();
  HopEnd OfLdap();

  const kxFetchSettings &m_settings;
  const std::shared_ptr<const kxFetchRequest> m_request;
  const Target m_target;
  const std::string m_proxy;
  Sockets &m_sockets;
  const sxOwned<CURL, curl_easy_cleanup> m_easy;
  sxOwned<curl_slist, curl_slist_free_all> m_headers;
  CURLM *m_multi = nullptr;  // that it was added to
  bool m_isSet = true;
  bool m_isWithCurl = false;
  bool m_isGivenUp = false;
  bool m_isUnknown = false;  // the name
  size_t m_maxLen = 0;
  size_t m_headerLen = 0;
  size_t m_bodyLen = 0;  // with what is not kept
  ContentLength m_contentLength;
  AnswerRoom &m_room;
  AnswerOctets m_octets;
  std::unique_ptr<LdapSearch> m_search;  // once there is a connection
  int m_numOpened = 0;                   // sockets
  std::string m_refusal;                 // of the last address that may not be asked
  bool m_isStopped = false;              // by a callback, with these
  bool m_isOurs = false;
  kxFetchResult m_stopResult = kxFetch_failed;
  std::string m_stopReason;
};

#endif
