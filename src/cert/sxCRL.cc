#include "kxcert/cert/sxCRL.h"

#include "kxcert/cert/sxCert.h"
#include "sxCRL_imp.h"

sxCRL::sxCRL(sxCRL_imp *imp) : sxSigned(imp) {}

sxCRL_imp *sxCRL::Imp() const { return static_cast<sxCRL_imp *>(m_imp); }

int sxCRL::GetSize() const { return Imp()->Entries().Count(); }

bool sxCRL::IsEntryExist(const sxCert &cert) const {
  return cert.SerialNum() != nullptr && FindEntry(*cert.SerialNum()) != nullptr;
}

const sxRevokedEntry *sxCRL::FindEntry(const sxAsnInt &serial) const { return Imp()->Entries().Find(serial); }

const sxRevokedEntry *sxCRL::NextEntry(const sxRevokedEntry *prev) const { return Imp()->Entries().Next(prev); }

sxCRL_Encoder::sxCRL_Encoder(int numExpected) : sxCRL(new sxCRL_Encoder_imp(numExpected)) {}

sxCRL_Encoder_imp *sxCRL_Encoder::Imp() const { return static_cast<sxCRL_Encoder_imp *>(m_imp); }

int sxCRL_Encoder::AddEntry(const sxAsnInt &serial, int64_t revokedSec) {
  return Imp()->Entries().Add(serial, revokedSec) ? 1 : 0;
}

int sxCRL_Encoder::RemoveEntry(const sxAsnInt &serial) { return Imp()->Entries().Remove(serial) ? 0 : -1; }
