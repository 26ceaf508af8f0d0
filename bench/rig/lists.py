"""lists.py OUT: the table, files and plot of the part lists."""
import sys

import figures

COLUMNS = [("entries", "length", ""), ("judge", "judge", ""), ("host", "host", ""),
           ("requests/s", "rate", ",.0f"), ("of one entry", "of_one", ".2f"), ("p50 us", "p50_us", ".0f"),
           ("p99 us", "p99_us", ".0f"), ("resident MiB", "resident_mib", ".1f"),
           ("first verdict ms", "first_verdict_ms", ",.0f"),
           ("the same, names resolved", "resolved_verdict_ms", ",.0f"), ("errors", "errors", ".0f")]


def row(lines, length, judge, host):
    same = [line for line in lines if line["judge"] == judge and line["host"] == host]
    own = [line for line in same if line["length"] == length]
    one = {line["round"]: float(line["rate"]) for line in same if line["length"] == "1"}
    resolved = [line["resolved_verdict_ms"] for line in lines
                if (line["length"], line["judge"], line["host"]) == (length, judge, "resolved")]
    each = {key: figures.median(line[key] for line in own)
            for key in ("rate", "p50_us", "p99_us", "rss_kib", "first_verdict_ms")}
    return {"length": length, "judge": judge, "host": host, "rate": each["rate"],
            "of_one": figures.median(float(line["rate"]) / one[line["round"]] for line in own
                                     if one.get(line["round"])),
            "p50_us": each["p50_us"], "p99_us": each["p99_us"], "resident_mib": each["rss_kib"] / 1024,
            "first_verdict_ms": each["first_verdict_ms"], "resolved_verdict_ms": figures.median(resolved),
            "errors": sum(float(line["errors"]) for line in own)}


def main(out):
    lines = figures.read(out)
    keys = dict.fromkeys((line["length"], line["judge"], line["host"]) for line in lines)
    rows = [row(lines, *key) for key in keys if key[2] != "resolved"]
    figures.write(out, rows)
    print(f"lists: medians of {len({line['round'] for line in lines})} rounds, {figures.when(out)}\n")
    figures.show(rows, COLUMNS)
    figures.bars(out, f"Requests a second by the length of each list ({figures.when(out)})",
                 [(f"{judge}, {host}", [(line["length"], line["rate"], f'{line["rate"]:,.0f}/s')
                                        for line in rows if (line["judge"], line["host"]) == (judge, host)])
                  for judge, host in dict.fromkeys((line["judge"], line["host"]) for line in rows)])


main(sys.argv[1])
