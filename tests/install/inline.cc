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

}  // namespace

int main() {
  CopyAndMove<kxBinBuf>();
  CopyAndMove<sxString>();
  CopyAndMove<sxset>();
  CopyAndMove<sxAsnInt>();
  CopyAndMove<sxAsnEnum>();
  CopyAndMove<sxAsnBool>();
  CopyAndMove<sxAsnOid>();
  CopyAndMove<sxAsnOcts>();
  CopyAndMove<sxAsnUTF8String>();
  CopyAndMove<sxAsnBits>();
  CopyAndMove<sxAsnRawAny>();
  CopyAndMove<sxAsnAny>();
  CopyAndMove<sxASN_RDNSequence>();
  CopyAndMove<sxASN_Certificate>();
  CopyAndMove<sxDN>();
  CopyAndMove<sxDNList>();
  CopyAndMove<sxGeneralName>();
  CopyAndMove<sxGeneralNames>();
  CopyAndMove<sxExtensionsList>();
  CopyAndMove<sxCerts>();
  CopyAndMove<sxCertTemplate>();
  CopyAndMove<kxCRMF>();
  CopyAndMove<kxControlsList>();
  CopyAndMove<ValidateParams>();
  return 0;
}
