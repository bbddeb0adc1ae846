"""One address takes what all need: users, boards, channels, connections, board memory."""

import wire
from rows import row
from victim import Relay

GREEDY, HONEST = "127.0.0.66", "127.0.0.9"
SIGNALLING = 100


def signalling_user(relay, user, source):
    """A connection of that user, or none when it is refused."""
    client = wire.tcp(relay.port, source)
    client.sendall(wire.validation(SIGNALLING, user))
    if wire.receive(client):
        return client
    client.close()
    return None


@row("64 of one address come, then an honest one of another")
def signalling_users_of_one_address(program):
    with Relay(program, "--max-signalling", "200") as relay:
        users = [signalling_user(relay, user, GREEDY) for user in range(1, 201)]
        came = sum(user is not None for user in users)
        honest = signalling_user(relay, 1000, HONEST)
        for user in filter(None, [*users, honest]):
            user.close()
    return f"{came} of 200 came, the honest one {'too' if honest else 'not'}", came == 64 and honest is not None
