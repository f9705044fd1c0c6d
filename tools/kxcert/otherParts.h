/// @file
/// What a file holds beside certificates and CRLs, or instead of them: what it is, and what can be said of it.
#ifndef KXCERT_TOOLS_KXCERT_OTHERPARTS_H_
#define KXCERT_TOOLS_KXCERT_OTHERPARTS_H_

#include <map>
#include <span>
#include <string>
#include <vector>

#include "kxcert/cert/loadFiles.h"

class Facts;
class Report;

enum class Told {
  kNothing,      ///< of no kind that is known here
  kOther,        ///< told, and neither a certificate nor a CRL
  kCertificate,  ///< told: a certificate that the library does not take
};

/// Watches a loader that reads one file with sxLoad_all, and tells what it passed over. Keeps octets of what is public
/// alone: no key's.
class OtherParts {
 public:
  explicit OtherParts(sxLoader &loader);
  OtherParts(const OtherParts &) = delete;
  OtherParts &operator=(const OtherParts &) = delete;

  /// The containers that stand before the item of that index. @return whether there are any
  bool TellContainers(size_t index, Report &report) const;
  /// @param item   of that index: a request, a key, or passed over
  /// @param level  of sxCertHerrorDetails
  Told Tell(size_t index, const sxLoadItem &item, int level, Report &report) const;

 private:
  struct Part {
    std::vector<unsigned char> octets;  ///< of what has no secret in it
    std::string protection;             ///< of an encrypted key
    bool isText = false;
  };
  struct Container {
    std::string where, type;  ///< no type: PKCS #12
  };
  void Observe(const sxLoadItem &item, std::span<const unsigned char> octets, const std::string &dekInfo);
  Told TellSkipped(const sxLoadItem &item, const Part &part, int level, Report &report) const;

  const sxLoader &m_loader;
  std::map<size_t, Container> m_containers;
  std::map<size_t, Part> m_parts;
};

#endif
