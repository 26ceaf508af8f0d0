# What a bare Debian 12 lacks, for those who source this file. Installs only what is missing.

BUILD_PACKAGES="g++ make cmake pkg-config libmnl-dev libsqlite3-dev libcli11-dev nlohmann-json3-dev
    nettle-dev libpsl-dev publicsuffix libarchive-dev
    libgtest-dev libgmock-dev gettext scdoc"
LAB_PACKAGES="iptables iproute2 ethtool util-linux nginx-light vsftpd curl openssl locales procps"
TEST_PACKAGES="valgrind binutils bzip2 python3 mandoc systemd"
PACKAGE_PACKAGES="build-essential dpkg-dev debhelper fakeroot lintian"
BARE_ROOT_PACKAGES="debootstrap systemd-container"

# install_packages NAME...: as root; services that come with a package are not started.
install_packages() {
    local missing="" name policy=/usr/sbin/policy-rc.d
    for name in "$@"; do
        dpkg-query -W -f '${Status}' "$name" 2>/dev/null | grep -q 'ok installed' || missing="$missing $name"
    done
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" != 0 ]; then
        echo "These Debian packages are missing:$missing" >&2
        echo "Run this once as root, or: sudo apt-get install$missing" >&2
        return 1
    fi
    echo "Installing:$missing"
    [ -e "$policy" ] || { printf '#!/bin/sh\nexit 101\n' >"$policy" && chmod +x "$policy" && trap "rm -f $policy" EXIT; }
    apt-get update -qq
    # shellcheck disable=SC2086
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
}
