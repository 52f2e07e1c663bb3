#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Key logs as people have them, good and bad, and the ports."""
import pathlib
import sys
import tempfile
import unittest

from make_captures import UDP_SESSION
from tshark import CAPTURES, KEYLOG, fields, need_tshark
from wire import Session, drawn

UDP = CAPTURES / "udp.pcap"
LINE = Session(UDP_SESSION).keylog_line()
OPEN = ["1"] * 8  # CRC status of the eight packets with a payload


class PreferencesTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.keylog = pathlib.Path(self.folder.name) / "keys.log"

    def shown(self, field, *options, text=None, keylog=None, **more):
        if text is not None:
            self.keylog.write_bytes(text.encode())
            keylog = self.keylog
        rows = fields(UDP, [field], *options, keylog=keylog, **more)
        return [row[0] for row in rows if row[0]]

    def status(self, text):
        return self.shown("zolt.crc.status", text=text)

    def reasons(self, **more):
        found = set(self.shown("_ws.expert.message", **more))
        self.assertEqual(len(found), 1)
        return found.pop()

    def test_a_line_opens_the_session(self):
        self.assertEqual(self.status(LINE + "\n"), OPEN)

    def test_the_last_line_needs_no_end(self):
        self.assertEqual(self.status("# a comment\n\n" + LINE), OPEN)

    def test_capitals_and_carriage_returns_do_not_matter(self):
        self.assertEqual(self.status(LINE.upper() + "\r\n"), OPEN)

    def test_the_right_one_of_many_keys_is_found(self):
        others = [f"ZOLT {UDP_SESSION:08x} {drawn(str(i), 128).hex()}" for i in range(20)]
        self.assertEqual(self.status("\n".join(others[:10] + [LINE] + others[10:])), OPEN)

    def test_a_wrong_key_is_a_wrong_crc(self):
        self.assertEqual(self.status(f"ZOLT {UDP_SESSION:08x} {'00' * 128}\n"), ["0"] * 8)

    def test_the_preference_goes_before_the_environment(self):
        status = self.shown("zolt.crc.status", text=LINE, environment={"ZOLT_KEYLOG": "/nowhere"})
        self.assertEqual(status, OPEN)

    def test_without_a_key_log_it_says_so(self):
        self.assertIn("neither the preference", self.reasons())

    def test_a_missing_key_log_is_named(self):
        self.assertIn("cannot be read", self.reasons(keylog=self.keylog))

    def test_a_folder_is_no_key_log(self):
        self.assertIn("cannot be read", self.reasons(keylog=self.folder.name))

    def test_lines_that_are_not_understood_are_counted(self):
        text = "\n".join([LINE[:-1], LINE + "0", LINE.replace("ZOLT", "zolt"), LINE[1:], "ZOLT", "\0\xff", "# fine", ""])
        reason = self.reasons(text=text)
        self.assertIn("has no key of session 5e551001", reason)
        self.assertIn("6 lines are not understood", reason)

    def test_the_ports_can_be_changed(self):
        self.assertEqual(len(self.shown("zolt.signature_id", "-o", "zolt.ports:40000-40010")), 10)
        self.assertEqual(len(self.shown("zolt.signature_id", "-o", "zolt.ports:1161")), 0)
        self.assertEqual(len(self.shown("zolt.signature_id", "-o", "zolt.ports:161,1161", keylog=KEYLOG)), 10)


if __name__ == "__main__":
    need_tshark()
    sys.exit(unittest.main())
