#!/usr/bin/env bash
# Builds the fuzz programs of tests/fuzz (clang++, libFuzzer, AddressSanitizer
# and UndefinedBehaviorSanitizer) in build/fuzz and runs one of them over its
# seed corpus for a bounded time:
#   bash tools/fuzz.sh NAME [SECONDS]     (default 30 seconds)
#   bash tools/fuzz.sh list               (the names)
# NAME is a program without its _fuzz suffix (ini_file, query, ...). The
# checked-in seeds in tests/fuzz/corpus/NAME are only read; inputs the run
# finds go to build/fuzz/corpus/NAME. A crash, a sanitizer report or a failed
# invariant fails the run and leaves the input in build/fuzz/artifacts/.
set -euo pipefail
cd "$(dirname "$0")/.."

names() { for f in tests/fuzz/*_fuzz.cc; do basename "$f" _fuzz.cc; done; }
name=${1:?usage: tools/fuzz.sh NAME [SECONDS] | list}
if [ "$name" = list ]; then names; exit 0; fi
if [ ! -f "tests/fuzz/${name}_fuzz.cc" ]; then
  echo "unknown fuzz program: $name (one of: $(names | tr '\n' ' '))" >&2
  exit 2
fi
seconds=${2:-30}

bash tools/install-deps.sh
dir=build/fuzz
cmake -S . -B "$dir" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKS_SANITIZE=address,undefined -DKS_BUILD_FUZZ=ON \
  -DKS_BUILD_TESTS=OFF -DKS_BUILD_BENCH=OFF >/dev/null
cmake --build "$dir" -j "${KS_JOBS:-2}" --target "${name}_fuzz"

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:strict_string_checks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
# The programs write small files and index stores: keep them in memory.
if [ -z "${TMPDIR:-}" ] && [ -d /dev/shm ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi
mkdir -p "$dir/corpus/$name" "$dir/artifacts"
log=$dir/artifacts/$name.log
echo "fuzzing $name for $seconds s (log: $log)"
if ! "$dir/tests/fuzz/${name}_fuzz" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 \
      -print_final_stats=1 -artifact_prefix="$dir/artifacts/$name-" \
      "$dir/corpus/$name" "tests/fuzz/corpus/$name" >"$log" 2>&1; then
  tail -n 60 "$log"
  echo "fuzz $name: FAILED (input saved under $dir/artifacts/)" >&2
  exit 1
fi
grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb)' "$log" | tr '\n' ' '
echo
