/// @file
/// A certification request that is encoded but for its signature, apart from what it was made of.
#ifndef KXCERT_SRC_CERT_REQUESTTOSIGN_H_
#define KXCERT_SRC_CERT_REQUESTTOSIGN_H_

#include <map>
#include <memory>
#include <set>

#include "kxcert/cert/sxCertRequest.h"
#include "toSign.h"

/// The order of the elements of a set (X.690, 11.6).
struct sxDerOrder {
  bool operator()(const sxDerOctets &a, const sxDerOctets &b) const {
    return std::ranges::lexicographical_compare(a, b);
  }
};
using sxSortedOctets = std::set<sxDerOctets, sxDerOrder>;

class sxRequestAttributes_imp {
 public:
  std::map<sxDerOctets, sxSortedOctets, sxDerOrder> attributes;  // by content octets of their types: whole values
};

class sxRequestToSign {
 public:
  static sxIssueStatus New(const sxCertTemplate &wanted, const sxRequestAttributes *attributes, sxPubKey *key,
                           const sxSignOptions &options, std::shared_ptr<sxRequestToSign> *out);

  /// Signs, decodes and compares; once, on any thread. @return for sxCertRequest_Free, or null (one line logged)
  sxCertRequest *Sign();
  bool MayLeaveThread() const { return m_toSign->MayLeaveThread(); }
  sxIssueStatus Status() const { return m_status; }  ///< of Sign

 private:
  sxRequestToSign() = default;
  sxIssueStatus Take(const sxCertTemplate &wanted, const sxRequestAttributes *attributes);
  bool Write();
  bool IsAsAsked(const sxCertRequest &request) const;

  std::unique_ptr<sxToSign> m_toSign;
  sxOwned<sxPubKey, sxFreePubKey> m_publicKey;  // what m_keyInfo says, one reference of its own; null: not imported yet
  bool m_verify = false;
  sxIssueStatus m_status = sxIssue_ok;
  sxDerOctets m_subject, m_keyInfo, m_attributes;  // whole elements; content of the set
};

#endif
