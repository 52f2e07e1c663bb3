# SPDX-License-Identifier: MIT
"""What make_wake_vectors.py builds and judges WAKE packets with: whole numbers and hashlib, nothing else.

The rules are those of docs/protocol.md and of the key file, written down once more, so that every verdict
in the vectors comes from here and not from the library that they test.
"""
import base64
import hashlib
import re
import struct

# The 1024-bit prime of RFC 2409, 6.2, and a safe prime of 992 bits.
PRIME = int(
    "FFFFFFFFFFFFFFFFC90FDAA22168C234C4C6628B80DC1CD129024E088A67CC74020BBEA63B139B22514A08798E3404DD"
    "EF9519B3CD3A431B302B0A6DF25F14374FE1356D6D51C245E485B576625E7EC6F44C42E9A637ED6B0BFF5CB6F406B7ED"
    "EE386BFB5A899FA5AE9F24117C4B1FE649286651ECE65381FFFFFFFFFFFFFFFF", 16)
SHORT_PRIME = int(
    "F6A1CC78EBC1F22B6B11EF2E7CA3494564FA8A0F0E4CB207074D3972AAD7F77AAE1BA483A7E44F0D22EC2EAFFC315231"
    "325EAB07261C6D0604E15F2EA8EC0909A021457B078D7B5116FFD4FC5E934131AAD0A8937503F7E59BD94A2949C2D9A5"
    "6B051CD267DDFA372E113F98F3901D8B09F25AB34EDC0D601CD3E89F", 16)
GENERATOR = 4
SHA256_NAME = bytes.fromhex("3031300d060960864801650304020105000420")  # in front of the digest, in PKCS #1 v1.5


# ---- Bytes that are the same on every run ----

def filling(label, count):
    out = b""
    while len(out) < count:
        out += hashlib.sha256(f"{label} {len(out)}".encode()).digest()
    return out[:count]


SMALL_PRIMES = [p for p in range(2, 400) if all(p % q for q in range(2, p))]


def is_prime(n):
    if any(n % p == 0 for p in SMALL_PRIMES):
        return n in SMALL_PRIMES
    odd, twos = n - 1, 0
    while odd % 2 == 0:
        odd, twos = odd // 2, twos + 1
    for base in SMALL_PRIMES[:30]:
        x = pow(base, odd, n)
        if x not in (1, n - 1) and not any((x := x * x % n) == n - 1 for _ in range(twos - 1)):
            return False
    return True


