# Installs the library, moves the copy, and builds and runs a program with it, found by pkg-config and by CMake.
#   check.sh build-folder version cmake generator pkg-config compiler [flags...]
set -eu
build=$1 version=$2 cmake=$3 generator=$4 pkgconf=$5 compiler=$6
shift 6
program=$(dirname "$0")/program
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { echo "$1" >&2; exit 1; }
check() {
  expected=$(printf "velStsNoErr: No error, it's OK\n17 %s" "$version")
  actual=$("$@")
  [ "$actual" = "$expected" ] || fail "$1 prints: $actual"
}

"$cmake" --install "$build" --prefix "$work/first"
mv "$work/first" "$work/second"
header=$(find "$work/second" -name orv.h)
library=$(dirname "$(find "$work/second" -name libOrv.so)")
[ "$(readlink "$library/libOrv.so")" = libOrv.so.6 ] || fail "libOrv.so leads elsewhere"
[ "$(readlink "$library/libOrv.so.6")" = "libOrv.so.$version" ] || fail "libOrv.so.6 leads elsewhere"
cmp "$header" "$(dirname "$0")/../../include/orv.h"
cmp "$work/second/share/doc/libOrv/LICENSE" "$(dirname "$0")/../../LICENSE"
grep -q "\"libOrv $version\"" "$work/second/share/man/man3/libOrv.3" || fail "libOrv.3 is of another version"

# The program looks for the library in its own place only.
program_copy=$work/second/bin/orv
if [ -e "$program_copy" ]; then
  path=$(readelf -dW "$program_copy" | sed -n 's/.*R\(UN\)*PATH.*\[\(.*\)\]/\2/p')
  [ -n "$path" ] || fail "the program does not know where the library is"
  case ":$path:" in *::*) fail "the program looks for libraries in: $path" ;; esac
  for element in $(echo "$path" | tr : ' '); do
    case $element in /* | \$ORIGIN | \$ORIGIN/*) ;; *) fail "the program looks for libraries in: $path" ;; esac
  done
  [ "$("$program_copy" --version)" = "orv $version" ] || fail "the program is of another version"
  grep -q "\"libOrv $version\"" "$work/second/share/man/man1/orv.1" || fail "orv.1 is of another version"
  [ -e "$work/second/share/bash-completion/completions/orv" ] || fail "bash completes nothing"
  (cd / && "$program_copy" info >"$work/info") || fail "the installed program does not run"
fi

export PKG_CONFIG_PATH="$library/pkgconfig"
"$pkgconf" --exact-version="$version" orv
# shellcheck disable=SC2046
"$compiler" "$@" -o "$work/by_pkgconf" "$program/main.c" $("$pkgconf" --cflags --libs orv)
check env LD_LIBRARY_PATH="$library" "$work/by_pkgconf"

"$cmake" -S "$program" -B "$work/build" -G "$generator" -DCMAKE_PREFIX_PATH="$work/second" \
  -DCMAKE_C_COMPILER="$compiler" -DCMAKE_C_FLAGS="$*"
"$cmake" --build "$work/build"
check "$work/build/program"
