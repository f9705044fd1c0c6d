#!/usr/bin/env bash
# Makes the files of this folder anew with openssl: two certificates and a certificate list. Keys and
# signatures differ every time; the tests look at the structure only.
set -euo pipefail
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat >"$work/openssl.cnf" <<'CNF'
[req]
distinguished_name = dn
string_mask = utf8only
[dn]
[every]
basicConstraints = critical, CA:TRUE, pathlen:3
keyUsage = critical, keyCertSign, cRLSign, digitalSignature
extendedKeyUsage = serverAuth, clientAuth
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always, issuer:always
subjectAltName = email:a@example.org, DNS:example.org, URI:http://example.org/, IP:192.0.2.1, IP:2001:db8::1, RID:1.2.3.4, dirName:name, otherName:1.3.6.1.4.1.311.20.2.3;UTF8:user@example.org
crlDistributionPoints = point1, point2
authorityInfoAccess = OCSP;URI:http://ocsp.example.org/, caIssuers;URI:http://ca.example.org/
certificatePolicies = 1.2.3.4, @policy
nameConstraints = permitted;DNS:.example.org, permitted;dirName:name, excluded;IP:192.0.2.0/255.255.255.0
policyConstraints = requireExplicitPolicy:3, inhibitPolicyMapping:0
policyMappings = 1.2.3.4:1.2.3.5
[name]
C = DE
O = Example
[point1]
fullname = URI:http://crl.example.org/
CRLissuer = dirName:name
reasons = keyCompromise, CACompromise
[point2]
relativename = relative
[relative]
CN = one of several
[policy]
policyIdentifier = 1.3.5.8
CPS.1 = http://cps.example.org/
userNotice.1 = @notice
[notice]
explicitText = UTF8:Grüße
organization = Example
noticeNumbers = 1, 2
[list]
authorityKeyIdentifier = keyid
issuingDistributionPoint = critical, @issuing
[issuing]
fullname = URI:http://crl.example.org/
onlysomereasons = keyCompromise
indirectCRL = TRUE
[ca]
database = index.txt
crlnumber = number
default_md = sha256
CNF
conf=$work/openssl.cnf
openssl req -config "$conf" -x509 -newkey rsa:1024 -nodes -keyout "$work/rsa.key" -outform DER \
  -out rsa-cert.der -days 3650 -extensions every \
  -subj '/C=DE/O=Example/OU=One+CN=Example Root/emailAddress=a@example.org' -multivalue-rdn
openssl ecparam -name prime256v1 -genkey -noout -out "$work/ec.key"
openssl req -config "$conf" -x509 -key "$work/ec.key" -outform DER -out ec-cert.der -days 40000 \
  -subj '/CN=short' -extensions dn
openssl x509 -inform DER -in rsa-cert.der -out "$work/rsa.pem"
cd "$work"
printf 'R\t300101000000Z\t260101000000Z,keyCompromise\t0A\tunknown\t/CN=x\n' >index.txt
printf 'R\t300101000000Z\t260102000000Z\t0BFFFFFFFFFFFFFFFF\tunknown\t/CN=y\n' >>index.txt
echo 01 >number
openssl ca -config "$conf" -name ca -gencrl -crlexts list -keyfile rsa.key -cert rsa.pem -crldays 30 -out list.pem
cd - >/dev/null
openssl crl -in "$work/list.pem" -outform DER -out list.der
