#!/usr/bin/env bash
# What a bad day does to the daemon: each file it reads absent, damaged or hanging, disks that are full or cannot be
# written, firewall programs that fail, clocks that jump, each once when the daemon starts and once when it is told to
# reload; then what comes while pages are asked for: calls of its modules that do not return, clocks, disks.
#
#     sudo bench/fault_run.sh BUILD_DIR [ROWS]      (ROWS: only those whose name contains this text)
#
# Columns of the former: what the daemon does, whether an allowed page loads, which blocks are left under the fault
# (list, phishing, category), and whether all three are back after the fault is mended and a reload (or, where the
# daemon ended, a start). Exit status 0 only when no daemon crashed or hung, every allowed page loaded and everything
# healed.
set -u
self=$(realpath "$0")
product=/usr/lib/Morvane/Morvane
lists=/var/lib/websec/lists
if [ "${1:-}" != --inside ]; then
    [ -d "${1:-}" ] || { sed -n '2,/^set/{/^#/s/^#\( \|$\)//p}' "$0" >&2; exit 2; }
    build=$(realpath "$1")
    exec "${self%/*}/../tests/support/lab.sh" "$build" "$self" --inside "$build" "${2:-}"
fi
build=$2
only=$3
sound=$LAB_DIR/sound
# shellcheck source-path=SCRIPTDIR
{
    . "${self%/*}/fault/daemon.sh"
    . "${self%/*}/fault/faults.sh"
    . "${self%/*}/fault/rows.sh"
    . "${self%/*}/fault/file_rows.sh"
    . "${self%/*}/fault/machine_rows.sh"
    . "${self%/*}/fault/hanging_rows.sh"
    . "${self%/*}/fault/traffic_rows.sh"
}

set_up() {
    echo '192.0.2.2 phish.example games.example' >>/etc/hosts
    printf '[IPTABLEConfigurations]\nUseDefinedPorts=1\n[ServiceConfigurations]\nLiveTraffic=1\n' >$product/websec.cfg
    echo phish.example >"$LAB_DIR/phish"
    echo harm.example >"$LAB_DIR/harm"
    echo games.example >"$LAB_DIR/games"
    {
        websecctl protection report on && websecctl protection category on && websecctl protection blocklist on &&
            websecctl block add blocked.example && websecctl category block games &&
            websecctl import phishing "$LAB_DIR/phish" && websecctl import harmful "$LAB_DIR/harm" &&
            websecctl import category games "$LAB_DIR/games" &&
            echo excluded.example/ | websecctl datafile build exclusion $product/pcintwl.dat - &&
            echo trusted.example/ | websecctl datafile build trusted $product/bpintwl.dat - &&
            echo 203.0.113.0/24 | websecctl datafile build ranges $product/wsintip.dat - &&
            echo 8080 | websecctl datafile build ports $product/wswebflt.dat - &&
            echo 1 | websecctl datafile build category-status $product/wscatsts.dat -
    } >"$LAB_DIR/setup.out" 2>&1 || { cat "$LAB_DIR/setup.out"; exit 1; }
    mkdir "$sound"
    cp -a $product "$sound/product"
    cp -a $lists "$sound/lists"
    cp -a /var/lib/websec/websec.db "$sound/"
    printf '%s\n' '#include <unistd.h>' '__attribute__((constructor)) void TakeTime(void) { sleep(2); }' |
        gcc -x c -c -fPIC -o "$LAB_DIR/slow.o" -
    gcc -shared -o "$LAB_DIR/slow.so" "$LAB_DIR/slow.o"
    shift_clock 0
}

set_up
all_file_rows
machine_rows
hanging_rows
traffic_rows
printf '\n%d rows, %d not as expected\n' "$rows" "$bad"
[ "$rows" != 0 ] || { echo "no row has '$only' in its name" >&2; exit 2; }
[ "$bad" = 0 ]
