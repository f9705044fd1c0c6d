#!/usr/bin/env python3
# Makes the containers beside it (names are what is special about them; the password is "secret" unless containers.txt
# says otherwise): some with openssl, the others here, with key derivation and MAC of hashlib
# alone. All of a chain leaf < sub < root; run it again only to change something, as keys and salts are random.
import hashlib, hmac, os, subprocess, tempfile

HERE = os.path.dirname(os.path.abspath(__file__))

def run(*command, stdin=b''):
    return subprocess.run([str(part) for part in command], input=stdin, check=True, capture_output=True).stdout

def derive(name, purpose, password, salt, iterations, length):   # RFC 7292, B.2
    new = lambda data: hashlib.new(name, data).digest()
    v = hashlib.new(name).block_size
    fill = lambda text: (text * (v // len(text) + 1) * (len(text) // v + 1))[:v * -(-len(text) // v)] if text else b''
    assert length <= hashlib.new(name).digest_size
    out = new(bytes([purpose]) * v + fill(salt) + fill(password))
    for _ in range(1, iterations):
        out = new(out)
    return out[:length]

def tlv(tag, *parts):
    content = b''.join(parts)
    n = len(content)
    if n < 0x80: return bytes([tag, n]) + content
    octets = n.to_bytes((n.bit_length() + 7) // 8, 'big')
    return bytes([tag, 0x80 | len(octets)]) + octets + content

def oid(text):
    numbers = [int(part) for part in text.split('.')]
    out = bytearray()
    for number in [numbers[0] * 40 + numbers[1]] + numbers[2:]:
        septets = [number & 0x7F]
        while number > 0x7F:
            number >>= 7
            septets.append(number & 0x7F | 0x80)
        out += bytes(reversed(septets))
    return tlv(6, bytes(out))

seq = lambda *parts: tlv(0x30, *parts)
octets = lambda content: tlv(4, content)
number = lambda n: tlv(2, n.to_bytes(n.bit_length() // 8 + 1, 'big'))
explicit = lambda *parts: tlv(0xA0, *parts)
NULL = tlv(5)
DATA, ENCRYPTED = '1.2.840.113549.1.7.1', '1.2.840.113549.1.7.6'
BAG = '1.2.840.113549.1.12.10.1.'
DIGESTS = {'sha1': '1.3.14.3.2.26', 'sha224': '2.16.840.1.101.3.4.2.4', 'sha256': '2.16.840.1.101.3.4.2.1',
           'sha384': '2.16.840.1.101.3.4.2.2', 'sha512': '2.16.840.1.101.3.4.2.3'}
HMACS = {'sha1': 7, 'sha224': 8, 'sha256': 9, 'sha384': 10, 'sha512': 11}
hmac_oid = lambda name: oid('1.2.840.113549.2.%d' % HMACS[name])

def attributes(name=None, key_id=None):
    out = []
    if name is not None: out.append(seq(oid('1.2.840.113549.1.9.20'), tlv(0x31, tlv(0x1E, name.encode('utf-16-be')))))
    if key_id is not None: out.append(seq(oid('1.2.840.113549.1.9.21'), tlv(0x31, octets(key_id))))
    return [tlv(0x31, *out)] if out else []

bag = lambda kind, value, *more: seq(oid(BAG + str(kind)), explicit(value), *more)
cert_bag = lambda der, *more: bag(3, seq(oid('1.2.840.113549.1.9.22.1'), explicit(octets(der))), *more)
crl_bag = lambda der, *more: bag(4, seq(oid('1.2.840.113549.1.9.23.1'), explicit(octets(der))), *more)
data_safe = lambda *bags: seq(oid(DATA), explicit(octets(seq(*bags))))
bmp = lambda text: text.encode('utf-16-be') + b'\0\0'
SALT = bytes(range(1, 9))

def own_mac(name, password, iterations=2):
    return lambda safes: [seq(seq(seq(oid(DIGESTS[name]), NULL), octets(hmac.digest(
        derive(name, 3, password, SALT, iterations, hashlib.new(name).digest_size), safes, name))),
        octets(SALT), number(iterations))]

def pbmac1(name, prf, password, length=32, iterations=2):            # RFC 9579
    def make(safes):
        key = hashlib.pbkdf2_hmac(prf, password, SALT, iterations, length)
        kdf = seq(oid('1.2.840.113549.1.5.12'), seq(octets(SALT), number(iterations), number(length), seq(hmac_oid(prf), NULL)))
        algorithm = seq(oid('1.2.840.113549.1.5.14'), seq(kdf, seq(hmac_oid(name), NULL)))
        return [seq(seq(algorithm, octets(hmac.digest(key, safes, name))), octets(b'NOT USED'), number(1))]
    return make

def pbes2(plain, password):
    key = hashlib.pbkdf2_hmac('sha256', password, SALT, 2, 32)
    secret = run('openssl', 'enc', '-aes-256-cbc', '-K', key.hex(), '-iv', '00' * 16, stdin=plain)
    return seq(oid('1.2.840.113549.1.5.13'), seq(
        seq(oid('1.2.840.113549.1.5.12'), seq(octets(SALT), number(2), seq(hmac_oid('sha256'), NULL))),
        seq(oid('2.16.840.1.101.3.4.1.42'), octets(bytes(16))))), secret

def shrouded(key, password, *more):
    algorithm, secret = pbes2(key, password)
    return bag(2, seq(algorithm, octets(secret)), *more)

def write(name, safes, mac=lambda safes: []):
    safes = seq(*safes)
    with open(os.path.join(HERE, name + '.p12'), 'wb') as out:
        out.write(seq(number(3), seq(oid(DATA), explicit(octets(safes))), *mac(safes)))

def indefinite(der, level=0):
    """The same in BER: what is constructed without lengths, octet strings of a safe in pieces."""
    out, pos = b'', 0
    while pos < len(der):
        tag, n, pos = der[pos], der[pos + 1], pos + 2
        if n >= 0x80:
            count = n & 0x7F
            n, pos = int.from_bytes(der[pos:pos + count], 'big'), pos + count
        content, pos = der[pos:pos + n], pos + n
        if tag & 0x20: out += bytes([tag, 0x80]) + indefinite(content, level + 1) + b'\0\0'
        elif tag == 4 and len(content) > 100:
            pieces = [content[i:i + 100] for i in range(0, len(content), 100)]
            out += b'\x24\x80' + octets(pieces[0]) + tlv(0x24, *[octets(piece) for piece in pieces[1:]]) + b'\0\0'
        else: out += tlv(tag, content)
    return out

def main(folder):
    os.chdir(folder)
    new = lambda name, curve='P-256': run('openssl', 'genpkey', '-algorithm', 'EC', '-pkeyopt', 'ec_paramgen_curve:' + curve, '-out', name + '.key')
    open('ca', 'w').write('basicConstraints=critical,CA:TRUE\n')
    for name, issuer in [('root', None), ('sub', 'root'), ('leaf', 'sub'), ('other', None)]:
        new(name)
        request = run('openssl', 'req', '-new', '-key', name + '.key', '-subj', '/CN=' + name)
        signer = ['-CA', issuer + '.pem', '-CAkey', issuer + '.key', '-CAcreateserial'] if issuer else ['-signkey', name + '.key']
        run('openssl', 'x509', '-req', '-days', 36500, '-extfile', 'ca', '-out', name + '.pem', *signer, stdin=request)
    open('chain.pem', 'wb').write(open('sub.pem', 'rb').read() + open('root.pem', 'rb').read())
    der = lambda name: run('openssl', 'x509', '-in', name + '.pem', '-outform', 'der')
    key = lambda name: run('openssl', 'pkcs8', '-topk8', '-nocrypt', '-in', name + '.key', '-outform', 'der')

    def openssl(name, *options, password='pass:secret'):
        run('openssl', 'pkcs12', '-export', '-inkey', 'leaf.key', '-in', 'leaf.pem', '-certfile', 'chain.pem', '-name', 'Näme €',
            '-iter', 2, '-passout', password, '-out', os.path.join(HERE, name + '.p12'), *options)
    openssl('openssl')
    openssl('openssl-legacy', '-legacy')
    openssl('openssl-nomac', '-nomac')
    openssl('openssl-none', '-nomac', '-certpbe', 'NONE', '-keypbe', 'NONE')
    openssl('openssl-empty', password='pass:')
    openssl('openssl-utf8', '-legacy', password='pass:pässwörd €')

    leaf, sub, root, other = der('leaf'), der('sub'), der('root'), der('other')
    plain = data_safe(bag(1, key('leaf')), cert_bag(leaf))
    for name in DIGESTS:
        write('mac-' + name, [plain], own_mac(name, bmp('secret')))
    write('mac-none', [plain], own_mac('sha1', b''))
    write('mac-latin1', [plain], own_mac('sha256', bmp('pässword'.encode().decode('latin-1'))))
    write('mac-utf16', [plain], own_mac('sha256', bmp('\U0001F511')))
    write('mac-costly', [plain], lambda safes: [seq(seq(seq(oid(DIGESTS['sha1']), NULL), octets(bytes(20))), octets(SALT), number(10_000_001))])
    write('pbmac1', [plain], pbmac1('sha256', 'sha512', b'secret'))
    write('pbmac1-long', [plain], pbmac1('sha512', 'sha256', 'pässword'.encode(), 64))
    write('pbmac1-short', [plain], pbmac1('sha256', 'sha256', b'secret', 19))
    write('pbes2-utf16', [data_safe(shrouded(key('leaf'), bmp('secret')), cert_bag(leaf))])
    write('other-password', [data_safe(shrouded(key('leaf'), b'Secret'), cert_bag(leaf))], own_mac('sha256', bmp('secret')))

    open('index', 'w').close()
    open('conf', 'w').write('[ca]\ndefault_ca=c\n[c]\ndatabase=index\ndefault_md=sha256\ndefault_crl_days=36500\n')
    crl = run('openssl', 'ca', '-config', 'conf', '-gencrl', '-cert', 'root.pem', '-keyfile', 'root.key')
    crl = run('openssl', 'crl', '-outform', 'der', stdin=crl)
    inner = seq(cert_bag(sub), bag(6, seq(cert_bag(root))))
    write('every-bag', [data_safe(
        bag(1, key('leaf'), *attributes('key', b'\x01')), shrouded(key('other'), b'secret', *attributes('\U0001F511')),
        cert_bag(other, *attributes('wrong id', b'\x01')), cert_bag(leaf, *attributes('wrong name')),
        cert_bag(leaf, *attributes('leaf', b'\x01')), crl_bag(crl), bag(6, inner),
        bag(3, seq(oid('1.2.840.113549.1.9.22.2'), explicit(tlv(0x16, b'sdsi')))),
        bag(5, seq(oid('1.2.3'), explicit(octets(b'hush')))), bag(7, NULL), cert_bag(b'\x30\x00'))], own_mac('sha256', bmp('secret')))

    algorithm, secret = pbes2(seq(cert_bag(leaf)), b'secret')
    half = len(secret) // 32 * 16
    pieces = tlv(0xA0, octets(secret[:half]), octets(secret[half:]))
    encrypted = seq(oid(ENCRYPTED), explicit(seq(number(0), seq(oid(DATA), algorithm, pieces))))
    safes = seq(seq(oid(DATA), explicit(octets(indefinite(seq(shrouded(key('leaf'), b'secret')))))), encrypted)
    ber = indefinite(safes)
    pfx = seq(number(3), seq(oid(DATA), explicit(octets(ber))), *own_mac('sha1', bmp('secret'))(ber))
    with open(os.path.join(HERE, 'ber.p12'), 'wb') as out:
        out.write(indefinite(pfx))

with tempfile.TemporaryDirectory() as folder:
    main(folder)
