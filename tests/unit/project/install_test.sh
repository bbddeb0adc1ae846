#!/usr/bin/env bash
# Installs a built tree into a temporary prefix, moves it, and uses it as three kinds of outside project would.
#   install_test.sh SOURCE_FOLDER BUILD_FOLDER CXX
set -euo pipefail
source=$1
build=$2
export CXX=$3
work=$(mktemp -d)
relay=
trap '[[ -z $relay ]] || kill "$relay" 2>/dev/null; rm -rf "$work"' EXIT

fail() { echo "FAILED: $*" >&2; exit 1; }
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; fail "$*"; }; }
expect_port() {  # PROGRAM: it opens the local MCU, says its port and ends well
    local words
    words=$("$1") || fail "$1 ended with $?"
    [[ $words =~ ^local\ port\ [1-9][0-9]*$ ]] || fail "$1 said '$words'"
}

expect_sealed() {  # PROGRAM: what it publishes sealed at the relay comes back and opens
    [[ $("$1" 7 "$port") == "opened: good morning" ]] || fail "$1 opened nothing"
}

unset DESTDIR
quietly cmake --install "$build" --prefix "$work/first"
prefix=$work/moved
mv "$work/first" "$prefix"
libdir=$(dirname "$(find "$prefix" -name liblumomedia.so)")
"$prefix/bin/lumo" mcu --listen 127.0.0.1 --port 0 --reflector-port off --http off >"$work/relay" 2>&1 &
relay=$!

echo "== the libraries and the program"
for library in liblumomedia liblumomedia_seal; do
    readelf -d "$libdir/$library.so" | grep -q "SONAME.*\[$library\.so\.[0-9]*\]" || fail "no SONAME"
done
grep -rlF -e "$work/first" -e "$source" "$prefix" --include='*.cmake' --include='*.pc' && fail "a package file names a folder of the build"
for file in include/lumomedia/lumomedia.h share/lumomedia/lumo.lua share/doc/lumomedia/LICENSE; do
    [[ -s $prefix/$file ]] || fail "$file was not installed"
done
while IFS=: read -r document link; do
    [[ -e $(dirname "$document")/$link ]] || fail "$document names $link, which was not installed"
done < <(find "$prefix/share/doc" -name '*.md' -exec grep -HoP '\]\(\K(?!https?:)[^)#]+' {} +)
[[ $(find "$prefix/include" -type f | wc -l) == $(find "$source/include" -name '*.h' | wc -l) ]] || fail "headers differ"
ldd "$prefix/bin/lumo" | grep lumomedia && fail "lumo needs the shared library"
quietly "$prefix/bin/lumo" --help

echo "== find_package"
quietly cmake -S "$source/examples/embed_file" -B "$work/package" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_STANDARD=11 -DCMAKE_CXX_EXTENSIONS=OFF
quietly cmake --build "$work/package"
expect_port "$work/package/embed_file"
until port=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9]*\) .*/\1/p' "$work/relay") && [[ $port ]]; do
    kill -0 "$relay" || fail "the relay ended: $(cat "$work/relay")"
    sleep 0.1
done
quietly cmake -S "$source/examples/seal_video" -B "$work/sealing" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_STANDARD=11 -DCMAKE_CXX_EXTENSIONS=OFF
quietly cmake --build "$work/sealing"
expect_sealed "$work/sealing/seal_video"

echo "== pkg-config"
export PKG_CONFIG_PATH=$libdir/pkgconfig
[[ $(pkg-config --modversion lumomedia) =~ ^[0-9]+\.[0-9]+\.[0-9]+$ ]] || fail "pkg-config gives no version"
# shellcheck disable=SC2046
quietly "$CXX" -std=c++11 -o "$work/plain" "$source/examples/embed_file/main.cpp" $(pkg-config --cflags --libs lumomedia) -pthread
LD_LIBRARY_PATH=$libdir expect_port "$work/plain"
# shellcheck disable=SC2046
quietly "$CXX" -std=c++11 -o "$work/sealed" "$source/examples/seal_video/main.cpp" \
    $(pkg-config --cflags --libs lumomedia lumomedia-seal) -pthread
LD_LIBRARY_PATH=$libdir expect_sealed "$work/sealed"

echo "== add_subdirectory"
mkdir "$work/outer"
cat >"$work/outer/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.18)
project(outer LANGUAGES CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
add_subdirectory(lumomedia)
add_subdirectory(lumomedia/examples/embed_file app)
END
# Inside the outer project, so that its object files are found again by ccache wherever the tree lies.
ln -s "$source" "$work/outer/lumomedia"
export CCACHE_BASEDIR=$work CCACHE_NOHASHDIR=1
launcher=$(command -v ccache || true)
quietly cmake -S "$work/outer" -B "$work/outer/build" -G Ninja -DCMAKE_CXX_STANDARD=11 -DLUMO_UNITY=ON \
    ${launcher:+-DCMAKE_CXX_COMPILER_LAUNCHER="$launcher"}
quietly cmake --build "$work/outer/build" -j 2
expect_port "$work/outer/build/app/embed_file"
extra=$(find "$work/outer/build" -name CMakeFiles -prune -o -type f \( -perm -u+x -o -name '*.a' \) -print |
    grep -v -E '/liblumomedia\.so[.0-9]*$|/embed_file$' || true)
[[ -z $extra ]] || fail "the outer project also built $extra"
flags=$(grep '"command".*embed_file/main.cpp' "$work/outer/build/compile_commands.json")
grep -E -- '-Wall|-Wconversion|\+\+20|-fsanitize|ASIO|LUMOMEDIA_BUILDING' <<<"$flags" && fail "our flags leak into the outer project"
quietly cmake --install "$work/outer/build" --prefix "$work/outer/prefix"
[[ ! -e $work/outer/prefix ]] || [[ -z $(find "$work/outer/prefix" -type f) ]] || fail "the outer project installs our files"

echo "install test: all passed"
