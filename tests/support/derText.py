"""DER from text: the notation of tests/data/chain/certs.txt, names and dates."""
import re

ATTRIBUTES = {"C": "2.5.4.6", "O": "2.5.4.10", "OU": "2.5.4.11", "CN": "2.5.4.3"}
TOKEN = re.compile(r'\s*(#[\d.]+|@[\w.-]*|"[^"]*"|[0-9A-Fa-f]{2}!?|[{<}>]|\*\d+|\S)')


def element(tag, content, is_long=False):
    length = len(content)
    size = 4 if is_long else 0 if length < 0x80 else (length.bit_length() + 7) // 8
    head = bytes([tag, 0x80 | size]) + length.to_bytes(size, "big") if size else bytes([tag, length])
    return head + content


def oid(text):
    first, second, *rest = map(int, text.split("."))
    groups = b""
    for arc in (first * 40 + second, *rest):
        septets = [arc >> shift & 0x7F for shift in range(max(arc.bit_length() - 1, 0) // 7 * 7, -1, -7)]
        groups += bytes([0x80 | septet for septet in septets[:-1]] + septets[-1:])
    return element(0x06, groups)


def octets(text, names):
    """Octets of the notation; names maps what follows "@" to octets, or to notation for them."""
    tokens = TOKEN.findall(text)[::-1]

    def named(name):
        assert name in names or name.endswith("-1"), name
        if name not in names:
            return named(name.removesuffix("-1"))[:-1]
        return names[name] if isinstance(names[name], bytes) else octets(names[name], names)

    def until(end):
        made = []
        while tokens and tokens[-1] != end:
            token = tokens.pop()
            if token[0] == "#":
                made.append(oid(token[1:]))
            elif token[0] == "@":
                made.append(named(token[1:]))
            elif token[0] == '"':
                made.append(token[1:-1].encode())
            elif token[0] == "*":
                made[-1] *= int(token[1:])
            elif tokens and tokens[-1] == "{":
                tokens.pop()
                made.append(element(int(token[:2], 16), until("}"), token.endswith("!")))
            elif tokens and tokens[-1] == "<":
                tokens.pop()
                made.append(bytes([int(token, 16), 0x80]) + until(">") + b"\0\0")
            else:
                made.append(bytes.fromhex(token))
        assert (tokens.pop() if tokens else None) == end, text
        return b"".join(made)

    return until(None)


def name(text):
    """A Name from "CN=a, O=b, C=c", most specific first; "+" joins the parts of one RDN, in that order."""
    rdns = b""
    for rdn in reversed([part for part in text.replace("\\0", "\0").split(",") if part]):
        parts = (part.strip().split("=") for part in rdn.split("+"))
        rdns += element(0x31, b"".join(
            element(0x30, oid(ATTRIBUTES[keyword]) + element(0x13 if keyword == "C" else 0x0C, value.encode()))
            for keyword, value in parts))
    return element(0x30, rdns)


def date(text):
    """UTCTime up to 2049, GeneralizedTime from 2050 on (RFC 5280, 4.1.2.5)."""
    digits = re.sub(r"\D", "", text).ljust(14, "0")
    is_short = 1950 <= int(digits[:4]) < 2050
    return f'17{{"{digits[2:]}Z"}}' if is_short else f'18{{"{digits}Z"}}'
