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
usage() { sed -n '2,/^set/{/^# /s/^# //p}' "$0"; }
while [ $# -gt 0 ]; do
    case $1 in
        --quick) RIG_QUICK=1 ;;
        --judges) RIG_JUDGES=$2 && shift ;;
        --help) usage && exit ;;
        -*) usage >&2 && exit 2 ;;
        *) break ;;
    esac
    shift
done
[ $# -ge 2 ] || { usage >&2; exit 2; }
build=$(realpath "$1")
case $(realpath -m "$2")/ in
    /etc/* | /run/* | /usr/* | /var/*) echo "$2: what is written there stays in the lab" >&2 && exit 2 ;;
esac
mkdir -p "$2"
out=$(realpath "$2")
shift 2
[ $# -gt 0 ] || set -- hand-off lists bursts

for program in load_client queue_stand_in first_verdict raw_requests spinning_urlcheck.so instant_resolver.so; do
    [ -x "$build/bench/rig/$program" ] && continue
    echo "$build/bench/rig/$program is missing: cmake -DWEBSEC_BENCH=ON, then build the target rig" >&2
    exit 1
done
# in_labs PART: each lane of the part in a lab of its own, all at the same time; rig/turns.sh tells who measures.
in_labs() {
    local script=$rig/${1//-/_}.sh lane
    local -a lanes labs=()
    mapfile -t lanes < <("$script" lanes)
    export RIG_LANES=${#lanes[@]} RIG_LANE=0 RIG_TURNS=$out/turns
    rm -rf "$RIG_TURNS"
    mkdir "$RIG_TURNS"
    for lane in "${lanes[@]}"; do
        mkfifo "$RIG_TURNS/$RIG_LANE"
        RIG_LANE=$((RIG_LANE + 1))
    done
    exec {first}<>"$RIG_TURNS/0"
    echo >&$first
    RIG_LANE=0
    for lane in "${lanes[@]}"; do
        # A session of its own, which is preferred to others inside (rig/judges.sh); it would not hear a Ctrl-C,
        # and unshare does not mind one.
        nice -n -20 setsid "$rig/../../tests/support/lab.sh" "$build" "$script" "$lane" &
        labs+=($!)
        trap 'kill -KILL "${labs[@]}" 2>/dev/null; exit 130' INT TERM
        RIG_LANE=$((RIG_LANE + 1))
    done
    # The others would wait for the turn of one that fails.
    for lane in "${lanes[@]}"; do
        wait -n || {
            local status=$?
            echo "a lab of $1 ended early: ${lanes[*]}; the one behind the last line of $RIG_RAW" >&2
            kill -KILL "${labs[@]}" 2>/dev/null
            exit $status
        }
    done
    exec {first}>&-
    rm -r "$RIG_TURNS"
}

for part in "$@"; do
    [ -x "$rig/${part//-/_}.sh" ] || { echo "no such part: $part" >&2; exit 2; }
    export RIG_RAW=$out/$part.raw.tsv RIG_BIN=$build/bench/rig
    begun="$(date +%F\ %R), load $(cut -d' ' -f1-3 /proc/loadavg)"
    [ -n "$("$rig/${part//-/_}.sh" lanes)" ] || { echo "$part: nobody of --judges takes part" >&2; continue; }
    in_labs "$part"
    echo "begun $begun; ended with load $(cut -d' ' -f1-3 /proc/loadavg)" >"$out/$part.when"
    python3 "$rig/${part//-/_}.py" "$out/$part" | tee "$out/$part.md"
done
