#!/usr/bin/env python3
"""Draws what ./test.sh bench measured of the library in a shell host: each ratio to its floor, as SVG.

    plot-bench.py JSON SVG    draws one run
    plot-bench.py --docs      renews docs/performance.svg, its JSON and the table of docs/performance.md, all from the
                              run in out/bench/shell.json
"""
import json
import math
import os
import re
import shutil
import sys
from html import escape

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
RUN = os.path.join(ROOT, "out", "bench", "shell.json")
DOCS = os.path.join(ROOT, "docs", "performance")

LEFT, WIDTH, RIGHT, TOP, STEP, BAR = 330, 420, 150, 56, 24, 14
# Readable on a light ground as on a dark one.
TEXT, SLOWER, FASTER = "#747c87", "#3b82c4", "#2f9e6e"


def shown(row):
    """The figure with three digits, in a unit that suits it."""
    units = [("KiB", 1), ("MiB", 1024)] if row["unit"] == "KiB" else [("µs", 1), ("ms", 1e3), ("s", 1e6)]
    unit, size = [unit for unit in units if row["median"] >= unit[1] or unit[1] == 1][-1]
    figure = row["median"] / size
    return f"{figure:.{max(0, 2 - max(-1, math.floor(math.log10(figure))))}f} {unit}" if figure else f"0 {unit}"


def turns(run):
    return " or ".join(map(str, sorted({row["turns"] for row in run["rows"]})))


def text(x, y, words, more=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" {more}>{escape(words)}</text>'


def svg(run):
    rows = [row for row in run["rows"] if "ratio" in row]
    spread = lambda row: [row["ratio"] * quartile / row["median"] for quartile in row["quartiles"]]
    low = min(0.5, min(spread(row)[0] for row in rows)) / 1.05
    high = max(2, max(spread(row)[1] for row in rows)) * 1.05
    at = lambda ratio: LEFT + WIDTH * math.log(ratio / low) / math.log(high / low)
    bottom = TOP + STEP * len(rows)
    out = [text(16, 22, "Each figure over its floor", 'font-size="15" font-weight="bold"'),
           text(16, 40, "1 is the floor: what the platform's own calls take. The axis is logarithmic; "
                         "a line spans the middle half of the turns.")]
    for tick in (0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50, 100):
        if low <= tick <= high:
            stroke = f'stroke="{TEXT}" ' + ('stroke-width="1.5"' if tick == 1 else 'stroke-opacity="0.35"')
            out += [f'<line x1="{at(tick):.1f}" y1="{TOP}" x2="{at(tick):.1f}" y2="{bottom}" {stroke}/>',
                    text(at(tick), bottom + 16, f"{tick:g}", 'text-anchor="middle"')]
    for number, row in enumerate(rows):
        ratio, y = row["ratio"], TOP + STEP * number + (STEP - BAR) / 2
        begin, end = sorted((at(1), at(ratio)))
        first, last = map(at, spread(row))
        name = row["name"] if not row["name"].startswith("...") else row["name"][4:]
        out += [text(LEFT - 10, y + BAR - 3, name, 'text-anchor="end"'),
                f'<rect x="{begin:.1f}" y="{y:.1f}" width="{max(1.5, end - begin):.1f}" height="{BAR}" rx="2" '
                f'fill="{SLOWER if ratio >= 1 else FASTER}"/>',
                f'<line x1="{first:.1f}" y1="{y + BAR / 2}" x2="{last:.1f}" y2="{y + BAR / 2}" stroke="{TEXT}"/>',
                text(max(end, last) + 6, y + BAR - 3, f"{ratio:.2f}   ({shown(row)})")]
    out.append(text(16, bottom + 40, f"{run['machine']}; {run['system']}; {run['date'][:10]}; "
                                     f"medians of {turns(run)} turns", 'font-size="11"'))
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {LEFT + WIDTH + RIGHT} {bottom + 54}" '
            f'font-family="sans-serif" font-size="12" fill="{TEXT}">\n' + "\n".join(out) + "\n</svg>\n")


def table(run):
    rows = {row["name"]: row for row in run["rows"]}
    floors = {row.get("floor") for row in run["rows"]}
    lines = [f"One run on {run['date'][:10]}: {run['machine']}; {run['system']}; medians of {turns(run)} turns.", "",
             "| What | Floor | Figure | Ratio |", "|---|---|---|---|"]
    for row in run["rows"]:
        if "ratio" in row:
            floor = rows[row["floor"]]
            lines.append(f"| {row['name']} | {floor['name']}, {shown(floor)} | {shown(row)} | {row['ratio']:.2f} |")
        elif row["name"] not in floors:  # a part of the floor before it
            lines.append(f"| | {row['name']}, {shown(row)} | | |")
    return "\n".join(lines)


def main(arguments):
    if arguments == ["--docs"]:
        source, target = RUN, DOCS + ".svg"
    elif len(arguments) == 2:
        source, target = arguments
    else:
        sys.exit(__doc__.strip())
    try:
        with open(source, encoding="utf-8") as file:
            run = json.load(file)
    except (OSError, ValueError) as problem:
        sys.exit(f"plot-bench.py: {problem}; ./test.sh bench makes it")
    with open(target, "w", encoding="utf-8") as file:
        file.write(svg(run))
    if arguments == ["--docs"]:
        shutil.copyfile(source, DOCS + ".json")
        with open(DOCS + ".md", encoding="utf-8") as file:
            page = file.read()
        page = re.sub(r"(<!-- bench -->\n).*?(?=<!-- /bench -->)", lambda found: found[1] + table(run) + "\n", page,
                      flags=re.S)
        with open(DOCS + ".md", "w", encoding="utf-8") as file:
            file.write(page)


if __name__ == "__main__":
    main(sys.argv[1:])
