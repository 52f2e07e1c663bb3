#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes wake.json: WAKE packets that a device must accept or refuse, and why. README.md says
what stands in them.

    cd tests/vectors && ./make_wake_vectors.py [FOLDER]

Every verdict is computed by wake_rules.py, and must be the one that the case expects. The result is the same on every run.
"""
import json
import os
import sys

from wake_key_files import key_files
from wake_rules import (GENERATOR, PRIME, SHORT_PRIME, Device, Key, digest, filling, number, padded, read_key_file,
                        root_below, signed_part, wake)

HERE = os.path.dirname(os.path.abspath(__file__))
MAIN = Key.of_pem(os.path.join(HERE, "test_key.pem"))
PEER_SECRET = int.from_bytes(filling("the peer's secret", 128), "big") >> 1

FLAGS = {
    "DegeneratePublicValue": "The peer's public value is 0, 1, or not below the prime. It is signed, so its sender "
                             "only harms itself: the session's key is what it makes of it.",
    "FailOpen": "The key file is refused as a whole. No WAKE is accepted, but full_encryption stays 0 and plain "
                "packets reach the agent: whoever writes the file has to look at full_encryption.",
    "Forgery": "Made without the private key.",
    "KeyFile": "What the reading of the key file comes to decides.",
    "Malleable": "The signature plus the modulus decodes to the same block: another signature for the same packet.",
    "PaddingIgnored": "Only the last 32 bytes of the decoded block are compared, by design.",
    "Prime": "The Diffie-Hellman modulus is odd but no prime of 1024 bits. It is signed, and the device tests only "
             "that it is odd.",
    "Replay": "A packet that was sent before.",
    "SmallExponent": "With a public exponent this small the comparison of the digest alone can be satisfied without "
                     "the private key. The device accepts it by design: operators have to use 65537.",
    "WeakModulus": "The modulus can be factored at sight. The device does not look at its size.",
}
REASONS = {
    "ip_address_length": "the field is not 4",
    "key": "there is no key that verifies: none loaded, or its modulus is even",
    "key_p_length": "the field is not 128",
    "key_yb_length": "the field is not 128",
    "length": "fewer than 412 bytes",
    "packet_length": "the field is not the number of bytes received",
    "prime": "the Diffie-Hellman modulus is even",
    "protocol_version": "the field is not 256",
    "rsa_length": "the field is not 128",
    "session": "another session is running",
    "signature": "the last 32 bytes of the decoded signature are not the digest of bytes 0 to 281",
    "signature_id": "it is no WAKE",
}
FIELDS = (("signature_id", 0, 4), ("packet_length", 4, 2), ("protocol_version", 6, 2), ("signing_key_id", 8, 4),
          ("session_id", 12, 4), ("ip_address_length", 16, 2), ("ip_address", 18, 4), ("key_p_length", 22, 2),
          ("key_p", 24, 128), ("key_yb_length", 152, 2), ("key_yb", 154, 128), ("rsa_length", 282, 2), ("rsa", 284, 128))

groups, count = [], 0


def key_file(n, e=65537):
    return f"PublicKeyN={n:0256x}\nPublicKeyE={e:06x}\n"


def group(comment, text):
    key = read_key_file(text)
    groups.append({
        "comment": comment,
        "key_file": text,
        "loads": key is not None,
        "modulus": None if key is None else f"{key[0]:0256x}",
        "exponent": None if key is None else f"{key[1]:06x}",
        "cases": [],
    })


def case(result, comment, packet, *flags, earlier=(), secret=1, key=None):
    """`earlier` are packets with the milliseconds to the next one. Of what is accepted the peer knows its secret, or
    else the session's key."""
    global count
    count += 1
    device = Device(read_key_file(groups[-1]["key_file"]))
    for sent, then_ms in earlier:
        device.receive(sent)
        device.age += then_ms
    verdict, reason, output = device.receive(packet)
    assert verdict == result and all(flag in FLAGS for flag in flags), (count, comment, verdict, reason)
    made = {"id": count, "comment": comment, "packet": packet.hex(), "result": result}
    if result == "reject":
        made["reason"] = reason
    made["flags"] = list(flags)
    if result == "accept" and key is None:
        made["peer_secret"] = f"{secret:0256x}"
    elif result == "accept":
        made["session_key"] = f"{key:0256x}"
    made["output"] = output
    if earlier:
        made["earlier"] = [{"packet": sent.hex(), "then_ms": then_ms} for sent, then_ms in earlier]
    groups[-1]["cases"].append(made)


