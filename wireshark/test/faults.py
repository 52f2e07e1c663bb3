# SPDX-License-Identifier: MIT
"""A capture of packets with faults, and the names that the dissector must give them, no more and no fewer.

Each case has a conversation of its own: a station's port.
"""
from pcap import Capture
from wire import PRIME, Session, drawn

SESSION = 0x5E55FA17
OTHER_SESSION = 0x5E55FA18  # its key is not in the key log

S = Session(SESSION)
OTHER = Session(OTHER_SESSION)
HI = b"hello, agent"

TO_DEVICE, TO_STATION = True, False


def opened(*then):
    """A login, then the faulty packets."""
    return [(TO_DEVICE, S.wake()), (TO_STATION, S.wrsp()), (TO_DEVICE, S.lgin()), (TO_STATION, S.ack1()), *then]


def renamed(packet, kind):
    return kind + packet[4:]


def after_wake(*then):
    return [(TO_DEVICE, S.wake()), *then]


def after_wrsp(*then):
    return after_wake((TO_STATION, S.wrsp()), *then)


# Name: what is sent, and what the last packet must be blamed for. A number waits that many seconds.
CASES = {
    "nothing is wrong": (opened((True, S.encr(HI)), (False, S.encr(HI))), []),
    "the version is not 256": (after_wrsp((True, S.lgin(version=257))), ["version"]),
    "the block size is not 64": (after_wrsp((True, S.lgin(word=8))), ["block_size"]),
    "WRSP's reserved word is not 64": (after_wake((False, S.wrsp(word=0))), ["block_size"]),
    "the length field is too small": ([(True, S.wake(length=411))], ["length"]),
    "the length field is too large": (after_wrsp((True, S.lgin(length=33))), ["length"]),
    "the signature is unknown": ([(True, renamed(S.wake(), b"WAKF"))], ["signature"]),
    "WAKE is one byte short": ([(True, S.wake(length=411)[:-1])], ["short"]),
    "WAKE goes on behind its signature": ([(True, S.wake(trailer=b"more"))], ["trailer"]),
    "the address length is 5": ([(True, S.wake(lengths=(5, 128, 128, 128)))], ["field_length"]),
    "the prime's length is 64": ([(True, S.wake(lengths=(4, 64, 128, 128)))], ["field_length"]),
    "the public value's length is 0": ([(True, S.wake(lengths=(4, 128, 0, 128)))], ["field_length"]),
    "the signature's length is 256": ([(True, S.wake(lengths=(4, 128, 128, 256)))], ["field_length"]),
    "the prime is even": ([(True, S.wake(p=PRIME - 1))], ["prime"]),
    "the prime is short": ([(True, S.wake(p=PRIME >> 1 | 1, yb=5))], ["prime"]),
    "the station's public value is 0": ([(True, S.wake(yb=0))], ["degenerate"]),
    "the station's public value is 1": ([(True, S.wake(yb=1))], ["degenerate"]),
    "the device's public value is 0": (after_wake((False, S.wrsp(gx=0))), ["degenerate"]),
    "the device's public value is 1": (after_wake((False, S.wrsp(gx=1))), ["degenerate"]),
    "the device's public value is p - 1": (after_wake((False, S.wrsp(gx=PRIME - 1))), ["degenerate"]),
    "the device's public value is p": (after_wake((False, S.wrsp(gx=PRIME))), ["degenerate"]),
    "the device's public value is p + 1": (after_wake((False, S.wrsp(gx=PRIME + 1))), ["degenerate"]),
    "the device's public value is 2": (after_wake((False, S.wrsp(gx=2))), []),
    "WRSP is too long": (after_wake((False, S.wrsp(length=145) + b"\0")), ["length"]),
    "a header is cut off by the sender": ([(True, S.lgin()[:15])], ["length", "short"]),
    "a header is cut off by the capture": ([(True, S.wake(), 12)], ["cut"]),
    "a packet is cut off by the capture": ([(True, S.wake(), 100)], ["cut"]),
    "a payload is cut off by the capture": (opened((True, S.encr(HI), 30)), ["cut"]),
    "ACK1 lacks its payload": (after_wrsp((True, S.lgin()), (False, S.ack1()[:4] + b"\0\x10" + S.ack1()[6:16])), ["short"]),
    "ENCR has no payload": (opened((True, S.encr(HI, length=16)[:16])), ["short"]),
    "the payload is not whole blocks": (opened((True, S.encr(HI, length=41) + b"\0")), ["payload_length"]),
    "the packet is longer than the buffer": (opened((True, S.encr(bytes(39980)))), ["too_long"]),
    "the longest packet": (opened((True, S.encr(bytes(39979)))), []),
    "the CRC is wrong": (opened((True, S.encr(HI, block={"crc": 1}))), ["crc"]),
    "LGIN's CRC is wrong": (after_wrsp((True, S.lgin(block={"crc": 1}))), ["crc"]),
    "the content is longer than its block": (opened((True, S.encr(HI, block={"claimed": 21}))), ["content_length"]),
    "the block is longer than its content needs": (opened((True, S.encr(HI, block={"claimed": 3}))), ["content_length"]),
    "ACK1's content length is wrong": (after_wrsp((True, S.lgin()), (False, S.ack1(block={"claimed": 13}))),
                                       ["content_length"]),
    "LGIN's content length is not looked at": (after_wrsp((True, S.lgin(block={"claimed": 0}))), []),
    "LGIN does not say LOGIN": (after_wrsp((True, S.lgin(content=b"LOGOFFFFF"))), ["content", "content"]),
    "LGIN names another session": (after_wrsp((True, S.lgin(content=b"LOGIN\0\0\0\0"))), ["content"]),
    "ACK2 does not say LOGGEDOUT": (opened((True, S.lout()), (False, S.ack2(content=b"LOGGEDOUX" + S.ack2()[12:16]))),
                                    ["content"]),
    "LGIN is too short for its text": (after_wrsp((True, S.lgin(content=b"", block={"claimed": 9}))),
                                       ["content", "short"]),
    "there is no key": ([(True, OTHER.wake()), (False, OTHER.wrsp()), (True, OTHER.lgin())], ["no_key"]),
    "the session was not captured": ([(True, S.encr(HI))], ["no_session"]),
    "LGIN before WRSP": (after_wake((True, S.lgin())), ["order"]),
    "ENCR before login": (after_wrsp((True, S.encr(HI))), ["order"]),
    "LGIN after login": (opened((True, S.lgin())), ["order"]),
    "ENCR after LOUT": (opened((True, S.lout()), (False, S.ack2()), (True, S.encr(HI))), ["order"]),
    "LGIN comes after 10 s": (after_wrsp(10.1, (True, S.lgin())), ["elapsed"]),
    "LGIN comes within 10 s": (after_wrsp(9.9, (True, S.lgin())), []),
    "ENCR comes after 180 s": (opened(180.1, (True, S.encr(HI))), ["elapsed"]),
    "ENCR comes within 180 s": (opened(179.9, (True, S.encr(HI))), []),
    "WAKE finds another session": (opened((True, OTHER.wake())), ["busy"]),
    "WAKE finds an elapsed session": (opened(180.1, (True, OTHER.wake())), []),
    "WAKE after LOUT": (opened((True, S.lout()), (False, S.ack2()), (True, S.wake())), []),
    "a reply that nothing asked for": (opened((True, S.encr(HI)), (False, S.encr(HI)), (False, S.encr(HI))),
                                       ["no_request"]),
    "a reply after a lost request": (opened((True, S.encr(HI)), (True, S.encr(HI + HI)), (False, S.encr(HI))), []),
    "a reply that comes too late": (opened((True, S.encr(HI)), 6, (False, S.encr(HI))), ["no_request"]),
    "ACK1 without LGIN": (after_wrsp((False, S.ack1())), ["no_request", "order"]),
    "a second session of the same id, after LOUT": (
        opened((True, S.lout()), (False, S.ack2()), *opened((True, S.encr(HI)))), []),
    "random bytes behind the letters": ([(True, b"ENCR" + drawn("noise", 60))],
                                        ["block_size", "length", "no_key", "no_session", "version"]),
}


def over_udp(capture, steps, port):
    for step in steps:
        if isinstance(step, (int, float)):
            capture.wait(step)
        else:
            capture.udp(step[0], step[1], station_port=port, kept=step[2] if len(step) > 2 else None)


def capture():
    """The capture, and (number of the last frame, case, expected names) of each case."""
    made, expected = Capture(), []
    for index, (name, (steps, names)) in enumerate(CASES.items()):
        over_udp(made, steps, 41000 + index)
        expected.append((made.frames, name, sorted(names)))
    return made, expected
