# shellcheck shell=bash
# Disks, firewall programs, another daemon and the wall clock, at a start and at a reload.

machine_rows() {
    heading "disks"
    row "store on a full disk" rests small_disk no_disk
    row "store that cannot be written" rests "small_disk; mount -o remount,ro /var/lib/websec" no_disk
    row "counters page: folder in its place" rests "rm -f /run/websec/counters; mkdir -p /run/websec/counters" \
        "rmdir /run/websec/counters 2>/dev/null; true"
    row "daemon's note: folder in its place" rests "rm -f /run/websec/daemon; mkdir -p /run/websec/daemon" \
        "rmdir /run/websec/daemon 2>/dev/null; true"
    row "counters page and note on a full disk" rests full_run "umount -l /run/websec"
    row "lists: no folder" rests "rm -r $lists" restore
    heading "firewall"
    row "iptables absent" ended "mv /usr/sbin/iptables /usr/sbin/iptables.away" "mv /usr/sbin/iptables.away /usr/sbin/iptables"
    row "iptables-restore absent" rests "rm /usr/sbin/iptables-restore" real_iptables
    row "iptables takes its time" rests "iptables_does 'sleep 0.1'" real_iptables
    heading "clock"
    prefix="LD_PRELOAD=$build/tests/libshifted_clock.so SHIFTED_CLOCK_FILE=$LAB_DIR/clock"
    row "a day ahead" rests "shift_clock 86400" "shift_clock 0"
    row "a day behind" rests "shift_clock -86400" "shift_clock 0"
    row "in 1970" rests "shift_clock -$(($(date +%s) - 5))" "shift_clock 0"
    prefix=""
    failing_iptables_row
    hanging_iptables_row
    second_daemon_row
}

# The rules come with the watchdog's next pass; nobody is cut off until then.
failing_iptables_row() {
    local name="iptables fails, then works" state page kept try
    [[ $name == *"$only"* ]] || return
    seen=""
    iptables_does "exit 1"
    launch
    state=$(settle) page=$(loads) kept=$(blocks)
    real_iptables
    for try in $(seq 65); do
        [ "$(blocks)" = lpc ] && break
        sleep 1
    done
    note rests "$state" "$page" "$kept" "$(healed)"
    seen="$seen after $try s$(clean_up)"
    restore
    result "$name"
}

# Nobody can put rules in or take them away until it returns: a start, and a stop, wait for it.
hanging_iptables_row() {
    local name="iptables hangs"
    [[ $name == *"$only"* ]] || return
    iptables_hang
    launch
    seen=" | start: $(loads)"
    real_iptables
    seen="$seen $(settle) $(healed)"
    iptables_hang
    kill -TERM "$pid"
    sleep 1
    seen="$seen | stop: $(loads) $(blocks)"
    real_iptables
    seen="$seen, then end $(seconds_until 12 is_gone)$(clean_up)"
    [[ $seen == " | start: loads rests healed | stop: loads "* ]] || seen="$seen BAD"
    restore
    result "$name"
}

second_daemon_row() {
    local name="a second daemon" first
    [[ $name == *"$only"* ]] || return
    seen=""
    launch
    settle >/dev/null
    first=$pid
    timeout 5 websec >/dev/null 2>&1
    sleep 1
    [ "$(pgrep -cx websec)" = 1 ] || seen=" BAD: two of them"
    pid=$first
    note rests "$(settle)" "$(loads)" "$(blocks)" "$(healed)"
    seen="$seen$(clean_up)"
    result "$name"
}
