# Part of scripts/demo: LiveTraffic and CloseBypasses, against what would slip past a look at single segments.

method_rows() {
    local method
    for method in POST PUT DELETE OPTIONS PATCH; do
        request "$method blocked.example/" blocked -X $method -d data http://blocked.example/
    done
    request "HEAD blocked.example/" blocked -I http://blocked.example/
    request "HEAD allowed.example/" allowed -I http://allowed.example/
    request "GET blocked.example/?x=RETR" blocked "http://blocked.example/?x=RETR"
    request "GET blocked.example/ with CWD in a cookie" blocked -b "c=CWD " http://blocked.example/
}

cookie_rows() {
    local size place
    for size in 3000 8000 60000; do
        for place in "" local-; do
            request "${place}blocked.example/, $size bytes of cookies" blocked \
                -b "c=$(printf %0${size}d 0)" "http://${place}blocked.example/"
            request "${place}allowed.example/, $size bytes of cookies" allowed \
                -b "c=$(printf %0${size}d 0)" "http://${place}allowed.example/"
        done
    done
}

# Each string that a Perl expression makes goes out in a segment of its own. hello(HOST) is a ClientHello's
# handshake message, large_hello(HOST) one with a key share of today's size before the name, records(N, IT) puts
# it into records of N bytes, cut(N, BYTES) cuts to pieces of N bytes.
in_segments() { # PORT PERL-LIST
    perl -MIO::Socket::INET -MSocket=TCP_NODELAY,IPPROTO_TCP -e '
        sub cut { my ($n, $all) = @_; unpack "(a$n)*", $all }
        sub records { my ($n, $all) = @_; join "", map { pack "CnS>/a", 22, 0x301, $_ } cut($n, $all) }
        sub large_hello { hello(shift, pack "nS>/a", 51, "k" x 1800) }
        sub hello {
            my ($host, $before) = (@_, "");
            my $name = $before . pack "nS>/a", 0, pack "S>/a", pack "CS>/a", 0, $host;
            my $body = pack "na32CS>/aCCS>/a", 0x303, "random", 0, pack("n*", 0xc02f, 0xc030, 0x9c), 1, 0,
                $name . pack "n*", 10, 4, 2, 29, 13, 4, 2, 0x401;
            pack "CCn/a", 1, 0, $body;
        }
        $SIG{PIPE} = "IGNORE";
        my ($port, $pieces) = @ARGV;
        my $peer = IO::Socket::INET->new("192.0.2.2:$port") or die;
        setsockopt $peer, IPPROTO_TCP, TCP_NODELAY, 1;
        for (eval $pieces) { syswrite($peer, $_) // last; select undef, undef, undef, 0.02 }
        my $reset = $!{ECONNRESET};
        my $got = sysread $peer, my $answer, 99;
        print $reset || $!{ECONNRESET} ? "blocked" : $got ? "allowed" : "no answer";
    ' "$1" "$2"
}

segment_row() { # WHAT PORT PERL-LIST, with HOST for the host
    local fate
    for fate in allowed blocked; do
        row "$fate.example: $1" $fate "$(in_segments "$2" "${3//HOST/$fate.example}")"
    done
}

segment_rows() {
    segment_row "Host in the next segment" 80 '"GET / HTTP/1.1\r\nAccept: */*\r\n", "Host: HOST\r\n\r\n"'
    segment_row "request line in two segments" 80 '"GET /pa", "th HTTP/1.1\r\nHost: HOST\r\n\r\n"'
    segment_row "a request in segments of 9 bytes" 80 'cut(9, "GET / HTTP/1.1\r\nHost: HOST\r\n\r\n")'
    segment_row "GET right behind a HEAD" 80 \
        '"HEAD / HTTP/1.1\r\nHost: allowed.example\r\n\r\nGET / HTTP/1.1\r\nHost: HOST\r\nConnection: close\r\n\r\n"'
    segment_row "a hello in two segments" 443 'cut(60, records(999, hello("HOST")))'
    segment_row "a hello in segments of 9 bytes" 443 'cut(9, records(999, hello("HOST")))'
    segment_row "a hello in two records" 443 'records(60, hello("HOST"))'
    segment_row "a hello in two records and segments" 443 'cut(65, records(60, hello("HOST")))'
}

# A sender may put as many segments on its way before the first one is acknowledged as its congestion window
# holds; the rest comes to the queue later.
window_row() { # WHAT PORT PERL-STRING, with HOST for the host
    local fate window right
    for fate in allowed blocked; do
        right=0
        for window in $(seq 10); do
            ip route change 192.0.2.0/24 dev client0 src 192.0.2.1 initcwnd "$window"
            [ "$(in_segments "$2" "${3//HOST/$fate.example}")" = $fate ] && right=$((right + 1))
        done
        row "$fate.example: $1, windows 1 to 10" "10 $fate" "$right $fate"
    done
    ip route change 192.0.2.0/24 dev client0 src 192.0.2.1
}

window_rows() {
    window_row "a hello of 2 KB" 443 'records(9999, large_hello("HOST"))'
    window_row "15 KB before the Host" 80 \
        '"GET / HTTP/1.1\r\nCookie: c=" . "c" x 15000 . "\r\nHost: HOST\r\nConnection: close\r\n\r\n"'
}

# Answers what no rule refuses: a datagram to UDP 443, a connection to TCP 80 over IPv6.
other_server() {
    ip netns exec server perl -MIO::Socket::INET -MIO::Socket::IP -e '
        my $quic = IO::Socket::INET->new(Proto => "udp", LocalAddr => "192.0.2.2:443") or die;
        my $web = IO::Socket::IP->new(LocalHost => "2001:db8::2", LocalPort => 80, Listen => 9, ReuseAddr => 1);
        if (fork) { while ($quic->recv(my $data, 99)) { $quic->send("answer") } }
        else { while (my $peer = $web->accept) { print $peer "answer" } }' &
    for try in $(seq 100); do
        [ "$(ip netns exec server ss -Hln 'sport = 443 or sport = 80' | grep -cE '^udp|2001:db8::2')" = 2 ] && return
        sleep 0.05
    done
}

over_quic() {
    perl -MIO::Socket::INET -e 'my $socket = IO::Socket::INET->new(Proto => "udp", PeerAddr => "192.0.2.2:443");
        $SIG{ALRM} = sub { print "no answer"; exit }; alarm 3;
        $socket->send("a datagram");
        print defined $socket->recv(my $answer, 99) ? "answered" : $!{ECONNREFUSED} ? "refused" : "$!"'
}

over_ipv6() {
    perl -MIO::Socket::IP -e 'my $peer = IO::Socket::IP->new(PeerHost => "2001:db8::2", PeerPort => 80, Timeout => 3);
        print $peer ? "answered" : $!{ECONNREFUSED} ? "refused" : "$!"'
}

with_config() { # KEY...
    printf '%s\n' '[ServiceConfigurations]' "$@" >$product/websec.cfg
    start_daemon 6
}

bypass_rows() {
    heading "CloseBypasses: what cannot be judged"
    ip -6 address add 2001:db8::1/64 dev client0 nodad &&
        ip -n server -6 address add 2001:db8::2/64 dev server0 nodad ||
        echo "no IPv6 here: its rows fail"
    ip route add 198.41.0.0/24 via 192.0.2.2 # towards a root name server, which stands for the Internet
    other_server
    with_config LiveTraffic=1
    row "CloseBypasses=0: a datagram to UDP 443" answered "$(over_quic)"
    row "CloseBypasses=0: TCP 80 over IPv6" answered "$(over_ipv6)"
    end_daemon
    with_config LiveTraffic=1 CloseBypasses=1
    for try in $(seq 100); do # its chains come last
        ip6tables -S OUTPUT | grep -q WEBSEC_CLOSE && iptables -S OUTPUT | grep -q WEBSEC_CLOSE && break
        sleep 0.05
    done
    row "CloseBypasses=1: a datagram to UDP 443" refused "$(over_quic)"
    row "CloseBypasses=1: TCP 80 over IPv6" refused "$(over_ipv6)"
    kill -KILL "$(daemon_pid)"
    row "after a crash: a datagram to UDP 443" refused "$(over_quic)"
    ctl rules remove
    row "after 'websecctl rules remove': a datagram to UDP 443" answered "$(over_quic)"
    row "after 'websecctl rules remove': TCP 80 over IPv6" answered "$(over_ipv6)"
    request "after 'websecctl rules remove': blocked.example/" allowed http://blocked.example/
}

traffic_status() { websecctl status | grep -E '^(packets|blocked|unjudged|judged|hand-off)'; }

live_rows() {
    heading "LiveTraffic: what browsers send, requests in several segments"
    with_config LiveTraffic=1
    browser_rows
    method_rows
    cookie_rows
    segment_rows
    [ "$steady" ] || window_rows
    row "status: requests judged from several segments" yes \
        "$(traffic_status | grep -q '[1-9][0-9]* of them from several segments' && echo yes || echo no)"
    traffic_status
    stop_daemon
    bypass_rows
}
