#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

#include "support/fetching.h"
#include "support/runCommand.h"
#include "support/tempDir.h"

namespace {

using testing::HasSubstr;

// Nobody listens there for the moment.
std::string FreePort() {
  const int any = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof address;
  EXPECT_EQ(0, bind(any, reinterpret_cast<sockaddr *>(&address), len));
  EXPECT_EQ(0, getsockname(any, reinterpret_cast<sockaddr *>(&address), &len));
  close(any);
  return std::to_string(ntohs(address.sin_port));
}

// A CA, two of its CRLs, and daemons that bring them; they end with the test.
class FetchFromReal : public testing::Test {
 protected:
  FetchFromReal() {
    Run("openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 30 -subj /DC=test/CN=CA "
        "-addext subjectAltName=IP:127.0.0.1 2>&1; openssl x509 -in ca.pem -outform DER -out ca.der");
    m_dir.Write("ca.cnf", "[ca]\ndefault_ca=d\n[d]\ndatabase=index\ndefault_md=sha256\ndefault_crl_days=9\ncrlnumber=number\n");
    Run("touch index; echo 01 >number; for i in 1 2; do openssl ca -config ca.cnf -gencrl -keyfile ca.key -cert ca.pem "
        "-out $i.pem 2>&1; openssl crl -in $i.pem -outform DER -out $i.crl; done");
  }
  ~FetchFromReal() override {
    Run("[ ! -f pid ] || { kill $(cat pid); while kill -0 $(cat pid 2>/dev/null) 2>/dev/null; do sleep 0.01; done; }");
  }
  void Run(const std::string &command) const { RunCommand("cd " + m_dir.Path() + " && { " + command + "; } >log"); }
  // The settings with the CA that the servers have their certificates of.
  kxFetchSettings Trusting() const {
    kxFetchSettings settings = Fetching::Local();
    settings.caFile = m_dir.File("ca.pem");
    return settings;
  }

