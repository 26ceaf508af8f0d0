# shellcheck shell=bash
# Modules and files absent, damaged or hanging, at a start and at a reload.

# As it is told in a row.
name_of() { echo "$1" | sed "s|^$product/||; s|^translation/||; s|^/var/lib/websec/||"; }

file_rows() { # EXPECTED-AT-START FILE HOW...
    local expected=$1 file=$2 how name
    name=$(name_of "$file")
    shift 2
    for how in "$@"; do
        row "$name: $how" "$expected" "damage $how $file" restore
    done
}

# As file_rows, with a file that need not be there: MAKE, a shell command, puts one there.
added_rows() { # MAKE MEND FILE HOW...
    local make=$1 mend=$2 file=$3 how name
    name=$(name_of "$file")
    shift 3
    for how in "$@"; do
        row "$name: $how" rests "$make; damage $how $file" "$mend"
    done
}

all_file_rows() {
    local file
    heading "modules"
    for file in libdbmod.so urlcheck.so; do
        file_rows rests "$product/$file" absent empty stump half short zeros flipped folder pipe slow late
    done
    # The loader binds these before the daemon begins: without them it cannot start, and leaves nothing behind. A
    # pipe holds the loader up, until whoever starts the daemon ends that.
    for file in libwebcat.so libasapsdk.so clrptmod.so; do
        file_rows ended "$product/$file" absent empty stump zeros flipped folder pipe slow
        file_rows rests "$product/$file" short late
    done
    heading "files"
    for file in en_US.utf8 de; do
        file_rows rests "$product/translation/$file/LC_MESSAGES/lang.mo" absent empty half zeros flipped folder pipe
    done
    for file in pcintwl.dat bpintwl.dat wsintip.dat wswebflt.dat wscatsts.dat; do
        file_rows rests "$product/$file" absent empty half zeros flipped folder pipe
    done
    for file in phishing.map harmful.map categories.map; do
        file_rows rests "$lists/$file" absent empty half short zeros flipped folder pipe
    done
    file_rows rests /var/lib/websec/websec.db absent empty half zeros flipped folder pipe
    # Without its file LiveTraffic is 0, and then no module gets a second chance; none of these needs one.
    file_rows rests "$product/websec.cfg" absent empty half zeros flipped folder pipe
    added_rows inet_options "restore; inet_options" "$product/kvinet.opt" absent empty half short zeros flipped folder pipe
    # What a crash, or somebody else, may leave beside the store.
    for file in wal shm journal lost; do
        file=/var/lib/websec/websec.db-$file
        added_rows "head -c 4096 $product/urlcheck.so >$file" "rm -rf $file; restore" "$file" empty zeros flipped folder pipe
    done
    # Who is logged in; the C library reads it, and waits at a pipe.
    added_rows "head -c 4096 $product/urlcheck.so >/run/utmp" "rm -rf /run/utmp; : >/run/utmp" /run/utmp \
        absent empty zeros flipped folder
}
