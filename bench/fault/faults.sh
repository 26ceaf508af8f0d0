# shellcheck shell=bash
# What is broken, and how it is mended.

restore() {
    rm -rf "$product" "$lists"
    cp -a "$sound/product" "$product"
    rm -rf /var/lib/websec/websec.db*
    cp -a "$sound/websec.db" /var/lib/websec/
    cp -a "$sound/lists" "$lists"
}

# A new file each time: whoever has the old one open or mapped keeps that one, as with any update.
damage() { # HOW FILE
    local file=$2 old=$LAB_DIR/old size place
    cp -a "$file" "$old" && rm -f "$file"
    size=$(stat -c %s "$old")
    case $1 in
        absent) ;;
        empty) : >"$file" ;;
        half) head -c $((size / 2)) "$old" >"$file" ;;
        stump) head -c 5000 "$old" >"$file" ;;
        short) head -c $((size - 1)) "$old" >"$file" ;;
        zeros) head -c "$size" /dev/zero >"$file" ;;
        flipped) # seven bytes; of a library the first ones only: nobody survives code that is not what it was
            cp "$old" "$file"
            for place in 0 1 2 3 4 5 6; do
                case $file in
                    *.so) place=$((4 + place * 8)) ;;
                    *) place=$((size * place / 7)) ;;
                esac
                printf '\245' | dd of="$file" bs=1 seek=$place conv=notrunc status=none
            done ;;
        folder) mkdir "$file" ;;
        pipe) mkfifo "$file" ;;
        # A library that takes its time, and then has nothing to offer.
        slow) cp "$LAB_DIR/slow.so" "$file" ;;
        late) late_library "$old" "$file" ;;
    esac
    rm -rf "$old"
}

# A library that takes its time, and then is the one that belongs there.
late_library() { # SOUND FILE
    cp "$1" "$2.sound"
    gcc -shared -nostdlib -Wl,-soname,"$2.sound" -o "$LAB_DIR/named.so" -x c /dev/null
    gcc -shared -o "$2" -Wl,--no-as-needed "$LAB_DIR/slow.o" "$LAB_DIR/named.so"
}

# The internet options: a record of 788 bytes, of which a flag and a port are read.
inet_options() {
    {
        printf '\1\0'
        head -c 262 /dev/zero
        printf '\220\37'
        head -c 522 /dev/zero
    } >"$product/kvinet.opt"
}

small_disk() { # the store and the lists on a disk of their own, without a block to spare
    mv /var/lib/websec /var/lib/websec.away
    mkdir /var/lib/websec
    mount -t tmpfs -o "size=${1:-1m}" tmpfs /var/lib/websec
    cp -a /var/lib/websec.away/. /var/lib/websec/
    cat /dev/zero >/var/lib/websec/ballast 2>/dev/null
}

no_disk() {
    umount -l /var/lib/websec
    rmdir /var/lib/websec
    mv /var/lib/websec.away /var/lib/websec
}

full_run() { # the folder that the counters page and the daemon's note stand in
    mkdir -p /run/websec
    mount -t tmpfs -o size=4k tmpfs /run/websec
    cat /dev/zero >/run/websec/ballast 2>/dev/null
}
iptables_does() { # BODY: before, or in place of, the real program
    local program
    for program in iptables iptables-restore; do
        rm -f /usr/sbin/$program
        printf '#!/bin/sh\n%s\nexec /usr/sbin/xtables-nft-multi %s "$@"\n' "$1" $program >/usr/sbin/$program
        chmod 755 /usr/sbin/$program
    done
}

iptables_hang() {
    : >"$LAB_DIR/iptables_hang"
    iptables_does "while [ -e $LAB_DIR/iptables_hang ]; do sleep 0.1; done"
}
real_iptables() {
    rm -f "$LAB_DIR/iptables_hang"
    ln -sf /etc/alternatives/iptables /usr/sbin/iptables
    ln -sf /etc/alternatives/iptables-restore /usr/sbin/iptables-restore
}

shift_clock() { # SECONDS, for the daemon alone
    printf '%s' "$1" >"$LAB_DIR/clock"
}
