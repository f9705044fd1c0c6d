# kxcert cert asn1 on one message of every kind.
load support

setup() { cd "$BATS_TEST_DIRNAME/../data/asn1/golden"; }

@test "cert asn1 --check: messages of every kind encode as they were" {
  for name in certificate.Certificate crl.CertificateList \
      crl-delta.CertificateList req-attributes.CertificationRequest \
      pkcs8-rsa.PrivateKeyInfo pkcs8-pbes2.EncryptedPrivateKeyInfo rsa.RsaPublicKey cms-attached.ContentInfo \
      cms-ec.ContentInfo cms-encrypted.ContentInfo cms-digested.ContentInfo cms-compressed.ContentInfo \
      p12-current.PFX p12-plain.AuthenticatedSafes p12-key.SafeContents cmp-ir.CertReqMessages cmc.PKIData \
      cmc.ResponseBody cmp-ir-1.answer.PKIMessage cmp-mac-1.request.PKIMessage ocsp-signed.OCSPRequest \
      ocsp-three.OCSPResponse ocsp-three.BasicOCSPResponse; do
    run -0 "$KXCERT" cert asn1 "${name##*.}" --check "$name.der"
    [[ $output == *"$name.der: identical octets ("*")" ]]
  done
}

@test "cert asn1 --check: a streamed message comes out with definite lengths" {
  run -1 "$KXCERT" cert asn1 ContentInfo --check cms-attached-streamed.ContentInfo.ber
  [[ $output == *'differ first at offset 1: 80 was read, 82 is encoded'* ]]
}

@test "cert asn1 prints a message as a tree of visible characters" {
  run -0 "$KXCERT" cert asn1 PKIMessage cmp-ir-1.request.PKIMessage.der
  is_visible "$output"
  [[ $output == *'certReqId   int = 0'*'subjectPublicKey'*'protection   Bit String'* ]]
}
