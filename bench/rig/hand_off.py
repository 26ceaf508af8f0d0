"""hand_off.py OUT: the table, files and plot of the part hand-off."""
import operator
import sys

import figures

KINDS = {"kept": "kept-alive requests", "new": "new connections"}
JUDGES = ["none", "bare0", "bare1", "floor", "daemon0", "daemon1", "suricata"]
# With whom a judge is compared: the bare loop under the same rules.
BARE = {"floor": "bare0", "daemon0": "bare0", "daemon1": "bare1", "suricata": "bare0"}
COLUMNS = [("judge", "judge", ""), ("requests/s", "rate", ",.0f"), ("of none", "of_none", ".2f"),
           ("of bare", "of_bare", ".2f"), ("of floor", "of_floor", ".2f"), ("p50 us", "p50_us", ".0f"), ("above none", "p50_above_us", ".0f"),
           ("p99 us", "p99_us", ".0f"), ("user us/packet", "user_us", ".2f"),
           ("system us/packet", "system_us", ".2f"), ("resident MiB", "resident_mib", ".1f"),
           ("first verdict ms", "first_verdict_ms", ".0f"), ("errors", "errors", ".0f")]


def compared(lines, key, judge, other, compare):
    """The median of the rounds' comparisons: what disturbs a round disturbs both."""
    found = {(line["judge"], line["round"]): float(line[key]) for line in lines}
    return figures.median([compare(found[judge, number], found[other, number]) for name, number in found
                           if name == judge and found.get((other, number))])


def ratio(lines, judge, other):
    return compared(lines, "rate", judge, other, operator.truediv)


def row(lines, kind, judge):
    lines = [line for line in lines if line["kind"] == kind]
    own = [line for line in lines if line["judge"] == judge]
    total = {key: sum(float(line[key]) for line in own) for key in ("user_ms", "system_ms", "packets")}
    each = {key: figures.median(line[key] for line in own)
            for key in ("rate", "p50_us", "p99_us", "rss_kib", "first_verdict_ms")}
    judged = total["packets"] > 0
    return {"kind": kind, "judge": judge, "rate": each["rate"], "of_none": ratio(lines, judge, "none"),
            "of_bare": ratio(lines, judge, BARE.get(judge, "")),
            "of_floor": ratio(lines, judge, "floor") if judge == "daemon0" else None,
            "p50_us": each["p50_us"],
            "p50_above_us": compared(lines, "p50_us", judge, "none", operator.sub), "p99_us": each["p99_us"],
            "user_us": total["user_ms"] * 1000 / total["packets"] if judged else None,
            "system_us": total["system_ms"] * 1000 / total["packets"] if judged else None,
            "resident_mib": each["rss_kib"] / 1024 if judged else None,
            "first_verdict_ms": each["first_verdict_ms"],
            "errors": sum(float(line["errors"]) for line in own)}


def main(out):
    lines = figures.read(out)
    measured = {line["judge"] for line in lines}
    rows = [row(lines, kind, judge) for kind in KINDS for judge in JUDGES if judge in measured]
    figures.write(out, rows)
    rounds = len({line["round"] for line in lines})
    print(f"hand-off: medians of {rounds} rounds, {figures.when(out)}")
    for kind, name in KINDS.items():
        print(f"\n{name}:\n")
        figures.show([line for line in rows if line["kind"] == kind], COLUMNS)
    if "suricata" not in measured:
        print("\nsuricata: not installed")
    figures.bars(out, f"Requests a second by who sits at the queue ({figures.when(out)})",
                 [(name, [(line["judge"], line["rate"], f'{line["rate"]:,.0f}/s, p50 {line["p50_us"]:.0f} µs')
                          for line in rows if line["kind"] == kind]) for kind, name in KINDS.items()])


main(sys.argv[1])
