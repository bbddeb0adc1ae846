#!/usr/bin/env python3
"""Captures seeds of the fuzz targets from real transfers on loopback. Needs the right to capture (root).

  scripts/capture_seeds.py build/default/tools/lumo/lumo

One relay server; a file, a second of the sample of audio and one of that of video, each over UDP and then over TCP.
What the loopback interface saw becomes fuzz/corpus/TARGET/captured-*. IDs are random, so the datagrams' become the
stand-ins that the target of media knows.
"""
import pathlib
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent
CORPUS = ROOT / "fuzz" / "corpus"
FILE_BYTES = 1500
MOST_RECORDS, MOST_BYTES = 60, 32000
KINDS = {"audio": 0, "video": 1, "file": 6}
# Code of a datagram of each kind: the stand-ins of its first two numbers, where None leaves what was captured, and its
# length, if it has but one.
COMMANDS = {
    "audio": {
        0x00: (None, b"#chn"), 0x01: (b"#rcv", None, 10), 0x02: (b"#rcv",), 0x04: (b"#sin", None, 6),
        0x05: (b"#rcv", None, 10), 0x06: (b"#sin", None, 6), 0x07: (b"#rcv", None, 10), 0x08: (b"#sin", None, 6),
        0x12: (b"#chn", None, 10), 0x13: (b"#snd", b"#src", 14), 0x14: (b"#snd", None, 10),
        0x15: (b"#src", None, 6), 0x16: (b"#snd", None, 6), 0x17: (b"#src", None, 6), 0x18: (b"#src", None, 6),
        0x19: (b"#src",),
    },
    "video": {
        0x09: (None, b"#chn"), 0x0A: (b"#rcv", None, 10), 0x0B: (b"#sin", None, 6), 0x0C: (b"#rcv", None, 10),
        0x0D: (b"#sin", None, 6), 0x0E: (b"#rcv", None, 10), 0x0F: (b"#rcv",), 0x10: (b"#sin",),
        0x11: (b"#sin", None, 6), 0x1B: (b"#chn", None, 10), 0x1C: (b"#snd", b"#src", 14),
        0x1D: (b"#snd", None, 10), 0x1E: (b"#src", None, 6), 0x1F: (b"#snd", None, 6), 0x20: (b"#src", None, 6),
        0x21: (b"#src",), 0x22: (b"#snd",), 0x23: (b"#src", None, 6),
    },
    "file": {
        0x39: (None, b"#chn"), 0x3A: (b"#rcv", None, 10), 0x3B: (b"#sin", None, 6), 0x3C: (b"#rcv", None, 10),
        0x3D: (b"#rcv",), 0x3E: (b"#sin",), 0x3F: (b"#sin", None, 6), 0x40: (None, b"#chn", 10),
        0x41: (b"#snd", b"#src", 14), 0x42: (b"#src",), 0x43: (b"#snd",), 0x44: (b"#snd", None, 6),
        0x45: (b"#src", None, 6), 0x46: (b"#src", None, 6),
    },
}
SESSION_AT = {  # where the session packet begins
    "audio": {}, "video": {0x0F: 10, 0x21: 6, 0x10: 6, 0x22: 6}, "file": {0x3D: 10, 0x42: 6, 0x3E: 6, 0x43: 6},
}


class Capture(threading.Thread):
    """IPv4 packets of the loopback interface, in order, until stopped."""

    def __init__(self):
        super().__init__(daemon=True)
        self.socket = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(0x0800))
        self.socket.bind(("lo", 0))
        self.socket.settimeout(0.2)
        self.packets = []
        self.ended = threading.Event()
        self.start()

    def run(self):
        while not self.ended.is_set():
            try:
                data, address = self.socket.recvfrom(1 << 18)
            except socket.timeout:
                continue
            if address[2] != socket.PACKET_OUTGOING:  # loopback shows each twice
                self.packets.append(data)

    def stop(self):
        self.ended.set()
        self.join()
        return self.packets


def of_port(packets, protocol, port):
    """(source port, destination port, payload) of what went to or from a port."""
    for packet in packets:
        head = (packet[0] & 15) * 4
        if packet[9] != protocol:
            continue
        packet = packet[:struct.unpack(">H", packet[2:4])[0]]
        source, target = struct.unpack(">HH", packet[head:head + 4])
        payload = packet[head + 8:] if protocol == 17 else packet[head + (packet[head + 12] >> 4) * 4:]
        if port in (source, target) and payload:
            yield source, target, payload


def transfer(lumo, port, folder, *options):
    """One file through the server, whole or an exception."""
    channel = "4711"
    source = folder / "seed.txt"
    source.write_bytes(bytes(i * 7 % 251 for i in range(FILE_BYTES)))
    out = folder / f"out{len(list(folder.iterdir()))}"
    out.mkdir()
    common = ["--mcu", f"127.0.0.1:{port}", "--path", "relay", "--quiet", *options]
    receive = subprocess.Popen([lumo, "receive", channel, "-o", str(out), *common])
    subprocess.run([lumo, "send", str(source), "--plain", "--channel", channel, "--receivers", "1", *common], check=True,
                   timeout=60)
    if receive.wait(timeout=60) != 0 or (out / source.name).read_bytes() != source.read_bytes():
        raise RuntimeError("the file did not arrive")


