#!/usr/bin/env bash
# In the lab, which has no systemd: the product is installed, comes back after a kill, its examples run, and it leaves
# neither rule nor file. Usage: direct.sh BUILD_DIR
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
for round in 1 2 3; do
    kill -9 "$(pgrep -ox websec)"
    start=$(date +%s%N)
    until curl -s -m 0.3 -o /dev/null http://allowed.example/; do
        [ $(($(date +%s%N) - start)) -lt 2000000000 ] || fail "kill $round: no page within two seconds"
    done
    $libexec/own-chain await || fail "kill $round: the daemon is not back"
done
"$here/run_examples.sh" "$root/README.md" "$root"/docs/*.md "$root"/packaging/man/*.scd || fail "an example failed"
iptables -t mangle -F POSTROUTING
websecctl status | grep -q 'no rule leads to the chain WEBSEC' || fail "nobody tells that nothing leads to the chain"
$libexec/own-chain make
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
