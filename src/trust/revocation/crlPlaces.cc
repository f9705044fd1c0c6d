#include "trust/revocation/crlPlaces.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/trust/sxRootCA.h"
#include "trust/revocation/crlMemory.h"

namespace {

const char *NameOf(const sxRootCA &root) { return root.Name() != nullptr ? root.Name() : ""; }

CrlPoint PointOf(sxDistPoint &&point, const sxRootCA &root) {
  CrlPoint result;
  const sxGeneralNames &names = point.names.Count() > 0 ? point.names : point.crlIssuer;
  for (int i = 0; i < std::min(names.Count(), kMaxDistPointNames); ++i) {
    result.places.push_back(CrlPlaceOf(*names.Get(i), root));
  }
  result.point = std::move(point);
  return result;
}

CrlPoints Read(sxOctetView value, const sxCert &cert, const sxRootCA &root) {
  CrlPoints result;
  std::vector<sxDistPoint> points;
  if (!value.empty() && !sxReadDistPoints(value, *cert.Issuer(), &points)) {
    result.isReadable = false;
    return result;
  }
  for (sxDistPoint &point : points) result.points.push_back(PointOf(std::move(point), root));
  return result;
}

std::vector<CrlPlace> ReadDeltas(sxOctetView value, const sxCert &cert, const sxRootCA &root) {
  std::vector<CrlPlace> places;
  std::vector<sxDistPoint> points;
  if (value.empty() || !sxReadDistPoints(value, *cert.Issuer(), &points)) return places;
  for (const sxDistPoint &point : points) {
    for (int i = 0; i < point.names.Count(); ++i) places.push_back(CrlPlaceOf(*point.names.Get(i), root, true));
  }
  return places;
}

// What decides the result, and the result.
struct Remembered {
  std::vector<unsigned char> cert;  // all of it: to compare is less work than to look for its extensions
  std::string rootName;
  std::shared_ptr<const CrlPoints> points;
};
constexpr size_t kNumRemembered = 8;

}  // namespace

CrlPlace CrlPlaceOf(const sxGeneralName &name, const sxRootCA &root, bool isDelta) {
  const bool isOther = isDelta && name.GetType() == sxGN_dn;
  return {name, CrlMemory::KeyOf(name, NameOf(root)) + (isOther ? "\ndelta" : "")};
}

std::shared_ptr<const CrlPoints> CrlPointsOf(const sxCert &cert, const sxRootCA &root) {
  const sxGeneralNames *const forced = root.ForcedCrlDp();
  if (forced != nullptr && forced->Count() > 0) {
    sxDistPoint point;
    point.names = *forced;
    auto points = std::make_shared<CrlPoints>();
    points->points.push_back(PointOf(std::move(point), root));
    points->deltas = ReadDeltas(sxRawExtension(cert, sxASN_id_ce_freshestCRL), cert, root);
    return points;
  }
  static thread_local std::array<Remembered, kNumRemembered> remembered;
  static thread_local size_t next = 0;
  const sxOctetView octets(cert.GetBuf(), cert.BufLen());
  for (const Remembered &known : remembered) {
    if (sxEqual(known.cert, octets) && known.rootName == NameOf(root)) return known.points;
  }
  Remembered &slot = remembered[next++ % kNumRemembered];
  const auto points =
      std::make_shared<CrlPoints>(Read(sxRawExtension(cert, sxASN_id_ce_cRLDistributionPoints), cert, root));
  points->deltas = ReadDeltas(sxRawExtension(cert, sxASN_id_ce_freshestCRL), cert, root);
  slot = {{octets.begin(), octets.end()}, NameOf(root), points};
  return points;
}

CrlPoint ImpliedPoint(const sxCert &cert, const sxRootCA &root) {
  sxDistPoint point;
  const sxGeneralName issuer(cert.Issuer());
  point.names.Add(&issuer);
  return PointOf(std::move(point), root);
}
