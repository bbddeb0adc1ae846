#!/usr/bin/env bash
# Installs the Debian packages that the named groups need and that are missing; costs nothing when none is.
#   scripts/setup.sh base|deb|test|check|bench|node ...       scripts/setup.sh --list GROUP ... prints their names
set -euo pipefail

base=(g++ cmake ninja-build ccache pkg-config libasio-dev libspdlog-dev libcli11-dev libcpp-httplib-dev
      nlohmann-json3-dev prometheus-cpp-dev libcurl4-openssl-dev libssl-dev libxxhash-dev libpcap-dev libogg-dev
      libopus-dev libpng-dev libqrencode-dev libgtest-dev libgmock-dev)
deb=(dpkg-dev file lintian)
test=(tinyproxy microsocks dante-server iproute2 nftables curl python3 ffmpeg chromium zbar-tools tshark man-db zsh fish
      "${deb[@]}")
node=(nodejs npm)  # only where the commands are missing: setup_browser.sh
bench=(libbenchmark-dev libenet-dev libsrt-openssl-dev libusrsctp-dev ngtcp2-client ngtcp2-server openssl)
check=(clang-14 clang-format-14 clang-tidy-14 clang-tools-14 libclang-rt-14-dev python3)

list_only=no
if [[ ${1:-} == --list ]]; then
    list_only=yes
    shift
fi
wanted=()
for group in "$@"; do
    case $group in
        base|deb|test|bench|check|node) declare -n packages=$group; wanted+=("${packages[@]}") ;;
        *) echo "setup: there is no group '$group' (base, deb, test, check, bench, node)" >&2; exit 2 ;;
    esac
done

if [[ $list_only == yes ]]; then
    printf '%s\n' "${wanted[@]}"
    exit 0
fi
[[ -z ${LUMO_SKIP_SETUP:-} ]] || exit 0
if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "setup: this is no Debian; install the like of these and set LUMO_SKIP_SETUP=1: ${wanted[*]}" >&2
    exit 1
fi

missing=()
for package in "${wanted[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [[ $state == installed ]] || missing+=("$package")
done
(( ${#missing[@]} )) || exit 0

as_root=()
if (( $(id -u) != 0 )); then
    command -v sudo >/dev/null || { echo "setup: not root and no sudo; missing: ${missing[*]}" >&2; exit 1; }
    as_root=(sudo)
fi
echo "setup: installing ${missing[*]}"
# The run level keeps init scripts of the proxies from starting them; the tests start their own, unprivileged.
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive RUNLEVEL=1 apt-get -q -y -o DPkg::Lock::Timeout=120)
"${apt[@]}" update
"${apt[@]}" install --no-install-recommends "${missing[@]}"
