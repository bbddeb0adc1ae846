"""A client that serves peers itself: strangers subscribe straight at its host."""

import contextlib
import pathlib
import re
import socket
import struct
import tempfile
import time

import wire
from rows import row
from victim import Process, Relay

CONNECT = {wire.FILE: 0x39, wire.AUDIO: 0x00}


def endpoint(process):
    """The UDP port of a program's local MCU."""
    own = {link.stat().st_ino for link in pathlib.Path(f"/proc/{process.pid()}/fd").iterdir() if link.is_socket()}
    for line in pathlib.Path("/proc/net/udp").read_text(encoding="ascii").splitlines()[1:]:
        fields = line.split()
        if int(fields[9]) in own:
            return int(fields[1].split(":")[1], 16)
    raise AssertionError("no endpoint")


class Strangers:
    """Forged addresses 127.x.y.z behind one socket, which hears what goes to any of them."""

    def __init__(self, port):
        self._far = ("127.0.0.1", port)
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        with contextlib.suppress(PermissionError):
            self.socket.setsockopt(socket.SOL_SOCKET, 33, 1 << 27)  # 33: SO_RCVBUFFORCE
        self.socket.bind(("0.0.0.0", 0))
        self.socket.setblocking(False)
        self.sent = self.heard = 0  # bytes with their headers

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, host, data):
        source = struct.pack("=I4s4s", 0, socket.inet_aton(host), bytes(4))
        self.socket.sendmsg([data], [(socket.IPPROTO_IP, 8, source)], 0, self._far)  # 8: IP_PKTINFO
        self.sent += len(data) + 28

    def listen(self, seconds=0.0):
        """The datagrams that come meanwhile."""
        end = time.monotonic() + seconds
        while True:
            try:
                data = self.socket.recv(65536)
            except BlockingIOError:
                if time.monotonic() >= end:
                    return
                time.sleep(0.001)
                continue
            self.heard += len(data) + 28
            yield data

    def hear(self, seconds=0.0):
        for _ in self.listen(seconds):
            pass


def host(number):
    return f"127.1.{number // 250}.{number % 250 + 1}"


@contextlib.contextmanager
def sending(program, mebibytes, *options):
    """`lumo send` to peers only, while one honest receiver fetches; gives the sender, its port, the receiver."""
    with tempfile.TemporaryDirectory() as folder, Relay(program) as relay:
        mcu = ("--mcu", f"127.0.0.1:{relay.port}", "--path", "p2p")
        file = pathlib.Path(folder) / "file"
        with open(file, "wb") as big:
            big.truncate(mebibytes << 20)
        with Process(program, "send", *mcu, "--channel", "77", "--keep", "--plain", *options, str(file)) as sender:
            sender.wait_for("lumo receive lumo://")
            time.sleep(0.5)
            out = pathlib.Path(folder) / "out"
            out.mkdir()
            yield sender, endpoint(sender), lambda: Process(program, "receive", *mcu, "-o", str(out), "77")


@row("under 150 MiB, and the honest receiver has its file", quick=False)
def forged_receivers_and_memory(program):
    with sending(program, 100) as (sender, port, receiver), Strangers(port) as strangers:
        for one in range(200):
            strangers.send(host(one), wire.datagram(wire.FILE, CONNECT[wire.FILE], 1000 + one, 78))
        most = 0.0
        with receiver() as honest:
            end = time.monotonic() + 60
            while honest.finish(0.01) is None and time.monotonic() < end:
                strangers.hear()
                most = max(most, sender.memory_mib())
            done = honest.finish(1) == 0
    return f"{most:.0f} MiB, file {'fetched' if done else 'missing'}", done and most < 150


@row("at most 16 bytes for one, headers included", quick=False)
def amplification_of_forged_receivers(program):
    with sending(program, 400, "--rate", "20M") as (sender, port, receiver), receiver() as honest:
        honest.wait_for("path: direct")
        with Strangers(port) as strangers:
            for one in range(9990):
                strangers.send(host(one), wire.datagram(wire.FILE, CONNECT[wire.FILE], 1000 + one, 78))
                if one % 20 == 0:
                    strangers.hear()
            strangers.hear(10)
            most = sender.memory_mib()
            factor = strangers.heard / strangers.sent
            return (f"{strangers.heard / 1e6:.2f} MB for {strangers.sent / 1e6:.2f} MB, {factor:.1f} for one; "
                    f"{most:.0f} MiB"), factor <= 16


