#!/usr/bin/env bash
# Installs a build into a temporary prefix, then builds the program in
# consumer/ against it twice, found once through find_package(KestrinSearcher)
# and once through pkg-config, and runs both.
# Usage: consumer_test.sh <build dir> <c++ compiler>
set -euo pipefail
build=$1 cxx=$2
src=$(cd "$(dirname "$0")/consumer" && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
test -f "$prefix/share/java/kestrin-searcher.jar"

echo "--- find_package"
cmake -S "$src" -B "$tmp/cmake" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$tmp/cmake"
"$tmp/cmake/consumer" "$tmp/root-cmake"

echo "--- pkg-config"
export PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name kestrin-searcher.pc)")
libdir=$(pkg-config --variable=libdir kestrin-searcher)
# shellcheck disable=SC2046
"$cxx" -std=c++17 "$src/main.cc" -o "$tmp/consumer-pc" \
  $(pkg-config --cflags --libs kestrin-searcher) -Wl,-rpath,"$libdir"
"$tmp/consumer-pc" "$tmp/root-pc"
