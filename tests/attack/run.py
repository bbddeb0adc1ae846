#!/usr/bin/env python3
"""Attacks the lumo program as a stranger would, on loopback, and prints what each attack cost it.

run.py PROGRAM [--all] [ROW...]   quick rows, all rows, or the named ones
"""

import argparse
import importlib
import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from rows import ROWS  # noqa: E402


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--all", action="store_true", help="rows that take long, too")
    parser.add_argument("names", nargs="*", metavar="ROW")
    options = parser.parse_args()
    for file in sorted(pathlib.Path(__file__).parent.glob("on_*.py")):
        importlib.import_module(file.stem)
    chosen = [one for one in ROWS if one["name"] in options.names or (not options.names and (options.all or one["quick"]))]
    unknown = set(options.names) - {one["name"] for one in ROWS}
    if unknown or not chosen:
        parser.error(f"no such row: {', '.join(sorted(unknown)) or 'none at all'}")
    failed = 0
    for one in chosen:
        begin = time.monotonic()
        try:
            figure, held = one["run"](options.program)
        except AssertionError as error:
            figure, held = str(error), False
        failed += not held
        print(f"{'held  ' if held else 'BROKEN'} {one['name']}: {figure} (must hold: {one['bound']}; "
              f"{time.monotonic() - begin:.1f} s)", flush=True)
    print(f"{len(chosen)} attacks, {failed} of them broke something")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
