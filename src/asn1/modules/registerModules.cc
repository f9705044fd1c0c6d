#include "registerModules.h"

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
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
  ByOid<sxAsnOcts>(1, 2, 840, 113549, 1, 7, 1);       // PKCS #7 data
  ByOid<sxAsnOcts>(1, 2, 840, 113549, 1, 9, 22, 1);   // PKCS #9 x509Certificate
  ByOid<sxAsnOcts>(1, 2, 840, 113549, 1, 9, 23, 1);   // PKCS #9 x509Crl
}

}  // namespace

PKIX1Explicit88_InitAny::PKIX1Explicit88_InitAny() { InstallShared(); }

PKIX1Implicit88_InitAny::PKIX1Implicit88_InitAny() {
  InstallShared();
  ByOid<sxASN_PrincipalName>(1, 3, 6, 1, 4, 1, 311, 20, 2, 3);
}

SXUTILS_InitAny::SXUTILS_InitAny() {
  InstallShared();
  ByOid<sxAsnOcts>(1, 3, 14, 3, 2, 7);   // DES-CBC: its initialisation vector
  ByOid<sxASN_EncryptedPrivateKeyInfo>(1, 2, 840, 113549, 1, 12, 10, 1, 2);
}

void sxAsnRegisterModules() {
  struct Modules {
    PKIX1Explicit88_InitAny pkix1Explicit88;
    PKIX1Implicit88_InitAny pkix1Implicit88;
    SXUTILS_InitAny sxutils;
  };
  static const Modules modules;
  static_cast<void>(modules);
}

namespace {
[[maybe_unused]] const bool g_registeredAtLoad = (sxAsnRegisterModules(), true);
}
