#!/usr/bin/env bash
# The packages on a bare Debian 12 that boots systemd, in namespaces of its own: install, protect, block, report,
# restart, kill, upgrade, remove, purge; tests/package/on_bare_debian.sh is what runs there.
#
# Usage: sudo tests/package/bare_debian.sh [--lines] [--ubuntu] [DIR]
#   DIR        packages that are there; without it those in build/package, which are made when there are none
#   --lines    instead of all that, what each hardening line of the units does (tests/package/unit_lines.sh)
#   --ubuntu   on a bare Ubuntu 24.04
# Takes minutes.
set -eu
cd "$(dirname "$(realpath "$0")")/../.."
. scripts/packages.sh
[ "$(id -u)" = 0 ] || { echo "needs root for its namespaces" >&2; exit 1; }
test=on_bare_debian.sh suite=bookworm
while [ $# -gt 0 ]; do
    case "$1" in
        --lines) test=unit_lines.sh && shift ;;
        --ubuntu) suite=noble && shift ;;
        -*) echo "usage: bare_debian.sh [--lines] [--ubuntu] [DIR]" >&2; exit 2 ;;
        *) break ;;
    esac
done
install_packages $BARE_ROOT_PACKAGES
out=$PWD/build/package
packages=$(realpath "${1:-$out}")
ls "$packages"/*.deb >/dev/null 2>&1 || scripts/package
base=$out/$suite
root=$out/root-$suite

# What a bare system lacks for the test: a server, a client, and systemd itself. Made once. Debian neither knows the
# release of Ubuntu nor has its keys; the machine is thrown away.
make_base() {
    local from=""
    [ $suite = bookworm ] || from="https://archive.ubuntu.com/ubuntu gutsy"
    rm -rf "$base.new"
    # shellcheck disable=SC2086
    debootstrap --variant=minbase ${from:+--merged-usr --no-check-gpg --components=main,universe} \
        --include=systemd-sysv,dbus,iproute2,curl,procps,nginx,openssl \
        $suite "$base.new" $from >"$out/debootstrap.log"
    # It has no certificates yet, and what apt fetches is signed.
    sed -i s/https:/http:/ "$base.new/etc/apt/sources.list"
    mv "$base.new" "$base"
}

# The packages and what they depend on lie ready; the machine has no network but its own. The second version is the
# first one under another number.
fill_test_folder() {
    mkdir -p "$root/test/1" "$root/test/2"
    cp "$packages"/*.deb "$root/test/1"
    for package in "$packages"/*.deb; do
        dpkg-deb -R "$package" "$root/test/unpacked"
        sed -i 's/^Version: .*/&+next/' "$root/test/unpacked/DEBIAN/control"
        dpkg-deb -b "$root/test/unpacked" "$root/test/2" >/dev/null
        rm -r "$root/test/unpacked"
    done
    cp tests/package/*.sh "$root/test"
    cp -r README.md docs packaging/man "$root/test"
    chroot "$root" sh -c 'apt-get update -qq && apt-get install -qq -y --no-install-recommends -d /test/1/*.deb' >/dev/null
    cat >"$root/etc/systemd/system/websec-test.service" <<UNIT
[Unit]
After=multi-user.target
[Service]
Type=oneshot
ExecStart=/bin/sh -c 'bash /test/$test >/test/log 2>&1; echo \$? >/test/status; systemctl poweroff --no-block'
UNIT
    mkdir -p "$root/etc/systemd/system/default.target.wants"
    ln -sf ../websec-test.service "$root/etc/systemd/system/default.target.wants/"
}

[ -d "$base" ] || make_base
rm -rf "$root"
cp -a "$base" "$root"
fill_test_folder
# bpf is for IPAddressDeny.
boot="systemd-nspawn -q -D $root --capability=CAP_BPF --system-call-filter=bpf --boot --register=no --keep-unit --private-network --resolv-conf=off --console=pipe"
unshare -mnp -f --kill-child --mount-proc timeout 1500 $boot </dev/null >"$out/boot-$suite.log" 2>&1 || true
cat "$root/test/log"
exit "$(cat "$root/test/status" || echo 1)"
