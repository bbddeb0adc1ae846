"""One address takes what all need: users, boards, channels, connections, board memory. And what floods cost others."""

import socket
import struct
import time

import wire
from rows import row
from victim import Relay

GREEDY, HONEST = "127.0.0.66", "127.0.0.9"
SIGNALLING, BOARD_TCP = 100, 9
FILE_VALIDATION, BOARD_CONNECT, BOARD_VALIDATION = 0x45, 0x24, 0x27
WB_REQUEST, WB_DATA, WB_DELETE = 2, 3, 4


def tcp_client(relay, source, service, *payload, buffer=0):
    """A connection that was taken, or none when it is refused."""
    try:
        client = wire.tcp(relay.port, source, buffer=buffer)
        client.sendall(wire.validation(service, *payload))
        if wire.receive(client):
            return client
        client.close()
    except OSError:
        pass
    return None


def close(*sockets):
    for one in filter(None, sockets):
        one.close()


def claimed(sock, channel):
    """Whether a publisher's claim was answered and it was validated."""
    sock.send(wire.claim(wire.FILE, channel, channel))
    answer = wire.receive(sock)
    while answer and (len(answer) != 14 or answer[1] != 0x41 or answer[2:6] != wire.words(channel)):
        answer = wire.receive(sock)
    if answer:
        sock.send(bytes([wire.FILE, FILE_VALIDATION]) + answer[6:10])
    return answer != b""


def boarded(sock, channel):
    """The same for one who comes to a board."""
    sock.send(wire.datagram(wire.BOARD, BOARD_CONNECT, channel, channel))
    answer = wire.receive(sock)
    while answer and (len(answer) != 10 or answer[1] != 0x25 or answer[2:6] != wire.words(channel)):
        answer = wire.receive(sock)
    if answer:
        sock.send(bytes([wire.BOARD, BOARD_VALIDATION]) + answer[6:10])
    return answer != b""


def taken_by_one(program, take):
    """How many channels of 2,000 one address gets, and whether another still gets one."""
    with Relay(program, "--max-channels", "1000") as relay:
        with wire.udp(relay.port, GREEDY, 0.3) as greedy, wire.udp(relay.port, HONEST, 1.0) as honest:
            taken = missed = 0
            for channel in range(1, 2001):
                got = take(greedy, channel)
                taken, missed = taken + got, 0 if got else missed + 1
                if missed == 3:
                    break
            comes = take(honest, 5000)
            held = int(relay.metric_when_it_reaches("lumo_channels", 257))
    return f"{held - comes} held by one, the honest one {'comes' if comes else 'gets no answer'}", held == 257 and comes


@row("256 boards of one address, then an honest one's of another")
def boards_of_one_address(program):
    return taken_by_one(program, boarded)


@row("256 validated publishers' channels of one address, then an honest one's of another")
def claims_of_one_address(program):
    return taken_by_one(program, claimed)


@row("a quarter of the descriptors for one address, then an honest client of another")
def connections_of_one_address(program):
    with Relay(program, files=400) as relay:
        taken = [tcp_client(relay, GREEDY, BOARD_TCP, 5) for _ in range(390)]
        honest = tcp_client(relay, HONEST, BOARD_TCP, 5)
        count = sum(one is not None for one in taken)
        close(*taken, honest)
    return f"{count} of 390 taken, the honest one {'too' if honest else 'not'}", count == 100 and honest is not None


def board_message(command, number, payload=b""):
    return wire.message(struct.pack("<III", command, number, 0) + payload)


def frames(client, seconds):
    """Messages of a connection until nothing comes."""
    client.settimeout(seconds)
    data = b""
    while (more := wire.receive(client)):
        data += more
    while len(data) >= 5:
        end = 5 + int.from_bytes(data[:4], "big")
        yield data[5:end]
        data = data[end:]


