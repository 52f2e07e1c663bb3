# SPDX-License-Identifier: MIT
"""SNMPv2c messages, as a management station and an agent send them."""

GET, RESPONSE = 0xA0, 0xA2
SYS_DESCR, SYS_NAME = "1.3.6.1.2.1.1.1.0", "1.3.6.1.2.1.1.5.0"


def tlv(tag, value):
    size = len(value)
    length = bytes([size]) if size < 128 else bytes([0x81, size]) if size < 256 else b"\x82" + size.to_bytes(2, "big")
    return bytes([tag]) + length + value


def integer(value):
    return tlv(2, value.to_bytes(value.bit_length() // 8 + 1, "big"))


def oid(text):
    first, second, *rest = (int(part) for part in text.split("."))
    out = bytes([first * 40 + second])
    for part in rest:
        groups = [part & 127]
        while part := part >> 7:
            groups.insert(0, part & 127 | 128)
        out += bytes(groups)
    return tlv(6, out)


def message(kind, request_id, name, value=None):
    """A request for, or a response with, one variable."""
    binding = tlv(0x30, oid(name) + (tlv(5, b"") if value is None else tlv(4, value)))
    pdu = tlv(kind, integer(request_id) + integer(0) + integer(0) + tlv(0x30, binding))
    return tlv(0x30, integer(1) + tlv(4, b"public") + pdu)
