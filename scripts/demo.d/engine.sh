# Part of scripts/demo: phishing, harmful sites and categories, from imported lists, in the three modes of the
# category engine. Whatever a request's host is, the lab's server is asked.
lab_server="--connect-to ::192.0.2.2:"

# A request that must be blocked and leave a report with this reason and name.
finding() { # URL REPORT
    local seen reported="nothing" url=${1#*://}
    seen=$(ask $lab_server "$1")
    case "$seen" in
        blocked*)
            for try in $(seq 30); do
                reported=$(websecctl report --csv --limit 1 | sed 1d | tr -d '\r' |
                    awk -F, -v u="${url%/}" '$7 == u { print $5 ($10 != "" ? ": " $10 : $5 == "category" ? ": " $9 : "") }')
                [ "$reported" = "$2" ] && break
                sleep 0.05
            done
            [ "$reported" = "$2" ] || seen="reported as $reported"
            ;;
    esac
    row "${1#http://} ($2)" blocked "$seen"
}

passes() { # WHY URL
    request "${2#http://} ($1)" allowed $lab_server "$2"
}

import_lists() {
    local lists=$LAB_DIR/lists
    mkdir -p "$lists"
    printf '0.0.0.0 phish.example\n0.0.0.0 trusted.example\n' >"$lists/hosts.txt"
    echo 'http://paths.example/login/' >"$lists/urls.txt"
    printf '||harm.example^\n||pattern.example^\n' >"$lists/adblock.txt"
    echo '"1","2026-01-02 03:04:05","http://paths.example/evil.exe","online","","Trojan.B","","",""' >"$lists/urlhaus.csv"
    printf 'games.example\nfree-games.example\n' >"$lists/games.txt"
    ctl import phishing --name feed "$lists/hosts.txt"
    ctl import phishing --name pages "$lists/urls.txt"
    ctl import harmful --name Trojan.A "$lists/adblock.txt"
    ctl import harmful "$lists/urlhaus.csv"
    ctl import category games "$lists/games.txt"
    for category in weapons violence; do
        echo $category.example >"$lists/$category.txt"
        ctl import category $category "$lists/$category.txt"
    done
    ctl category block games
    ctl trust add trusted.example
    ctl block add trusted.example
    ctl allow add free-games.example
    echo 'pattern.example/' | websecctl datafile build trusted $product/bpintwl.dat - >/dev/null
}

mode_rows() { # MODE
    printf '[ServiceConfigurations]\ncatEngine=%s\n' "$1" >$product/websec.cfg
    start_daemon
    finding http://phish.example/x phishing
    finding https://phish.example/ phishing
    finding http://paths.example/login/a phishing
    finding http://harm.example/x "harmful: Trojan.A"
    finding http://paths.example/evil.exe "harmful: Trojan.B"
    passes "beside the listed paths" http://paths.example/good.exe
    passes "phishing and block-listed, but trusted" http://trusted.example/
    passes "harmful, but a trusted pattern" http://pattern.example/x
    finding http://games.example/x "category: Games"
    passes "blocked category, but allowed" http://free-games.example/x
    ctl protection phishing off
    passes "phishing protection off" http://phish.example/x
    finding http://trusted.example/ "block list"
    finding http://harm.example/y "harmful: Trojan.A"
    ctl protection phishing on
    ctl protection browsing off
    passes "harmful-site protection off" http://harm.example/x
    finding http://phish.example/y phishing
    ctl protection browsing on
    ctl protection category off
    passes "category filter off" http://games.example/x
    ctl protection category on
}

# The library has numbers of its own for harmful sites and phishing, 2 and 3. To the server they are two
# categories like any other.
library_rows() { # MODE
    heading "Imported lists, with the category library (catEngine=$1)"
    mode_rows "$1"
    passes "the server's category 2" http://weapons.example/
    passes "the server's category 3" http://violence.example/
    # Without the scanner the library finds both; it knows no threats' names.
    mv $product/urlcheck.so $product/urlcheck.so.away
    refresh_daemon
    finding http://phish.example/lib phishing
    finding http://harm.example/lib harmful
    ctl protection phishing off
    passes "category 3, protection off" http://phish.example/lib
    ctl protection phishing on
    ctl protection browsing off
    passes "category 2, protection off" http://harm.example/lib
    ctl protection browsing on
    mv $product/urlcheck.so.away $product/urlcheck.so
    end_daemon
}

# Answers every request for a category with the bytes that a Perl expression makes, until it is killed.
feigned_server() { # REPLY
    perl -MIO::Socket::INET -e 'my $reply = eval shift; $SIG{PIPE} = "IGNORE";
        my $server = IO::Socket::INET->new(LocalAddr => "127.0.0.1:7101", Listen => 9, ReuseAddr => 1) or die;
        while (my $peer = $server->accept) { read $peer, my $request, 12300; print $peer $reply }' "$1" &
    for try in $(seq 50); do
        (: </dev/tcp/127.0.0.1/7101) 2>/dev/null && break
        sleep 0.05
    done
}

server_rows() {
    heading "Imported lists, with the category server (catEngine=2)"
    websec-catserver 2>/dev/null &
    local server=$!
    mode_rows 2
    finding http://weapons.example/ "category: Weapons"
    finding http://violence.example/ "category: Violence"
    hanging_server_rows $server
    finding http://games.example/back "category: Games"

    kill -TERM $server
    wait $server
    passes "category server stopped" http://games.example/x
    finding http://phish.example/z phishing
    feigned_server 'pack "V", 1'
    passes "category server refuses" http://games.example/y
    kill $! && wait $! 2>/dev/null
    feigned_server 'pack("VQ", 0, 1_000_000) . 50 . "," x 999_998'
    finding http://other.example/long "category: Games"
    kill $! && wait $! 2>/dev/null
    end_daemon
}

# Stopped, it still gets connections, and says nothing.
hanging_server_rows() { # PID
    local start waiting
    kill -STOP "$1"
    start=$(date +%s%N)
    curl -s -m 5 -o /dev/null $lab_server http://games.example/hang &
    waiting=$!
    sleep 0.2
    request "beside a request that waits for a hanging server" blocked http://blocked.example/
    row "meanwhile that request waits" yes "$(kill -0 $waiting 2>/dev/null && echo yes || echo no)"
    wait $waiting
    row "then it is answered: curl's exit status" 0 $?
    [ "$steady" ] || row "within three seconds" yes "$([ $(($(date +%s%N) - start)) -lt 3000000000 ] && echo yes || echo no)"
    kill -CONT "$1"
}

engine_rows() {
    ctl protection category on
    import_lists
    library_rows 0
    library_rows 1
    server_rows
}
