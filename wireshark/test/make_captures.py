#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the committed captures and their key log: make_captures.py FOLDER."""
import pathlib
import sys

import faults
import snmp
from pcap import Capture
from wire import Session, drawn

UDP_SESSION, TCP_SESSION, CUT_SESSION = 0x5E551001, 0x5E551002, 0x5E551003
DESCRIPTION = b"An emulated device of the libsec project, with a description that fills more than eight cipher blocks"


def exchanges():
    """Requests and replies as an agent would see them."""
    for number, name, value in ((7001, snmp.SYS_DESCR, DESCRIPTION), (7002, snmp.SYS_NAME, b"device-7")):
        yield snmp.message(snmp.GET, number, name), snmp.message(snmp.RESPONSE, number, name, value)


def play(session, send):
    """One whole session; send(to_device, packet) puts a packet on the wire."""
    send(True, session.wake())
    send(False, session.wrsp())
    send(True, session.lgin())
    send(False, session.ack1())
    for request, reply in exchanges():
        send(True, session.encr(request))
        send(False, session.encr(reply))
    send(True, session.lout())
    send(False, session.ack2())


def udp_capture():
    capture = Capture()
    play(Session(UDP_SESSION), capture.udp)
    return capture


def tcp_capture():
    capture = Capture()
    connection = capture.connect()
    play(Session(TCP_SESSION), connection.send)
    connection.close()
    return capture


def segments_capture():
    """Packets cut everywhere, and several in one segment."""
    capture, session = Capture(), Session(CUT_SESSION)
    connection = capture.connect()
    connection.send(True, session.wake(), cuts=(1, 2, 2, 1, 10, 300))
    connection.send(False, session.wrsp(), cuts=(5,))
    connection.send(True, session.lgin(), cuts=(1,) * 31)
    connection.send(False, session.ack1())
    (request1, reply1), (request2, reply2) = exchanges()
    connection.send(True, session.encr(request1) + session.encr(request2))
    # Segments that hold one reply and a part of the second; its rest and a part of ACK2; and what is left.
    first, second = session.encr(reply1), session.encr(reply2)
    connection.send(True, session.lout())
    connection.send(False, first + second + session.ack2(), cuts=(len(first) + 30, len(second) - 30 + 3))
    connection.close()
    return capture


def plain_capture():
    """Ordinary SNMP on the same port, and bytes that are neither."""
    capture = Capture()
    connection = capture.connect()
    for request, reply in exchanges():
        capture.udp(True, request)
        capture.udp(False, reply)
        connection.send(True, request, cuts=(10,))
        connection.send(False, reply + reply)
    capture.udp(True, b"hello")
    capture.udp(True, b"")
    connection.send(True, b"hello")
    connection.close()
    return capture


def keylog():
    sessions = [Session(number) for number in (UDP_SESSION, TCP_SESSION, CUT_SESSION, faults.SESSION)]
    stranger = f"ZOLT {UDP_SESSION:08x} {drawn('another session of that id', 128).hex()}"
    return "\n".join(["# Keys of the captures beside this file", stranger, *(s.keylog_line() for s in sessions), ""])


def main(folder):
    folder = pathlib.Path(folder)
    udp_capture().write(folder / "udp.pcap")
    tcp_capture().write(folder / "tcp.pcap")
    segments_capture().write(folder / "segments.pcap")
    plain_capture().write(folder / "plain.pcap")
    faults.capture()[0].write(folder / "faults.pcap")
    (folder / "keys.log").write_text(keylog(), encoding="ascii")


if __name__ == "__main__":
    main(sys.argv[1])
