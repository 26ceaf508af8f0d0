"""hand_off.py OUT: the table, files and plot of the part hand-off."""
import shutil
import sys

import figures

KINDS = {"kept": "kept-alive requests", "new": "new connections"}
PLACEMENTS = {"near": "client and judge on one processor, server on the other", "free": "where the scheduler puts them"}
JUDGES = ["none", "bare0", "bare1", "floor", "daemon0", "daemon1", "suricata"]
# With whom a judge is compared: the bare loop under the same rules.
BARE = {"floor": "bare0", "daemon0": "bare0", "daemon1": "bare1", "suricata": "bare0"}
FLOOR = {"daemon0": "floor"}
COLUMNS = [("judge", "judge", ""), ("requests/s", "rate", ",.0f"), ("of none", "of_none", ".2f"),
           ("of bare", "of_bare", ".2f"), ("of floor", "of_floor", ".2f"), ("p50 us", "p50_us", ".0f"),
           ("above none", "p50_above_us", ".0f"), ("p99 us", "p99_us", ".0f"), ("user us/packet", "user_us", ".2f"),
           ("system us/packet", "system_us", ".2f"), ("rounds at a standstill", "stopped", ""),
           ("errors", "errors", ".0f")]
STARTS = [("judge", "judge", ""), ("resident MiB", "resident_mib", ".1f"),
          ("first verdict ms", "first_verdict_ms", ".0f")]


def of(name):
    return lambda line: line["judge"] == name


def above_none(lines, judge):
    """The median of the rounds' differences."""
    none = {line["round"]: float(line["p50_us"]) for line in lines if line["judge"] == "none"}
    return figures.median([float(line["p50_us"]) - none[line["round"]] for line in lines
                           if line["judge"] == judge and line["round"] in none])


def row(lines, kind, placement, judge):
    lines = [line for line in lines if (line["kind"], line["placement"]) == (kind, placement)]
    own = [line for line in lines if line["judge"] == judge]
    total = {key: sum(float(line[key]) for line in own) for key in ("user_ms", "system_ms", "packets", "errors")}
    each = {key: figures.median(line[key] for line in own) for key in ("rate", "p50_us", "p99_us")}
    judged = total["packets"] > 0
    return {"kind": kind, "placement": placement, "judge": judge, "rate": each["rate"],
            "of_none": figures.ratio(lines, "rate", of(judge), of("none")),
            "of_bare": figures.ratio(lines, "rate", of(judge), of(BARE.get(judge))),
            "of_floor": figures.ratio(lines, "rate", of(judge), of(FLOOR.get(judge))),
            "p50_us": each["p50_us"], "p50_above_us": above_none(lines, judge), "p99_us": each["p99_us"],
            "user_us": total["user_ms"] * 1000 / total["packets"] if judged else None,
            "system_us": total["system_ms"] * 1000 / total["packets"] if judged else None,
            "stopped": sum(line["requests"] == "0" for line in own), "errors": total["errors"]}


def start_row(starts, judge):
    own = [line for line in starts if line["judge"] == judge]
    resident = figures.median(line["rss_kib"] for line in own)
    return {"judge": judge, "resident_mib": resident and resident / 1024,
            "first_verdict_ms": figures.median(line["first_verdict_ms"] for line in own)}


def main(out):
    lines = figures.read(out)
    starts = [line for line in lines if line["round"] == "start"]
    lines = [line for line in lines if line["round"] != "start"]
    measured = [judge for judge in JUDGES if judge in {line["judge"] for line in lines}]
    rows = [row(lines, kind, placement, judge)
            for placement in PLACEMENTS for kind in KINDS for judge in measured]
    begun = [start_row(starts, judge) for judge in measured if judge != "none"]
    figures.write(out, rows, begun)
    rounds = len({line["round"] for line in lines})
    print(f"hand-off: {rounds} rounds, {figures.when(out)}")
    groups = [(f"{KINDS[kind]}, {PLACEMENTS[placement]}",
               [line for line in rows if (line["kind"], line["placement"]) == (kind, placement)])
              for placement in PLACEMENTS for kind in KINDS]
    for name, group in groups:
        print(f"\n{name}:\n")
        figures.show(group, COLUMNS)
    print("\nstarts:\n")
    figures.show(begun, STARTS)
    if not shutil.which("suricata"):
        print("\nsuricata: not installed")
    figures.bars(out, f"Requests a second by who sits at the queue ({figures.when(out)})",
                 [(name, [(line["judge"], line["rate"], f'{line["rate"]:,.0f}/s, p50 {line["p50_us"]:.0f} µs')
                          for line in group]) for name, group in groups])


main(sys.argv[1])
