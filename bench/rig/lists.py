"""lists.py OUT: the table, files and plot of the part lists."""
import sys

import figures

COLUMNS = [("entries", "length", ""), ("judge", "judge", ""), ("host", "host", ""),
           ("requests/s", "rate", ",.0f"), ("of one entry", "of_one", ".2f"), ("p50 us", "p50_us", ".0f"),
           ("p99 us", "p99_us", ".0f"), ("errors", "errors", ".0f")]
STARTS = [("entries", "length", ""), ("judge", "judge", ""), ("resident MiB", "resident_mib", ".1f"),
          ("first verdict ms", "first_verdict_ms", ",.0f"), ("names resolved", "resolved_verdict_ms", ",.0f")]


def row(lines, length, judge, host):
    same = [line for line in lines if line["judge"] == judge and line["host"] == host]
    own = [line for line in same if line["length"] == length]
    each = {key: figures.median(line[key] for line in own) for key in ("rate", "p50_us", "p99_us")}
    return {"length": length, "judge": judge, "host": host, **each,
            "of_one": figures.ratio(same, "rate", lambda line: line["length"] == length,
                                    lambda line: line["length"] == "1"),
            "errors": sum(float(line["errors"]) for line in own)}


def start_row(lines, length, judge):
    own = [line for line in lines if (line["length"], line["judge"]) == (length, judge)]
    starts = [line for line in own if line["round"] == "start"]
    return {"length": length, "judge": judge,
            "resident_mib": figures.median(line["rss_kib"] for line in starts) / 1024,
            "first_verdict_ms": figures.median(line["first_verdict_ms"] for line in starts),
            "resolved_verdict_ms": figures.median(line["first_verdict_ms"] for line in own
                                                  if line["round"] == "resolved")}


def main(out):
    every = figures.read(out)
    lines = [line for line in every if line["round"].isdecimal()]
    judges = dict.fromkeys((line["judge"], line["host"]) for line in lines)
    lengths = dict.fromkeys(line["length"] for line in lines)
    rows = [row(lines, length, judge, host) for judge, host in judges for length in lengths]
    starts = [start_row(every, length, judge)
              for judge in dict.fromkeys(judge for judge, _ in judges) for length in lengths]
    figures.write(out, rows, starts)
    print(f"lists: {len({line['round'] for line in lines})} rounds, {figures.when(out)}\n")
    figures.show(rows, COLUMNS)
    print("\nstarts:\n")
    figures.show(starts, STARTS)
    figures.bars(out, f"Requests a second by the length of each list ({figures.when(out)})",
                 [(f"{judge}, {host}", [(line["length"], line["rate"], f'{line["rate"]:,.0f}/s')
                                        for line in rows if (line["judge"], line["host"]) == (judge, host)])
                  for judge, host in judges])


main(sys.argv[1])
