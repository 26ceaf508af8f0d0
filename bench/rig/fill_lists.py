"""fill_lists.py STORE COUNT: COUNT entries in each of the lists block, allow and trust of a settings store that
websecctl has made, hosts, domains and URLs in turn, and as the last allowed and trusted ones those that the
measured requests are for. Straight into the store: websecctl takes one at a time."""
import sqlite3
import sys

LAST = {"block": "blocked.example", "allow": "allowed.example", "trust": "trusted.example"}


def entry(kind, n):
    name = f"name{n:06d}.{kind}{n % 100}.example"
    return (name, 0) if n % 3 == 0 else (name, 1) if n % 3 == 1 else (f"{name}/path/{n}", 0)


def main(store, count):
    with sqlite3.connect(store) as database:
        database.execute("DELETE FROM entries")
        for kind, last in LAST.items():
            entries = [entry(kind, n) for n in range(count - 1)] + [(last, 0)]
            database.executemany("INSERT INTO entries (list, text, subdomains, added) VALUES (?, ?, ?, 0)",
                                 [(kind, text, 0 if kind == "trust" else below) for text, below in entries])


main(sys.argv[1], int(sys.argv[2]))
