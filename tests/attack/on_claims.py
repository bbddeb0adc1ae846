"""Strangers who ask and never show themselves: claims on channels, requests of subscribers, idle connections."""

import contextlib
import time

import wire
from rows import row
from victim import Relay

ACKNOWLEDGED, ALIVE, GOODBYE = b"\x06\x41", 0x45, 0x46


def publish(sock, channel, key, seconds=2.0):
    """Claims a channel, answers, and waits for what only its publisher is told. The source ID, or none."""
    source = None
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if not source:
            sock.send(wire.claim(wire.FILE, channel, key))
        while answer := wire.receive(sock):
            if not answer.startswith(ACKNOWLEDGED):
                continue
            if source:
                return source  # the second acknowledgement
            source = answer[6:10]
            sock.send(bytes([wire.FILE, ALIVE]) + source)
    return None


@row("an honest publisher comes through at once, over TCP")
def forged_claim_and_tcp_publisher(program):
    accepted = 0
    with Relay(program) as relay, wire.udp(relay.port, "127.0.0.9") as forger:
        for channel in range(1, 41):
            forger.send(wire.claim(wire.FILE, channel, 7))
            with wire.tcp(relay.port) as publisher:
                publisher.sendall(wire.validation(12, channel))
                accepted += wire.receive(publisher) != b""
    return f"{accepted} of 40 accepted", accepted == 40


@row("six honest publishers, one after the other, come through two forged claims a second")
def forged_claims_and_udp_publishers(program):
    accepted = 0
    with Relay(program) as relay, wire.udp(relay.port, "127.0.0.9") as forger:
        for key in range(6):
            forger.send(wire.claim(wire.FILE, 5, 100 + key))
            with wire.udp(relay.port, wait=0.5) as publisher:
                source = publish(publisher, 5, key)
                accepted += source is not None
                if source:
                    publisher.send(bytes([wire.FILE, GOODBYE]) + source)
    return f"{accepted} of 6 accepted", accepted == 6


@row("a publisher back on a new port has its channel again after 4 s at most")
def ghost_of_a_publisher(program):
    with Relay(program) as relay, wire.udp(relay.port, wait=0.2) as before, wire.udp(relay.port, wait=0.2) as after:
        assert publish(before, 5, 7), "the first publisher was not accepted"
        begin = time.monotonic()
        publish(after, 5, 8, seconds=15)
        took = time.monotonic() - begin
    return f"{took:.1f} s", took < 4


@row("an honest subscriber of an address that 64 forged datagrams named is served")
def forged_requests_and_subscriber(program):
    with Relay(program) as relay, wire.udp(relay.port, wait=0.5) as publisher:
        assert publish(publisher, 5, 7), "the publisher was not accepted"
        with contextlib.ExitStack() as stack:
            for receiver in range(64):
                forged = stack.enter_context(wire.udp(relay.port, "127.0.0.9"))
                forged.send(wire.datagram(wire.FILE, 0x39, 1 + receiver, 5))
            honest = stack.enter_context(wire.udp(relay.port, "127.0.0.9", wait=1))
            honest.send(wire.datagram(wire.FILE, 0x39, 1000, 5))
            served = wire.receive(honest) != b""
    return "served" if served else "not served", served


@row("an honest client of an address with 64 idle connections is served")
def idle_connections_and_client(program):
    with Relay(program) as relay, contextlib.ExitStack() as stack:
        for _ in range(64):
            stack.enter_context(wire.tcp(relay.port))
        publisher = stack.enter_context(wire.tcp(relay.port))
        publisher.sendall(wire.validation(12, 5))
        served = wire.receive(publisher) != b""
    return "served" if served else "not served", served
