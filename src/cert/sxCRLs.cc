#include "kxcert/cert/sxCRLs.h"

#include <utility>

sxCRLs::sxCRLs(int capacity) : m_imp(new sxSignedObjects_imp(capacity)) {}
sxCRLs::sxCRLs(const sxCRLs &other) : m_imp(new sxSignedObjects_imp(*other.m_imp)) {}
sxCRLs::~sxCRLs() { delete m_imp; }

sxCRLs &sxCRLs::operator=(const sxCRLs &other) {
  sxCRLs copy(other);
  std::swap(m_imp, copy.m_imp);
  return *this;
}
