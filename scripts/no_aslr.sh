#!/bin/sh
# Runs a command without address randomisation where that is allowed: the sanitizers' shadow memory has fixed places,
# and kernels with many random bits map programs into them.
if setarch -R true 2>/dev/null; then exec setarch -R "$@"; fi
exec "$@"
