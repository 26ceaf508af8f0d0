#!/usr/bin/env bash
# The packages and scripts/install lay down the same files, with the same modes, and scripts/uninstall --purge leaves none.
# Usage: same_files.sh BUILD_DIR       compares with BUILD_DIR/package/*.deb, which scripts/package makes; without
#                                      them with packaging/files.txt alone
set -eu
build=$(realpath "$1")
cd "$(dirname "$(realpath "$0")")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Debian's tools compress pages and add their own papers.
list() { # DIR
    (cd "$1" && find . ! -type d ! -path './usr/share/doc/*/changelog*' ! -path './usr/share/doc/*/copyright' \
        ! -path './usr/share/lintian/*' -printf '%m %P\n') | sed 's|\.gz$||' | sort -k 2
}

scripts/install --root "$work/script" --build "$build" >/dev/null
list "$work/script" >"$work/script.list"
grep -v '^#' packaging/files.txt | awk 'NF { print substr($3, 2) }' | sort >"$work/listed"
cut -d' ' -f2 "$work/script.list" | diff "$work/listed" - || { echo "scripts/install does not install what is listed"; exit 1; }

if ls "$build"/package/*.deb >/dev/null 2>&1; then
    for package in "$build"/package/*.deb; do dpkg-deb -x "$package" "$work/package"; done
    list "$work/package" | diff - "$work/script.list" || { echo "packages (<) and scripts/install (>) differ"; exit 1; }
fi

# What the administrator and the daemon put beside them goes with the purge, and not before.
touch "$work/script/var/lib/websec/websec.db" "$work/script/usr/lib/Morvane/Morvane/wsintip.dat"
scripts/uninstall --root "$work/script" >/dev/null
[ "$(find "$work/script" ! -type d | wc -l)" = 3 ] || { find "$work/script" ! -type d; echo "not just the settings are left"; exit 1; }
scripts/uninstall --purge --root "$work/script" >/dev/null
[ -z "$(ls -A "$work/script")" ] || { find "$work/script"; echo "left by scripts/uninstall"; exit 1; }
