setup_file() {
  load support
  cd "$BATS_FILE_TMPDIR"
  openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out k.key
  printf '%s\n' '[req]' 'distinguished_name = d' '[d]' '[e]' 'subjectKeyIdentifier = none' \
    'authorityKeyIdentifier = none' 'basicConstraints = critical, CA:TRUE, pathlen:3' \
    'keyUsage = critical, nonRepudiation, keyCertSign, cRLSign' \
    'extendedKeyUsage = serverAuth, OCSPSigning, 1.3.6.1.5.5.7.3.17, 2.999.5' \
    'subjectAltName = DNS:*.a.example, IP:192.0.2.1, IP:2001:db8::1, email:a@b.example, URI:http://a/, dirName:n, RID:1.2.3.4, otherName:1.3.6.1.4.1.311.20.2.3;UTF8:u@x, otherName:1.2.3;UTF8:x' \
    'issuerAltName = DNS:i.example, RID:2.5.4' 'crlDistributionPoints = URI:http://c/1, URI:http://c/2' \
    'freshestCRL = URI:http://d/' 'authorityInfoAccess = OCSP;URI:http://o/, caIssuers;URI:ldap:///CN=x' \
    'subjectInfoAccess = caRepository;URI:http://r/' 'certificatePolicies = @p, 2.5.29.32.0' \
    'policyMappings = critical, 1.2.3:1.2.4' 'policyConstraints = critical, requireExplicitPolicy:0, inhibitPolicyMapping:3' \
    'inhibitAnyPolicy = critical, 1' \
    'nameConstraints = critical, permitted;DNS:example, permitted;IP:10.0.0.0/255.0.0.0, permitted;IP:2001:db8::/ffff:ffff::, permitted;email:.example, permitted;URI:.example, permitted;dirName:n, excluded;IP:0.0.0.0/0.0.0.0' \
    'tlsfeature = status_request, 17, 10' 'noCheck = x' '1.2.3.4 = critical, DER:0500' \
    '[p]' 'policyIdentifier = 1.2.3' 'CPS.1 = http://p/' 'userNotice.1 = @u' '[u]' 'explicitText = UTF8:Grüße, an alle' \
    '[n]' 'C = DE' >theirs.cnf
  openssl req -x509 -new -key k.key -utf8 -subj /CN=a -days 9 -config theirs.cnf -extensions e -out theirs.pem
}

setup() {
  load support
  given=(--ca --path-len 3 --key-usage contentCommitment,keyCertSign,cRLSign
    --ext-key-usage serverAuth,OCSPSigning,ipsecIKE,2.999.5 --san 'dns:*.a.example' --san ip:192.0.2.1
    --san ip:2001:db8::1 --san email:a@b.example --san uri:http://a/ --san dn:C=DE --san oid:1.2.3.4 --san upn:u@x
    --san other:1.2.3=x --issuer-alt-name dns:i.example --issuer-alt-name oid:2.5.4 --crl-uri http://c/1
    --crl-uri http://c/2 --delta-crl-uri http://d/ --ocsp-uri http://o/ --issuer-uri ldap:///CN=x
    --repository-uri http://r/ --policy '1.2.3,cps=http://p/,notice=Grüße, an alle' --policy any
    --policy-mapping 1.2.3=1.2.4 --require-explicit-policy 0 --inhibit-policy-mapping 3 --inhibit-any-policy 1
    --permit dns:example --permit ip:10.1.2.3/8 --permit ip:2001:db8::/32 --permit email:.example --permit uri:.example
    --permit dn:C=DE --exclude ip:0.0.0.0/0.0.0.0 --tls-feature status_request --tls-feature 17 --tls-feature 10
    --ocsp-no-check --extension 1.2.3.4,critical=0500)
}

# Extensions of a certificate, a line each: type, criticality, value; without the key identifiers.
values_of() {
  openssl x509 -in "$1" -outform DER | openssl asn1parse -inform DER | sed -n '/cont \[ 3 \]/,$p' |
    sed -nE 's/.*OBJECT *://p; s/.*BOOLEAN *:/critical /p; s/.*\[HEX DUMP\]:/= /p' | tr '\n' ' ' |
    sed -E 's/= ([0-9A-F]+) /= \1\n/g' | grep -v 'Key Identifier' | sort
}

@test "extensions: options make what openssl makes, and what is wrong is said" { play extensions; }
