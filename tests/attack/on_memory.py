"""Memory and time that waiting bytes cost: readers that do not read, frames that do not end."""

import contextlib
import threading
import time

import wire
from rows import row
from victim import Relay

KIB64 = bytes(65536)


def publisher(stack, relay, channel, source="127.0.0.1"):
    one = stack.enter_context(wire.tcp(relay.port, source))
    one.sendall(wire.validation(12, channel))
    assert wire.receive(one), f"no publisher of channel {channel}"
    return one


def reader(stack, relay, channel, source="127.0.0.1"):
    """A subscriber with a small receive buffer."""
    one = stack.enter_context(wire.tcp(relay.port, source, buffer=4096))
    one.sendall(wire.validation(13, channel, 0, 0, 0))
    assert wire.receive(one), f"no subscriber of channel {channel}"
    return one


def beside_silent_readers(program, readers, megabytes):
    """Seconds that a transfer takes while a channel with so many silent readers is filled."""
    with Relay(program) as relay, contextlib.ExitStack() as stack:
        flood, honest = publisher(stack, relay, 1), publisher(stack, relay, 2)
        for _ in range(readers):
            reader(stack, relay, 1)
        takes = stack.enter_context(wire.tcp(relay.port, wait=30))
        takes.sendall(wire.validation(13, 2, 0, 0, 0))
        assert wire.receive(takes)
        done = threading.Event()

        def fill():
            with contextlib.suppress(OSError):
                while not done.is_set():
                    flood.sendall(wire.message(KIB64))

        frames = megabytes * 16
        threads = [threading.Thread(target=fill),
                   threading.Thread(target=lambda: [honest.sendall(wire.message(KIB64)) for _ in range(frames)])]
        begin = time.monotonic()
        for thread in threads:
            thread.start()
        left = frames * len(wire.message(KIB64))
        while left > 0 and (came := wire.receive(takes)):
            left -= len(came)
        took = time.monotonic() - begin
        done.set()
        flood.shutdown(2)
        for thread in threads:
            thread.join()
        return took, left <= 0, relay.memory_mib()


@row("a transfer of 20 MB on another channel takes 6 s at most", quick=False)
def five_hundred_silent_readers(program):
    took, whole, memory = beside_silent_readers(program, 500, 20)
    return f"{took:.1f} s, {memory:.0f} MiB", whole and took < 6


@row("a transfer of 5 MB on another channel takes 3 s at most")
def a_hundred_silent_readers(program):
    took, whole, memory = beside_silent_readers(program, 100, 5)
    return f"{took:.1f} s, {memory:.0f} MiB", whole and took < 3


BUDGET = 64  # MiB, of which a half is for what waits, and a half for what is not whole
FIXED = 48   # MiB: what the program occupies besides


def small_relay(program, budget=BUDGET):
    return Relay(program, "--max-memory", f"{budget}MiB")


def host(number):
    """Another host's address: what an address may have is not what these rows are about."""
    return f"127.0.{1 + number // 200}.{1 + number % 200}"


def highest_memory(relay, rounds, work):
    """The most that the program occupies while `work` is called so often, and a second longer."""
    most, end = 0, time.monotonic() + 30
    for _ in range(rounds):
        work()
        most = max(most, relay.memory_mib())
        assert time.monotonic() < end, "the attack itself takes too long"
    for _ in range(20):
        time.sleep(0.05)
        most = max(most, relay.memory_mib())
    return most


def memory_after(relay, bound, seconds=8):
    """What it occupies once it is below the bound, or that time is over."""
    end = time.monotonic() + seconds
    while relay.memory_mib() > bound and time.monotonic() < end:
        time.sleep(0.2)
    return relay.memory_mib()


def verdict(relay, most):
    after = memory_after(relay, FIXED)
    return (f"{most:.0f} MiB at most, {after:.0f} MiB after they left", most < BUDGET + FIXED and after < FIXED)


@row(f"with a budget of {BUDGET} MiB at most {BUDGET + FIXED} MiB, and at most {FIXED} when they are gone")
def slow_tcp_subscribers(program):
    """Of as many publishers, so that nothing is shared; each has up to 32 MiB waiting."""
    with small_relay(program) as relay:
        with contextlib.ExitStack() as stack:
            pairs = []
            for channel in range(1, 21):
                pairs.append(publisher(stack, relay, channel, host(channel)))
                reader(stack, relay, channel, host(channel))
                pairs[-1].settimeout(2)
            frame = wire.message(bytes(2 << 20))

            def fill():
                for one in pairs:
                    with contextlib.suppress(OSError):
                        one.sendall(frame)

            most = highest_memory(relay, 12, fill)
        return verdict(relay, most)


