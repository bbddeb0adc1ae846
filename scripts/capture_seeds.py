#!/usr/bin/env python3
"""Captures seeds of the fuzz targets from a real transfer on loopback. Needs the right to capture (root).

  scripts/capture_seeds.py build/default/tools/lumo/lumo

One relay server, `lumo send` and `lumo receive` over UDP and then over TCP; what the loopback interface saw becomes
fuzz/corpus/TARGET/captured-*. IDs are random, so the datagrams' become the stand-ins that their target knows.
"""
import pathlib
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import urllib.request

CORPUS = pathlib.Path(__file__).resolve().parent.parent / "fuzz" / "corpus"
FILE_BYTES = 1500
MOST_RECORDS = 60
KIND_FILE = 6
# Code of a file datagram: the stand-ins of its first two numbers; None leaves what was captured.
STAND_INS = {
    0x39: (None, b"#chn"), 0x3A: (b"#rcv", None), 0x3B: (b"#sin", None), 0x3C: (b"#rcv", None),
    0x3D: (b"#rcv", None), 0x3E: (b"#sin", None), 0x3F: (b"#sin", None), 0x40: (None, b"#chn"),
    0x41: (b"#snd", b"#src"), 0x42: (b"#src", None), 0x43: (b"#snd", None), 0x44: (b"#snd", None),
    0x45: (b"#src", None), 0x46: (b"#src", None),
}
SESSION_AT = {0x3D: 10, 0x42: 6, 0x3E: 6, 0x43: 6}  # where the session packet begins


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
    common = ["--mcu", f"127.0.0.1:{port}", "--quiet", *options]
    receive = subprocess.Popen([lumo, "receive", channel, "-o", str(out), *common])
    subprocess.run([lumo, "send", str(source), "--channel", channel, "--receivers", "1", *common], check=True, timeout=60)
    if receive.wait(timeout=60) != 0 or (out / source.name).read_bytes() != source.read_bytes():
        raise RuntimeError("the file did not arrive")


def records(parts):
    return b"".join(struct.pack(">H", len(part)) + part for part in parts[:MOST_RECORDS])


def write(target, name, data):
    if not data:
        raise RuntimeError(f"nothing captured for {target}/{name}")
    (CORPUS / target / f"captured-{name}").write_bytes(data)
    print(f"{target}/captured-{name}: {len(data)} bytes")


def with_stand_ins(datagram):
    code = datagram[1] if len(datagram) > 1 and datagram[0] == KIND_FILE else None
    for at, name in zip((2, 6), STAND_INS.get(code, ())):
        if name and len(datagram) >= at + 4:
            datagram = datagram[:at] + name + datagram[at + 4:]
    return datagram


def write_udp(datagrams, port):
    to_server = [payload for _, target, payload in datagrams if target == port]
    to_clients = [payload for source, _, payload in datagrams if source == port]
    for name, some in (("to-server", to_server), ("to-clients", to_clients)):
        write("udp_datagram", name, records([with_stand_ins(datagram) for datagram in some]))
        packets = [d[SESSION_AT[d[1]]:] for d in some if len(d) > 1 and d[1] in SESSION_AT]
        write("session_packet", name, records(packets))


def write_tcp(segments, port):
    streams = {}
    for source, target, payload in segments:
        streams.setdefault((source, target), []).append(payload)
    frames = []
    for number, ((_, target), parts) in enumerate(sorted(streams.items())):
        side = "up" if target == port else "down"
        write("tcp_framing", f"{side}-{number}", records(parts))
        frames += messages(b"".join(parts))
    write("file_message", "transfer", records([frame for frame in frames if frame]))


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


def main():
    lumo = sys.argv[1]
    port, http = free_port(), free_port()
    capture = Capture()
    with tempfile.TemporaryDirectory() as name:
        server = subprocess.Popen([lumo, "mcu", "--listen", f"127.0.0.1:{port}", "--http", f"127.0.0.1:{http}",
                                   "--reflector-port", "off"], stdout=subprocess.DEVNULL)
        try:
            transfer(lumo, port, pathlib.Path(name))
            transfer(lumo, port, pathlib.Path(name), "--tcp")
            for page in ("", "metrics", "api/streams", "health"):
                urllib.request.urlopen(f"http://127.0.0.1:{http}/{page}", timeout=10).read()
        finally:
            server.terminate()
            server.wait(timeout=20)
            packets = capture.stop()
    write_udp(list(of_port(packets, 17, port)), port)
    write_tcp(list(of_port(packets, 6, port)), port)
    requests = [payload for _, target, payload in of_port(packets, 6, http) if target == http]
    for number, request in enumerate(requests):
        write("http_request", f"get-{number}", request)


if __name__ == "__main__":
    main()
