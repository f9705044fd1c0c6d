#include "fetch/hop.h"

#include <sys/socket.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "fetch/address.h"

namespace {

constexpr size_t kMaxIdleBody = 65'536;     // of an answer that only sends on
constexpr uint64_t kMaxEnvelope = 262'144;  // octets of handshakes and of the protocol's own, below libcurl

bool IsStatusOfRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

}  // namespace

Hop::Hop(const kxFetchSettings &settings, std::shared_ptr<const kxFetchRequest> request, const Target &target,
         const std::string &proxy, Sockets &sockets, AnswerRoom &room)
    : m_settings(settings),
      m_request(std::move(request)),
      m_target(target),
      m_proxy(proxy),
      m_sockets(sockets),
      m_easy(curl_easy_init()),
      m_room(room),
      m_octets(room) {}

Hop::~Hop() {
  m_search.reset();  // takes its leave over the connection
  if (m_multi != nullptr) curl_multi_remove_handle(m_multi, m_easy.get());
  m_sockets.Forget(this);
}

bool Hop::Start(CURLM *multi, size_t maxLen) {
  if (m_easy == nullptr) return false;
  m_maxLen = maxLen;
  SetOptions();
  if (!m_isSet || curl_multi_add_handle(multi, m_easy.get()) != CURLM_OK) return false;
  m_multi = multi;
  m_isWithCurl = true;
  return true;
}

void Hop::SetMaxLen(size_t maxLen) {
  m_maxLen = maxLen;
  if (m_search != nullptr) m_search->SetMaxLen(maxLen);
}

void Hop::SetOptions() {
  Set(CURLOPT_PRIVATE, static_cast<void *>(this));
  Set(CURLOPT_PROTOCOLS_STR, "http,https");
  Set(CURLOPT_NOSIGNAL, 1L);
  Set(CURLOPT_QUICK_EXIT, 1L);  // else giving up a hop waits for the resolver
  Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_settings.connectTimeoutMs));
  // Connections are not shared: what one may be asked for the next may not.
  Set(CURLOPT_FRESH_CONNECT, 1L);
  Set(CURLOPT_OPENSOCKETFUNCTION, &OnOpen);
  Set(CURLOPT_OPENSOCKETDATA, static_cast<void *>(this));
  Set(CURLOPT_CLOSESOCKETFUNCTION, &OnClose);
  Set(CURLOPT_CLOSESOCKETDATA, static_cast<void *>(&m_sockets));
  Set(CURLOPT_WRITEFUNCTION, &OnBody);
  Set(CURLOPT_WRITEDATA, static_cast<void *>(this));
  Set(CURLOPT_PROXY, m_proxy.c_str());  // "" also keeps libcurl from asking the environment
  Set(CURLOPT_NOPROXY, "");
  if (!m_settings.caFile.empty()) {
    Set(CURLOPT_CAINFO, m_settings.caFile.c_str());
    Set(CURLOPT_CAPATH, static_cast<const char *>(nullptr));
  }
  m_target.IsLdap() ? SetLdapOptions() : SetHttpOptions();
}

// The connection is all that is wanted of libcurl; one that was made for nothing else is used for nothing else.
void Hop::SetLdapOptions() {
  Set(CURLOPT_URL, ((m_target.IsTls() ? "https://" : "http://") + m_target.server + "/").c_str());
  Set(CURLOPT_CONNECT_ONLY, 1L);
  Set(CURLOPT_SSL_ENABLE_ALPN, 0L);
}

void Hop::SetHttpOptions() {
  Set(CURLOPT_URL, m_target.url.c_str());
  Set(CURLOPT_FORBID_REUSE, 1L);
  Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  Set(CURLOPT_HTTP09_ALLOWED, 0L);
  Set(CURLOPT_FOLLOWLOCATION, 0L);  // who asked for this hop judges where it leads
  Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  Set(CURLOPT_HEADERFUNCTION, &OnHeader);
  Set(CURLOPT_HEADERDATA, static_cast<void *>(this));
  if (!m_settings.userAgent.empty()) Set(CURLOPT_USERAGENT, m_settings.userAgent.c_str());
  if (!m_request->known.entityTag.empty()) AddHeader("If-None-Match: " + m_request->known.entityTag);
  if (!m_request->known.lastModified.empty()) AddHeader("If-Modified-Since: " + m_request->known.lastModified);
  if (!m_request->body.empty()) {
    Set(CURLOPT_POST, 1L);
    Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_request->body.size()));
    Set(CURLOPT_POSTFIELDS, m_request->body.data());
    AddHeader("Content-Type: " +
              (m_request->contentType.empty() ? "application/octet-stream" : m_request->contentType));
    AddHeader("Expect:");  // is not sent
  }
  Set(CURLOPT_HTTPHEADER, m_headers.get());
}

