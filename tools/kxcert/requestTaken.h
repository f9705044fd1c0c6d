/// @file
/// What a CA takes over of a certification request, and what it says of the rest.
#ifndef KXCERT_TOOLS_KXCERT_REQUESTTAKEN_H_
#define KXCERT_TOOLS_KXCERT_REQUESTTAKEN_H_

#include <string>
#include <vector>

#include "kxcert/cert/sxCertTemplate.h"
#include "requestInput.h"

class Report;

class RequestTaken {
 public:
  static constexpr int kMaxTold = 50;  ///< extensions and names of a request; it is somebody else's

  /// Subject and key. @return false: a problem, which has been told: a request whose sender has not the key is refused
  bool Read(const std::string &path, sxCertTemplate &wanted, Report &report);

  /// Extensions, each in the place of the template's. Alternative names that are not taken are no problem.
  /// @param copies  of these types; a request without one of them is a problem, which has been told
  bool TakeExtensions(bool altNames, const std::vector<std::string> &copies, sxCertTemplate &wanted,
                      Report &report) const;

  /// Says what of the request is in the template as it is in the end, and what is not.
  void Tell(const sxCertTemplate &wanted, Report &report) const;

 private:
  FoundRequest m_found;
  sxCertTemplate m_asked;
};

#endif
