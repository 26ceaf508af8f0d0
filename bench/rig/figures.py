"""What the parts' tables share: reading what was measured, medians, tables and bar charts."""
import csv
import json
import math
import statistics
from xml.sax.saxutils import escape


def read(path):
    with open(path + ".raw.tsv", encoding="ascii") as file:
        return list(csv.DictReader(file, delimiter="\t"))


def when(path):
    with open(path + ".when", encoding="ascii") as file:
        return file.read().strip()


def median(values):
    values = [float(value) for value in values if value not in ("", None)]
    return statistics.median(values) if values else None


def ratio(lines, key, own, other):
    """The median of what own(line) has of other(line), round for round, and its standard error, from the quartiles: a
    full store stops a judge for a second now and then. A round in which one of the two served nothing is left out."""
    found = [{line["round"]: float(line[key]) for line in lines if who(line)} for who in (own, other)]
    logs = [math.log(found[0][number] / found[1][number]) for number in found[0]
            if found[0][number] and found[1].get(number)]
    if len(logs) < 2:
        return None
    middle = math.exp(statistics.median(logs))
    first, _, third = statistics.quantiles(logs, n=4)
    return middle, middle * 1.2533 * (third - first) / 1.349 / math.sqrt(len(logs))


def flat(row):
    """A pair becomes two columns, the second one the error."""
    cells = {}
    for key, value in row.items():
        cells[key] = value[0] if isinstance(value, tuple) else value
        if isinstance(value, tuple):
            cells[key + "_error"] = value[1]
    return cells


def write(path, rows, starts=()):
    """rows: dicts with the same keys, starts others of their own. As PATH.tsv and, with the starts, PATH.json."""
    rows = [flat(row) for row in rows]
    columns = dict.fromkeys(key for row in rows for key in row)
    with open(path + ".tsv", "w", encoding="ascii") as file:
        table = csv.DictWriter(file, columns, delimiter="\t", lineterminator="\n")
        table.writeheader()
        table.writerows(rows)
    with open(path + ".json", "w", encoding="ascii") as file:
        json.dump({"when": when(path), "rows": rows, "starts": starts}, file, indent=1)


def show(rows, columns):
    """Prints a Markdown table. columns: (heading, key, format); of a pair the second is the error, and None shows
    as nothing."""
    lines = [[heading for heading, _, _ in columns]]
    for row in rows:
        lines.append([cell(row[key], form) for _, key, form in columns])
    widths = [max(len(line[n]) for line in lines) for n in range(len(columns))]
    lines.insert(1, ["-" * width for width in widths])
    for line in lines:
        print("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |")


def cell(value, form):
    if value is None:
        return ""
    return " ± ".join(format(part, form) for part in value) if isinstance(value, tuple) else format(value, form)


def bars(path, title, groups):
    """Writes PATH.svg. groups: (heading, [(label, value, note)]); each group is to its own scale."""
    body, y = [], 30
    for heading, items in groups:
        body.append(f'<text x="10" y="{y + 14}" font-weight="bold">{escape(heading)}</text>')
        y += 24
        top = max((value for _, value, _ in items), default=0) or 1
        for label, value, note in items:
            width = 420 * value / top
            body.append(f'<text x="150" y="{y + 13}" text-anchor="end">{escape(label)}</text>')
            body.append(f'<rect x="160" y="{y}" width="{width:.1f}" height="17" fill="#4878a8"/>')
            body.append(f'<text x="{165 + width:.1f}" y="{y + 13}">{escape(note)}</text>')
            y += 22
        y += 12
    with open(path + ".svg", "w", encoding="utf-8") as file:
        file.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="860" height="{y}" '
                   'font-family="sans-serif" font-size="13"><rect width="100%" height="100%" fill="#fff"/>'
                   f'<text x="10" y="18">{escape(title)}</text>{"".join(body)}</svg>\n')
