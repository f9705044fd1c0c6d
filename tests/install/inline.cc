// What the headers define inline calls only what the library exports: this is compiled without optimizing, with
// every inline function of every header in front of it, and linked.
#include <utility>

namespace {

// Implicit members are made where they are used.
template <class T>
void CopyAndMove() {
  T first, second(first);
  second = first;
  T third(std::move(second));
  first = std::move(third);
}

template <class... Types>
void CopyAndMoveAll() {
  (CopyAndMove<Types>(), ...);
}

}  // namespace

int main() {
  CopyAndMoveAll<kxBinBuf, sxString, sxset, sxAsnInt, sxAsnEnum, sxAsnBool, sxAsnOid, sxAsnOcts, sxAsnUTF8String, sxAsnBits,
                 sxAsnRawAny, sxAsnAny, sxASN_RDNSequence, sxASN_Certificate, sxDN, sxDNList, sxGeneralName,
                 sxGeneralNames, sxExtensionsList, sxCerts, sxCertTemplate, kxCRMF, kxControlsList, ValidateParams>();
  return 0;
}