def ogg_page(packets, granule, sequence, first=False):
    lacing = b"".join(bytes([len(packet)]) for packet in packets)
    page = bytearray(struct.pack("<4sBBqIIIB", b"OggS", 0, 2 if first else 0, granule, 1, sequence, 0, len(packets)))
    page += lacing + b"".join(packets)
    crc = 0
    for byte in page:
        crc ^= byte << 24
        for _ in range(8):
            crc = (crc << 1) ^ (0x04C11DB7 if crc & 0x80000000 else 0)
        crc &= 0xFFFFFFFF
    page[22:26] = struct.pack("<I", crc)
    return bytes(page)


def silence(seconds):
    """An Ogg Opus file of 50 packets a second."""
    head = b"OpusHead" + struct.pack("<BBHIhB", 1, 1, 0, 48000, 0, 0)
    tags = b"OpusTags" + struct.pack("<I", 1) + b"x" + struct.pack("<I", 0)
    pages = [ogg_page([head], 0, 0, first=True), ogg_page([tags], 0, 1)]
    pages += [ogg_page([b"\xf8" + bytes(40)] * 50, 48000 * (one + 1), one + 2) for one in range(seconds)]
    return b"".join(pages)


@row("the honest one hears 95 of a hundred of what is said in that time", quick=False)
def started_strangers_at_an_audio_publisher(program):
    with tempfile.TemporaryDirectory() as folder, Relay(program) as relay:
        sound = pathlib.Path(folder) / "sound.ogg"
        sound.write_bytes(silence(90))
        mcu = ("--mcu", f"127.0.0.1:{relay.port}")
        with Process(program, "publish", "audio", *mcu, "--channel", "77", "--peers", "--plain",
                     str(sound)) as publisher:
            publisher.wait_for("lumo subscribe lumo://")
            time.sleep(0.5)
            with Strangers(endpoint(publisher)) as strangers:
                started = start_listeners(strangers, 9900)
                strangers.hear(2)
                with Process(program, "subscribe", "audio", *mcu, "--path", "p2p", "--seconds", "10", "-o",
                             f"{folder}/heard.ogg", "77") as honest:
                    found = None
                    while not found and honest.is_running():
                        strangers.hear(0.1)
                    found = honest.wait_for(r"(\d+) packets, .*? ([\d.]+) % lost", 1)
    heard = int(found.group(1)) / 5  # of 50 packets in each of 10 s
    return f"{started} started; {heard:.0f} of a hundred heard, told as {found.group(2)} % lost", heard >= 95


def start_listeners(strangers, count):
    """As many listeners at hundred addresses, of which each waits for its acknowledgement."""
    started = 0
    for one in range(count):
        strangers.send(host(one % 100), wire.datagram(wire.AUDIO, CONNECT[wire.AUDIO], 1000 + one, 77, 0))
        for data in strangers.listen(0.02 if one % 20 == 19 else 0):
            if data[:2] != b"\x00\x01":
                continue
            receiver, sink = struct.unpack(">II", data[2:10])
            strangers.send(host((receiver - 1000) % 100), wire.datagram(wire.AUDIO, 4, sink))
            started += 1
    return started // 2  # every acknowledgement comes twice


@row("under 300 MiB", quick=False)
def frames_without_an_end_at_a_sender(program):
    with sending(program, 1) as (sender, port, _):
        begin, piece = 4, bytes(60000)
        for one in range(25):
            with wire.udp(port, source=host(one), wait=0.5) as sink:
                sink.send(wire.datagram(wire.FILE, CONNECT[wire.FILE], 1000 + one, 78))
                answer = wire.receive(sink)
                number = answer[6:10]
                for sequence in range(1080):  # just under 64 MiB
                    packet = struct.pack(">HBB", sequence, 0, begin if sequence == 0 else 0) + bytes(8)
                    sink.send(b"\x06\x3e" + number + packet + piece)
                    wire.receive(sink)
        most = sender.memory_mib()
    return f"{most:.0f} MiB", most < 300
