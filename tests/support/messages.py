"""Messages as the switch carries them, put together and taken off a socket."""

import os
import socket
import struct

ADAPTER, STARTUP, VOLUME_MANAGER, EVENTLOG = 33, 18, 20, 27
SES = 0x12000000
RECEIVE_DIAGNOSTIC, SEND_DIAGNOSTIC = SES | 28, SES | 29


def message(requestor, opcode, body=b"", handle=0, recipients=(ADAPTER,), flags=0, dest=0, length=None):
    """`opcode`: protocol and type. `length`: announced, whatever there is; the rest is cut off or filled with zeros."""
    bits = sum(1 << recipient for recipient in recipients)
    length = 64 + len(body) if length is None else length
    head = struct.pack(">8xBBHIBBBxII", 14, 1, length, opcode, requestor, flags, dest, bits & 0xFFFFFFFF, bits >> 32)
    return (head + bytes(12) + struct.pack(">I", handle) + bytes(20) + body)[:max(length, 12)].ljust(length, b"\0")


def connect(directory, name):
    """A connection to one of the switch's sockets."""
    there = socket.socket(socket.AF_UNIX)
    there.connect(os.path.join(directory, name))
    return there


def word(whole, at):
    return struct.unpack_from(">I", whole, at)[0]


def take(there, count):
    data = b""
    while len(data) < count:
        piece = there.recv(count - len(data))
        if not piece:
            raise EOFError
        data += piece
    return data


def receive(there):
    """The next message."""
    head = take(there, 64)
    return head + take(there, struct.unpack_from(">H", head, 10)[0] - 64)
