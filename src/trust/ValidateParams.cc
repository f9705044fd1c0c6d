#include "kxcert/trust/ValidateParams.h"

#include "kxcert/platform/clock.h"
#include "kxcert/trust/sxcert_black_list.h"

class ValidateParams_imp {
 public:
  bool crlValidation = true;
  int ocspValidation = 0;
  int certStartGrace = kGraceDefault;
  int certEndGrace = kGraceDefault;
  int crlStartGrace = kGraceDefault;
  int crlEndGrace = kGraceDefault;
  bool checkThisUpd = true;
  bool checkNextUpd = true;
  int writeCrlToWeb = 0;
  int crlSizeValidation = 0;
  sxcert_black_list *blackList = nullptr;  // borrowed
  int64_t time = kPresentTime;
  unsigned processed = 0;
};

ValidateParams::ValidateParams() : m_imp(new ValidateParams_imp) {}

// The size validation comes before the web flag here, unlike in the fields.
ValidateParams::ValidateParams(int crl_validation, int ocsp_validation, int cert_start_grace, int cert_end_grace,
                               int crl_start_grace, int crl_end_grace, int check_this_upd, int check_next_upd,
                               int crl_size_validation, int write_crl_to_web)
    : m_imp(new ValidateParams_imp{crl_validation != 0, ocsp_validation, cert_start_grace, cert_end_grace,
                                   crl_start_grace, crl_end_grace, check_this_upd != 0, check_next_upd != 0,
                                   write_crl_to_web, crl_size_validation, nullptr, kPresentTime}) {}

ValidateParams::ValidateParams(const ValidateParams &other) : m_imp(new ValidateParams_imp(*other.m_imp)) {}
ValidateParams &ValidateParams::operator=(const ValidateParams &other) {
  Set(other);
  return *this;
}
ValidateParams::~ValidateParams() { delete m_imp; }
void ValidateParams::Set(const ValidateParams &other) { *m_imp = *other.m_imp; }

bool ValidateParams::CRL_validation() const { return m_imp->crlValidation; }
int ValidateParams::OCSP_validation() const { return m_imp->ocspValidation; }
int ValidateParams::Cert_start_grace() const { return m_imp->certStartGrace; }
int ValidateParams::Cert_end_grace() const { return m_imp->certEndGrace; }
int ValidateParams::Crl_start_grace() const { return m_imp->crlStartGrace; }
int ValidateParams::Crl_end_grace() const { return m_imp->crlEndGrace; }
bool ValidateParams::Check_this_upd() const { return m_imp->checkThisUpd; }
bool ValidateParams::Check_next_upd() const { return m_imp->checkNextUpd; }
int ValidateParams::Write_crl_to_web() const { return m_imp->writeCrlToWeb; }
int ValidateParams::CRL_size_validation() const { return m_imp->crlSizeValidation; }
sxcert_black_list *ValidateParams::Get_BlackList() const { return m_imp->blackList; }
bool ValidateParams::HasTime() const { return m_imp->time != kPresentTime; }
unsigned ValidateParams::Processed() const { return m_imp->processed; }
int64_t ValidateParams::Time() const { return m_imp->time == kPresentTime ? kxClock_Now() : m_imp->time; }

void ValidateParams::Set_crl_validation(int on) { m_imp->crlValidation = on != 0; }
void ValidateParams::Set_ocsp_validation(int value) { m_imp->ocspValidation = value; }
void ValidateParams::Set_cert_start_grace(int sec) { m_imp->certStartGrace = sec; }
void ValidateParams::Set_cert_end_grace(int sec) { m_imp->certEndGrace = sec; }
void ValidateParams::Set_crl_start_grace(int sec) { m_imp->crlStartGrace = sec; }
void ValidateParams::Set_crl_end_grace(int sec) { m_imp->crlEndGrace = sec; }
void ValidateParams::Set_check_this_upd(int on) { m_imp->checkThisUpd = on != 0; }
void ValidateParams::Set_check_next_upd(int on) { m_imp->checkNextUpd = on != 0; }
void ValidateParams::Set_write_crl_to_web(int value) { m_imp->writeCrlToWeb = value; }
void ValidateParams::Set_crl_size_validation(int value) { m_imp->crlSizeValidation = value; }
void ValidateParams::Set_time(int64_t sec) { m_imp->time = sec; }
void ValidateParams::Set_processed(unsigned extensions) { m_imp->processed = extensions; }
void ValidateParams::Set_BlackList(sxcert_black_list *list) {
  m_imp->blackList = list;
  sxcert_black_list::save(list);
}

ValidateParams *ValidateParams_New() { return new ValidateParams; }
void ValidateParams_Set(ValidateParams *to, const ValidateParams *from) {
  if (to != nullptr && from != nullptr) to->Set(*from);
}
void ValidateParams_Free(ValidateParams *params) { delete params; }
