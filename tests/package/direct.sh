#!/usr/bin/env bash
# In the lab, which has no systemd: the product is installed, comes back after each of ten kills, its examples run, and
# it leaves neither rule nor file; what would reach a shell from websec.cfg is refused, its chain is the one that the
# daemon reads, and somebody else's is left alone. Usage: direct.sh BUILD_DIR
set -u
here=$(dirname "$(realpath "$0")")
root=$here/../..
libexec=/usr/libexec/websec
echo '192.0.2.2 feeds.example' >>/etc/hosts
printf '%s\n' '# id,dateadded,url,url_status,last_online,threat' '1,d,http://evil.example/x,online,,malware_download' \
    >"$LAB_DIR/www/urlhaus.csv"

fail() { echo "$*"; iptables-save -t mangle; exit 1; }

iptables -t mangle -A POSTROUTING -d 192.0.2.99 -j ACCEPT
"$root/scripts/install" --build "$1" || fail "it does not install"
websecctl status || fail "it does not work"
sleep 0.5
awk '/^Uid/ && $3 == 0 || /^Cap/ && $2 !~ /^0*$/ || /^NoNewPrivs/ && $2 != 1 { exit 1 }' \
    "/proc/$(pgrep -ox websec-catserve)/status" || fail "the category server has rights"
for round in $(seq 10); do
    kill -9 "$(pgrep -ox websec)"
    start=$(date +%s%N)
    until curl -s -m 0.3 -o /dev/null http://allowed.example/; do
        [ $(($(date +%s%N) - start)) -lt 2000000000 ] || fail "kill $round: no page within two seconds"
    done
    until pgrep -x websec >/dev/null || [ $SECONDS -gt 300 ]; do sleep 0.1; done
    $libexec/own-chain await || fail "kill $round: the daemon is not back"
done

config=/usr/lib/Morvane/Morvane/websec.cfg
$libexec/run-direct stop
cp $config /tmp/kept.cfg
while read -r key line; do
    printf '[IPTABLEConfigurations]\nUseDefinedPorts=1\n%s\n' "$line" >$config
    told=$(timeout 2 $libexec/run-direct start 2>&1) && fail "it starts with $line"
    case "$told" in *"$key"*" is "*"; correct $config"*) ;; *) fail "$line: not told: $told" ;; esac
    ! pgrep -x websec >/dev/null || fail "websec runs with $line"
    $libexec/run-direct stop || fail "it does not stop with $line"
done <<'LINES'
iptableChain iptableChain=WEB;id
iptableChain iptableChain=
iptableTable iptableTable=-mangle x
HTTPSPorts HTTPSPorts=443 $(id)
queueNum queueNum=70000
iptableTable iptableTable=nat
LINES
cp /tmp/kept.cfg $config
$libexec/run-direct start || fail "it does not start"
printf '[IPTABLEConfigurations]\nUseDefinedPorts=1\nHTTPPorts=80,http\n' >$config
told=$($libexec/run-direct stop 2>&1)
[ -z "$told" ] || fail "the stop of a healthy daemon goes by a later websec.cfg: $told"
# Started is what has its rules in the chain that own-chain made.
iptables -t mangle -N MINE
iptables -t mangle -A MINE -d 192.0.2.99 -j ACCEPT
while read -r why text; do
    printf '%b' "$text" >$config
    $libexec/run-direct start || fail "$why: it does not start"
    $libexec/run-direct stop
done <<'TEXTS'
second-section [IPTABLEConfigurations]\nqueueNum=0\n[IPTABLEConfigurations]\niptableChain=LATER\n
key-without-value [IPTABLEConfigurations]\niptableChain\niptableChain=LATER\n
a-list-without-a-rule [ServiceConfigurations]\nLiveTraffic=1\n[IPTABLEConfigurations]\nUseDefinedPorts=1\nFTPPorts=90:80\n
a-chain-that-is-there [IPTABLEConfigurations]\niptableChain=MINE\n
TEXTS
[ "$(iptables-save -t mangle | grep -c -e '^-A' -e ':MINE')" = 3 ] || fail "somebody else's chain is not as it was"
iptables -t mangle -F MINE
iptables -t mangle -X MINE

