#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""libsec.so beside what Python brings along: CRC-16, SHA-256 and powers, on random inputs.

    python_oracles.py LIBRARY
"""
import binascii
import ctypes
import hashlib
import random
import sys


class Num(ctypes.Structure):
    _fields_ = [("sign", ctypes.c_int32), ("limb_count", ctypes.c_int32), ("limbs", ctypes.c_void_p)]


def check_digests(library, draw):
    library.crc16_ccitt.restype = ctypes.c_uint32
    for index in range(4000):
        data = draw.randbytes(draw.randrange(3000 if index % 10 == 0 else 200))
        assert library.crc16_ccitt(data, len(data)) == binascii.crc_hqx(data, 0), f"crc16_ccitt of {data.hex()}"
        digest = ctypes.create_string_buffer(32)
        library.sha256(data, len(data), digest)
        assert digest.raw == hashlib.sha256(data).digest(), f"sha256 of {data.hex()}"


def number(library, value):
    data = value.to_bytes((value.bit_length() + 7) // 8, "big")
    record = Num(1, 0, None)
    assert library.num_read_binary(ctypes.byref(record), data, len(data)) == 0
    return record


def check_powers(library, draw):
    for index in range(400):
        bits = 1024 if index % 4 == 0 else draw.randrange(1, 300)
        modulus, base = draw.getrandbits(bits) | 1, draw.getrandbits(draw.randrange(1, 1100))
        exponent = draw.getrandbits(draw.randrange(1, 700))
        x, a, e, n = Num(1, 0, None), number(library, base), number(library, exponent), number(library, modulus)
        assert library.num_exp_mod(*map(ctypes.byref, (x, a, e, n)), None) == 0
        result = ctypes.create_string_buffer(200)
        assert library.num_write_binary(ctypes.byref(x), result, len(result)) == 0
        assert int.from_bytes(result.raw, "big") == pow(base, exponent, modulus), f"{base} ** {exponent} % {modulus}"
        for record in (x, a, e, n):
            library.num_free(ctypes.byref(record), None)


def main():
    library = ctypes.CDLL(sys.argv[1])
    draw = random.Random(1)
    check_digests(library, draw)
    check_powers(library, draw)


if __name__ == "__main__":
    main()
