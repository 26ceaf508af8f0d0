#!/usr/bin/env bash
# Runs on the machine that bare_debian.sh --lines boots: what each line that hardens a unit does to the service. A
# line is tried alone, in its unit without the others; then what the units leave out is tried on top of them all.
# Prints packaging/hardening.md's tables; exit status 0 when the service works with each of its own lines.
. "${0%/*}/bare_machine.sh"
units=/lib/systemd/system
changed=/etc/systemd/system
tries=0

is_plain='^(Type|Exec|Restart|Timeout|Environment|StateDirectory|RuntimeDirectory)'
hardening_of() { awk -v plain="$is_plain" '/^\[/ { on = /Service/ } on && /^[A-Z]/ && $0 !~ plain' "$units/$1"; }
bare() { awk -v plain="$is_plain" '/^\[/ { on = /Service/ } !(on && /^[A-Z]/ && $0 !~ plain)' "$units/$1"; }

# What must stay writable belongs to the line that makes the rest read-only, and an error to a refused system call.
with_line() { # UNIT LINE
    local more=""
    [[ $2 = ProtectSystem=* ]] && more=$(hardening_of "$1" | grep ReadWritePaths)
    [[ $2 = SystemCallFilter=~* ]] && more=$(hardening_of "$1" | grep SystemCallErrorNumber)
    bare "$1" | awk -v line="$2" -v more="$more" '{ print } /^\[Service\]/ { print line; if (more) print more }'
}

as_it_is() { cat "$units/$1"; }

on_top() { awk -v line="$2" '/^\[Install\]/ { print line } { print } END { print "[Service]\n" line }' "$units/$1"; }

# The first thing that does not work, or "works".
judge_websec() {
    systemctl restart websec 2>/dev/null
    await 6 is_up || { echo "does not start, or has no rules"; return; }
    local outcome
    outcome="$(ask http://allowed.example/) $(ask http://blocked.example/) $(ask https://blocked.example/)"
    [ "$outcome" = "allowed blocked blocked" ] || { echo "requests: $outcome"; return; }
    ip6tables -S 2>/dev/null | grep -q WEBSEC_CLOSE || { echo "IPv6 is not refused"; return; }
    [ "$(websecctl --json status | grep -c '"loaded": *false')" = 0 ] || { echo "a module is not loaded"; return; }
    tries=$((tries + 1))
    setpriv --reuid 65534 --regid 65534 --clear-groups curl -s -m 3 -o /dev/null "http://blocked.example/$tries"
    await 3 eval '[[ "$(newest)" = *"/$tries" ]]' || { echo "no report"; return; }
    [[ "$(newest)" = nobody,* ]] || { echo "the user is not known"; return; }
    systemctl stop websec
    [ "$(rules)" = 0 ] || { echo "rules are left when it ends"; return; }
    echo works
}

judge_websec-chain() {
    systemctl is-active --quiet websec || systemctl start websec
    iptables -t mangle -F POSTROUTING
    systemctl start websec-chain 2>/dev/null
    iptables -t mangle -C POSTROUTING -p tcp -j WEBSEC 2>/dev/null && echo works || echo "the chain is not back"
}

judge_websec-catserver() {
    systemctl is-active --quiet websec || systemctl start websec
    systemctl stop websec-catserver 2>/dev/null
    local outcome
    outcome=$(ask http://casino.example/)
    [ "$outcome" = blocked ] || { echo "a blocked category: $outcome"; return; }
    systemctl is-active --quiet websec-catserver && echo works || echo "it does not run"
}

use_iptables() { # nft|legacy LIVETRAFFIC
    systemctl stop websec
    update-alternatives --set iptables "/usr/sbin/iptables-$1" >/dev/null
    update-alternatives --set ip6tables "/usr/sbin/ip6tables-$1" >/dev/null
    sed -i "s/^LiveTraffic=.*/LiveTraffic=$2/" $product/websec.cfg
}

# A row of the table: what is said of the line under either iptables.
try() { # NAME HOW LINE
    local nft legacy
    $2 "$1.service" "$(printf '%b' "$3")" >"$changed/$1.service"
    systemctl daemon-reload
    systemctl reset-failed websec websec-chain websec-catserver 2>/dev/null
    use_iptables nft 1
    nft=$("judge_$1")
    use_iptables legacy 0
    legacy=$("judge_$1")
    rm "$changed/$1.service"
    printf '| `%s` | %s | %s |\n' "$3" "$nft" "$legacy"
    [ "$nft$legacy" = worksworks ]
}

table() { printf '\n%s\n\n| line | nft, LiveTraffic 1 | legacy, LiveTraffic 0 |\n|---|---|---|\n' "$1"; }

lines_of() { # NAME
    local line
    table "$1.service, each line alone"
    try "$1" as_it_is "all lines" || failed=$((failed + 1))
    while read -r line <&3; do
        [[ $line = ReadWritePaths=* ]] && continue
        try "$1" with_line "$line" || failed=$((failed + 1))
    done 3< <(hardening_of "$1.service")
}

left_out() { # NAME
    local line
    table "$1.service as it is, and one line more"
    while read -r line <&3; do try "$1" on_top "$line"; done 3<"/dev/stdin"
}

make_network
install /test/1/*.deb || exit 1
sed -i 's/^;catEngine=.*/catEngine=2/; s/^;CloseBypasses=.*/CloseBypasses=1/' $product/websec.cfg
echo casino.example >/tmp/gambling.txt
{
    websecctl block add blocked.example
    websecctl import category gambling /tmp/gambling.txt
    websecctl category block gambling
    websecctl protection category on
} >/dev/null 2>&1

lines_of websec
lines_of websec-chain
lines_of websec-catserver
# The last: as another user; the state directory becomes his.
left_out websec <<'LINES'
CapabilityBoundingSet=~CAP_NET_ADMIN
CapabilityBoundingSet=~CAP_NET_RAW
RestrictAddressFamilies=~AF_UNIX
RestrictAddressFamilies=~AF_INET6
PrivateUsers=yes
ProcSubset=pid
IPAddressDeny=any
SystemCallFilter=~@process
User=nobody\nAmbientCapabilities=CAP_NET_ADMIN CAP_NET_RAW
LINES
echo
echo "$failed not as expected"
[ "$failed" = 0 ]