def prime_from(label, bits, e):
    """The first prime p behind some start, with e prime to p - 1."""
    p = int.from_bytes(filling(label, bits // 8), "big") | 3 << (bits - 2) | 1
    while not (is_prime(p) and (p - 1) % e != 0):
        p += 2
    return p


# ---- RSA ----

class Key:
    def __init__(self, n, e, d):
        self.n, self.e, self.d = n, e, d

    @classmethod
    def made(cls, label, e, bits=1024):
        p, q = (prime_from(f"{label} {name}", bits // 2, e) for name in "pq")
        return cls(p * q, e, pow(e, -1, (p - 1) * (q - 1)))

    @classmethod
    def of_pem(cls, path):
        """The numbers of a PKCS #1 private key: a sequence of version, n, e, d and more."""
        lines = [line for line in open(path).read().splitlines() if "-----" not in line]
        der, numbers, at = base64.b64decode("".join(lines)), [], 4
        while len(numbers) < 4:
            length, at = der[at + 1], at + 2
            if length & 0x80:
                size = length & 0x7f
                length, at = int.from_bytes(der[at:at + size], "big"), at + size
            numbers.append(int.from_bytes(der[at:at + length], "big"))
            at += length
        return cls(*numbers[1:4])

    def sign_block(self, block):
        return pow(int.from_bytes(block, "big"), self.d, self.n)

    def sign(self, message):
        return self.sign_block(padded(message))


def digest(message):
    return hashlib.sha256(message).digest()


def padded(message, size=128):
    tail = SHA256_NAME + digest(message)
    return b"\0\1" + b"\xff" * (size - 3 - len(tail)) + b"\0" + tail


def root_below(e, value, bits=256):
    """s with s^e = value modulo 2^bits, bit by bit; both odd."""
    s = 1
    for bit in range(1, bits):
        if (pow(s, e, 1 << bit + 1) ^ value) >> bit & 1:
            s |= 1 << bit
    assert pow(s, e, 1 << bits) == value
    return s


# ---- WAKE ----

def number(value, length=128):
    return value.to_bytes(length, "big")


def signed_part(session=0x11223344, version=256, key_id=0, address=b"\xc0\0\2\1", p=PRIME, yb=GENERATOR,
                address_length=None, p_length=None, yb_length=None, name=b"WAKE", total=412):
    p, yb = (value if isinstance(value, bytes) else number(value) for value in (p, yb))
    length = lambda given, field: struct.pack(">H", len(field) if given is None else given)
    return (name + struct.pack(">HHII", total, version, key_id, session) + length(address_length, address) + address +
            length(p_length, p) + p + length(yb_length, yb) + yb)


def wake(signature, trailing=b"", signature_length=128, **fields):
    """`signature` makes the number or the bytes from the signed part."""
    message = signed_part(**fields)
    signed = signature(message)
    return message + struct.pack(">H", signature_length) + (signed if isinstance(signed, bytes) else number(signed)) + trailing


# ---- The device ----

def read_key_file(text):
    """(n, e) as the device loads them, or None when it loads nothing."""
    if text is None:
        return None
    modulus, exponent = bytearray(128), bytearray(3)
    for line in re.findall(r"[^\n]*\n|[^\n]+", text.encode().decode("latin-1")):
        for piece in [line[i:i + 1023] for i in range(0, len(line), 1023)]:
            digits = piece[11:]
            count = len(digits) // 2
            if count >= 129:
                return None
            values = bytes(int("".join(c if c in "0123456789abcdefABCDEF" else "0" for c in digits[2 * i:2 * i + 2]), 16)
                           for i in range(count))
            if piece.startswith("PublicKeyN="):
                modulus[:count] = values
            elif piece.startswith("PublicKeyE=") and count <= 3:
                exponent[:count] = values
    return int.from_bytes(modulus, "big"), int.from_bytes(exponent, "big")


def signature_is_good(key, packet):
    if key is None or key[0] % 2 == 0:
        return False
    block = pow(int.from_bytes(packet[284:412], "big"), key[1], key[0])
    return number(block)[96:] == digest(packet[:282])


class Device:
    """One live session. receive() gives the verdict, the reason and what is printed."""
    REFUSAL = "Something was wrong with the WAKE packet. Resetting...\n"

    def __init__(self, key):
        self.key, self.state, self.age = key, 0, 1_000_000_000  # in ms; no WAKE was ever answered

    def receive(self, packet):
        if len(packet) < 4:
            return "reject", "length", "Error getting session\n"
        name = packet[:4]
        if name == b"LGIN":  # its own rules refuse what is no login: here, by the block size
            assert packet[8:12] != b"\0\0\0\x40"
            return "reject", "signature_id", "Something was wrong with the LGIN packet. Resetting...\n"
        if name != b"WAKE":
            assert name not in (b"ENCR", b"LOUT") and self.key is not None
            return "reject", "signature_id", "The packet wasn't recognised\nError getting session\n"
        printed = ""
        if self.state != 0:
            if self.age <= (10_000 if self.state == 2 else 0):
                return "reject", "session", "Error getting session\n"
            printed = "timeout\n"
        self.state = 1
        verdict, reason, lines = self.parse(packet)
        if verdict == "accept":
            self.state, self.age = 2, 0
        return verdict, reason, printed + lines

    def parse(self, packet):
        at16 = lambda offset: int.from_bytes(packet[offset:offset + 2], "big")
        if len(packet) < 412:
            return "reject", "length", ""
        if at16(4) != len(packet):
            return "reject", "packet_length", (f"packet length error\nreported length = {at16(4)}, "
                                               f"actual length = {len(packet)}" + self.REFUSAL)
        for name, offset, wanted in (("protocol_version", 6, 256), ("ip_address_length", 16, 4), ("key_p_length", 22, 128),
                                     ("key_yb_length", 152, 128), ("rsa_length", 282, 128)):
            if at16(offset) != wanted:
                return "reject", name, self.REFUSAL
        if not signature_is_good(self.key, packet):
            return "reject", "signature" if self.key and self.key[0] % 2 else "key", self.REFUSAL
        if packet[151] % 2 == 0:
            return "reject", "prime", self.REFUSAL
        return "accept", "", ""
