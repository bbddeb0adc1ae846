#!/usr/bin/env python3
"""Runs clang-tidy over what we ship (src, server, tools) and remembers what was clean.

    scripts/tidy.py BUILD_FOLDER [JOBS] [FILE...]

A file is skipped when its preprocessed text, comments included, its flags, the configuration and the linter itself are
those of an earlier clean run. The memory is outside the tree (~/.cache/lumomedia/tidy), so that a new clone has it.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

LINTER = "clang-tidy-14"
COMPILER = "clang++-14"
FOLDERS = ("src", "server", "tools")


def preprocessed(command, root):
    """What the compiler sees of one file, without the place where the tree lies."""
    arguments, skip = [COMPILER, "-E", "-C"], False
    for word in shlex.split(command)[1:]:
        if skip or word in ("-o", "-c"):
            skip = word == "-o"
        elif not word.endswith(("clang++-14", "ccache")):
            arguments.append(word)
    text = subprocess.run(arguments, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False).stdout
    return text.replace(str(root).encode(), b"")


def lint(entry, build, root, salt, memory):
    """None when the file is clean, else the linter's words."""
    digest = hashlib.sha256(salt + preprocessed(entry["command"], root)).hexdigest()
    stamp = memory / digest
    if stamp.exists():
        os.utime(stamp)
        return None
    run = subprocess.run([LINTER, "--quiet", "-p", str(build), entry["file"]], capture_output=True, text=True, check=False)
    if run.returncode != 0:
        return run.stdout + run.stderr
    stamp.touch()
    return None


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    jobs = int(sys.argv[2]) if len(sys.argv) > 2 else os.cpu_count()
    only = [str(pathlib.Path(name).resolve()) for name in sys.argv[3:]]
    root = pathlib.Path(__file__).resolve().parent.parent
    folders = tuple(f"{root}/{folder}/" for folder in FOLDERS)
    entries = [entry for entry in json.loads((build / "compile_commands.json").read_text())
               if entry["file"].startswith(folders) and (not only or entry["file"] in only)]
    if not entries:
        sys.exit("tidy: nothing to lint")

    memory = pathlib.Path(os.environ.get("XDG_CACHE_HOME", pathlib.Path.home() / ".cache")) / "lumomedia" / "tidy"
    memory.mkdir(parents=True, exist_ok=True)
    salt = (root / ".clang-tidy").read_bytes() + subprocess.run(
        [LINTER, "--version"], capture_output=True, check=True).stdout

    faults = 0
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        results = pool.map(lambda entry: (entry, lint(entry, build, root, salt, memory)), entries)
        for entry, words in results:
            if words is not None:
                faults += 1
                print(f"{os.path.relpath(entry['file'], root)}:\n{words}", flush=True)
    print(f"tidy: {len(entries)} files, {faults} with faults")
    sys.exit(1 if faults else 0)


main()
