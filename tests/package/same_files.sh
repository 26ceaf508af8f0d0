#!/usr/bin/env bash
# scripts/install and the packages lay down what packaging/files.txt lists and nothing else: the same files and folders,
# with the same modes and contents, whatever the mask of who installs; scripts/uninstall --purge leaves none.
#
# Usage: same_files.sh BUILD_DIR [PACKAGE.deb]...    without packages: what goes into them (packaging/debian/rules)
set -eu
build=$(realpath "$1")
shift
packages=("$@")
[ $# = 0 ] || mapfile -t packages < <(realpath "$@")
cd "$(dirname "$(realpath "$0")")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { echo "$*"; exit 1; }

# TYPE MODE PLACE of each file and folder.
listed() {
    local package source place mode
    while read -r package source place _; do
        case "$package" in '' | '#'*) continue ;; esac
        case "$place" in */sbin/* | */libexec/*) mode=755 ;; *) mode=644 ;; esac
        echo "f $mode $place"
        folders_of "$place"
    done <packaging/files.txt
    folders_of /var/lib/websec/.
}

folders_of() { # PLACE
    local folder=${1%/*}
    [ -z "$folder" ] || { echo "d 755 $folder" && folders_of "$folder"; }
}

laid_down() { find "$work/$1" -mindepth 1 -printf '%y %m /%P\n'; } # FOLDER

compare() { # FOLDER WHAT
    laid_down "$1" | sort | diff <(listed | sort -u) - || fail "$2 does not lay down what is listed (<)"
}

(umask 077 && scripts/install --root "$work/script" --build "$build")
compare script scripts/install

# Debian's tools compress pages, strip programs and add their own papers.
unpack() {
    for package in "${packages[@]}"; do dpkg-deb -x "$package" "$work/package"; done
    (cd "$work/package/usr/share" && rm -rf lintian doc/*/changelog* doc/*/copyright)
    find "$work/package" "$work/script" -depth -path '*/doc/websec-catserver' -exec rmdir {} +
    find "$work/package" -path '*/man/*.gz' -exec gunzip {} +
    find "$work" -type f -exec sh -c 'head -c 4 "$1" | grep -q ELF && strip --remove-section=.comment \
        --remove-section=.note --remove-section=".gnu_debug*" --strip-unneeded "$1"' - {} \;
}

if [ ${#packages[@]} -gt 0 ]; then
    unpack
else
    for package in websec websec-catserver; do
        DESTDIR=$work/package cmake --install "$build" --component "$package" >/dev/null
    done
fi
compare package "the packages"
diff -r "$work/package" "$work/script" || fail "the packages (<) and scripts/install (>) differ"

while read -r _ source place _; do
    case "$source" in packaging/* | docs/*) cmp "$source" "$work/script$place" ;; esac
done <packaging/files.txt

# What the administrator and the daemon put beside them goes with the purge, and not before.
touch "$work/script/var/lib/websec/websec.db" "$work/script/usr/lib/Morvane/Morvane/wsintip.dat"
scripts/uninstall --root "$work/script" >/dev/null
[ "$(find "$work/script" ! -type d | wc -l)" = 3 ] || { find "$work/script" ! -type d; fail "not just the settings are left"; }
scripts/uninstall --purge --root "$work/script" >/dev/null
[ -z "$(ls -A "$work/script")" ] || { find "$work/script"; fail "left by scripts/uninstall"; }
