#!/usr/bin/env bash
# Makes the messages of this folder anew, one or more of every module. Their keys are thrown away. The
# trees beside them must then be made again, too: the test that compares them says how.
set -euo pipefail
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
../../../asn1/make-samples.sh "$work"
rm -f ./*.der ./*.txt
for sample in certificate.Certificate crl.CertificateList req-attributes.CertificationRequest \
    cms-attached.ContentInfo cms-mixed.ContentInfo p12-key.PFX p12-shrouded.SafeContents \
    cmp-ir.CertReqMessages cmc.PKIData cmc.ResponseBody cmp-rejected-1.answer.PKIMessage \
    cmp-rr-1.request.PKIMessage ocsp-signed.OCSPRequest ocsp-bare.OCSPResponse ocsp-three.BasicOCSPResponse; do
  cp "$work/$sample.der" .
done
chmod 644 ./*.der
printf '%s\n' 'asn1=SEQUENCE:names' '[names]' 'upn=IMP:0,SEQUENCE:upn' 'mail=IMP:1,IA5:a@example.org' \
  'dns=IMP:2,IA5:example.org' 'dn=EXP:4,SEQUENCE:dn' 'uri=IMP:6,IA5:http://example.org/' \
  'ip=IMP:7,FORMAT:HEX,OCT:C0000201' 'rid=IMP:8,OID:1.2.3.4' '[upn]' 'type=OID:1.3.6.1.4.1.311.20.2.3' \
  'value=EXP:0,UTF8:user@example.org' '[dn]' 'rdn=SET:rdn' '[rdn]' 'cn=SEQUENCE:cn' '[cn]' 'type=OID:2.5.4.3' \
  'value=UTF8:somebody' >"$work/conf"
openssl asn1parse -genconf "$work/conf" -noout -out names.GeneralNames.der
