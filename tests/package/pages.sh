#!/usr/bin/env bash
# The man pages are well formed. Usage: pages.sh BUILD_DIR
set -u
command -v mandoc >/dev/null || { echo "skipped: needs mandoc" >&2; exit 77; }
# Empty paragraphs are the way in which scdoc sets pages off.
found=$(mandoc -T lint -W warning "$1"/man/* | grep -v 'skipping paragraph macro')
[ -z "$found" ] || { echo "$found"; exit 1; }
