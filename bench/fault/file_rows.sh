# shellcheck shell=bash
# Modules and files absent, damaged or hanging, at a start and at a reload.

file_rows() { # EXPECTED-AT-START FILE HOW...
    local expected=$1 file=$2 how
    shift 2
    for how in "$@"; do
        row "${file##*/}: $how" "$expected" "damage $how $file" restore
    done
}

all_file_rows() {
    local file
    heading "modules"
    for file in libdbmod.so urlcheck.so; do
        file_rows rests "$product/$file" absent empty stump half short zeros flipped folder pipe slow
    done
    # The loader binds these before the daemon begins: without them it cannot start, and leaves nothing behind.
    for file in libwebcat.so libasapsdk.so clrptmod.so; do
        file_rows ended "$(find "$product" /usr/lib/Morvane -name "$file" | head -1)" absent empty stump zeros flipped
    done
    heading "files"
    file_rows rests "$product/translation/en_US.utf8/LC_MESSAGES/lang.mo" absent empty half zeros flipped folder pipe
    for file in pcintwl.dat bpintwl.dat wsintip.dat wswebflt.dat wscatsts.dat; do
        file_rows rests "$product/$file" absent empty half zeros flipped folder pipe
    done
    for file in phishing.map harmful.map categories.map; do
        file_rows rests "$lists/$file" absent empty half short zeros flipped folder pipe
    done
    file_rows rests /var/lib/websec/websec.db absent empty half zeros flipped folder pipe
    # Without its file LiveTraffic is 0, and then no module gets a second chance; none of these needs one.
    file_rows rests "$product/websec.cfg" absent empty half zeros flipped folder pipe
}
