"""Draws curves as one SVG picture: a small diagram for each panel, all with the same logarithmic vertical axis.

    python3 bench/plot.py CURVES.json PICTURE.svg      draws what script/bench --curves --output has written
"""

import json
import math
import sys
from xml.sax.saxutils import escape

COLUMNS = 3
WIDTH, HEIGHT = 300, 220  # of a panel, its texts included
LEFT, RIGHT, TOP, BOTTOM = 52, 14, 30, 44  # room around a panel's axes
LEGEND = 34
# Distinguishable by lightness as well as by colour.
STYLES = [("#1b6ca8", "circle"), ("#d1495b", "square"), ("#2e7d32", "circle"), ("#8e5ba6", "square")]


class Axis:
    """Maps numbers to positions on a logarithmic axis."""

    def __init__(self, low, high, begin, end):
        self.low, self.high = math.log10(low), math.log10(high)
        self.begin, self.end = begin, end

    def __call__(self, value):
        share = (math.log10(value) - self.low) / (self.high - self.low) if self.high > self.low else 0.5
        return self.begin + share * (self.end - self.begin)

    def ticks(self):
        """The powers of ten on it."""
        return [10**power for power in range(math.ceil(self.low - 1e-9), math.floor(self.high + 1e-9) + 1)]


def short(value):
    for unit, name in ((10**6, "M"), (10**3, "k")):
        if value >= unit:
            return f"{value / unit:g}{name}"
    return f"{value:g}"


def text(x, y, words, anchor="middle", extra=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}"{extra}>{escape(words)}</text>'


def line(x1, y1, x2, y2, colour):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}"/>'


def mark(shape, x, y, colour):
    if shape == "circle":
        return f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>'
    return f'<rect x="{x - 3:.1f}" y="{y - 3:.1f}" width="6" height="6" fill="{colour}"/>'


def draw_panel(title, curves, low, high):
    xs = [x for points in curves.values() for x, _ in points]
    across = Axis(min(xs), max(xs), LEFT, WIDTH - RIGHT)
    up = Axis(low, high, HEIGHT - BOTTOM, TOP)
    parts = []
    for tick in up.ticks():
        parts.append(line(LEFT, up(tick), WIDTH - RIGHT, up(tick), "#dddddd"))
        parts.append(text(LEFT - 6, up(tick) + 4, f"{short(tick)} µs", "end"))
    for tick in across.ticks():
        parts.append(line(across(tick), HEIGHT - BOTTOM, across(tick), HEIGHT - BOTTOM + 4, "#444444"))
        parts.append(text(across(tick), HEIGHT - BOTTOM + 16, short(tick)))
    parts.append(line(LEFT, HEIGHT - BOTTOM, WIDTH - RIGHT, HEIGHT - BOTTOM, "#444444"))
    parts.append(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 8, title))
    for (colour, shape), points in zip(STYLES, curves.values()):
        places = [(across(x), up(y)) for x, y in points]
        joined = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        parts.append(f'<polyline points="{joined}" fill="none" stroke="{colour}" stroke-width="1.6"/>')
        parts += [mark(shape, x, y, colour) for x, y in places]
    return "\n".join(parts)


def draw_legend(names):
    parts = [text(LEFT, 22, "time for each operation", "start", ' font-weight="bold"')]
    for index, ((colour, shape), name) in enumerate(zip(STYLES, names)):
        x = LEFT + 190 + 90 * index
        parts += [line(x, 18, x + 22, 18, colour), mark(shape, x + 11, 18, colour), text(x + 28, 22, name, "start")]
    return "\n".join(parts)


def draw(panels, titles):
    """The picture's text. `panels` maps a panel's name to a line for each operation, `titles` the name to words."""
    ys = [y for curves in panels.values() for points in curves.values() for _, y in points]
    low, high = 10 ** math.floor(math.log10(min(ys))), 10 ** math.ceil(math.log10(max(ys)))
    rows = math.ceil(len(panels) / COLUMNS)
    width, height = WIDTH * min(COLUMNS, len(panels)), HEIGHT * rows + LEGEND
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
             f'viewBox="0 0 {width} {height}" font-family="sans-serif" font-size="11" fill="#222222">',
             f'<rect width="{width}" height="{height}" fill="#ffffff"/>',
             draw_legend(next(iter(panels.values())))]
    for index, (name, curves) in enumerate(panels.items()):
        x, y = WIDTH * (index % COLUMNS), LEGEND + HEIGHT * (index // COLUMNS) - 20
        panel = draw_panel(titles.get(name, name), curves, low, high)
        parts.append(f'<g transform="translate({x} {y})">\n{panel}\n</g>')
    return "\n".join(parts).encode("ascii", "xmlcharrefreplace").decode("ascii") + "\n</svg>\n"


if __name__ == "__main__":
    from curves import PANELS

    with open(sys.argv[1], encoding="ascii") as source, open(sys.argv[2], "w", encoding="ascii") as target:
        target.write(draw(json.load(source), PANELS))
