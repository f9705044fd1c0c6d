#include "examples.h"

#define ROOT                                   \
  "  kxcert key gen ec P-256 --out root.key\n" \
  "  kxcert cert issue --profile root --key root.key --subject 'CN=Example root' --out root.pem\n"
#define LEAF                                                                                      \
  ROOT "  kxcert key gen ec P-256 --out www.key\n"                                                \
       "  kxcert cert issue --profile server --public-key www.key --san dns:www.example.net \\\n" \
       "      --issuer-cert root.pem --issuer-key root.key --out www.pem\n"
#define CRL                                                                     \
  LEAF "  kxcert crl new --issuer-cert root.pem --key root.key --number 1 \\\n" \
       "      --next-update 2037-01-01 --revoke-cert www.pem,,superseded --out root.crl\n"
#define REQUEST                               \
  "  kxcert key gen ec P-256 --out www.key\n" \
  "  kxcert req new --key www.key --subject CN=www --san dns:www.example.net --out www.csr\n"
#define CONTAINER                            \
  LEAF                                       \
      "  printf 'a password\\n' >password\n" \
      "  kxcert p12 export --key www.key --cert www.pem --chain root.pem --new-password file:password --out www.p12\n"
#define DATABASE ROOT "  mkdir certs && kxcert db add certs root.pem --type cert\n"

namespace {

struct ExampleRow {
  std::string_view command;
  std::string_view lines;
};

constexpr ExampleRow kExamples[] = {
    {"cert print", "  kxcert cert print --level brief /etc/ssl/certs/ca-certificates.crt"},
    {"cert asn1", ROOT "  kxcert cert asn1 Certificate root.pem"},
    {"cert issue", LEAF "  kxcert cert print www.pem"},
    {"cert renew",
     LEAF "  kxcert cert renew www.pem --issuer-cert root.pem --issuer-key root.key --days 90 --out new.pem"},
    {"chain verify",
     LEAF "  kxcert chain verify --trust root.pem --strict --purpose server --host www.example.net www.pem"},
    {"crl print", CRL "  kxcert crl print root.crl"},
    {"crl verify", CRL "  kxcert crl verify --issuer root.pem root.crl"},
    {"crl find", CRL "  kxcert crl find --cert www.pem root.crl"},
    {"crl new",
     CRL "  kxcert crl new --issuer-cert root.pem --key root.key --from root.crl --next-update 2037-02-01 \\\n"
         "      --number 2 --out next.crl"},
    {"crmf new",
     "  kxcert key gen rsa 2048 --out gateway.key\n"
     "  kxcert crmf new --key gateway.key --subject CN=gateway --san DNS:gw.example.net --out gateway.crmf"},
    {"crmf show",
     "  kxcert key gen rsa 2048 --out gateway.key\n"
     "  kxcert crmf new --key gateway.key --subject CN=gateway --out gateway.crmf\n"
     "  kxcert crmf show gateway.crmf"},
    {"db list", DATABASE "  kxcert db list certs"},
    {"db show", DATABASE "  kxcert db show certs $(kxcert db list certs | cut -d' ' -f1 | head -n 1)"},
    {"db add", DATABASE "  kxcert db list certs"},
    {"db rm", DATABASE "  kxcert db rm certs $(kxcert db list certs | cut -d' ' -f1 | head -n 1)"},
    {"db gc", DATABASE "  kxcert db gc certs"},
    {"db check", DATABASE "  kxcert db check certs"},
    {"file sign",
     "  kxcert key gen ec P-521 --out files.key\n"
     "  echo 'a text' >text\n"
     "  kxcert file sign --key files.key text"},
    {"file verify",
     "  kxcert key gen ec P-521 --out files.key\n"
     "  echo 'a text' >text\n"
     "  kxcert file sign --key files.key text\n"
     "  kxcert file verify --key files.key text"},
    {"key gen", "  kxcert key gen ec P-256 --out www.key"},
    {"key show",
     "  kxcert key gen ec P-256 --out www.key\n"
     "  kxcert key show www.key"},
    {"key convert",
     "  kxcert key gen ec P-256 --out www.key\n"
     "  kxcert key convert --public --out www.pub www.key"},
    {"key sign",
     "  kxcert key gen ec P-256 --out www.key\n"
     "  echo 'a text' >text\n"
     "  kxcert key sign --key www.key --out text.sig text"},
    {"key verify",
     "  kxcert key gen ec P-256 --out www.key\n"
     "  echo 'a text' >text\n"
     "  kxcert key sign --key www.key --out text.sig text\n"
     "  kxcert key verify --key www.key --signature text.sig text"},
    {"key derive",
     "  kxcert key gen ec P-256 --out mine.key\n"
     "  kxcert key gen ec P-256 --out theirs.key\n"
     "  kxcert key derive --key mine.key --peer theirs.key --out secret"},
    {"name parse", "  kxcert name parse CN=gateway,O=Example,C=ZZ"},
    {"name compare", "  kxcert name compare 'CN=gateway,O=Example' 'cn=Gateway,O=EXAMPLE'"},
    {"name suffix", "  kxcert name suffix CN=gateway,O=Example,C=ZZ O=Example,C=ZZ"},
    {"ocsp ask", LEAF "  kxcert ocsp ask --issuer root.pem --request-out question www.pem"},
    {"ocsp print",
     LEAF "  kxcert ocsp ask --issuer root.pem --request-out question www.pem\n"
          "  openssl ocsp -index /dev/null -CA root.pem -rsigner root.pem -rkey root.key -reqin question \\\n"
          "      -respout answer\n"
          "  kxcert ocsp print answer"},
    {"p12 show", CONTAINER "  kxcert p12 show --password file:password www.p12"},
    {"p12 import", CONTAINER "  mkdir parts && kxcert p12 import --password file:password --out-dir parts www.p12"},
    {"p12 export", CONTAINER "  kxcert p12 show --password file:password www.p12"},
    {"req new", REQUEST "  kxcert req show www.csr"},
    {"req show", REQUEST "  kxcert req show www.csr"},
    {"req verify", REQUEST "  kxcert req verify www.csr"},
};

}  // namespace

std::string ExampleOf(std::string_view command) {
  for (const ExampleRow &row : kExamples) {
    if (row.command == command) return std::string(row.lines);
  }
  return "";
}
