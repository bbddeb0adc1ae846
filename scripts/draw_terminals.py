#!/usr/bin/env python3
"""Draws recorded terminals as one picture: scripts/draw_terminals.py docs/send.txt > docs/send.svg

A line `== NAME` begins a terminal; the lines below it are what `tmux capture-pane -p` printed of one of at most 92
columns. Each line is given its width, so that no font makes it wider than the picture.
"""
import html
import pathlib
import re
import sys

COLUMNS = 92
CHAR, LINE, SIZE = 9.0, 21, 15  # pixels; a character of a monospaced font is 0.6 of its size wide
MARGIN, BAR, GAP = 16, 30, 18
WIDTH = int(2 * MARGIN + COLUMNS * CHAR)

INK, PAPER, FAINT, PROMPT, LINK = "#1f2933", "#ffffff", "#d5dae0", "#0f766e", "#1d4ed8"


def terminals(text):
    """[(name, lines)]"""
    found = []
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith("== "):
            found.append((line[3:], []))
        elif not found or len(line) > COLUMNS:
            sys.exit(f"line {number}: " + ("no terminal has begun" if not found else f"more than {COLUMNS} columns"))
        else:
            found[-1][1].append(line.rstrip())
    return found


def shown(line, x, y):
    """One line, its prompt and its link in colours of their own."""
    if not line:
        return ""
    text = html.escape(line)
    text = re.sub(r"^\w+\$ ", lambda m: f'<tspan fill="{PROMPT}" font-weight="bold">{m[0]}</tspan>', text)
    text = re.sub(r"lumo://\S+", lambda m: f'<tspan fill="{LINK}">{m[0]}</tspan>', text)
    return (f'<text x="{x}" y="{y}" textLength="{len(line) * CHAR:.0f}" lengthAdjust="spacingAndGlyphs" '
            f'xml:space="preserve">{text}</text>')


def terminal(name, lines, top):
    """The drawing, and where it ends."""
    height = BAR + len(lines) * LINE + MARGIN
    parts = [f'<rect x="0.5" y="{top + 0.5}" width="{WIDTH - 1}" height="{height}" rx="8" fill="{PAPER}" '
             f'stroke="{FAINT}"/>',
             f'<line x1="0.5" y1="{top + BAR}" x2="{WIDTH - 0.5}" y2="{top + BAR}" stroke="{FAINT}"/>']
    parts += [f'<circle cx="{MARGIN + 4 + 18 * i}" cy="{top + BAR / 2}" r="5" fill="{FAINT}"/>' for i in range(3)]
    parts.append(f'<text x="{WIDTH / 2}" y="{top + 20}" text-anchor="middle">{html.escape(name)}</text>')
    parts += [shown(line, MARGIN, top + BAR + (i + 1) * LINE) for i, line in enumerate(lines)]
    return parts, top + height


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    top, parts = 0, []
    for name, lines in terminals(pathlib.Path(sys.argv[1]).read_text()):
        drawn, end = terminal(name, lines, top)
        parts += drawn
        top = end + GAP
    height = top - GAP + 1
    print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" width="{WIDTH}" height="{height}" '
          f'font-family="ui-monospace, Menlo, Consolas, \'DejaVu Sans Mono\', monospace" font-size="{SIZE}" '
          f'fill="{INK}">')
    print("\n".join(part for part in parts if part))
    print("</svg>")


if __name__ == "__main__":
    main()
