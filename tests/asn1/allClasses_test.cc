// What holds for every generated class, found in one loop over all of them.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/oids.h"
#include "support/asnClasses.h"
#include "support/asnHex.h"
#include "support/hexOctets.h"

namespace {

using Octets = std::vector<unsigned char>;
using Value = std::unique_ptr<sxAsnType>;

// What must hold for octets that decode.
void CheckSample(const sxAsnTypeInfo &info, const Octets &octets) {
  const std::string hex = EncodeHex(octets);
  SCOPED_TRACE(std::string(info.name) + " " + hex);
  const Value value(info.create());
  ASSERT_EQ(0, DecodeOctets(octets, *value));
  EXPECT_EQ(hex, EncodeHex(*value));

  const Value dup(value->Dup());
  EXPECT_STREQ(info.name, dup->TypeName());
  EXPECT_EQ(hex, EncodeHex(*dup));
  const Value copy(value->Clone());
  copy->CopyFrom(*value);
  copy->CopyFrom(*copy);
  EXPECT_EQ(hex, EncodeHex(*copy));
  EXPECT_EQ(0, DecodeOctets(octets, *copy)) << "over an old value";
  EXPECT_EQ(hex, EncodeHex(*copy));
  EXPECT_EQ(Printed(*value, 1), Printed(*dup, 1));

  for (size_t len = 0; len < octets.size(); ++len) {
    EXPECT_EQ(-1, DecodeOctets(Octets(octets.begin(), octets.begin() + static_cast<std::ptrdiff_t>(len)), *copy))
        << "the first " << len << " octets";
  }
  Octets longer = octets;
  longer.push_back(0);
  EXPECT_EQ(-1, DecodeOctets(longer, *copy));
}

// Any result will do, as long as there is one and what decodes survives a second round.
void CheckChangedOctets(const sxAsnTypeInfo &info, const Octets &octets) {
  SCOPED_TRACE(info.name);
  Octets changed = octets;
  for (size_t i = 0; i < octets.size(); ++i) {
    for (const int mask : {0x01, 0x20, 0x80, 0xFF}) {
      changed[i] = static_cast<unsigned char>(octets[i] ^ mask);
      const Value value(info.create());
      if (DecodeOctets(changed, *value) < 0) continue;
      const std::string once = EncodeHex(*value);
      const Value again(info.create());
      ASSERT_EQ(once, Reencode(once.c_str(), *again)) << "octet " << i << ": " << EncodeHex(changed);
    }
    changed[i] = octets[i];
  }
}

int NumAlternatives(const sxAsnTypeInfo &info) { return info.kind == sxAsnKind::kChoice ? info.numElems : 1; }

TEST(AllClasses, KeepTheirOctets) {
  ASSERT_GT(kNumAsnClasses, 80);
  for (int i = 0; i < kNumAsnClasses; ++i) {
    const sxAsnTypeInfo &info = *kAsnClasses[i];
    for (int alternative = 0; alternative < NumAlternatives(info); ++alternative) {
      const Octets octets = AsnSample(info, alternative);
      CheckSample(info, octets);
      CheckChangedOctets(info, octets);
    }
  }
}

TEST(AllClasses, EmptyObjectEncodesOrFails) {
  for (int i = 0; i < kNumAsnClasses; ++i) {
    const sxAsnTypeInfo &info = *kAsnClasses[i];
    SCOPED_TRACE(info.name);
    const Value value(info.create());
    EXPECT_EQ(info.kind == sxAsnKind::kChoice, EncodeHex(*value) == "-");
    EXPECT_NE("", Printed(*value));
    const Value copy(value->Dup());
    EXPECT_EQ(EncodeHex(*value), EncodeHex(*copy));
    EXPECT_EQ(value.get(), value->GetType(info.name));
    EXPECT_EQ(nullptr, value->GetType("sxASN_NoSuchType"));
  }
}

// The interpreters reach elements by offset, users by member: both must mean the same.
TEST(AllClasses, MembersAreWhereTheirRowsSay) {
  ASSERT_GT(kNumAsnMembers, 120);
  const sxAsnTypeInfo *owner = nullptr;
  int elem = 0;
  for (int i = 0; i < kNumAsnMembers; ++i) {
    const AsnMember &member = kAsnMembers[i];
    elem = member.owner == owner ? elem + 1 : 0;
    owner = member.owner;
    SCOPED_TRACE(std::string(owner->name) + "." + member.name);
    ASSERT_LT(elem, owner->numElems);
    const sxAsnElem &row = owner->elems[elem];
    EXPECT_STREQ(member.name, row.name);
    EXPECT_EQ(member.type, row.type);

    const Value empty(owner->create());
    EXPECT_EQ(nullptr, member.read(*empty));
    const Value value(owner->create());
    ASSERT_EQ(0, DecodeOctets(AsnSample(*owner), *value));
    const Value copy(value->Dup());
    ASSERT_NE(nullptr, member.read(*value));
    ASSERT_NE(nullptr, member.read(*copy));
    EXPECT_NE(member.read(*value), member.read(*copy));
    EXPECT_EQ(member.type, member.read(*value)->Info());
    EXPECT_EQ(member.type, member.read(*copy)->Info());
  }
  int numElems = 0;
  for (int i = 0; i < kNumAsnClasses; ++i) {
    const sxAsnKind kind = kAsnClasses[i]->kind;
    if (kind == sxAsnKind::kSequence || kind == sxAsnKind::kSet) numElems += kAsnClasses[i]->numElems;
  }
  EXPECT_EQ(numElems, kNumAsnMembers);
}

Octets ReadFile(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.good()) << path;
  return Octets(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Made by tests/data/asn1/make.sh.
TEST(AllClasses, RealFilesKeepTheirOctets) {
  const std::string folder = KXCERT_TEST_DATA "/asn1/";
  for (const char *name : {"rsa-cert.der", "ec-cert.der"}) {
    const Octets octets = ReadFile(folder + name);
    CheckSample(sxASN_Certificate::kInfo, octets);
    CheckChangedOctets(sxASN_Certificate::kInfo, octets);
  }
  CheckSample(sxASN_CertificateList::kInfo, ReadFile(folder + "list.der"));
}

struct ExtensionRow {
  unsigned arc;   // under id-ce, 2.5.29
  const sxAsnTypeInfo *info;
};
const ExtensionRow kExtensionRows[] = {
    {15, &sxASN_KeyUsage::kInfo},           {17, &sxASN_GeneralNames::kInfo},
    {19, &sxASN_BasicConstraints::kInfo},   {28, &sxASN_IssuingDistributionPoint::kInfo},
    {30, &sxASN_NameConstraints::kInfo},    {31, &sxASN_CRLDistPointsSyntax::kInfo},
    {32, &sxASN_CertificatePolicies::kInfo}, {33, &sxASN_PolicyMappings::kInfo},
    {35, &sxASN_AuthorityKeyIdentifier::kInfo}, {36, &sxASN_PolicyConstraints::kInfo},
    {37, &sxASN_ExtKeyUsageSyntax::kInfo},  {21, &sxASN_CRLReason::kInfo},
};

// Checks what an extension holds; returns how many classes of the table it met.
int CheckExtensions(const sxASN_Extensions &extensions) {
  int met = 0;
  for (const sxASN_Extension &extension : extensions) {
    const Octets octets(extension.extnValue->Data(), extension.extnValue->Data() + extension.extnValue->Len());
    for (const ExtensionRow &row : kExtensionRows) {
      sxAsnOid oid;
      oid.Set(2, 5, 29, static_cast<int>(row.arc));
      if (!oid.OidEquiv(*extension.extnID)) continue;
      CheckSample(*row.info, octets);
      ++met;
    }
    if (extension.extnID->OidEquiv(sxASN_id_pe_authorityInfoAccess)) {
      CheckSample(sxASN_AuthorityInfoAccessSyntax::kInfo, octets);
    }
  }
  return met;
}

TEST(AllClasses, ExtensionsOfRealFilesKeepTheirOctets) {
  const std::string folder = KXCERT_TEST_DATA "/asn1/";
  sxASN_Certificate cert;
  ASSERT_EQ(0, DecodeOctets(ReadFile(folder + "rsa-cert.der"), cert));
  EXPECT_EQ(10, CheckExtensions(*cert.tbsCertificate->extensions));
  sxASN_CertificateList list;
  ASSERT_EQ(0, DecodeOctets(ReadFile(folder + "list.der"), list));
  EXPECT_EQ(2, CheckExtensions(*list.tbsCertList->crlExtensions));
  EXPECT_EQ(1, CheckExtensions(*(*list.tbsCertList->revokedCertificates->begin()).crlEntryExtensions));
}

}  // namespace