# What a killed daemon left goes before the next start by hand, wherever that has its rules and with whichever iptables;
# the chain of one that is just ending goes with it, that of a running one stays.
websec_rules() { { iptables-nft-save; iptables-legacy-save; ip6tables-save; } 2>/dev/null | grep -c -e NFQUEUE -e WEBSEC; }
start_by_hand() { $libexec/own-chain make && websec && $libexec/own-chain await || fail "by hand: it does not start"; }
usual=$(readlink /etc/alternatives/iptables)
for kind in /usr/sbin/iptables-nft /usr/sbin/iptables-legacy; do
    [ $kind = "$usual" ] || other=$kind
done
printf '[ServiceConfigurations]\nLiveTraffic=1\nCloseBypasses=1\n[IPTABLEConfigurations]\niptableChain=OUTPUT\n' >$config
start_by_hand
kill -9 "$(pgrep -ox websec)"
sed -i 's/OUTPUT/WEBSEC/' $config
start_by_hand
[ "$(iptables -t mangle -S OUTPUT | wc -l)" = 1 ] || fail "a start leaves rules of a killed daemon in another chain"
iptables -t mangle -I POSTROUTING -d 192.0.2.99 -j ACCEPT
before=$(iptables -t mangle -S)
! $libexec/own-chain remove 2>/dev/null || fail "the chain of a running daemon is taken away"
[ "$(iptables -t mangle -S)" = "$before" ] || fail "the chain of a running daemon goes for a while"
iptables -t mangle -D POSTROUTING -d 192.0.2.99 -j ACCEPT
ln -sf "$other" /etc/alternatives/iptables
pkill -TERM -x websec
$libexec/own-chain remove || fail "the chain of a daemon that ends is not taken away"
ln -sf "$usual" /etc/alternatives/iptables
[ "$(websec_rules)" = 0 ] || fail "rules are left: $(iptables-nft-save; iptables-legacy-save)"

cp /tmp/kept.cfg $config
$libexec/run-direct start || fail "it does not start again"
keeper=$(cat /run/websec/keeper)
kill -STOP "$keeper"
kill -9 "$(pgrep -ox websec)"
left=$(websec_rules)
$libexec/own-chain restore
[ "$(websec_rules)" = "$left" ] || fail "restore takes rules away, which may be those of a websec that just starts"
kill -CONT "$keeper"
until pgrep -x websec >/dev/null || [ $SECONDS -gt 300 ]; do sleep 0.1; done
$libexec/own-chain await || fail "the daemon is not back"
sed -i 's/^iptableChain=.*/iptableChain=NEXT/' $config
$libexec/own-chain make
iptables -t mangle -S WEBSEC | grep -q NFQUEUE || fail "a chain for the next start takes the running daemon's away"
cp /tmp/kept.cfg $config

"$here/run_examples.sh" "$root/README.md" "$root"/docs/*.md "$root"/packaging/man/*.scd || fail "an example failed"
keeper=$(cat /run/websec/keeper)
kill -STOP "$keeper"
iptables -t mangle -F POSTROUTING
websecctl status | grep -q 'nothing that this host sends comes through .*WEBSEC' || fail "nobody tells that nothing leads to the chain"
kill -CONT "$keeper"
for _ in $(seq 300); do
    iptables -t mangle -C POSTROUTING -p tcp -j WEBSEC 2>/dev/null && break
    sleep 0.1
done
iptables -t mangle -C POSTROUTING -p tcp -j WEBSEC || fail "the chain that another program flushed is not back"
iptables -t mangle -A POSTROUTING -d 192.0.2.99 -j ACCEPT
echo '; mine' >>/usr/lib/Morvane/Morvane/websec.cfg
"$root/scripts/uninstall" || fail "it does not uninstall"
[ "$(iptables-save -t mangle | grep -c '^-A\|^:WEBSEC')" = 1 ] || fail "more or less than somebody else's rule is left"
! ps -e -o comm= | grep -e '^websec' -e '^run-direct' || fail "a process is left"
[ ! -e /run/websec ] || fail "/run/websec is left"
"$root/scripts/install" --build "$1" || fail "it does not install again"
websecctl explain http://ads.example/ | grep -q ads.example || fail "the settings are lost"
tail -1 /usr/lib/Morvane/Morvane/websec.cfg | grep -q mine || fail "websec.cfg is lost"
"$root/scripts/uninstall" --purge || fail "it does not uninstall for good"
left=$(find / -xdev \( -path /proc -o -path "$(realpath "$root")" \) -prune -o \
    \( -name '*websec*' -o -name Morvane \) -path '/[uve]*' -print | grep -v '^/usr/src\|^/run')
[ -z "$left" ] || fail "left: $left"
