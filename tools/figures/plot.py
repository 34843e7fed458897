#!/usr/bin/env python3
"""Draws columns of a run's CSV as an SVG picture for the pages: over time, or over another column.

plot.py RUN.csv PICTURE.svg --title WORDS --unit UNIT [--from S] [--to S] [--over COLUMN=UNIT] COLUMN[=LABEL] ...
"""
import argparse
import csv
import math

WIDTH, HEIGHT = 760, 300
LEFT, RIGHT, TOP, BOTTOM = 62, 14, 46, 40
GAP = 0.1  # s; runs leave out what is not worth seeing
COLORS = ["#1f6fb4", "#d1651b", "#2f8f4e", "#8c4fb0", "#b3263a", "#6b6b6b"]


def ticks(low, high, count):
    """Round values in [low, high]: 1, 2 or 5 times a power of ten apart."""
    raw = (high - low) / count
    decade = 10.0 ** math.floor(math.log10(raw))
    step = next(decade * lead for lead in (1, 2, 5, 10) if decade * lead >= raw)
    first, last = math.ceil(low / step - 1e-9), math.floor(high / step + 1e-9)
    return [n * step for n in range(first, last + 1)]


def read(path, names, start, end):
    """Time and one list per column, rows within [start, end] s."""
    with open(path, newline="") as file:
        rows = csv.reader(file)
        heading = next(rows)
        at = [heading.index(name) for name in names]
        time, columns = [], [[] for _ in names]
        for row in rows:
            t = float(row[0])
            if start <= t <= end:
                time.append(t)
                for column, index in zip(columns, at):
                    column.append(float(row[index]) if row[index] else math.nan)
    return time, columns


def outline(time, values, gap, x, y):
    """Lowest and highest sample of each pixel column, in their order: no spike is lost."""
    pieces, points, k = [], [], 0
    while k < len(time):
        first, pixel = k, round(x(time[k]))
        while k < len(time) and round(x(time[k])) == pixel:
            k += 1
        numbers = [n for n in range(first, k) if math.isfinite(values[n])]
        if not numbers or time[first] - time[max(first - 1, 0)] > gap:
            pieces.append(points)
            points = []
        if not numbers:
            continue
        ends = {min(numbers, key=values.__getitem__), max(numbers, key=values.__getitem__)}
        points += [f"{pixel},{y(values[n]):.1f}" for n in sorted(ends)]
    pieces.append(points)
    return [" ".join(piece) for piece in pieces if piece]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("run")
    parser.add_argument("picture")
    parser.add_argument("columns", nargs="+")
    parser.add_argument("--title", required=True)
    parser.add_argument("--unit", required=True)
    parser.add_argument("--over", default="=s", help="what runs to the right, and its unit")
    parser.add_argument("--from", dest="start", type=float, default=-math.inf)
    parser.add_argument("--to", dest="end", type=float, default=math.inf)
    arguments = parser.parse_args()

    pairs = [(column + "=" + column).split("=")[:2] for column in arguments.columns]
    over, across = arguments.over.split("=")
    names = [name for name, _ in pairs] + ([over] if over else [])
    time, columns = read(arguments.run, names, arguments.start, arguments.end)
    if over:  # samples in the order of the abscissa
        order = sorted(range(len(time)), key=columns[-1].__getitem__)
        time = [columns[-1][n] for n in order]
        columns = [[column[n] for n in order] for column in columns[:-1]]
    gap = math.inf if over else GAP
    finite = [value for column in columns for value in column if math.isfinite(value)]
    low, high = min(finite), max(finite)
    rim = 0.05 * (high - low) or 1.0
    low, high = low - rim, high + rim

    def x(t):
        return LEFT + (t - time[0]) / (time[-1] - time[0]) * (WIDTH - LEFT - RIGHT)

    def y(value):
        return TOP + (high - value) / (high - low) * (HEIGHT - TOP - BOTTOM)

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
           f'font-size="12" fill="#333">',
           f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#fff"/>',
           f'<text x="{LEFT}" y="18" font-size="14">{arguments.title}</text>']
    for value in ticks(low, high, 6):
        out.append(f'<path d="M{LEFT},{y(value):.1f}H{WIDTH - RIGHT}" stroke="#ddd"/>'
                   f'<text x="{LEFT - 6}" y="{y(value) + 4:.1f}" text-anchor="end">{value:.6g}</text>')
    for t in ticks(time[0], time[-1], 10):
        out.append(f'<text x="{x(t):.1f}" y="{HEIGHT - BOTTOM + 17}" text-anchor="middle">{t:.6g}</text>')
    out.append(f'<text x="{LEFT - 6}" y="{TOP - 8}" text-anchor="end">{arguments.unit}</text>'
               f'<text x="{WIDTH - RIGHT}" y="{HEIGHT - 6}" text-anchor="end">{across}</text>')
    place = LEFT + 10
    for (_, label), column, color in zip(pairs, columns, COLORS):
        for points in outline(time, column, gap, x, y):
            out.append(f'<polyline fill="none" stroke="{color}" stroke-width="1.2" points="{points}"/>')
        out.append(f'<path d="M{place},{TOP - 12}h16" stroke="{color}" stroke-width="3"/>'
                   f'<text x="{place + 21}" y="{TOP - 8}">{label}</text>')
        place += 38 + 7 * len(label)
    with open(arguments.picture, "w") as file:
        file.write("\n".join(out) + "\n</svg>\n")


if __name__ == "__main__":
    main()
