#!/usr/bin/env bash
# In the lab: the product runs without systemd, comes back after a kill, its examples run, and it leaves no rule.
set -u
here=$(dirname "$(realpath "$0")")
root=$here/../..
libexec=/usr/libexec/websec
echo '192.0.2.2 feeds.example' >>/etc/hosts
printf '%s\n' '# id,dateadded,url,url_status,last_online,threat' '1,d,http://evil.example/x,online,,malware_download' \
    >"$LAB_DIR/www/urlhaus.csv"

fail() { echo "$*"; iptables-save -t mangle; exit 1; }

$libexec/prepare-host make
iptables -t mangle -A POSTROUTING -d 192.0.2.99 -j ACCEPT
$libexec/run-direct start || fail "it does not start"
websecctl status || fail "it does not work"
for round in 1 2 3; do
    kill -9 "$(pgrep -x websec)"
    start=$(date +%s%N)
    until curl -s -m 0.3 -o /dev/null http://allowed.example/; do
        [ $(($(date +%s%N) - start)) -lt 2000000000 ] || fail "kill $round: no page within two seconds"
    done
    $libexec/own-chain await || fail "kill $round: the daemon is not back"
done
"$here/run_examples.sh" "$root/README.md" "$root"/docs/*.md "$root"/packaging/man/*.scd || fail "an example failed"
iptables -t mangle -F POSTROUTING
$libexec/own-chain make
iptables -t mangle -C POSTROUTING -p tcp -j WEBSEC || fail "the chain that another program flushed is not back"
iptables -t mangle -A POSTROUTING -d 192.0.2.99 -j ACCEPT
$libexec/run-direct stop
[ "$(iptables-save -t mangle | grep -c '^-A\|^:WEBSEC')" = 1 ] || fail "more or less than somebody else's rule is left"
! ps -e -o comm= | grep -e '^websec' -e '^run-direct' || fail "a process is left"
[ ! -e /run/websec ] || fail "/run/websec is left"