  const TempDir m_dir;
  const std::string m_port = FreePort(), m_tlsPort = FreePort();
  const std::string m_plain = "127.0.0.1:" + m_port, m_tls = "127.0.0.1:" + m_tlsPort;
};

TEST_F(FetchFromReal, NginxWithVersionsAndTls) {
  m_dir.Write("conf", "daemon on; master_process off; pid DIR/pid; error_log DIR/errors; events {}\n"
    "http { access_log off; root DIR; client_body_temp_path DIR/t; proxy_temp_path DIR/t; fastcgi_temp_path DIR/t;"
    " uwsgi_temp_path DIR/t; scgi_temp_path DIR/t;\n"
    " server { listen " + m_plain + "; location /up { return 302 https://" + m_tls + "/1.crl; } }\n"
    " server { listen " + m_tls + " ssl; ssl_certificate DIR/ca.pem; ssl_certificate_key DIR/ca.key;\n"
    "  location /down { return 302 http://" + m_plain + "/1.crl; } } }\n");
  Run("sed -i s,DIR,$PWD,g conf && /usr/sbin/nginx -e errors -c $PWD/conf 2>&1");
  const std::string first = "0 " + m_dir.Read("1.crl");
  Fetching fetching(Trusting());
  kxFetchRequest request = Fetching::Of("http://" + m_plain + "/1.crl");
  EXPECT_EQ(first, fetching.Get(request));
  const kxFetchVersion version = fetching.version;
  for (const kxFetchVersion &known : {kxFetchVersion{version.entityTag, ""}, kxFetchVersion{"", version.lastModified}}) {
    request.known = known;
    EXPECT_EQ("1 ", fetching.Get(request));
  }
  request.known = version;
  Run("cp 2.crl 1.crl; touch -d tomorrow 1.crl");
  const std::string second = "0 " + m_dir.Read("2.crl");
  EXPECT_EQ(second, fetching.Get(request));
  EXPECT_THAT(fetching.Get("http://" + m_plain + "/none.crl"), HasSubstr("status 404"));
  EXPECT_EQ(second, fetching.Get("http://" + m_plain + "/up"));
  EXPECT_EQ("-6 " + m_tls + ": a redirect from https to http", fetching.Get("https://" + m_tls + "/down"));

  kxFetchSettings throughProxy = Fetching::Local();
  throughProxy.proxy = "http://" + m_plain;
  throughProxy.allowPrivate = false;
  Fetching proxied(throughProxy);
  EXPECT_EQ(second, proxied.Get("http://ca.example/1.crl"));
  EXPECT_EQ("-6 10.0.0.1:80: an address of a private network", proxied.Get("http://10.0.0.1/1.crl"));
  EXPECT_THAT(Fetching().Get("https://" + m_tls + "/1.crl"), HasSubstr("SSL peer certificate"));
}

TEST_F(FetchFromReal, SlapdWithDirectoryNames) {
  m_dir.Write("conf", "include /etc/ldap/schema/core.schema\nmodulepath /usr/lib/ldap\nmoduleload back_ldif\npidfile DIR/pid\n"
    "TLSCertificateFile DIR/ca.pem\nTLSCertificateKeyFile DIR/ca.key\ndatabase ldif\nsuffix dc=test\ndirectory DIR/db\n");
  m_dir.Write("ldif", "dn: dc=test\nobjectClass: dcObject\nobjectClass: organization\ndc: test\no: test\n\n"
    "dn: cn=CA,dc=test\nobjectClass: applicationProcess\nobjectClass: certificationAuthority\ncn: CA\n"
    "cACertificate;binary:< file://DIR/ca.der\nauthorityRevocationList;binary:< file://DIR/1.crl\n"
    "certificateRevocationList;binary:< file://DIR/1.crl\ncertificateRevocationList;binary:< file://DIR/2.crl\n");
  Run("sed -i s,DIR,$PWD,g conf ldif; mkdir db; /usr/sbin/slapadd -f conf -l ldif 2>&1 && "
      "/usr/sbin/slapd -f conf -h 'ldap://" + m_plain + " ldaps://" + m_tls + "' 2>&1 && "
      "timeout 20 sh -c 'until ldapsearch -x -H ldap://" + m_plain + " -s base -b dc=test; do sleep 0.05; done' 2>&1");
  const std::string one = m_dir.Read("1.crl"), both = "0 " + one + m_dir.Read("2.crl"), cert = "0 " + m_dir.Read("ca.der");
  kxFetchSettings settings = Trusting();
  settings.allowPrivate = false;
  settings.ldapServers = {"ldap://127.0.0.1:" + FreePort(), "ldap://" + m_plain};
  Fetching directory(settings);
  const std::string list = "/cn=CA,dc=test?certificateRevocationList", ca = "/dc=test?cACertificate;binary?sub?(cn=CA)";
  EXPECT_EQ(both, directory.Get("ldap://" + list));
  EXPECT_EQ(cert, directory.Get("ldap://" + ca));
  EXPECT_THAT(directory.Get("ldap:///cn=none,dc=test?cACertificate"), HasSubstr("search: No such object"));
  EXPECT_EQ("-6 " + m_plain + ": a loopback address", directory.Get("ldap://" + m_plain + list));
  Fetching fetching(Trusting());
  EXPECT_EQ("0 " + one, fetching.Get("ldaps://" + m_tls + "/cn=CA,dc=test?authorityRevocationList?base?(objectClass=*)"));
  EXPECT_EQ(cert, fetching.Get("ldap://" + m_plain + ca));
  EXPECT_THAT(fetching.Get("ldap://" + m_plain + "/dc=test?deltaRevocationList"), HasSubstr("no entry"));
  EXPECT_THAT(Fetching().Get("ldaps://" + m_tls + list), HasSubstr("SSL peer certificate"));
}

}  // namespace