@row("who fills the boards is told what is not kept, and an honest stroke is")
def board_memory_of_one_address(program):
    with Relay(program, "--max-board-bytes", "4M") as relay:
        greedy, honest = tcp_client(relay, GREEDY, BOARD_TCP, 1), tcp_client(relay, HONEST, BOARD_TCP, 2)
        for number in range(600):
            greedy.sendall(board_message(WB_DATA, number, bytes(60000 if number < 100 else 0)))
        told = sum(one[:4] == struct.pack("<I", WB_DELETE) for one in frames(greedy, 1))
        honest.sendall(board_message(WB_DATA, 7, b"stroke") + board_message(WB_REQUEST, 7))
        kept = any(one[12:] == b"stroke" for one in frames(honest, 0.5))
        close(greedy, honest)
    return f"told of {told} of 600, the honest stroke is {'' if kept else 'not '}kept", told == 600 - 17 - 206 and kept


@row("64 of one address come, then an honest one of another")
def signalling_users_of_one_address(program):
    with Relay(program, "--max-signalling", "200") as relay:
        users = [tcp_client(relay, GREEDY, SIGNALLING, user) for user in range(1, 201)]
        came = sum(user is not None for user in users)
        honest = tcp_client(relay, HONEST, SIGNALLING, 1000)
        close(*users, honest)
    return f"{came} of 200 came, the honest one {'too' if honest else 'not'}", came == 64 and honest is not None


@row("the one who floods is closed; the slow reader stays, and hears the next one", quick=False)
def signalling_flood(program):
    with Relay(program) as relay:
        slow = tcp_client(relay, HONEST, SIGNALLING, 1, buffer=4096)
        flooder = tcp_client(relay, GREEDY, SIGNALLING, 2)
        end, closed = time.monotonic() + 8, False
        while not closed and time.monotonic() < end:
            try:
                flooder.sendall(wire.message(wire.words(1) + bytes(30000)))
            except OSError:
                closed = True
        later = tcp_client(relay, GREEDY, SIGNALLING, 3)
        slow.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)  # it may read as fast as it likes now
        heard = list(frames(slow, 1))
        later.sendall(wire.message(wire.words(1) + b"after the flood"))
        lives = any(one[4:] == b"after the flood" for one in frames(slow, 1))
        close(slow, flooder, later)
    ends = f"{'' if closed else 'not '}closed, the reader heard {len(heard)} and {'lives' if lives else 'was closed'}"
    return f"the flooder was {ends}", closed and lives


@row("100 lines a second of each kind, and how many were left out")
def log_lines(program):
    with Relay(program) as relay:
        begin = time.monotonic()
        for _ in range(2000):
            close(tcp_client(relay, GREEDY, BOARD_TCP, 5))
        while "left out" not in relay.output() and time.monotonic() < begin + 30:
            time.sleep(0.1)
        seconds = time.monotonic() - begin
        lines = relay.output().count("\n")
    return f"{lines} lines in {seconds:.1f} s of 2,000 connections", lines <= 110 * (seconds + 2)


@row("3 datagrams, or 1 connection, at a third party for each request to relay", quick=False)
def relay_requests_at_a_third_party(program):
    with Relay(program) as relay, wire.udp(relay.port, GREEDY) as asker:
        kinds = ((wire.FILE, 0x39, False, False), (wire.DESKTOP, 0x2B, True, False), (wire.AUDIO, 0x00, True, True),
                 (wire.VIDEO, 0x09, True, True), (wire.BOARD, 0x24, True, False))
        asked = []
        for number, (kind, code, port, user) in enumerate(kinds):
            third = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            third.bind((f"127.0.0.{71 + number}", relay.port))
            third.setblocking(False)
            request = wire.datagram(kind, code, 9, 7, (127 << 24) + 71 + number, 0, 0)
            asker.send(request + (struct.pack(">H", relay.port) if port else b"") + (wire.words(0) if user else b""))
            asked.append(third)
        listener = socket.create_server(("127.0.0.80", relay.port))
        listener.settimeout(12)
        client = wire.tcp(relay.port, GREEDY)
        client.sendall(wire.validation(13, 7, (127 << 24) + 80, 0, 0))
        dials = 0
        end = time.monotonic() + 12
        while time.monotonic() < end:
            try:
                listener.settimeout(max(0.1, end - time.monotonic()))
                listener.accept()[0].close()
                dials += 1
            except TimeoutError:
                break
        counts = []
        for third in asked:
            counts.append(0)
            while wire.receive(third):
                counts[-1] += 1
        close(listener, client, *asked)
    return f"{counts} datagrams, {dials} dials", max(counts) <= 3 and min(counts) >= 1 and dials == 1
