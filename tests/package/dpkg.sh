#!/usr/bin/env bash
# In the lab, which has no systemd: the packages with their own scripts are installed, upgraded with everything kept,
# removed one by one, and purged without a trace. Usage: dpkg.sh BUILD_DIR
set -u
build=$(realpath "$1")
cd "$(dirname "$(realpath "$0")")/../.." || exit 1
run=/usr/libexec/websec/run-direct
product=/usr/lib/Morvane/Morvane
work=/run/packages

fail() { echo "$*"; iptables-save -t mangle; exit 1; }

# As packaging/debian/rules makes them, but for what debhelper adds, and without what they depend on.
make_package() { # PACKAGE VERSION
    local folder=$work/$1_$2 script
    DESTDIR=$folder cmake --install "$build" --component "$1" >/dev/null
    mkdir "$folder/DEBIAN"
    awk -v package="$1" -v version="$2" -v architecture="$(dpkg --print-architecture)" '
        /^Maintainer:/ { maintainer = $0 }
        /^Package:/ { on = $2 == package; if (on) print $0 "\nVersion: " version "\n" maintainer }
        on && /^Architecture:/ { print "Architecture: " architecture }
        on && /^Description:|^ / { print }
        /^$/ { on = 0 }' packaging/debian/control >"$folder/DEBIAN/control"
    for script in conffiles preinst postinst prerm postrm; do
        if [ -e "packaging/debian/$1.$script" ]; then install -m 755 "packaging/debian/$1.$script" "$folder/DEBIAN/$script"; fi
    done
    dpkg-deb --root-owner-group -Znone -b "$folder" "$folder.deb" >/dev/null || fail "no package $1"
}

# Package tools note their own work.
everything() {
    find /usr /etc /var /run \( -path '/var/lib/dpkg' -o -path /var/log -o -path /var/cache -o -path $work -o \
        -path /run/websec-lab -o -path /run/lock \) -prune -o -print | sort
    ps -e -o comm= | grep -e '^websec' -e '^run-direct'
    getent passwd
    iptables-save | grep -e '^-A' -e '^:WEBSEC'
}

blocked() { ! curl -s -m 3 -o /dev/null http://blocked.example/ && curl -s -m 3 -o /dev/null http://allowed.example/; }

scripts/uninstall --purge >/dev/null
mkdir -p $work
everything >$work/before
for version in 1 2; do
    make_package websec $version
    make_package websec-catserver $version
done

dpkg -i $work/*_1.deb >/dev/null || fail "the packages do not install"
$run start || fail "it does not start"
websecctl block add blocked.example >/dev/null
blocked || fail "installed: it does not block"
echo '; mine' >>$product/websec.cfg
websec=$(pgrep -ox websec)
dpkg -i $work/*_2.deb >/dev/null || fail "the packages do not upgrade"
! kill -0 "$websec" 2>/dev/null || fail "upgraded: the old daemon runs"
blocked || fail "upgraded: it does not block"
tail -1 $product/websec.cfg | grep -q mine || fail "upgraded: websec.cfg is lost"

dpkg -r websec-catserver >/dev/null
for _ in $(seq 100); do
    pgrep websec-catserve >/dev/null || break
    sleep 0.1
done
! pgrep websec-catserve || fail "the category server outlives its package"
blocked || fail "without the category server: it does not block"
dpkg -r websec >/dev/null || fail "it does not go"
! ps -e -o comm= | grep -e '^websec' -e '^run-direct' || fail "removed: a process is left"
[ "$(iptables-save | grep -c -e NFQUEUE -e WEBSEC)" = 0 ] || fail "removed: rules are left"
dpkg -i $work/*_1.deb >/dev/null || fail "the packages do not install again"
$run start || fail "installed again: it does not start"
blocked || fail "installed again: the settings are lost"

dpkg -P websec websec-catserver >/dev/null || fail "it cannot be purged"
everything | diff $work/before - || fail "purged: something is left or gone (<)"