@row(f"with a budget of {BUDGET} MiB at most {BUDGET + FIXED} MiB, and at most {FIXED} when they are gone")
def unfinished_tcp_frames(program):
    with small_relay(program) as relay:
        with contextlib.ExitStack() as stack:
            ones = [publisher(stack, relay, channel, host(channel)) for channel in range(1, 31)]
            for one in ones:
                one.settimeout(2)
                one.sendall(wire.words(64 << 20) + b"\x00")
            piece = bytes(1 << 20)

            def fill():
                for one in ones:
                    with contextlib.suppress(OSError):
                        one.sendall(piece)

            most = highest_memory(relay, 20, fill)
        return verdict(relay, most)


def session_packet(sequence, payload, begin=False, end=False):
    return bytes([sequence >> 8, sequence & 255, 0, begin << 2 | end << 1]) + bytes(8) + payload


def udp_source(stack, relay, channel, source):
    """A validated publisher: its socket and source ID."""
    one = stack.enter_context(wire.udp(relay.port, source, wait=2))
    one.send(wire.claim(wire.FILE, channel, 7))
    answer = wire.receive(one)
    assert answer[:2] == bytes([wire.FILE, 0x41]), f"no source of channel {channel}"
    number = answer[6:10]
    one.send(bytes([wire.FILE, 0x45]) + number)
    one.settimeout(0.1)
    return one, number


def send_until_answered(one, packet):
    """False when no answer comes: the publisher has given way."""
    for _ in range(5):
        one.send(packet)
        while answer := wire.receive(one):
            if answer[1] == 0x43 and answer[6:8] == packet[6:8]:
                return True
    return False


@row(f"with a budget of {BUDGET} MiB at most {BUDGET + FIXED} MiB, and at most {FIXED} after a while")
def unfinished_udp_frames(program):
    with small_relay(program) as relay:
        with contextlib.ExitStack() as stack:
            ones = [udp_source(stack, relay, channel, host(channel)) for channel in range(1, 26)]
            left, payload, at = list(ones), bytes(60000), [0]

            def sends(one, number):
                packet = session_packet(at[0], payload, begin=at[0] == 0)
                return send_until_answered(one, bytes([wire.FILE, 0x42]) + number + packet)

            def fill():
                left[:] = [one for one in left if sends(*one)]
                at[0] += 1

            most = highest_memory(relay, 120, fill)
            assert relay.metric("lumo_memory_gave_way_total") > 0, "the attack was too weak"
            for one, number in ones:
                one.send(bytes([wire.FILE, 0x46]) + number)
        return verdict(relay, most)


@row(f"with a budget of {BUDGET} MiB at most {BUDGET + FIXED} MiB, and at most {FIXED} after a while")
def large_frames_to_udp_subscribers(program):
    """Each has one frame of 1 MB in its session and one before it, and acknowledges nothing."""
    with small_relay(program) as relay:
        with contextlib.ExitStack() as stack:
            source = publisher(stack, relay, 1)
            subscribers = []
            for number in range(300):
                one = stack.enter_context(wire.udp(relay.port, host(number), wait=2))
                one.send(wire.datagram(wire.FILE, 0x39, 100 + number, 1))
                answer = wire.receive(one)
                assert answer[:2] == bytes([wire.FILE, 0x3A]), f"no subscriber {number}"
                one.send(bytes([wire.FILE, 0x3B]) + answer[6:10])
                subscribers.append((one, answer[6:10]))
            frame = wire.message(bytes(1_000_000))

            def fill():
                source.sendall(frame)
                time.sleep(0.3)

            most = highest_memory(relay, 4, fill)
            for one, number in subscribers:
                one.send(bytes([wire.FILE, 0x3F]) + number)
        return verdict(relay, most)


@row("who takes nothing for 10 s is dropped, who reads slowly stays", quick=False)
def a_subscriber_that_takes_nothing(program):
    with Relay(program) as relay, contextlib.ExitStack() as stack:
        source = publisher(stack, relay, 1)
        reader(stack, relay, 1)
        slow = reader(stack, relay, 1)
        for _ in range(200):
            source.sendall(wire.message(KIB64))
        begin = time.monotonic()
        while relay.metric("lumo_sinks") > 1 and time.monotonic() < begin + 20:
            slow.recv(2000)
            time.sleep(0.5)
        took = time.monotonic() - begin
        for _ in range(10):
            slow.recv(2000)
            time.sleep(0.5)
        left = relay.metric("lumo_sinks")
    return f"dropped after {took:.0f} s, {left:.0f} left", 9 < took < 15 and left == 1
