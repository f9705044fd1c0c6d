#include "support/scenario.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <stdexcept>

#include "support/derOctets.h"
#include "support/testPki.h"

namespace {

constexpr char kNow[] = "2030-01-01 00:00:00";

int64_t ReadTime(std::string text) {
  tm parts{};
  text += text.size() == 10 ? " 00:00:00" : "";
  if (strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &parts) == nullptr) throw std::runtime_error("time: " + text);
  const auto day = std::chrono::year(parts.tm_year + 1900) / (parts.tm_mon + 1) / parts.tm_mday;
  const std::chrono::seconds sec = std::chrono::sys_days(day).time_since_epoch();   // timegm may have 32 bits
  return sec.count() + 3600 * parts.tm_hour + 60 * parts.tm_min + parts.tm_sec;
}

}  // namespace

Scenario::Scenario(const CaseRow &row, const Words &known) : m_cells(row.cells) {
  for (std::string text = m_cells[5]; !text.empty();) {
    const std::string setting = text.substr(0, text.find("; "));
    const size_t end = setting.find('=');
    const std::string name = setting.substr(0, end);
    if (end == std::string::npos || std::find(known.begin(), known.end(), name) == known.end()) {
      throw std::runtime_error(row.where + ": setting " + name);
    }
    m_settings[name].push_back(setting.substr(end + 1));
    text.erase(0, setting.size() + 2);
  }
}

Words Scenario::Certs(const std::string &names) const {
  Words certs = Split(names);
  for (std::string &cert : certs) {
    if (cert[0] == '.') cert.insert(0, m_cells[0]);
  }
  return certs;
}

int64_t Scenario::Now() const {
  const std::string time = One("time");
  return ReadTime(time.empty() ? kNow : time);
}

sxCerts LoadCerts(const Words &files, CertNames &names) {
  sxCerts certs;
  for (const std::string &file : files) {
    const std::string pem = CaseData("chain/certs/" + file + ".pem");
    sxCert *cert = sxCert_Decode(reinterpret_cast<const unsigned char *>(pem.data()), static_cast<int>(pem.size()));
    if (cert == nullptr) continue;
    names[StringOf(DerOf(*cert))] = file;
    certs.Add(cert);
  }
  return certs;
}
