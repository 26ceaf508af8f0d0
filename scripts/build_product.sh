# For those who source this file: builds what is installed, without the tests; the progress on one line.
build_product() {
    set -o pipefail
    echo "Building"
    cmake --preset default >/dev/null || return
    cmake --build --preset default -j "$(nproc)" --target websec websecctl websec-catserver \
        asapsdk clrptmod dbmod urlcheck webcat catalogue man |
        while IFS= read -r line; do
            case "$line" in
                \[*) printf '\r%s' "${line%%]*}]" ;;
                *) printf '\n%s' "$line" ;;
            esac
        done
    local status=$?
    echo
    return $status
}
