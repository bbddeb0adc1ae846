#!/usr/bin/env bash
# Makes the Debian packages of a built tree, lets lintian look at them, and installs, uses and removes them in a root of
# their own: this machine's under an overlay. 77 where the machine lacks a tool or allows no overlay, unless
# LUMO_REQUIRE_ALL is set.
#   packages_test.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail
source=$1
build=$2

if [[ ${3:-} != inside ]]; then
    missing=
    for tool in cpack lintian dpkg-shlibdeps man systemd-analyze; do
        command -v "$tool" >/dev/null || missing=$tool
    done
    unshare --mount --pid --fork mount -t tmpfs tmpfs /mnt 2>/dev/null || missing="right to mount, which root has"
    if [[ $missing ]]; then
        echo "there is no $missing" >&2
        [[ -z ${LUMO_REQUIRE_ALL:-} ]] || exit 1
        exit 77
    fi
    # What is started ends, and what is mounted goes, with the namespaces.
    exec unshare --mount --pid --fork --mount-proc --kill-child "$0" "$source" "$build" inside
fi

work=/mnt
fail() { echo "FAILED: $*" >&2; exit 1; }
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; fail "$*"; }; }
inside() { chroot "$work/root" "$@"; }
says() { local words=$1; shift; [[ $("$@" 2>&1) == *"$words"* ]] || fail "$* does not say $words"; }
mount -t tmpfs -o size=3g tmpfs "$work"
cd "$work"

echo "== the packages"
quietly cpack --config "$build/CPackConfig.cmake" -B "$work" -D CPACK_DEBIAN_COMPRESSION_TYPE=gzip
rm -rf _CPack_Packages
(( $(stat -c %s lumo_*.deb) < 20000000 )) || fail "the program was not stripped"
[[ $(ls -- *.ddeb | wc -l) == 3 ]] || fail "the debug symbols are not apart"
quietly lintian --fail-on error -- *.deb

echo "== installed"
mkdir upper worker root debs
mv -- *.deb *.ddeb debs
mount -t overlay -o lowerdir=/,upperdir=upper,workdir=worker overlay root
mount -t proc proc root/proc
mount --rbind /dev root/dev
mkdir root/debs
cp -r debs/* "$source/examples" root/debs
quietly inside sh -c 'dpkg -i /debs/*.deb /debs/lumo-dbgsym_*.ddeb'
says ' (commit ' inside lumo --version
says 'mcu.conf' inside cat /lib/systemd/system/lumo-mcu.service
for page in lumo lumo-mcu lumo-publish-video; do says "/$page.1.gz" inside man -w "$page"; done
for file in usr/share/bash-completion/completions/lumo usr/share/fish/vendor_completions.d/lumo.fish \
    usr/share/zsh/vendor-completions/_lumo usr/share/doc/lumo/README.md; do
    [[ -s root/$file ]] || fail "there is no $file"
done
says .debug inside dpkg -L lumo-dbgsym
quietly systemd-analyze security --offline=yes --root="$work/root" --threshold=15 lumo-mcu.service

echo "== used"
inside lumo mcu --config /etc/lumo/mcu.conf --listen 127.0.0.1:0 --reflector-port off --http off >relay 2>&1 &
until port=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9]*\) .*/\1/p' relay) && [[ $port ]]; do
    kill -0 $! || fail "the server ended: $(cat relay)"
    sleep 0.1
done
head -c 100000 /dev/urandom >root/debs/file
inside lumo send /debs/file --plain --channel 5 --mcu "127.0.0.1:$port" --quiet &
quietly inside lumo receive 5 --mcu "127.0.0.1:$port" --out /mnt
cmp root/debs/file root/mnt/file || fail "the file arrived otherwise"
quietly inside cmake -S /debs/examples/seal_video -B /mnt/sealing
quietly inside cmake --build /mnt/sealing
says 'opened: good morning' inside /mnt/sealing/seal_video 7 "$port"

echo "== removed"
packages=$(cd debs && ls -- * | sed 's/_.*//')
quietly inside sh -c "dpkg --purge $(echo $packages)"
rm -rf root/debs root/mnt/*
left=$(find upper ! -type d ! -type c -path '*lumo*')
[[ -z $left ]] || fail "these stay: $left"

echo "packages test: all passed"
