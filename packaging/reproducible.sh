#!/usr/bin/env bash
# Builds a release of the last commit twice, in two places, and compares the files octet for octet.
set -euo pipefail
cd "$(dirname "$0")/.."
source=$PWD
. packaging/setup.sh
install_missing "${packages_build[@]}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# made PLACE: builds in a folder of that name and lists what has come of it.
made() {
    git clone -q "$source" "$work/$1"
    (
        cd "$work/$1"
        build release
        cd build/release
        # The examples are not shipped: they name the folder in which they find the libraries.
        sha256sum lib/*.so lib/*.a bin/zelmo*
    )
}

made one >"$work/first"
made "another place" >"$work/second"
if ! diff "$work/first" "$work/second"; then
    echo "The two builds differ." >&2
    exit 1
fi
cat "$work/first"
