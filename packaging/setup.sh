# Shared by ./demo and ./check: what must be installed, and installing what is missing. Debian 12.
# shellcheck shell=bash

packages_build=(g++ cmake ninja-build pkg-config libpcsclite-dev libcli11-dev nlohmann-json3-dev libfmt-dev
                libunistring-dev libssl-dev libassuan-dev)
packages_demo=(openssl)
packages_test=(libgtest-dev libgmock-dev python3 python3-pyasn1 python3-pyasn1-modules openssl ca-certificates
               clang-19 libclang-rt-19-dev clang-format-14 clang-tidy-14
               pinentry-curses pinentry-tty tmux pcscd vsmartcard-vpcd
               libgmp-dev libtomcrypt-dev libbotan-2-dev python3-cryptography-vectors)
packages_bench=(libbenchmark-dev libtasn1-6-dev libgmp-dev libtomcrypt-dev libbotan-2-dev libbearssl-dev)

# install_missing PACKAGE...: installs those that are not there, as root or through sudo, and says so.
install_missing() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "Missing: ${missing[*]}. Install them, or run this as root." >&2; return 1; }
        as_root=(sudo)
    fi
    echo "Installing Debian packages: ${missing[*]}"
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q >/dev/null
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends \
        "${missing[@]}" >/dev/null
}

# build PRESET [TARGET...]: configures and builds, quietly unless something fails.
build() {
    local preset=$1 log
    shift
    log=$(mktemp)
    if ! { cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}; } >"$log" 2>&1; then
        cat "$log"
        rm -f "$log"
        echo "The $preset build failed." >&2
        return 1
    fi
    rm -f "$log"
}
