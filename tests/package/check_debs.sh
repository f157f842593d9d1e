#!/bin/sh
# Unpacks the Debian packages of an architecture into an empty root, and builds and runs programs against what is there:
#   check_debs.sh folder-of-packages amd64|i386
set -eu
packages=$(realpath "$1") architecture=$2
source=$(realpath "$(dirname "$0")/../..")
case $architecture in
  amd64) bits=64 triplet=x86_64-linux-gnu ;;
  i386) bits=32 triplet=i386-linux-gnu ;;
  *) echo "check_debs: there are no packages for $architecture" >&2; exit 2 ;;
esac
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
fail() { echo "check_debs: $architecture: $1" >&2; exit 1; }

for name in liborv6 liborv-dev orv liborv-doc; do
  case $name in *-doc) of=all ;; *) of=$architecture ;; esac
  set -- "$packages/$name"_*_$of.deb
  [ $# = 1 ] && [ -e "$1" ] || fail "there is not one package $name in $packages"
  dpkg -x "$1" "$root"
done
usr=$root/usr libraries=$root/usr/lib/$triplet
find "$usr/share/doc/liborv-dev/examples" -name '*.gz' | grep -q . && fail "an example is compressed"
cmp "$usr/include/orv.h" "$source/include/orv.h"
grep -q orviResizeSqrPixel_8u_C3R "$usr"/share/doc/liborv-doc/html/group__*.html || fail "there is no reference"
for picture in $(grep -o 'docs/[a-z/]*\.\(jpg\|svg\)' "$usr/share/doc/liborv-doc/README.md"); do
  [ -s "$usr/share/doc/liborv-doc/$picture" ] || fail "the README shows $picture, which is not there"
done
for page in man1/orv.1 man3/libOrv.3; do
  MANWIDTH=80 man --warnings -l "$usr/share/man/$page.gz" >"$root/page" 2>"$root/said"
  [ -s "$root/page" ] && [ ! -s "$root/said" ] || fail "$page: $(cat "$root/said")"
done

# The program, on the library of its package.
export LD_LIBRARY_PATH="$libraries"
version=$("$usr/bin/orv" --version)
pkgconf() { PKG_CONFIG_LIBDIR=$libraries/pkgconfig PKG_CONFIG_SYSROOT_DIR=$root pkg-config "$@"; }
[ "$version" = "orv $(pkgconf --modversion orv)" ] || fail "the program is $version"
"$usr/bin/orv" decode "$usr/share/doc/liborv-dev/examples/photo.jpg" "$root/photo.ppm"
"$usr/bin/orv" compare "$usr/share/doc/liborv-dev/examples/photo.jpg" "$root/photo.ppm" >/dev/null

# By pkg-config with a system's root: the packaged examples, and a program with the static library.
mkdir "$root/tree"
ln -s "$usr/share/doc/liborv-dev/examples" "$usr/share/doc/liborv-doc/README.md" "$root/tree"
PKG_CONFIG_LIBDIR=$libraries/pkgconfig PKG_CONFIG_SYSROOT_DIR=$root \
  python3 -B "$source/tests/package/check_examples.py" "$root/tree" "$usr" cmake pkg-config gcc -m$bits
# shellcheck disable=SC2046
gcc -m$bits -o "$root/static" "$source/tests/package/static.c" $(pkgconf --cflags orv) "$libraries/libOrv.a" -lm
env -u LD_LIBRARY_PATH "$root/static"

# By CMake: the shared library and the static one. It knows a system's own folder by the compiler; a compiler for both
# word sizes has that of one.
cmake -S "$source/tests/package/program" -B "$root/build" -G Ninja -DCMAKE_PREFIX_PATH="$usr" -DCMAKE_C_FLAGS=-m$bits \
  -DCMAKE_LIBRARY_ARCHITECTURE=$triplet >/dev/null
cmake --build "$root/build" >/dev/null
for program in program program_static; do
  "$root/build/$program" | tail -n 1 | grep -qx "17 ${version#orv }" || fail "$program fails"
done
echo "$architecture: the packages hold"
