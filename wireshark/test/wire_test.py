#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The captures are what make_captures.py makes, and its cipher, CRC and signature are the real ones."""
import hashlib
import pathlib
import sys
import tempfile
import unittest

import make_captures
import wire
from tshark import CAPTURES


class WireTest(unittest.TestCase):
    def test_xtea_agrees_with_the_published_vector(self):
        self.assertEqual(wire.xtea(bytes(range(16)), b"ABCDEFGH").hex(), "497df3d072612cb5")

    def test_eight_slices_of_the_key_take_turns(self):
        blocks = ("e4cf21f8aae13f64 70596bafee257483 5554963a10591f89 4674fc0a648ab7b1 8a025de8f9379303 "
                  "f75545afb4fb9ed8 44d1ad20edb7c47c 2432e667a1caecf3 e4cf21f8aae13f64")
        self.assertEqual(wire.encipher(bytes(range(128)), bytes(72)).hex(), blocks.replace(" ", ""))

    def test_crc_agrees_with_the_catalogued_check_value(self):
        self.assertEqual(wire.crc16(b"123456789"), 0x31C3)

    def test_both_sides_share_the_key(self):
        session = wire.Session(1)
        x = int.from_bytes(wire.drawn("device 00000001", 128), "big")
        self.assertEqual(pow(session.yb, x, wire.PRIME).to_bytes(128, "big"), session.key)

    def test_the_signature_of_a_wake_holds_the_digest(self):
        packet = wire.Session(1).wake()
        self.assertEqual(len(packet), 412)
        opened = pow(int.from_bytes(packet[284:], "big"), wire.PUBLIC_EXPONENT, wire.RSA_N).to_bytes(128, "big")
        self.assertEqual(opened[-32:], hashlib.sha256(packet[:282]).digest())

    def test_the_committed_captures_are_made_anew_byte_by_byte(self):
        with tempfile.TemporaryDirectory() as folder:
            make_captures.main(folder)
            made = {path.name: path.read_bytes() for path in pathlib.Path(folder).iterdir()}
        self.assertEqual(len(made), 6)
        for name, content in made.items():
            self.assertTrue(content == (CAPTURES / name).read_bytes(), f"{name} differs")


if __name__ == "__main__":
    sys.exit(unittest.main())
