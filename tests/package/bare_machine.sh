# shellcheck shell=bash disable=SC2034
# For the scripts that run on the machine that bare_debian.sh boots.
set -u
export LC_ALL=C DEBIAN_FRONTEND=noninteractive HOME=/root
product=/usr/lib/Morvane/Morvane
failed=0

row() { # WHAT EXPECTED SEEN
    local mark=ok
    [ "$2" = "$3" ] || { mark=FAILED; failed=$((failed + 1)); }
    printf '%-72s %-22s %s\n' "$1" "$3" "$mark"
    [ "$2" = "$3" ] || printf '    expected: %s\n' "$2"
}

yes_if() { if "$@" >/dev/null 2>&1; then echo yes; else echo no; fi; }

make_network() {
    ip link set lo up
    ip netns add server
    ip link add client0 type veth peer name server0 netns server
    ip address add 192.0.2.1/24 dev client0
    ip link set client0 up
    ip route add default via 192.0.2.2
    ip -n server address add 192.0.2.2/24 dev server0
    ip -n server link set server0 up
    printf '%s\n' '127.0.0.1 localhost' '192.0.2.2 allowed.example blocked.example www.ads.example feeds.example' \
        '192.0.2.2 casino.example phish.example' >/etc/hosts
    mkdir -p /run/www
    echo hello >/run/www/index.html
    printf '%s\n' '# id,dateadded,url,url_status,last_online,threat' '1,d,http://evil.example/x,online,,malware' \
        >/run/www/urlhaus.csv
    echo 'nameserver 127.0.0.1' >/etc/resolv.conf
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=lab -keyout /run/key.pem -out /run/cert.pem 2>/dev/null
    cat >/run/nginx.conf <<'NGINX'
events {}
http {
    access_log off;
    server { listen 192.0.2.2:80; listen 192.0.2.2:443 ssl; root /run/www;
             ssl_certificate /run/cert.pem; ssl_certificate_key /run/key.pem; }
}
NGINX
    ip netns exec server nginx -c /run/nginx.conf -g 'pid /run/nginx-test.pid; error_log /run/nginx-test.log;'
}

ask() { # CURL-ARGUMENT...
    curl -sk -m 3 -o /dev/null "$@"
    case $? in
        0) echo allowed ;;
        35 | 55 | 56) echo blocked ;;
        *) echo "no answer" ;;
    esac
}

rules() { { iptables-save; ip6tables-save; } 2>/dev/null | grep -v '^#' | grep -c -e NFQUEUE -e WEBSEC; }
has_process() { [ "$(systemctl show -p MainPID --value websec)" != 0 ]; }
is_up() { systemctl is-active --quiet websec && iptables -t mangle -S 2>/dev/null | grep -q NFQUEUE; }

await() { # SECONDS COMMAND...
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        [ $SECONDS -lt $deadline ] || return 1
        sleep 0.1
    done
}

install() { apt-get install -qq -y --no-install-recommends -o Dpkg::Use-Pty=0 "$@" >>/tmp/apt.log 2>&1 || { tail -20 /tmp/apt.log; false; }; }

# Of the newest record: user, reason, host, URL.
newest() { websecctl report --csv --limit 1 | sed 1d | cut -d, -f4-7; }