void Hop::AddHeader(const std::string &line) {
  curl_slist *const longer = curl_slist_append(m_headers.get(), line.c_str());
  if (longer == nullptr) m_isSet = false;
  if (longer != nullptr && m_headers == nullptr) m_headers.reset(longer);
}

curl_socket_t Hop::OnOpen(void *hop, curlsocktype purpose, curl_sockaddr *address) {
  auto *const self = static_cast<Hop *>(hop);
  if (purpose != CURLSOCKTYPE_IPCXN || self->m_isGivenUp) return CURL_SOCKET_BAD;
  const bool isAnyAllowed = !self->m_proxy.empty() || self->m_target.isConfigured;
  const char *const whyNot = isAnyAllowed ? nullptr : kxFetch_WhyNot(address->addr, self->m_settings.allowPrivate);
  if (whyNot != nullptr) {
    self->m_refusal = whyNot;
    return CURL_SOCKET_BAD;
  }
  ++self->m_numOpened;
  return self->m_sockets.Open(*address, self);
}

int Hop::OnClose(void *sockets, curl_socket_t socket) { return static_cast<Sockets *>(sockets)->Close(socket); }

size_t Hop::OnHeader(char *octets, size_t size, size_t count, void *hop) {
  const size_t len = size * count;
  return static_cast<Hop *>(hop)->TakeHeader({octets, len}) ? len : 0;
}

bool Hop::TakeHeader(std::string_view line) {
  if (line.size() > m_settings.maxHeaderLen - m_headerLen) {
    return Stop(kxFetch_failed, "headers of more than " + std::to_string(m_settings.maxHeaderLen) + " octets");
  }
  m_headerLen += line.size();
  return m_contentLength.Take(line) || Stop(kxFetch_failed, "content lengths that differ, or are none");
}

size_t Hop::OnBody(char *octets, size_t size, size_t count, void *hop) {
  const size_t len = size * count;
  return static_cast<Hop *>(hop)->Take(octets, len) ? len : 0;
}

