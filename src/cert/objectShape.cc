#include "objectShape.h"

#include <iterator>

#include "kxcert/asn1/sxAsnAny.h"

namespace {

constexpr int kTag0 = DerContextConstructed(0);
constexpr int kMaxTags = 4;

struct ShapeRow {
  sxShape shape;
  int tags[kMaxTags];   // of the first elements; 0: whatever follows
  int first[kMaxTags];  // of those in the first one
};

// The first row that fits.
constexpr ShapeRow kShapes[] = {
    // tbsCertificate: version or not, serialNumber, signature, issuer, validity (RFC 5280, 4.1)
    {sxShape::kCertificate, {kDerSequence, kDerSequence, kDerBitString}, {kTag0, kDerInteger, kDerSequence}},
    {sxShape::kCertificate,
     {kDerSequence, kDerSequence, kDerBitString},
     {kDerInteger, kDerSequence, kDerSequence, kDerSequence}},
    // tbsCertList: version or not, signature, issuer, thisUpdate (RFC 5280, 5.1)
    {sxShape::kCrl,
     {kDerSequence, kDerSequence, kDerBitString},
     {kDerInteger, kDerSequence, kDerSequence, kDerUtcTime}},
    {sxShape::kCrl,
     {kDerSequence, kDerSequence, kDerBitString},
     {kDerInteger, kDerSequence, kDerSequence, kDerGeneralizedTime}},
    {sxShape::kCrl, {kDerSequence, kDerSequence, kDerBitString}, {kDerSequence, kDerSequence, kDerUtcTime}},
    {sxShape::kCrl, {kDerSequence, kDerSequence, kDerBitString}, {kDerSequence, kDerSequence, kDerGeneralizedTime}},
    // version, subject, subjectPKInfo (RFC 2986, 4.1)
    {sxShape::kRequest, {kDerSequence, kDerSequence, kDerBitString}, {kDerInteger, kDerSequence, kDerSequence}},
    {sxShape::kPkcs7, {kDerOid, kTag0}, {}},                              // ContentInfo (RFC 5652, 3)
    {sxShape::kRsaPrivate, {kDerInteger, kDerInteger, kDerInteger}, {}},  // RFC 8017, A.1.2
    {sxShape::kRsaPublic, {kDerInteger, kDerInteger}, {}},
    {sxShape::kEcPrivate, {kDerInteger, kDerOctetString}, {}},                  // RFC 5915, 3
    {sxShape::kPrivateInfo, {kDerInteger, kDerSequence, kDerOctetString}, {}},  // RFC 5208, 5
    {sxShape::kPkcs12, {kDerInteger, kDerSequence}, {}},                        // PFX (RFC 7292, 4)
    {sxShape::kEncryptedInfo, {kDerSequence, kDerOctetString}, {kDerOid}},      // RFC 5208, 6
    {sxShape::kPublicInfo, {kDerSequence, kDerBitString}, {kDerOid}},           // RFC 5280, 4.1.2.7
};

constexpr const char *kNames[] = {
    "a SEQUENCE of no known kind",
    "a certificate",
    "a CRL",
    "a certificate request",
    "a PKCS #7 container",
    "PKCS #12",
    "an RSA private key",
    "an RSA public key",
    "an EC private key",
    "a private key (PKCS #8)",
    "an encrypted private key (PKCS #8)",
    "a public key",
};
static_assert(std::size(kNames) == static_cast<size_t>(sxShape::kPublicInfo) + 1);

// What BER may write in segments counts as written in one.
int InOnePiece(int tag) {
  const int primitive = tag & ~kConstructed;
  return primitive == kDerBitString || primitive == kDerOctetString ? primitive : tag;
}

struct FirstTags {
  int tags[kMaxTags] = {};
  sxDerElement first;
};

FirstTags TagsIn(sxOctetView content) {
  FirstTags found;
  sxDerElement element;
  for (int i = 0; i < kMaxTags && sxTakeBer(content, &element); ++i) {
    found.tags[i] = InOnePiece(element.tag);
    if (i == 0) found.first = element;
  }
  return found;
}

bool Fits(const int (&wanted)[kMaxTags], const int (&found)[kMaxTags]) {
  for (int i = 0; i < kMaxTags && wanted[i] != 0; ++i) {
    if (wanted[i] != found[i]) return false;
  }
  return true;
}

// Lengths in more octets than a plain reader takes, and indefinite ones.
bool TakeByCodec(sxOctetView &octets, sxDerElement *element) {
  sxAsnReadBuf buf;
  buf.Init(octets.data(), sxLen(octets));
  int count = 0;
  const int tag = BDecTag(buf, count);
  if (tag <= 0) return false;
  const int len = BDecLen(buf, count);
  const auto headerLen = static_cast<size_t>(buf.GetOffset());
  size_t wholeLen = headerLen, tailLen = 0;
  if (len == kIndefiniteLen) {
    buf.Init(octets.data(), sxLen(octets));
    sxAsnRawAny whole;
    if (whole.BDec(buf, count) < 0) return false;
    wholeLen = static_cast<size_t>(buf.GetOffset());
    tailLen = 2;  // end-of-contents
  } else if (len >= 0 && len <= buf.GetLen()) {
    wholeLen += static_cast<size_t>(len);
  } else {
    return false;
  }
  *element = {tag, octets.subspan(headerLen, wholeLen - headerLen - tailLen), octets.first(wholeLen)};
  octets = octets.subspan(wholeLen);
  return true;
}

}  // namespace

bool sxTakeBer(sxOctetView &octets, sxDerElement *element) {
  sxDerReader reader(octets);
  if (octets.empty() || !reader.Take(element)) return !octets.empty() && TakeByCodec(octets, element);
  octets = reader.Rest();
  return true;
}

sxShape sxShapeOf(const sxDerElement &element) {
  if (element.tag != kDerSequence) return sxShape::kUnknown;
  const FirstTags outer = TagsIn(element.content);
  FirstTags inner;
  if (outer.tags[0] == kDerSequence) inner = TagsIn(outer.first.content);
  for (const ShapeRow &row : kShapes) {
    if (Fits(row.tags, outer.tags) && Fits(row.first, inner.tags)) return row.shape;
  }
  return sxShape::kUnknown;
}

const char *sxShapeName(sxShape shape) { return kNames[static_cast<size_t>(shape)]; }
