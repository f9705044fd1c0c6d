/// @file
/// Where the certificate request messages are: one alone, a list of them (CertReqMessages), or a CMP message
/// (RFC 4210, 5.1) that carries such a list in its body.
///
/// Finds, and judges nothing: neither a CMP message's protection nor what its header says is looked at.
#ifndef KXCERT_ENROLL_CRMFMESSAGES_H_
#define KXCERT_ENROLL_CRMFMESSAGES_H_

#include <span>
#include <vector>

#include "kxcert/platform/export.h"

constexpr int kMaxCrmfMessages = 1024;  ///< in one list

class KXCERT_EXPORT kxCrmfMessages {
 public:
  /// @param der  lent for as long as this is used; DER, all of it
  kxCrmfMessages(const unsigned char *der, int len);

  /// "", or why there are none: fixed text. What is found is whole elements; kxCRMF::DerDecode reads each.
  const char *Error() const { return m_error; }
  /// The CMP body's name: "ir", "cr", "kur", "krr" or "ccr"; "" without a CMP message.
  const char *Carrier() const { return m_carrier; }
  int Count() const { return static_cast<int>(m_messages.size()); }
  /// Lent; empty out of range.
  std::span<const unsigned char> Get(int i) const;

 private:
  bool Split(std::span<const unsigned char> list);  // the messages of its content

  const char *m_error = "";
  const char *m_carrier = "";
  std::vector<std::span<const unsigned char>> m_messages;
};

#endif
