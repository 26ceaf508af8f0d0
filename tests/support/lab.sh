#!/usr/bin/env bash
# lab.sh BUILD_DIR COMMAND [ARGUMENT...]
#
# Runs COMMAND as a host of its own: private mount, network and process namespaces, in which the product of
# BUILD_DIR is installed and a second host with real servers is reachable. What is written below /usr, /etc,
# /var and /run stays inside, no process outlives COMMAND, and its exit status is passed on. 77: the machine cannot do it, and why; with
# WEBSEC_REQUIRE_E2E=1 in the environment that is a failure, 1.
#
#   this host   192.0.2.1 on client0, and loopback
#   server      192.0.2.2 to 192.0.2.6 on server0, in the network namespace "server"
#               nginx on 80, 8080, 3128 and (TLS) 443; vsftpd on 21 when it is installed
#
# LAB_DIR, in the environment of COMMAND, holds what the servers write: access.log has one line per request
# (local address, port, host, request line).
set -eu

if [ $# -lt 2 ]; then
    echo "usage: lab.sh BUILD_DIR COMMAND [ARGUMENT...]" >&2
    exit 2
fi
build=$(realpath "$1")
shift
self=$(realpath "$0")

skip() {
    if [ "${WEBSEC_REQUIRE_E2E:-0}" = 1 ]; then
        echo "required, but: $1" >&2
        exit 1
    fi
    echo "skipped: $1" >&2
    exit 77
}

outside() {
    [ "$(id -u)" = 0 ] || skip "needs root for its namespaces; run it with sudo"
    for tool in unshare ip iptables nginx curl openssl localedef; do
        command -v "$tool" >/dev/null || [ -x "/usr/sbin/$tool" ] ||
            skip "needs the program $tool; scripts/test installs it"
    done
    unshare -mnp -f true 2>/dev/null || skip "needs namespaces (unshare -mnp), which this system refuses"
    export LAB_INSIDE=1
    exec unshare -mnp -f --kill-child --propagation private --mount-proc "$self" "$build" "$@"
}

overlay() { # DIR: what is written below DIR stays in the lab
    mkdir -p "$LAB_DIR/overlay$1/upper" "$LAB_DIR/overlay$1/work"
    mount -t overlay overlay -o "lowerdir=$1,upperdir=$LAB_DIR/overlay$1/upper,workdir=$LAB_DIR/overlay$1/work" "$1" ||
        skip "needs overlay mounts, which this system refuses"
}

files() {
    export LAB_DIR=/run/websec-lab
    mount -t tmpfs -o mode=755 tmpfs /run
    mkdir -p "$LAB_DIR" /run/netns /run/lock
    : >/run/utmp
    overlay /usr
    overlay /etc
    overlay /var
    rm -rf /usr/lib/Morvane /var/lib/websec
    cmake --install "$build" >/dev/null
    localedef --no-archive -i en_US -f UTF-8 /usr/lib/locale/en_US.utf8 2>/dev/null || true
    cat >/etc/hosts <<'HOSTS'
127.0.0.1 localhost
192.0.2.2 allowed.example www.allowed.example blocked.example www.blocked.example
192.0.2.2 sub.blocked.example sub.domain.example deep.sub.domain.example domain.example
192.0.2.3 paths.example ported.example excluded.example
192.0.2.5 range.example
127.0.0.1 local-allowed.example local-blocked.example
HOSTS
}

network() {
    ip link set lo up
    ip netns add server
    ip link add client0 type veth peer name server0 netns server
    ip address add 192.0.2.1/24 dev client0
    ip link set client0 up
    for last in 2 3 4 5 6; do ip -n server address add 192.0.2.$last/24 dev server0; done
    ip -n server link set lo up
    ip -n server link set server0 up
    # A first run of iptables loads what it needs; without the queue target nothing here makes sense.
    iptables -t mangle -A OUTPUT -p tcp -j NFQUEUE --queue-num 0 2>"$LAB_DIR/iptables.err" ||
        skip "needs iptables with the NFQUEUE target: $(cat "$LAB_DIR/iptables.err")"
    iptables -t mangle -F OUTPUT
}

servers() {
    mkdir -p "$LAB_DIR/www" "$LAB_DIR/ftp/pub" "$LAB_DIR/nginx"
    echo "hello from the server" >"$LAB_DIR/www/index.html"
    echo "a file" | tee "$LAB_DIR/ftp/file.txt" >"$LAB_DIR/ftp/pub/other.txt"
    chmod -R a+rX "$LAB_DIR"
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=lab.example \
        -keyout "$LAB_DIR/key.pem" -out "$LAB_DIR/cert.pem" 2>/dev/null
    for place in server local; do
        sed "s|@DIR@|$LAB_DIR|g; s|@PLACE@|$place|g" "${self%/*}/nginx.conf" >"$LAB_DIR/nginx-$place.conf"
    done
    ip netns exec server nginx -c "$LAB_DIR/nginx-server.conf"
    nginx -c "$LAB_DIR/nginx-local.conf"
    if command -v vsftpd >/dev/null; then
        sed "s|@DIR@|$LAB_DIR|g" "${self%/*}/vsftpd.conf" >"$LAB_DIR/vsftpd.conf"
        mkdir -p /run/vsftpd/empty
        ip netns exec server vsftpd "$LAB_DIR/vsftpd.conf" &
    fi
    for try in $(seq 50); do
        curl -sf -o /dev/null http://192.0.2.2/ && curl -sf -o /dev/null http://127.0.0.1/ && return
        sleep 0.1
    done
    skip "the lab's web servers did not come up"
}

export PATH=$PATH:/usr/sbin:/sbin
[ -n "${LAB_INSIDE:-}" ] || outside "$@"
files
network
servers
: >"$LAB_DIR/access.log"
status=0
"$@" || status=$?
exit $status
