#!/usr/bin/env bash
# Runs the examples of README, guides and pages as root on a host where websec is installed, each document's in
# its order and in one shell. Exit status 0 when every command ended with 0.
#
# Usage: run_examples.sh FILE...
#
# An example is a block of commands: in Markdown indented or fenced as sh, in a page's source fenced. One that cannot
# run here says why, in a comment before it: "not run: REASON"; "text" where it holds no commands. What examples
# take for given (lists, archives, a web server under the names *.example) is made here or by the host.
set -u
mapfile -t files < <(realpath "$@")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1

printf '%s\n' phish.example >feed.txt
mkdir gambling && echo casino.example >gambling/domains
tar -czf blacklists.tar.gz gambling
tar -czf gambling.tar.gz gambling
export HOME=$folder
echo insecure >.curlrc

# The blocks of a document, as one script that names each command before it runs.
commands_of() { # FILE
    awk -v page="$([[ $1 = *.scd ]] && echo 1)" '
        /^<!-- (not run|text)|^; *(not run|text)/ { skip = 1; next }
        fenced && /^```/ { fenced = 0; skip = 0; next }
        !fenced && /^```/ { fenced = 1; wanted = !skip && (page || /^```sh$/); next }
        fenced { if (wanted) print; next }
        page { next }
        /^    / { if (!indented) wanted = !skip; indented = 1; if (wanted) print substr($0, 5); next }
        /^$/ { next }
        { if (indented) skip = 0; indented = 0 }' "$1"
}

sudo() { "$@"; }
export -f sudo
if [ ! -d /run/systemd/system ]; then
    # The script that stands in for the units on such a host.
    systemctl() {
        case "$*" in
            'restart websec') /usr/libexec/websec/run-direct stop && /usr/libexec/websec/run-direct start ;;
            'start websec' | 'stop websec') /usr/libexec/websec/run-direct "$1" ;;
        esac
    }
    export -f systemctl
fi

failed=0
for file in "${files[@]}"; do
    script=$folder/$(basename "$file").sh
    commands_of "$file" >"$script"
    [ -s "$script" ] || continue
    if bash -e -x -o pipefail "$script" >"$script.log" 2>&1 </dev/null; then
        printf 'ran    %3d lines of %s\n' "$(wc -l <"$script")" "$(basename "$file")"
    else
        failed=1
        echo "FAILED $(basename "$file")"
        tail -5 "$script.log" | sed 's/^/       /'
    fi
done
exit $failed