bool Hop::Take(const char *octets, size_t len) {
  if (Status() != 200) {
    if (!IsRedirect() || len > kMaxIdleBody - m_bodyLen)
      return Stop(kxFetch_failed, "status " + std::to_string(Status()));
    m_bodyLen += len;
    return true;
  }
  curl_off_t announced = -1;
  curl_easy_getinfo(m_easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
  if (len > m_maxLen - std::min(m_octets.Len(), m_maxLen) ||
      (announced > 0 && static_cast<uint64_t>(announced) > m_maxLen)) {
    return Stop(kxFetch_tooLong, "more than " + std::to_string(m_maxLen) + " octets");
  }
  const AnswerOctets::Outcome outcome =
      m_octets.Append(octets, len, announced > 0 ? static_cast<size_t>(announced) : 0);
  m_isOurs = outcome != AnswerOctets::Outcome::kFits;
  if (!m_isOurs) return true;
  return Stop(kxFetch_failed, outcome == AnswerOctets::Outcome::kNoRoom ? kNoRoomForAnswer : "no memory");
}

bool Hop::Stop(kxFetchResult result, const std::string &why) {
  m_isStopped = true;
  m_stopResult = result;
  m_stopReason = why;
  return false;
}

bool Hop::IsOverrun() const {
  const uint64_t headers = m_target.IsLdap() ? 0 : m_settings.maxHeaderLen;
  return m_sockets.Received(this) > 2 * static_cast<uint64_t>(m_maxLen) + headers + kMaxEnvelope;
}

bool Hop::IsLookingUp() const {
  curl_off_t lookedUp = 0;
  curl_easy_getinfo(m_easy.get(), CURLINFO_NAMELOOKUP_TIME_T, &lookedUp);
  return lookedUp == 0 && !m_isUnknown && m_numOpened == 0 && m_refusal.empty() &&
         !(m_target.isNumber && m_proxy.empty());
}

bool Hop::IsConnected() const {
  curl_off_t connected = 0;
  curl_easy_getinfo(m_easy.get(), m_target.IsTls() ? CURLINFO_APPCONNECT_TIME_T : CURLINFO_CONNECT_TIME_T, &connected);
  return connected > 0;
}

long Hop::Status() const {
  long status = 0;
  curl_easy_getinfo(m_easy.get(), CURLINFO_RESPONSE_CODE, &status);
  return status;
}

std::string Hop::Field(const char *name) const {
  curl_header *field = nullptr;
  const bool isOnce =
      curl_easy_header(m_easy.get(), name, 0, CURLH_HEADER, -1, &field) == CURLHE_OK && field->amount == 1;
  return isOnce ? field->value : "";
}

// What was sent along is not sent on by what makes a GET of it (RFC 9110, 15.4).
bool Hop::IsRedirect() const {
  const long status = Status();
  const bool keepsMethod = status == 307 || status == 308;
  return IsStatusOfRedirect(status) && (m_request->body.empty() || keepsMethod) && !Field("Location").empty();
}

HopEnd Hop::Fail(kxFetchResult result, const std::string &why) {
  HopEnd end;
  end.result = result;
  end.reason = m_target.server + ": " + why;
  end.wasReached = IsConnected();
  end.wasServerDown = !end.wasReached && result != kxFetch_refused;
  return end;
}

HopEnd Hop::TimeOut() {
  return Fail(kxFetch_timedOut, IsLookingUp()   ? "its name was not found in time"
                                : IsConnected() ? "no answer in time"
                                                : "no connection in time");
}

bool Hop::IsDone(CURLcode code) {
  m_isWithCurl = false;
  if (!m_target.IsLdap() || code != CURLE_OK) return true;
  m_search = std::make_unique<LdapSearch>(m_easy.get(), m_target.url, m_maxLen, m_room);
  return false;
}

HopEnd Hop::Finish(CURLcode code) {
  m_isUnknown = code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_RESOLVE_PROXY;
  if (m_isStopped) {
    HopEnd end = Fail(m_stopResult, m_stopReason);
    end.isOurs = m_isOurs;
    return end;
  }
  if (m_numOpened == 0 && !m_refusal.empty()) return Fail(kxFetch_refused, m_refusal);
  if (code != CURLE_OK) {
    std::string why = curl_easy_strerror(code);
    long cause = 0;
    curl_easy_getinfo(m_easy.get(), CURLINFO_OS_ERRNO, &cause);
    if (code == CURLE_COULDNT_CONNECT && cause != 0) {
      why += " (" + std::generic_category().message(static_cast<int>(cause)) + ")";
    }
    return code == CURLE_OPERATION_TIMEDOUT ? TimeOut() : Fail(kxFetch_failed, why);
  }
  return m_target.IsLdap() ? OfLdap() : OfHttp();
}

HopEnd Hop::OfHttp() {
  const long status = Status();
  const bool knowsOne = !m_request->known.entityTag.empty() || !m_request->known.lastModified.empty();
  if (status != 200 && !(status == 304 && knowsOne)) {
    HopEnd end = Fail(kxFetch_failed, "status " + std::to_string(status));
    if (IsRedirect()) end.location = Field("Location");
    return end;
  }
  const std::string encoding = Field("Content-Encoding");
  if (!encoding.empty() && encoding != "identity")
    return Fail(kxFetch_failed, "a content encoding that was not asked for");
  HopEnd end;
  end.wasReached = true;
  end.result = status == 200 ? kxFetch_OK : kxFetch_unchanged;
  end.version = {Field("ETag"), Field("Last-Modified")};
  end.len = m_octets.Len();
  end.octets = m_octets.Release();
  return end;
}

HopEnd Hop::OfLdap() {
  HopEnd end;
  if (m_search->Result() != kxFetch_OK) {
    end = Fail(m_search->Result(), m_search->Reason());
    end.isOurs = m_search->IsOurs();
    return end;
  }
  end.wasReached = true;
  end.len = m_search->Values().Len();
  end.octets = m_search->Values().Release();
  end.result = kxFetch_OK;
  return end;
}
