# SPDX-License-Identifier: MIT
"""notify_socket.py NAME: a service manager's socket. Prints a line when it is there, and one for each
datagram. NAME is a path, or a name of the abstract kind behind an @."""
import socket
import sys

name = sys.argv[1]
server = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
server.bind("\0" + name[1:] if name.startswith("@") else name)
print("listening", flush=True)
while True:
    print(server.recv(4096).decode(), flush=True)
