"""Datagrams and messages as a stranger makes them, and the sockets that carry them."""

import ctypes
import socket
import struct

FILE, AUDIO, VIDEO, DESKTOP, BOARD = 6, 0, 1, 5, 4

# Code of a publisher's connect request and its acknowledgement, of a subscriber's, and TCP types of both.
CODES = {
    FILE: {"claim": 0x40, "claimed": 0x41, "subscribe": 0x39, "subscribed": 0x3A, "publisher": 12, "subscriber": 13},
    DESKTOP: {"claim": 0x32, "claimed": 0x33, "publisher": 10, "subscriber": 11},
    AUDIO: {"claim": 0x12, "claimed": 0x13, "publisher": 2, "subscriber": 3},
    VIDEO: {"claim": 0x1B, "claimed": 0x1C, "publisher": 7, "subscriber": 8},
}


def words(*values):
    return struct.pack(f">{len(values)}I", *values)


def datagram(kind, code, *values):
    return bytes([kind, code]) + words(*values)


def claim(kind, channel, key):
    """A publisher's connect request."""
    return datagram(kind, CODES[kind]["claim"], channel, key)


def message(body, validation=False):
    """One message over TCP."""
    return words(len(body)) + (b"\x01" if validation else b"\x00") + body


def validation(service, *payload):
    return message(words(service, 4 * len(payload)) + words(*payload), validation=True)


def udp(port, source="127.0.0.1", wait=0.0):
    """A socket whose far side is the program under attack. It gives up after `wait` seconds; 0: at once."""
    one = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    one.bind((source, 0))
    one.connect(("127.0.0.1", port))
    one.settimeout(wait)
    return one


def tcp(port, source="127.0.0.1", wait=10.0, buffer=0):
    one = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    if buffer:
        one.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, buffer)
    one.bind((source, 0))
    one.settimeout(wait)
    one.connect(("127.0.0.1", port))
    return one


def receive(sock):
    """The next datagram or bytes; empty when none comes in time."""
    try:
        return sock.recv(65536)
    except (BlockingIOError, TimeoutError, ConnectionError):
        return b""


class Batch:
    """Claims of one size that leave by one call of the kernel: whoever floods from elsewhere must not cost much here."""

    class _Piece(ctypes.Structure):
        _fields_ = [("base", ctypes.c_void_p), ("length", ctypes.c_size_t)]

    class _Message(ctypes.Structure):  # the kernel's msghdr, and how much of it was sent
        _fields_ = [("name", ctypes.c_void_p), ("name_length", ctypes.c_uint32), ("pieces", ctypes.c_void_p),
                    ("count", ctypes.c_size_t), ("control", ctypes.c_void_p), ("control_length", ctypes.c_size_t),
                    ("flags", ctypes.c_size_t), ("sent", ctypes.c_size_t)]

    def __init__(self, claimed, count):
        self.datagrams = [ctypes.create_string_buffer(claimed, len(claimed)) for _ in range(count)]
        self._pieces = (self._Piece * count)(*((ctypes.addressof(one), len(claimed)) for one in self.datagrams))
        self._messages = (self._Message * count)()
        for i, sent in enumerate(self._messages):
            sent.pieces, sent.count = ctypes.addressof(self._pieces) + i * ctypes.sizeof(self._Piece), 1
        self._sendmmsg = ctypes.CDLL(None).sendmmsg

    def send(self, sock):
        return max(self._sendmmsg(sock.fileno(), self._messages, len(self._messages), 0), 0)


def set_channel(claimed, channel):
    struct.pack_into(">I", claimed, 2, channel)
