# Part of scripts/demo: what Chromium and Firefox make of pages over HTTPS while their hellos, which fill more than
# one segment, are judged. A browser that is not installed is left out, and that is said.

# Both run once for all their pages, without a window and with a profile of their own.
chromium_start() {
    local home=$LAB_DIR/chromium
    mkdir -p "$home"
    mkfifo "$home/in" "$home/out"
    HOME=$home chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage --no-first-run \
        --disable-background-networking --ignore-certificate-errors --user-data-dir="$home" \
        --host-resolver-rules="MAP *.test 192.0.2.2" --remote-debugging-pipe 3<"$home/in" 4>"$home/out" 2>/dev/null &
    exec 8>"$home/in" 9<"$home/out"
}

firefox_start() {
    local home=$LAB_DIR/firefox
    mkdir -p "$home"
    echo 'user_pref("network.dns.forceResolve", "192.0.2.2");' >"$home/user.js"
    HOME=$home $(command -v firefox-esr || command -v firefox) --headless --marionette --no-remote --profile "$home" >/dev/null 2>&1 &
}

# Its remote control (DevTools): messages are JSON with a zero behind them; between the answers come events.
chromium_tell() { # METHOD PARAMETERS
    local message
    printf '{"id":1,%s"method":"%s","params":%s}\0' "${chromium_session:+\"sessionId\":\"$chromium_session\",}" "$1" "$2" >&8
    while IFS= read -t 60 -r -d '' -u 9 message; do
        case "$message" in '{"id":1,'*) echo "$message" && return ;; esac
    done
}

chromium_connect() {
    local target
    chromium_session=
    target=$(chromium_tell Target.createTarget '{"url":"about:blank"}')
    target=${target#*targetId\":\"}
    chromium_session=$(chromium_tell Target.attachToTarget "{\"targetId\":\"${target%%\"*}\",\"flatten\":true}")
    chromium_session=${chromium_session#*sessionId\":\"}
    chromium_session=${chromium_session%%\"*}
}

# The page with all that belongs to it, or why there is none.
chromium_page() { # URL
    local answer
    answer=$(chromium_tell Page.navigate "{\"url\":\"$1\"}")
    case "$answer" in
        *net::ERR_CONNECTION_RESET*) echo "connection reset" ;;
        *net::*) answer=${answer#*net::} && echo "${answer%%[^A-Z_]*}" ;;
        *) chromium_tell Runtime.evaluate '{"awaitPromise":true,"returnByValue":true,"expression":"new Promise(done =>
            document.readyState == `complete` ? done() : onload = done).then(() => document.body.innerText)"}' ;;
    esac
}

chromium_end() {
    chromium_session=
    (chromium_tell Browser.close '{}' >/dev/null) # writing to one that has died ends a shell
    exec 8>&- 9<&-
}

# Its remote control (Marionette): messages are JSON with their length before them.
firefox_hear() {
    local LC_ALL=C length message
    IFS= read -t 60 -r -d : -u 7 length && IFS= read -t 60 -r -N "$length" -u 7 message && echo "$message"
}

firefox_tell() { # COMMAND PARAMETERS
    local LC_ALL=C message="[0,1,\"$1\",$2]"
    printf '%d:%s' ${#message} "$message" >&7
    firefox_hear
}

firefox_connect() {
    for try in $(seq 300); do
        { exec 7<>/dev/tcp/127.0.0.1/2828; } 2>/dev/null && break
        sleep 0.1
    done
    (firefox_hear && firefox_tell WebDriver:NewSession '{"acceptInsecureCerts":true}') >/dev/null
}

firefox_page() { # URL: as chromium_page
    local answer
    answer=$(firefox_tell WebDriver:Navigate "{\"url\":\"$1\"}")
    case "$answer" in
        *about:neterror*was%20reset*) echo "connection reset" ;;
        *about:neterror\?e=*) answer=${answer#*about:neterror?e=} && echo "${answer%%&*}" ;;
        *) firefox_tell WebDriver:GetPageSource '{}' ;;
    esac
}

firefox_end() {
    (firefox_tell Marionette:Quit '{"flags":["eForceQuit"]}' >/dev/null)
    exec 7>&-
}

browse() { # BROWSER URL
    local page
    page=$("$1_page" "$2")
    case "$page" in
        *"hello from the server"*) echo allowed ;;
        *) echo "${page:0:30}" ;;
    esac
}

# One page with pictures from as many hosts: each gets a connection and a hello of its own. What became of them.
browse_hosts() { # BROWSER COUNT DOMAIN BLOCKED
    local i blocked
    for i in $(seq "$2"); do echo "<img src=https://$i.$3/>"; done >"$LAB_DIR/page.html"
    "$1_page" "file://$LAB_DIR/page.html" >/dev/null
    for try in $(seq 30); do
        blocked=$(websecctl report --csv --limit 0 | cut -d, -f6 | sort -u | grep -c "^[0-9]*\.$3")
        [ "$blocked" = "$4" ] && break
        sleep 0.1
    done
    echo "$blocked blocked, $(grep -c "[0-9]*\.$3" "$LAB_DIR/access.log") served"
}

set_link() { # MTU OFFLOADS
    ip link set client0 mtu "$1"
    ip -n server link set server0 mtu "$1"
    ethtool -K client0 tso "$2" gso "$2"
}

rows_of() { # BROWSER
    local link
    row "$1: https://allowed.example/" allowed "$(browse "$1" https://allowed.example/)"
    row "$1: https://blocked.example/" "connection reset" "$(browse "$1" https://blocked.example/)"
    row "$1: 120 fresh hellos, allowed" "0 blocked, 120 served" "$(browse_hosts "$1" 120 "$1.free.test" 0)"
    for link in "1500 on" "1500 off" "1280 on" "9000 on"; do
        set_link $link
        row "$1: 120 fresh hellos, MTU ${link% *}, TSO and GSO ${link#* }" "120 blocked, 0 served" \
            "$(browse_hosts "$1" 120 "$1.${link/ /-}.blocked.test" 120)"
    done
    set_link 1500 on
}

browser_rows() {
    local browser browsers=""
    : >"$LAB_DIR/access.log"
    ctl block add .blocked.test --subdomains
    for browser in chromium firefox; do
        if command -v $browser >/dev/null || command -v $browser-esr >/dev/null; then
            ${browser}_start
            browsers="$browsers $browser"
        else
            echo "$browser is not installed: its rows are left out (apt-get install chromium firefox-esr: 200 MB, a minute)"
        fi
    done
    for browser in $browsers; do
        ${browser}_connect
        rows_of $browser
        ${browser}_end
    done
}