def stream(lumo, port, folder, medium, *options):
    """A second of a sample through the server, or an exception."""
    channel = str(4712 + KINDS[medium])
    sample = ROOT / "assets" / {"audio": "sample.opus", "video": "sample.h264"}[medium]
    out = folder / f"out{len(list(folder.iterdir()))}"
    common = ["--mcu", f"127.0.0.1:{port}", "--quiet", *options]
    publish = subprocess.Popen([lumo, "publish", medium, str(sample), "--loop", "--plain", "--channel", channel,
                                *common])
    try:
        subprocess.run([lumo, "subscribe", medium, channel, "--path", "relay", "--seconds", "1", "-o", str(out),
                        *common], check=True, timeout=60)
    finally:
        publish.send_signal(signal.SIGINT)
        publish.wait(timeout=20)
    if out.stat().st_size == 0:
        raise RuntimeError(f"the {medium} did not arrive")


def records(parts, most=MOST_RECORDS):
    data = b""
    for part in parts[:most]:
        if len(data) + len(part) > MOST_BYTES:
            break
        data += struct.pack(">H", len(part)) + part
    return data


def write(target, name, data):
    if not data:
        raise RuntimeError(f"nothing captured for {target}/{name}")
    (CORPUS / target / f"captured-{name}").write_bytes(data)
    print(f"{target}/captured-{name}: {len(data)} bytes")


def with_stand_ins(datagram, medium):
    for at, name in zip((2, 6), COMMANDS[medium].get(datagram[1], ())[:2]):
        if name and len(datagram) >= at + 4:
            datagram = datagram[:at] + name + datagram[at + 4:]
    return datagram


def pieces(datagram, medium):
    """Loopback may show a run of datagrams of one length, and a shorter one behind them, as one."""
    rest = []
    command = COMMANDS[medium].get(datagram[1], ())
    if len(command) == 3 and len(datagram) > command[2] + 1:
        rest = pieces(datagram[command[2]:], medium)
        datagram = datagram[:command[2]]
    for step in range(6, len(datagram)):  # those of one length begin alike, with command and ID
        if all(datagram.startswith(datagram[:6], at) for at in range(step, len(datagram), step)):
            return [datagram[at:at + step] for at in range(0, len(datagram), step)] + rest
    return [datagram] + rest


def of_medium(datagrams, medium):
    return [piece for datagram in datagrams if len(datagram) > 1 and datagram[0] == KINDS[medium]
            for piece in pieces(datagram, medium)]


def write_udp(datagrams, port, medium):
    to_server = [payload for _, to, payload in datagrams if to == port]
    to_clients = [payload for source, _, payload in datagrams if source == port]
    for name, some in (("to-server", to_server), ("to-clients", to_clients)):
        some = of_medium(some, medium)
        parts = [with_stand_ins(datagram, medium) for datagram in some]
        if medium == "file":  # nobody asks for its frames: the application writes one after each datagram
            parts = [part for datagram in parts for part in (datagram, b"wframe")]
        write("medium_dispatch", f"{medium}-{name}", records(parts, 2 * MOST_RECORDS))
        packets = [d[SESSION_AT[medium][d[1]]:] for d in some if d[1] in SESSION_AT[medium]]
        if packets:
            write("session_packet", name if medium == "file" else f"{medium}-{name}", records(packets))


def write_tcp(segments, port, prefix=""):
    """Every stream as it came; gives the frames."""
    streams = {}
    for source, target, payload in segments:
        streams.setdefault((source, target), []).append(payload)
    frames = []
    for side in ("up", "down"):
        for number, parts in enumerate(parts for (_, to), parts in streams.items() if (to == port) == (side == "up")):
            write("tcp_framing", f"{prefix}{side}-{number}", records(parts))
            frames += messages(b"".join(parts))
    return [frame for frame in frames if frame]


def messages(stream):
    """The frames of a stream of length, kind and body."""
    while len(stream) >= 5:
        length, kind = struct.unpack(">IB", stream[:5])
        if kind == 0:
            yield stream[5:5 + length]
        stream = stream[5 + length:]


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def captured(work):
    capture = Capture()
    try:
        work()
    finally:
        packets = capture.stop()
    return packets


def main():
    lumo = sys.argv[1]
    port, http = free_port(), free_port()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        server = subprocess.Popen([lumo, "mcu", "--listen", f"127.0.0.1:{port}", "--http", f"127.0.0.1:{http}",
                                   "--reflector-port", "off"], stdout=subprocess.DEVNULL)

        def files():
            transfer(lumo, port, folder)
            transfer(lumo, port, folder, "--tcp")
            for page in ("", "metrics", "api/streams", "health"):
                urllib.request.urlopen(f"http://127.0.0.1:{http}/{page}", timeout=10).read()

        def streams(medium):
            stream(lumo, port, folder, medium)
            stream(lumo, port, folder, medium, "--tcp")

        try:
            packets = captured(files)
            of_streams = {medium: captured(lambda: streams(medium)) for medium in ("audio", "video")}
        finally:
            server.terminate()
            server.wait(timeout=20)
    write_udp(list(of_port(packets, 17, port)), port, "file")
    write("file_message", "transfer", records(write_tcp(of_port(packets, 6, port), port)))
    for medium, some in of_streams.items():
        write_udp(list(of_port(some, 17, port)), port, medium)
        write_tcp(of_port(some, 6, port), port, f"{medium}-")
    requests = [payload for _, target, payload in of_port(packets, 6, http) if target == http]
    for number, request in enumerate(requests):
        write("http_request", f"get-{number}", request)


if __name__ == "__main__":
    main()
