# SPDX-License-Identifier: MIT
"""The protocol's bytes, from the station's and the device's side, for captures and tests.

Written for itself, not after the dissector: the two must agree on every byte. Everything is drawn from hashes of
names, so that the same captures come out on every machine.
"""
import hashlib
import struct

VERSION, BLOCK_SIZE = 256, 64
GENERATOR = 4
PUBLIC_EXPONENT = 65537
# The 1024-bit MODP group of RFC 2409.
PRIME = int(
    "FFFFFFFFFFFFFFFFC90FDAA22168C234C4C6628B80DC1CD129024E088A67CC74020BBEA63B139B22514A08798E3404DD"
    "EF9519B3CD3A431B302B0A6DF25F14374FE1356D6D51C245E485B576625E7EC6F44C42E9A637ED6B0BFF5CB6F406B7ED"
    "EE386BFB5A899FA5AE9F24117C4B1FE649286651ECE65381FFFFFFFFFFFFFFFF", 16)


def drawn(name, length):
    """Bytes that look random and are always the same."""
    blocks = (hashlib.sha256(f"{name} {i}".encode()).digest() for i in range(length // 32 + 1))
    return b"".join(blocks)[:length]


def crc16(data):
    register = 0
    for byte in data:
        register ^= byte << 8
        for _ in range(8):
            register = (register << 1) ^ (0x1021 if register & 0x8000 else 0)
    return register & 0xFFFF


def xtea(key, block):
    """One block of 8 bytes under a key of 16."""
    k = struct.unpack(">4I", key)
    left, right = struct.unpack(">2I", block)
    total = 0
    for _ in range(32):
        left = left + ((((right << 4) ^ (right >> 5)) + right) ^ (total + k[total & 3])) & 0xFFFFFFFF
        total = total + 0x9E3779B9 & 0xFFFFFFFF
        right = right + ((((left << 4) ^ (left >> 5)) + left) ^ (total + k[total >> 11 & 3])) & 0xFFFFFFFF
    return struct.pack(">2I", left, right)


def encipher(key, data):
    """Whole blocks under a key of 128 bytes, whose eight slices take turns."""
    return b"".join(xtea(key[at * 2 % 128:][:16], data[at:at + 8]) for at in range(0, len(data), 8))


def seal(key, content, claimed=None, crc=None, padding=None):
    """An enciphered payload block; `claimed`, `crc` and `padding` replace what is right."""
    padded = content + (bytes(8 - (len(content) + 4) % 8) if padding is None else padding)
    check = crc16(padded) if crc is None else crc
    return encipher(key, struct.pack(">2H", check, len(content) if claimed is None else claimed) + padded)


def packet(kind, session_id, body, length=None, version=VERSION, word=BLOCK_SIZE):
    """A packet; `word` is the block size, or what stands in its place."""
    claimed = 16 + len(body) if length is None else length
    return kind.encode() + struct.pack(">2H2I", claimed, version, word, session_id) + body


def is_prime(n):
    odd, twos = n - 1, 0
    while odd % 2 == 0:
        odd, twos = odd // 2, twos + 1
    for base in (2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37):
        x = pow(base, odd, n)
        if x not in (1, n - 1) and all((x := x * x % n) != n - 1 for _ in range(twos - 1)):
            return False
    return True


def drawn_prime(name):
    n = int.from_bytes(drawn(name, 64), "big") | 3 << 510 | 1
    while not is_prime(n) or n % PUBLIC_EXPONENT == 1:
        n += 2
    return n


RSA_P, RSA_Q = drawn_prime("rsa p"), drawn_prime("rsa q")
RSA_N = RSA_P * RSA_Q
RSA_D = pow(PUBLIC_EXPONENT, -1, (RSA_P - 1) * (RSA_Q - 1))
SHA256_INFO = bytes.fromhex("3031300d060960864801650304020105000420")


def sign(data):
    """PKCS #1 v1.5 with SHA-256, 128 bytes."""
    tail = b"\0" + SHA256_INFO + hashlib.sha256(data).digest()
    block = b"\0\1" + b"\xff" * (128 - 2 - len(tail)) + tail
    return pow(int.from_bytes(block, "big"), RSA_D, RSA_N).to_bytes(128, "big")


class Session:
    """Both ends of one session, and its packets."""

    def __init__(self, session_id):
        self.id = session_id
        y = int.from_bytes(drawn(f"station {session_id:08x}", 128), "big")
        x = int.from_bytes(drawn(f"device {session_id:08x}", 128), "big")
        self.yb, self.gx = pow(GENERATOR, y, PRIME), pow(GENERATOR, x, PRIME)
        self.key = pow(self.gx, y, PRIME).to_bytes(128, "big")

    def wake(self, p=PRIME, yb=None, lengths=(4, 128, 128, 128), trailer=b"", **header):
        value = (self.yb if yb is None else yb).to_bytes(128, "big")
        body = struct.pack(">H4sH", lengths[0], bytes([192, 0, 2, 1]), lengths[1]) + p.to_bytes(128, "big")
        body += struct.pack(">H", lengths[2]) + value
        length = header.pop("length", 412 + len(trailer))
        signed = packet("WAKE", self.id, body, length=length, word=header.pop("word", 1), **header)
        return signed + struct.pack(">H", lengths[3]) + sign(signed) + trailer

    def wrsp(self, gx=None, **header):
        return packet("WRSP", self.id, (self.gx if gx is None else gx).to_bytes(128, "big"), **header)

    def sealed(self, kind, content, block=None, **header):
        return packet(kind, self.id, seal(self.key, content, **(block or {})), **header)

    def _acknowledging(self, kind, content, change):
        return self.sealed(kind, change.pop("content", content), **change)

    def lgin(self, **change):
        return self._acknowledging("LGIN", b"LOGIN" + struct.pack(">I", self.id), change)

    def ack1(self, **change):
        return self._acknowledging("ACK1", b"LOGGEDIN" + struct.pack(">IH", self.id, 180), change)

    def encr(self, content, **change):
        return self.sealed("ENCR", content, **change)

    def lout(self, **change):
        return self._acknowledging("LOUT", b"LOGOUT" + struct.pack(">I", self.id), change)

    def ack2(self, **change):
        return self._acknowledging("ACK2", b"LOGGEDOUT" + struct.pack(">I", self.id), change)

    def keylog_line(self):
        return f"ZOLT {self.id:08x} {self.key.hex()}"
