"""Draws the samples of a soak run as an SVG: plot_samples.py SAMPLES.csv PICTURE.svg [TITLE]"""

import csv
import sys

WIDTH, PANEL, GAP, LEFT, TOP = 860, 120, 34, 90, 44
PANELS = [
    ("handles", "handles", 1),
    ("threads", "threads", 1),
    ("held by the component: memory blocks, handles, locks", "held", 1),
    ("heap in use, KB", "heap_kb", 1),
    ("private memory, MB", "private_kb", 1024),
]


def read(path):
    with open(path, newline="") as file:
        return [{key: int(value) for key, value in row.items()} for row in csv.DictReader(file)]


def points(samples, key, unit, x, y):
    return " ".join(f"{x(row['second']):.1f},{y(row[key] / unit):.1f}" for row in samples)


def panel(samples, index, last_second):
    title, key, unit = PANELS[index]
    top = TOP + index * (PANEL + GAP)
    highest = max(row[key] for row in samples) / unit * 1.08 or 1

    def x(second):
        return LEFT + (WIDTH - LEFT - 20) * second / last_second

    def y(value):
        return top + PANEL * (1 - value / highest)

    parts = [
        f'<text x="{LEFT}" y="{top - 6}" class="title">{title}</text>',
        f'<rect x="{LEFT}" y="{top}" width="{WIDTH - LEFT - 20}" height="{PANEL}" class="frame"/>',
    ]
    for value in (0, highest / 2, highest):
        parts.append(f'<text x="{LEFT - 6}" y="{y(value) + 4:.1f}" class="scale">{value:.0f}</text>')
    parts.append(f'<polyline points="{points(samples, key, unit, x, y)}" class="load"/>')
    for row in samples:
        if row["quiet_seconds"]:
            parts.append(f'<circle cx="{x(row["second"]):.1f}" cy="{y(row[key] / unit):.1f}" r="1.8" class="quiet"/>')
    if index == len(PANELS) - 1:
        for minute in range(last_second // 60 + 1):
            parts.append(f'<text x="{x(minute * 60):.1f}" y="{top + PANEL + 16}" class="minute">{minute} min</text>')
    return parts


def draw(samples, title):
    last_second = max(1, samples[-1]["second"])
    height = TOP + len(PANELS) * (PANEL + GAP) + 6
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" font-family="sans-serif">',
        "<style>text{font-size:12px;fill:#333}.title{font-weight:bold}.scale{text-anchor:end;font-size:10px}"
        ".minute{text-anchor:middle;font-size:10px}.frame{fill:#fafafa;stroke:#ccc}"
        ".load{fill:none;stroke:#7aa6d8;stroke-width:1}.quiet{fill:#c0392b}</style>",
        f'<rect width="{WIDTH}" height="{height}" fill="#fff"/>',
        f'<text x="{LEFT}" y="20">{title}; red: moments in which nobody has an object</text>',
    ]
    for index in range(len(PANELS)):
        parts += panel(samples, index, last_second)
    return "\n".join(parts + ["</svg>", ""])


def main():
    samples = read(sys.argv[1])
    visits = samples[-1]["visits"]
    title = sys.argv[3] if len(sys.argv) > 3 else f"{visits} objects made, used and released"
    with open(sys.argv[2], "w") as file:
        file.write(draw(samples, title))


if __name__ == "__main__":
    main()
