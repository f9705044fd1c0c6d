#!/usr/bin/env python3
"""Makes packaging/conf/dh_groups: the well-known Diffie-Hellman groups of IKE.

Groups 1, 2, 5 and 14 to 18 come from their formula (RFC 2409, 6; RFC 3526):
    p = 2^n - 2^(n-64) - 1 + 2^64 * (floor(2^(n-130) * pi) + k)
with pi computed here. Groups 22 to 24 (RFC 5114, 2) were drawn, so that there is nothing to compute: libcrypto's are
taken, and refused unless p and q are primes, q divides p - 1, and g has the order q.
"""
import pathlib
import random
import re
import subprocess

FILE = pathlib.Path(__file__).parents[1] / 'packaging/conf/dh_groups'
# number: bits, k, bits of private values (RFC 3526, 8: twice the strength, and more)
FORMULA = {1: (768, 149686, 160), 2: (1024, 129093, 160), 5: (1536, 741804, 240), 14: (2048, 124476, 320),
           15: (3072, 1690314, 420), 16: (4096, 240904, 480), 17: (6144, 929484, 540), 18: (8192, 4743158, 620)}
# number: libcrypto's number of it, bits, bits of the order of g
DRAWN = {22: (1, 1024, 160), 23: (2, 2048, 224), 24: (3, 2048, 256)}


def scaled_pi(bits):
    """floor(2^bits * pi), by Machin's formula with 64 bits to spare."""
    one = 1 << (bits + 64)

    def arctan_of_inverse(x):
        term, total, n = one // x, 0, 1
        while term:
            total += term // n if n % 4 == 1 else -(term // n)
            term, n = term // (x * x), n + 2
        return total
    return (4 * (4 * arctan_of_inverse(5) - arctan_of_inverse(239))) >> 64


def from_formula(bits, k):
    return 2**bits - 2**(bits - 64) - 1 + 2**64 * (scaled_pi(bits - 130) + k)


def is_prime(n):
    if n % 2 == 0:
        return n == 2
    d, s = n - 1, 0
    while d % 2 == 0:
        d, s = d // 2, s + 1
    for _ in range(20):
        x = pow(random.randrange(2, n - 1), d, n)
        if x in (1, n - 1):
            continue
        for _ in range(s - 1):
            x = x * x % n
            if x == n - 1:
                break
        else:
            return False
    return True


def drawn(number, order_bits):
    """p, q and g, read from the text that openssl prints."""
    parameters = subprocess.run(['openssl', 'genpkey', '-genparam', '-algorithm', 'DHX',
                                 '-pkeyopt', f'dh_rfc5114:{number}'], check=True, capture_output=True).stdout
    der = subprocess.run(['openssl', 'asn1parse'], input=parameters, check=True, capture_output=True, text=False).stdout
    p, g, q = (int(digits, 16) for digits in re.findall(r'INTEGER +:([0-9A-F]+)', der.decode())[:3])
    assert is_prime(p) and is_prime(q) and q.bit_length() == order_bits
    assert (p - 1) % q == 0 and 1 < g < p and pow(g, q, p) == 1
    return p, g


def group(number, bits, p, g, private_bits):
    assert p.bit_length() == bits
    root = f'{g:x}'
    root = root.zfill(len(root) + len(root) % 2)
    return '\n'.join([f' :group{number} ("Group {number} ({bits} bit)"', '  :type (IKE_DH_parameters)',
                      f'  :mod ({p:0{bits // 4}x})', f'  :modsize ({bits})', f'  :root ({root})',
                      f'  :rootsize ({g.bit_length()})', f'  :DH_group_number ({number})',
                      f'  :private_key_length ({private_bits}))'])


def main():
    groups = []
    for number, (bits, k, private_bits) in FORMULA.items():
        groups.append(group(number, bits, from_formula(bits, k), 2, private_bits))
    for number, (named, bits, order_bits) in DRAWN.items():
        groups.append(group(number, bits, *drawn(named, order_bits), order_bits))
    FILE.write_text('# The well-known Diffie-Hellman groups of IKE; made by scripts/make-dh-groups.py.\n'
                    '(dh_groups\n' + '\n'.join(groups) + ')\n')


if __name__ == '__main__':
    main()