def good(sign=MAIN.sign, **fields):
    return wake(sign, **fields)


def raw_digest(message):
    return bytes(96) + digest(message)


def first_that(fits, **fields):
    """The first good packet, by its signing_key_id, that fits."""
    return next(packet for packet in (good(key_id=i, **fields) for i in range(10_000)) if fits(packet))


def signature_of(packet):
    return int.from_bytes(packet[284:], "big")


def forged_by_root(e):
    """A signature s with s^e = digest modulo 2^256 and, when e is 3, s^3 below every modulus of 1024 bits."""
    key_id = next(i for i in range(100) if digest(signed_part(key_id=i))[31] % 2 == 1)
    return wake(lambda message: root_below(e, int.from_bytes(digest(message), "big")), key_id=key_id)


def flipped(packet, at, mask):
    return packet[:at] + bytes([packet[at] ^ mask]) + packet[at + 1:]


def with_length(packet, length):
    return packet[:4] + length.to_bytes(2, "big") + packet[6:]


def what_is_signed_right():
    group("A key of 1024 bits and e = 65537: what it signed", key_file(MAIN.n))
    case("accept", "as a peer makes it; its secret is 1, so the session's key is dh_gx", good())
    case("accept", "a secret of 1023 bits", good(yb=pow(GENERATOR, PEER_SECRET, PRIME)), secret=PEER_SECRET)
    case("accept", "a prime of 992 bits: zeros in front", good(p=SHORT_PRIME))
    case("accept", "a prime of 992 bits and a secret of 1023",
         good(p=SHORT_PRIME, yb=pow(GENERATOR, PEER_SECRET, SHORT_PRIME)), secret=PEER_SECRET)
    for p in (5, 65537, PRIME - 2, 2**1024 - 1):
        case("accept", f"the modulus {p if p < 10**6 else hex(p)[:10] + '...'}", good(p=p), "Prime")
    case("accept", "the modulus 1, modulo which everything is 0", good(p=1), "Prime", key=0)
    for yb, key in ((0, 0), (1, 1), (PRIME, 0), (PRIME + 1, 1)):
        case("accept", f"the public value {yb if yb < 2 else 'p' if yb == PRIME else 'p + 1'}", good(yb=yb),
             "DegeneratePublicValue", key=key)
    case("accept", "the public value p + 4", good(yb=PRIME + 4), "DegeneratePublicValue")
    for session in (0, 1, 0x80000000, 0xFFFFFFFF):
        case("accept", f"session {session:08x}", good(session=session))
    case("accept", "signing_key_id is not looked at", good(key_id=0xFFFFFFFF))
    case("accept", "the address is not looked at", good(address=b"\xff\xff\xff\xff"))
    for length in (1, 8, 128):
        case("accept", f"{length} bytes behind the signature, counted in packet_length",
             good(total=412 + length, trailing=filling("trailing", length)))
    case("accept", "a signature with a zero in front", first_that(lambda packet: packet[284] == 0))
    case("accept", "a digest with a zero in front", first_that(lambda packet: digest(packet[:282])[0] == 0))
    case("accept", "a digest with a zero at its end", first_that(lambda packet: digest(packet[:282])[31] == 0))
    for comment, front in (("zeros", bytes(96)), ("noise", b"\0" + filling("padding", 95)),
                           ("the padding of another digest's signature", padded(b"")[:96])):
        case("accept", f"{comment} in front of the digest", good(lambda m: MAIN.sign_block(front + digest(m))),
             "PaddingIgnored")
    packet = first_that(lambda one: signature_of(one) + MAIN.n < 2**1024)
    case("accept", "the signature plus the modulus", packet[:284] + number(signature_of(packet) + MAIN.n), "Malleable")


