#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""snmp_client.py ADDRESS:PORT TABLE NAME VALUE: what a manager's script in Python does. It sets the object
NAME to VALUE, reads it again, and walks the table, in steps of one object and of 25; prints all of it."""
import sys

from pysnmp.hlapi import (CommunityData, ContextData, ObjectIdentity, ObjectType, OctetString, SnmpEngine,
                          UdpTransportTarget, bulkCmd, getCmd, nextCmd, setCmd)

ROWS_OF_SMALL_WALK = 20


def rows(answers):
    """The (object, value) pairs of all answers; the first error ends the program."""
    for error, status, index, pairs in answers:
        if error or status:
            sys.exit(f"{error or status.prettyPrint()} at {index}")
        yield from ((str(name), value.prettyPrint()) for name, value in pairs)


def main():
    engine = SnmpEngine()
    (host, port), table, name, value = sys.argv[1].rsplit(":", 1), *sys.argv[2:]
    def ask(command, *arguments, **options):
        target = UdpTransportTarget((host, int(port)), timeout=4, retries=1)
        return rows(command(engine, CommunityData("public"), target, ContextData(), *arguments, lookupMib=False,
                            **options))

    chosen = ObjectIdentity(name)
    walked = ObjectType(ObjectIdentity(table))
    print("set", *ask(setCmd, ObjectType(chosen, OctetString(value))))
    print("get", *ask(getCmd, ObjectType(chosen)))
    for row in ask(nextCmd, walked, maxRows=ROWS_OF_SMALL_WALK):
        print("next", *row)
    for row in ask(bulkCmd, 0, 25, walked, lexicographicMode=False):
        print("bulk", *row)


main()
