#!/usr/bin/env bash
# Makes signatures.txt anew with the openssl command. RSA rows give the SHA-256 of the signature; ECDSA signatures
# differ each time.
set -euo pipefail
cd "$(dirname "$0")"
digest=$(mktemp) sig=$(mktemp)
trap 'rm -f "$digest" "$sig"' EXIT
{
  echo "# Made by make-signatures.sh: key | digest kind | digest | SHA-256 of the signature (RSA), or the signature (ECDSA)"
  for bits in 1024 2048 3072 4096; do
    for kind in 1:md5:16 2:sha1:20 5:sha256:32 6:sha384:48 7:sha512:64 8:sha512-256:32; do
      IFS=: read -r number name len <<<"$kind"
      head -c "$len" /dev/zero | tr '\0' '\247' >"$digest"
      hash=$(openssl pkeyutl -sign -inkey "rsa$bits.pem" -in "$digest" -pkeyopt "digest:$name" | sha256sum | cut -d' ' -f1)
      echo "rsa$bits | $number | A7*$len | $hash"
    done
  done
  for curve in prime256v1 secp384r1 secp521r1; do
    for len in 20 32 48 64; do
      head -c "$len" /dev/zero | tr '\0' '\074' >"$digest"
      echo "$curve | 5 | 3C*$len | $(openssl pkeyutl -sign -inkey "$curve.pem" -in "$digest" | od -An -v -tx1 | tr -d ' \n')"
    done
  done
} >signatures.txt
{
  echo "# Made by make-signatures.sh: whose | SubjectPublicKeyInfo, points of curves once more compressed"
  for name in rsa1024 prime256v1 secp384r1 secp521r1; do
    echo "$name | $(openssl pkey -pubout -outform DER -in "$name.pem" | od -An -v -tx1 | tr -d ' \n')"
    [ "$name" = rsa1024 ] || echo "$name | $(openssl ec -pubout -outform DER -conv_form compressed -in "$name.pem" 2>/dev/null | od -An -v -tx1 | tr -d ' \n')"
  done
} >spkiTrees.txt
python3 - >dhValues.txt <<'PY'
import hashlib
def pi(bits):  # [2^bits pi], by Machin's formula
    def arctan(n):
        total = term = (1 << bits + 64) // n
        sign, k = -1, 3
        while term:
            term //= n * n
            total += sign * (term // k)
            sign, k = -sign, k + 2
        return total
    return 4 * (4 * arctan(5) - arctan(239)) >> 64
print('# Made by make-signatures.sh: bits of the modulus (RFC 2409, 6.2; RFC 3526, 3) | x | peer | SHA-256 of 2 ^ x | of peer ^ x')
for bits, add in ((1024, 129093), (2048, 124476)):
    p = (1 << bits) - (1 << bits - 64) - 1 + (pi(bits - 130) + add << 64)
    for x, peer in (('5A*20', 3), ('FF*16', 0x7F), ('01*40' if bits == 2048 else '80*20', 0xFE)):
        value = int.from_bytes(bytes([int(x[:2], 16)]) * int(x[3:]), 'big')
        digest = lambda n: hashlib.sha256(n.to_bytes(bits // 8, 'big')).hexdigest()
        octets = int.from_bytes(bytes([peer]) * (bits // 8), 'big')
        print(bits, x, f'{peer:02X}*{bits // 8}', digest(pow(2, value, p)), digest(pow(octets, value, p)), sep=' | ')
PY
