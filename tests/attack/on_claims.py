"""Who may publish: claims that nobody stands behind."""

import wire
from rows import row
from victim import Relay


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
