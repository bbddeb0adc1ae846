#!/usr/bin/env python3
"""Checks that what the documents link to and name exists: files, headings, make targets."""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)(?:\s+\"[^\"]*\")?\)|(?:src|href)=\"([^\"]+)\"")
CODE = re.compile(r"`([^`\n]+)`")
MAKE = re.compile(r"^(?:\$ )?make ([a-z]+)\b")
PATH = re.compile(r"[\w.*-]+(/[\w.*{},+-]*)*")
TARGETS = set(re.findall(r"^([a-z ]+):(?!=)", (ROOT / "Makefile").read_text(), re.M)) | {"asan", "tsan"}
TOP = {entry.name for entry in ROOT.iterdir() if not entry.name.startswith(("build", ".git"))}


def anchor(heading):
    """The name by which a heading is linked to."""
    return re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-")


def anchors(document):
    text = re.sub(r"^```.*?^```", "", document.read_text(), flags=re.M | re.S)
    return {anchor(heading) for heading in re.findall(r"^#+ (.*)$", text, re.M)}


def broken_link(document, target):
    if re.match(r"[a-z]+:", target):
        return False
    name, _, fragment = target.partition("#")
    path = (document.parent / name) if name else document
    return not path.exists() or bool(fragment and path.suffix == ".md" and fragment not in anchors(path))


def missing_path(word):
    """True for a word that names a file of this project which is not there."""
    if not PATH.fullmatch(word):
        return False
    if "/" not in word:
        return word.endswith(".md") and not any(ROOT.glob(f"**/{word}"))
    if word.split("/")[0] not in TOP:
        return False
    return not any(ROOT.glob(word.rstrip("/"))) and "{" not in word


def faults(document):
    fenced = False
    for number, line in enumerate(document.read_text().splitlines(), 1):
        if line.lstrip().startswith("```"):
            fenced = not fenced
            continue
        words = [line.strip()] if fenced else CODE.findall(line)
        if not fenced:
            for match in LINK.finditer(CODE.sub("", line)):
                target = match.group(1) or match.group(2)
                if broken_link(document, target):
                    yield number, f"links to {target}"
        for word in words:
            make = MAKE.match(word)
            if make and make.group(1) not in TARGETS:
                yield number, f"names make {make.group(1)}"
            if not fenced and missing_path(word):
                yield number, f"names {word}"


def main():
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "*.md"], cwd=ROOT,
                           capture_output=True, text=True, check=True).stdout.split("\0")
    documents = [ROOT / name for name in names if name and (ROOT / name).exists()]
    if not documents:
        sys.exit("docs: there are none")
    found = [f"{document.relative_to(ROOT)}:{number}: {words}, which is not there"
             for document in documents for number, words in faults(document)]
    print("\n".join(found + [f"docs: {len(documents)} documents, {len(found)} faults"]))
    sys.exit(1 if found else 0)


main()
