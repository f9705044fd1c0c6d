/// @file
/// Where the CRLs of a certificate are: its distribution points, and the keys under which memory has what stands there.
#ifndef KXCERT_SRC_TRUST_REVOCATION_CRLPLACES_H_
#define KXCERT_SRC_TRUST_REVOCATION_CRLPLACES_H_

#include <memory>
#include <string>
#include <vector>

#include "cert/distPoints.h"

class sxRootCA;

struct CrlPlace {
  sxGeneralName name;
  std::string key;  ///< of CrlMemory
};

struct CrlPoint {
  sxDistPoint point;
  std::vector<CrlPlace> places;  ///< of the same CRL: the first one that has it will do
};

struct CrlPoints {
  bool isReadable = true;
  std::vector<CrlPoint> points;
  std::vector<CrlPlace> deltas;  ///< where the certificate says that updates of its CRLs are (RFC 5280, 4.2.1.15)
};

/// Those that the root forces, else the certificate's own. Certificates of one CA mostly name the same ones: each
/// thread remembers what it read last.
std::shared_ptr<const CrlPoints> CrlPointsOf(const sxCert &cert, const sxRootCA &root);
/// What is issued without a point: a CRL under the issuer's name (RFC 5280, 6.3.3, at its end).
CrlPoint ImpliedPoint(const sxCert &cert, const sxRootCA &root);
/// @param isDelta  one that updates others: under the name of a directory entry it is an attribute of its own
CrlPlace CrlPlaceOf(const sxGeneralName &name, const sxRootCA &root, bool isDelta = false);

#endif
