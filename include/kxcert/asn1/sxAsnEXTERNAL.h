/// @file
/// EXTERNAL of X.208, 37: a value with what identifies its type.
///
///   EXTERNAL ::= [UNIVERSAL 8] IMPLICIT SEQUENCE {
///     direct-reference       OBJECT IDENTIFIER OPTIONAL,
///     indirect-reference     INTEGER OPTIONAL,
///     data-value-descriptor  ObjectDescriptor OPTIONAL,
///     encoding               CHOICE {
///       single-ASN1-type  [0] ANY,
///       octet-aligned     [1] IMPLICIT OCTET STRING,
///       arbitrary         [2] IMPLICIT BIT STRING } }
#ifndef KXCERT_ASN1_SXASNEXTERNAL_H_
#define KXCERT_ASN1_SXASNEXTERNAL_H_

#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBits.h"
#include "kxcert/asn1/sxAsnConstructed.h"
#include "kxcert/asn1/sxAsnOcts.h"

class KXCERT_EXPORT sxAsnEXTERNALChoice : public sxAsnChoice {
 public:
  sxAsnEXTERNALChoice() = default;
  sxAsnEXTERNALChoice(const sxAsnEXTERNALChoice &other) : sxAsnChoice(other) { CopyFrom(other); }
  sxAsnEXTERNALChoice &operator=(const sxAsnEXTERNALChoice &other) {
    CopyFrom(other);
    return *this;
  }

  enum { single_ASN1_typeCid, octet_alignedCid, arbitraryCid };
  void Set_single_ASN1_type(const sxAsnRawAny &value) { Choose(single_ASN1_typeCid, value); }
  void Set_octet_aligned(const sxAsnOcts &value) { Choose(octet_alignedCid, value); }
  void Set_arbitrary(const sxAsnBits &value) { Choose(arbitraryCid, value); }
  sxAsnRawAny *single_ASN1_type() const { return static_cast<sxAsnRawAny *>(Chosen(single_ASN1_typeCid)); }
  sxAsnOcts *octet_aligned() const { return static_cast<sxAsnOcts *>(Chosen(octet_alignedCid)); }
  sxAsnBits *arbitrary() const { return static_cast<sxAsnBits *>(Chosen(arbitraryCid)); }

  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
};

class KXCERT_EXPORT sxAsnEXTERNAL : public sxAsnSequence {
 public:
  sxAsnEXTERNAL() = default;
  sxAsnEXTERNAL(const sxAsnEXTERNAL &other) : sxAsnSequence(other) { CopyFrom(other); }
  sxAsnEXTERNAL &operator=(const sxAsnEXTERNAL &other) {
    CopyFrom(other);
    return *this;
  }
  ~sxAsnEXTERNAL() override;

  sxAsnOid *direct_reference = nullptr;                    ///< may be null in what decodes
  sxAsnInt *indirect_reference = nullptr;                  ///< may be null in what decodes
  sxAsnObjectDescriptor *data_value_descriptor = nullptr;  ///< may be null in what decodes
  sxAsnEXTERNALChoice *encoding = nullptr;

  static const sxAsnTypeInfo kInfo;
  const sxAsnTypeInfo *Info() const override { return &kInfo; }
};

#endif
