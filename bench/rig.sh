#!/usr/bin/env bash
# rig.sh [--quick] [--judges "NAME..."] BUILD_DIR OUT_DIR [PART...]
#
# Measures the daemon of BUILD_DIR at its queue, as root, in the lab's private namespaces (tests/support/lab.sh).
# A PART is hand-off, lists or bursts; README.md tells what each measures. Without one all are run. --quick
# takes fewer and shorter rounds; --judges leaves the others out. OUT_DIR, outside of /etc, /run, /usr and /var,
# then holds for each PART what was measured (PART.raw.tsv), the medians (PART.tsv, PART.json) and a plot
# (PART.svg); the tables are printed and stand in PART.md. Build first: cmake -DWEBSEC_BENCH=ON, targets of the lab, and rig.
set -eu -o pipefail
rig=$(realpath "$(dirname "$0")")/rig
export RIG_QUICK=0 RIG_JUDGES=""
while [ $# -gt 0 ]; do
    case $1 in
        --quick) RIG_QUICK=1 ;;
        --judges) RIG_JUDGES=$2 && shift ;;
        *) break ;;
    esac
    shift
done
[ $# -ge 2 ] || { sed -n '2,/^set/{/^# /s/^# //p}' "$0" >&2; exit 2; }
build=$(realpath "$1")
mkdir -p "$2"
out=$(realpath "$2")
shift 2
[ $# -gt 0 ] || set -- hand-off lists bursts

for program in load_client queue_stand_in first_verdict raw_requests spinning_urlcheck.so; do
    [ -x "$build/bench/rig/$program" ] && continue
    echo "$build/bench/rig/$program is missing: cmake -DWEBSEC_BENCH=ON, then build the target rig" >&2
    exit 1
done
for part in "$@"; do
    [ -x "$rig/${part//-/_}.sh" ] || { echo "no such part: $part" >&2; exit 2; }
    export RIG_RAW=$out/$part.raw.tsv RIG_BIN=$build/bench/rig
    begun="$(date +%F\ %R), load $(cut -d' ' -f1-3 /proc/loadavg)"
    # A session of its own, which is preferred to others inside (rig/judges.sh); it would not hear a Ctrl-C,
    # and unshare does not mind one.
    nice -n -20 setsid "$rig/../../tests/support/lab.sh" "$build" "$rig/${part//-/_}.sh" &
    trap 'kill -KILL $!; exit 130' INT TERM
    wait $!
    echo "begun $begun; ended with load $(cut -d' ' -f1-3 /proc/loadavg)" >"$out/$part.when"
    python3 "$rig/${part//-/_}.py" "$out/$part" | tee "$out/$part.md"
done
