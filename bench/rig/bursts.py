"""bursts.py OUT: the table, files and plot of the part bursts."""
import sys

import figures

COLUMNS = [("requests", "kind", ""), ("judge", "judge", ""), ("sent to allowed", "allowed", ",.0f"),
           ("lost", "allowed_lost", ",.0f"), ("lost at most", "allowed_lost_max", ",.0f"),
           ("its model loses", "model_lost", ",.0f"), ("sent to blocked", "blocked", ",.0f"),
           ("served", "blocked_served", ",.0f"), ("served at most", "blocked_served_max", ",.0f"),
           ("sent within s", "seconds", ".2f"), ("daemon ended", "ended", ".0f")]


def row(lines, kind, judge):
    own = [line for line in lines if line["kind"] == kind and line["judge"] == judge]
    median = {key: figures.median(line[key] for line in own)
              for key in ("allowed", "allowed_lost", "blocked", "blocked_served", "seconds", "model_lost")}
    return {"kind": kind, "judge": judge, **median,
            "model_lost": median["model_lost"] if judge == "daemon0" else None,
            "allowed_lost_max": max(float(line["allowed_lost"]) for line in own),
            "blocked_served_max": max(float(line["blocked_served"]) for line in own),
            "ended": sum(float(line["ended"]) for line in own)}


def main(out):
    lines = figures.read(out)
    pairs = dict.fromkeys((line["kind"], line["judge"]) for line in lines)
    rows = [row(lines, kind, judge) for kind, judge in pairs]
    figures.write(out, rows)
    rounds = len({line["round"] for line in lines})
    told = f"medians of {rounds} rounds" if rounds > 1 else "one round"
    print(f"bursts: {told}, {figures.when(out)}\n")
    figures.show(rows, COLUMNS)
    judged = [line for line in rows if line["judge"] != "none"]
    figures.bars(out, f"Allowed requests lost and blocked ones served ({figures.when(out)})",
                 [(kind, [(f'{line["judge"]} {name}', line[key], f"{line[key]:,.0f}")
                          for line in judged if line["kind"] == kind
                          for name, key in (("lost", "allowed_lost"), ("model", "model_lost"),
                                            ("served", "blocked_served")) if line[key] is not None])
                  for kind in dict.fromkeys(line["kind"] for line in rows)])


main(sys.argv[1])