def what_is_signed_wrong():
    group("A key of 1024 bits and e = 65537: signatures that are wrong", key_file(MAIN.n))
    other, s = Key.made("another", 65537), signature_of(good())
    case("reject", "signed with another key", good(other.sign), "Forgery")
    case("reject", "the signature of another packet", good()[:284] + good(session=2)[284:], "Replay")
    case("reject", "the modulus minus the signature", good(lambda m: MAIN.n - s), "Forgery")
    for comment, value in (("0", 0), ("1", 1), ("n - 1", MAIN.n - 1), ("n", MAIN.n), ("n + 1", MAIN.n + 1),
                           ("2^1024 - 1", 2**1024 - 1)):
        case("reject", f"the signature {comment}", good(lambda m, value=value: value), "Forgery")
    case("reject", "the digest itself", good(raw_digest), "Forgery")
    case("reject", "the digest itself, at the front", good(lambda m: digest(m) + bytes(96)), "Forgery")
    case("reject", "the padded digest, not signed", good(padded), "Forgery")
    case("reject", "the 65537th root modulo 2^256", forged_by_root(65537), "Forgery")
    case("reject", "the cube root modulo 2^256, which serves under e = 3", forged_by_root(3), "Forgery")
    case("reject", "the bytes in reverse", good(lambda m: number(s)[::-1]), "Forgery")
    for comment, part in (("bytes 0 to 280", slice(281)), ("bytes 1 to 281", slice(1, 282)), ("no bytes", slice(0))):
        case("reject", f"signed over {comment}", good(lambda m, part=part: MAIN.sign(m[part])))
    case("reject", "signed over bytes 0 to 283", good(lambda m: MAIN.sign(m + b"\0\x80")))
    case("reject", "signed over the digest's digest", good(lambda m: MAIN.sign(digest(m))))
    case("reject", "the digest first in the block", good(lambda m: MAIN.sign_block(b"\0" + digest(m) + bytes(95))))
    case("reject", "the digest one byte too far left", good(lambda m: MAIN.sign_block(bytes(95) + digest(m) + b"\0")))
    case("reject", "31 bytes of the digest", good(lambda m: MAIN.sign_block(bytes(97) + digest(m)[1:])))
    for bit in (0, 1, 7, 8, 511, 1016, 1023):
        case("reject", f"bit {bit} of the signature is wrong", flipped(good(), 411 - bit // 8, 1 << bit % 8), "Forgery")


def what_is_damaged():
    group("A key of 1024 bits and e = 65537: packets that are wrong", key_file(MAIN.n))
    for name, offset, length in FIELDS:
        for at in (offset, offset + length - 1):
            for mask in (0x01, 0x80):
                case("reject", f"{name}: byte {at} xor {mask:02x}", flipped(good(), at, mask), "Forgery")
    for p in (0, 2, PRIME - 1, 2**1023):
        case("reject", f"the modulus {p if p < 3 else hex(p)[:10] + '...'}, signed", good(p=p), "Prime")
    for length in (0, 3, 4, 5, 16, 284, 411):
        case("reject", f"cut to {length} bytes", good()[:length])
    case("reject", "411 bytes, told and signed", good(total=411)[:411])
    case("reject", "one byte behind the signature, not counted", good(trailing=b"x"))
    case("reject", "412 bytes, 413 told and signed", good(total=413))
    case("reject", "a length of 0, signed", good(total=0))
    for version in (0, 1, 255, 257, 0x0101, 0xFFFF):
        case("reject", f"version {version}, signed", good(version=version))
    case("reject", "an address of 3 bytes, signed", good(address=b"abc", total=412, trailing=b"x"))
    case("reject", "an address of 16 bytes, signed", good(address=bytes(16), total=424))
    for length in (0, 127, 129, 256):
        case("reject", f"key_p_length {length}, signed", good(p_length=length))
        case("reject", f"key_yb_length {length}, signed", good(yb_length=length))
        case("reject", f"rsa_length {length}", good(signature_length=length))
    case("reject", "a prime of 1032 bits, signed", good(p=b"\0" + number(PRIME), total=413))
    for name in (b"wake", b"WRSP", b"ACK1", b"\0\0\0\0", b"EKAW", b"LGIN"):
        case("reject", f"signature_id {name.decode() if name[0] else 'zeros'}, signed", good(name=name))


def what_comes_again():
    group("A key of 1024 bits and e = 65537: one packet after another", key_file(MAIN.n))
    first, second, forged = good(), good(session=0x55667788), good(raw_digest)
    for ms in (0, 1, 5000, 9999, 10000):
        case("reject", f"the same after {ms} ms", first, "Replay", earlier=[(first, ms)])
    case("accept", "the same after 10001 ms: it opens a session that its sender cannot use", first, "Replay",
         earlier=[(first, 10001)])
    case("reject", "another session's after 10000 ms", second, earlier=[(first, 10000)])
    case("accept", "another session's after 10001 ms", second, earlier=[(first, 10001)])
    case("reject", "a forgery after 1 ms", forged, "Forgery", earlier=[(first, 1)])
    case("reject", "a forgery after 10001 ms", forged, "Forgery", earlier=[(first, 10001)])
    case("accept", "at once after a forgery: it keeps nobody out", first, earlier=[(forged, 0)])
    case("accept", "at once after an even prime", first, earlier=[(good(p=PRIME - 1), 0)])


def other_exponents():
    for e in (17, 257, 0xFFFFFB):
        key = Key.made(f"e = {e}", e)
        group(f"e = {e}", key_file(key.n, e))
        case("accept", "signed", good(key.sign))
        case("reject", "the digest itself", good(raw_digest), "Forgery")
        case("reject", "signed for the exponent 65537", good(lambda m: pow(int.from_bytes(padded(m), "big"), pow(
            65537, -1, 1 << 64), key.n)), "Forgery")
    key = Key.made("e = 3", 3)
    group("e = 3, under which anyone can sign: a cube root modulo 2^256 is found bit by bit", key_file(key.n, 3))
    case("accept", "signed", good(key.sign))
    case("accept", "the cube root of the digest modulo 2^256", forged_by_root(3), "Forgery", "SmallExponent")
    case("reject", "the digest itself", good(raw_digest), "Forgery")
    group("e = 1: the signature is the block", key_file(MAIN.n, 1))
    case("accept", "the digest itself", good(raw_digest), "Forgery", "SmallExponent")
    case("reject", "signed for the exponent 65537", good())
    for e in (0, 65536):
        group(f"e = {e}", key_file(MAIN.n, e))
        case("reject", "signed for the exponent 65537", good())
        case("reject", "the digest itself", good(raw_digest), "Forgery")


def other_moduli():
    short = Key.made("short", 65537, 1008)
    group("A modulus of 1008 bits: zeros in front", key_file(short.n))
    case("accept", "signed", good(lambda m: short.sign_block(padded(m, 126))))
    case("reject", "signed with the key of 1024 bits", good())
    weak = Key.made("weak", 65537, 272)
    group("A modulus of 272 bits", key_file(weak.n))
    case("accept", "the digest, signed", good(lambda m: weak.sign_block(digest(m))), "WeakModulus", "PaddingIgnored")
    case("reject", "the digest itself", good(raw_digest), "Forgery")
    for comment, n in (("an even modulus", MAIN.n - 1), ("twice the modulus, cut", 2 * MAIN.n % 2**1024),
                       ("the modulus 0", 0), ("the modulus 1", 1), ("the modulus 2", 2), ("2^1024 - 1", 2**1024 - 1)):
        group(f"No key: {comment}", key_file(n))
        case("reject", "signed with the key of 1024 bits", good())
        case("reject", "the digest itself", good(raw_digest), "Forgery")
        case("reject", "the signature 0", good(lambda m: 0), "Forgery")


def main(folder):
    for make in (what_is_signed_right, what_is_signed_wrong, what_is_damaged, what_comes_again, other_exponents,
                 other_moduli):
        make()
    for comment, text in key_files(MAIN.n):
        group(f"Key file: {comment}", text)
        accepts = read_key_file(text) == (MAIN.n, 65537)
        flags = [] if groups[-1]["loads"] else ["FailOpen"]
        case("accept" if accepts else "reject", "signed", good(), "KeyFile", *flags)
        case("reject", "the digest itself", good(raw_digest), "KeyFile", "Forgery", *flags)
    write_json(os.path.join(folder, "wake.json"))


def write_json(path):
    used = sorted({one["reason"] for of in groups for one in of["cases"] if "reason" in one})
    everything = {
        "description": "WAKE packets that a device must accept or refuse; see README.md beside this file",
        "schema": 1, "generator": "make_wake_vectors.py", "cases": count,
        "diffie_hellman_generator": GENERATOR, "flags": FLAGS, "reasons": {name: REASONS[name] for name in used},
        "groups": groups,
    }
    with open(path, "w", newline="\n") as file:
        file.write(json.dumps(everything, indent=1) + "\n")


main(sys.argv[1] if len(sys.argv) > 1 else HERE)
