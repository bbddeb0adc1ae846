"""Strangers who ask and are never validated: claims on channels, requests of subscribers, idle connections."""

import contextlib
import os
import re
import signal
import tempfile
import time

import wire
from rows import row
from victim import Process, Relay

ACKNOWLEDGED, ALIVE, GOODBYE = b"\x06\x41", 0x45, 0x46


def publish(sock, channel, key, seconds=2.0):
    """Claims a channel, answers, and waits for what only its publisher is told. The source ID, or none."""
    source = None
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        sock.send(bytes([wire.FILE, ALIVE]) + source if source else wire.claim(wire.FILE, channel, key))
        while answer := wire.receive(sock):
            if not answer.startswith(ACKNOWLEDGED):
                continue
            if source:
                return source  # the second acknowledgement
            source = answer[6:10]
            sock.send(bytes([wire.FILE, ALIVE]) + source)
    return None


@contextlib.contextmanager
def flood(port, rate):
    """Claims on ever new channels from 64 addresses, from a process of its own. Gives a function that says how many."""
    counted = tempfile.TemporaryFile()
    child = os.fork()
    if child == 0:
        with contextlib.suppress(BaseException):
            sockets = [wire.udp(port, f"127.0.1.{host}") for host in range(1, 65)]
            batch = wire.Batch(wire.claim(wire.FILE, 0, 7), 16)
            begin, sent = time.monotonic(), 0
            while time.monotonic() - begin < 60:
                for sock in sockets:
                    while sent > rate * (time.monotonic() - begin):
                        time.sleep(0.0001)
                    for i, claim in enumerate(batch.datagrams):
                        wire.set_channel(claim, 100000 + sent + i)
                    sent += batch.send(sock)
                    os.pwrite(counted.fileno(), sent.to_bytes(8, "little"), 0)
        os._exit(0)
    try:
        yield lambda: int.from_bytes(os.pread(counted.fileno(), 8, 0), "little")
    finally:
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)


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


@row("a forged claim costs less than 5 us of the processor", quick=False)
def cost_of_a_claim(program):
    with Relay(program) as relay:
        time.sleep(1)
        idle = relay.processor_seconds()
        time.sleep(5)
        idle = relay.processor_seconds() - idle
        with flood(relay.port, 40000) as sent:
            time.sleep(1)
            begin, first = relay.processor_seconds(), sent()
            time.sleep(5)
            cost = (relay.processor_seconds() - begin - idle) / (sent() - first) * 1e6
        dropped = relay.metric("lumo_unproved_requests_dropped_total")
    return f"{cost:.1f} us, {dropped:.0f} dropped unanswered", cost < 5


@row("a publisher comes through within 2 s while 100,000 forged claims a second come", quick=False)
def publisher_under_100000_claims(program):
    accepted = 0
    with Relay(program) as relay, flood(relay.port, 100000):
        time.sleep(1)
        for channel in range(1, 11):
            with wire.udp(relay.port, wait=0.5) as publisher:
                accepted += publish(publisher, channel, 7) is not None
    return f"{accepted} of 10 accepted", accepted == 10


def audio(program, rate):
    """What is lost of 10 s of audio with two subscribers, from its 3rd second on under so many claims a second."""
    with Relay(program) as relay, contextlib.ExitStack() as stack:
        load = stack.enter_context(Process(program, "load", "audio", "--mcu", f"127.0.0.1:{relay.port}",
                                           "--subscribers", "2", "--seconds", "10"))
        time.sleep(2)
        sent = stack.enter_context(flood(relay.port, rate))
        begin = time.monotonic()
        load.finish(40)
        came = sent() / (time.monotonic() - begin)
        found = re.search(r"arrived +(\d+) of (\d+), (\d+) lost", load.output())
    assert found, f"no figures from the load: {load.output()[-500:]}"
    return f"{found.group(3)} of {found.group(2)} frames lost under {came:.0f} claims a second", found.group(3) == "0"


@row("audio that runs loses nothing while 40,000 forged claims a second come", quick=False)
def audio_under_40000_claims(program):
    return audio(program, 40000)


@row("audio that runs loses nothing while 100,000 forged claims a second come", quick=False)
def audio_under_100000_claims(program):
    return audio(program, 100000)


def stored(directory):
    paths = (os.path.join(where, name) for where, _, names in os.walk(directory) for name in names)
    return sum(os.stat(path).st_blocks * 512 for path in paths)


def seconds_of_a_file(program, relay, directory, channel, rate):
    """How long the rest of 512 MiB takes through the relay once it runs, under so many claims a second."""
    source, out = os.path.join(directory, "source"), os.path.join(directory, channel)
    os.mkdir(out)
    with open(source, "wb") as file:
        file.truncate(512 << 20)
    where = ["--mcu", f"127.0.0.1:{relay.port}", "--path", "relay", "--quiet"]
    with Process(program, "send", source, *where, "--plain", "--channel", channel, "--receivers",
                 "1"), \
            Process(program, "receive", channel, *where, "-o", out) as receiver, contextlib.ExitStack() as stack:
        end = time.monotonic() + 20
        while stored(out) < 16 << 20:
            assert time.monotonic() < end, f"the file does not come: {receiver.output()[-500:]}"
            time.sleep(0.002)
        begin = time.monotonic()
        if rate:
            stack.enter_context(flood(relay.port, rate))
        assert receiver.finish(60) == 0, f"the file did not come: {receiver.output()[-500:]}"
        return time.monotonic() - begin


@row("a file that runs keeps half its speed while 100,000 forged claims a second come", quick=False)
def file_under_100000_claims(program):
    with Relay(program) as relay, tempfile.TemporaryDirectory() as directory:
        quiet = seconds_of_a_file(program, relay, directory, "1", 0)
        flooded = seconds_of_a_file(program, relay, directory, "2", 100000)
    return f"{quiet:.1f} s, {flooded:.1f} s under the flood", flooded <= 2 * quiet
