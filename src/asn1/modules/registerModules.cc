#include "registerModules.h"

#include "kxcert/asn1/modules/CryptographicMessageSyntax.h"
#include "kxcert/asn1/modules/EnrollmentMessageSyntax.h"
#include "kxcert/asn1/modules/OCSP.h"
#include "kxcert/asn1/modules/PKCS12.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/PKIXCMP.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/modules/SXUTILS.h"

namespace {

// Numbers run on from module to module, also over keys that an earlier module has taken.
int g_nextId = 0;

template <class T>
void ByOid(unsigned int arc1, unsigned int arc2, int arc3 = -1, int arc4 = -1, int arc5 = -1, int arc6 = -1,
           int arc7 = -1, int arc8 = -1, int arc9 = -1, int arc10 = -1) {
  sxAsnOid oid;
  oid.Set(arc1, arc2, arc3, arc4, arc5, arc6, arc7, arc8, arc9, arc10);
  sxAsnAny::InstallAnyByOid(oid, g_nextId++, new T);
}

template <class T>
void ByInt(int number) {
  sxAsnAny::InstallAnyByInt(sxAsnInt(number), g_nextId++, new T);
}

// Every module begins with these; from the second on they are dropped as duplicates.
void InstallShared() {
  ByInt<sxAsnInt>(1);
  ByOid<sxAsnOcts>(1, 2, 840, 113549, 1, 7, 1);      // PKCS #7 data
  ByOid<sxAsnOcts>(1, 2, 840, 113549, 1, 9, 22, 1);  // PKCS #9 x509Certificate
  ByOid<sxAsnOcts>(1, 2, 840, 113549, 1, 9, 23, 1);  // PKCS #9 x509Crl
}

}  // namespace

PKIX1Explicit88_InitAny::PKIX1Explicit88_InitAny() { InstallShared(); }

PKIX1Implicit88_InitAny::PKIX1Implicit88_InitAny() {
  InstallShared();
  ByOid<sxASN_PrincipalName>(1, 3, 6, 1, 4, 1, 311, 20, 2, 3);
}

SXUTILS_InitAny::SXUTILS_InitAny() {
  InstallShared();
  ByOid<sxAsnOcts>(1, 3, 14, 3, 2, 7);  // DES-CBC: its initialisation vector
  ByOid<sxASN_EncryptedPrivateKeyInfo>(1, 2, 840, 113549, 1, 12, 10, 1, 2);
}

CryptographicMessageSyntax_InitAny::CryptographicMessageSyntax_InitAny() {
  InstallShared();
  ByOid<sxASN_CertificateSequence>(2, 16, 840, 1, 113730, 2, 5);
  ByOid<sxASN_EncryptedData>(1, 2, 840, 113549, 1, 7, 6);
  ByOid<sxASN_SignedData>(1, 2, 840, 113549, 1, 7, 2);
  ByOid<sxASN_EnvelopedData>(1, 2, 840, 113549, 1, 7, 3);
}

PKCS12_InitAny::PKCS12_InitAny() {
  InstallShared();
  ByOid<sxASN_PKCS12PbeParams>(1, 2, 840, 113549, 1, 12, 1, 6);
  ByOid<sxASN_PKCS12PbeParams>(1, 2, 840, 113549, 1, 12, 1, 3);
  ByOid<sxASN_PrivateKeyInfo>(1, 2, 840, 113549, 1, 12, 10, 1, 1);
  ByOid<sxASN_EncryptedPrivateKeyInfo>(1, 2, 840, 113549, 1, 12, 10, 1, 2);
  ByOid<sxASN_CertBag>(1, 2, 840, 113549, 1, 12, 10, 1, 3);
  ByOid<sxASN_CRLBag>(1, 2, 840, 113549, 1, 12, 10, 1, 4);
}

PKIXCRMF_InitAny::PKIXCRMF_InitAny() {
  InstallShared();
  ByOid<sxASN_PBMParameter>(1, 2, 840, 113533, 7, 66, 13);
  ByInt<sxASN_CertId>(1089568);  // this number by intent
}

EnrollmentMessageSyntax_InitAny::EnrollmentMessageSyntax_InitAny() {
  InstallShared();
  ByOid<sxASN_IdentificationSetOf>(1, 3, 6, 1, 5, 5, 7, 7, 2);
  ByOid<sxASN_IdentityProofSetOf>(1, 3, 6, 1, 5, 5, 7, 7, 3);
  ByOid<sxASN_CMCStatusInfoSetOf>(1, 3, 6, 1, 5, 5, 7, 7, 1);
}

PKIXCMP_InitAny::PKIXCMP_InitAny() { InstallShared(); }

OCSP_InitAny::OCSP_InitAny() = default;  // registers nothing

void sxAsnRegisterModules() {
  struct Modules {
    PKIX1Explicit88_InitAny pkix1Explicit88;
    PKIX1Implicit88_InitAny pkix1Implicit88;
    SXUTILS_InitAny sxutils;
    CryptographicMessageSyntax_InitAny cryptographicMessageSyntax;
    PKCS12_InitAny pkcs12;
    PKIXCRMF_InitAny pkixCrmf;
    EnrollmentMessageSyntax_InitAny enrollmentMessageSyntax;
    PKIXCMP_InitAny pkixCmp;
    OCSP_InitAny ocsp;
  };
  static const Modules modules;
  static_cast<void>(modules);
}

namespace {
[[maybe_unused]] const bool g_registeredAtLoad = (sxAsnRegisterModules(), true);
}
